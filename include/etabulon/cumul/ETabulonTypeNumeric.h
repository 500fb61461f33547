#pragma once

#include "etabulon/cumul/ETabulonType.h"

namespace etabulon {

/// Numbers, booleans included: they offer AVG, CODEMAX, CODEMIN, MAX, MIN and SUM besides the
/// general functions. No function skips a missing value: it compares below all others, adds
/// nothing, and counts as a record.
/// Example    tests/grid/GridAxeTest.cpp
class ETABULON_API ETabulonTypeNumeric : public virtual ETabulonType {
public:
    ETabulonTypeNumeric();

    class FunctionMin;
    class FunctionCodeMin;
    class FunctionMax;
    class FunctionCodeMax;
    class FunctionSum;
    class FunctionAvg;
};

/// The lowest value; of equal ones the first.
class ETABULON_API ETabulonTypeNumeric::FunctionMin : public ETabulonCumulFunc {
public:
    FunctionMin();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override { return type; }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override { return size; }

private:
    class Exec;
};

/// The code of the record with the lowest value.
class ETABULON_API ETabulonTypeNumeric::FunctionCodeMin : public ETabulonCumulFunc {
public:
    FunctionCodeMin();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override;
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override;

private:
    class Exec;
};

/// The highest value; of equal ones the first.
class ETABULON_API ETabulonTypeNumeric::FunctionMax : public ETabulonCumulFunc {
public:
    FunctionMax();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override { return type; }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override { return size; }

private:
    class Exec;
};

/// The code of the record with the highest value.
class ETABULON_API ETabulonTypeNumeric::FunctionCodeMax : public ETabulonCumulFunc {
public:
    FunctionCodeMax();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override;
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override;

private:
    class Exec;
};

/// The sum, in the type of the variable: it stays at the bounds of that type.
/// Example    tests/cumul/CumulCellsTest.cpp
class ETABULON_API ETabulonTypeNumeric::FunctionSum : public ETabulonCumulFunc {
public:
    FunctionSum();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override { return type; }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override { return size; }

protected:
    FunctionSum(const Chaine& code, const Chaine& displayName);

private:
    class Exec;
};

/// The sum over the number of records: of whole numbers a TYPE_DOUBLE.
/// Example    tests/grid/GridAxeTest.cpp
class ETABULON_API ETabulonTypeNumeric::FunctionAvg : public FunctionSum {
public:
    FunctionAvg();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;

private:
    class Exec;
};

}  // namespace etabulon
