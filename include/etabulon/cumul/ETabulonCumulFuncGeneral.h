#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"

namespace etabulon {

// The functions that every variable offers, whatever its type.

/// The number of records, whatever their values. Never marked as modified; ValNull, not 0, over
/// none.
/// Example    tests/cumul/FunctionsTest.cpp
class ETABULON_API ETabulonCumulFuncCount : public ETabulonCumulFunc {
public:
    ETabulonCumulFuncCount();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override;
    [[nodiscard]] unsigned int ResultSize(unsigned int /*size*/) const override { return 0; }

private:
    class Exec;
};

/// The last value.
/// Example    src/cumul/ETabulonCumulFuncCollection.cpp
class ETABULON_API ETabulonCumulFuncLast : public ETabulonCumulFunc {
public:
    ETabulonCumulFuncLast();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override { return type; }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override { return size; }

private:
    class Exec;
};

/// The value that all records have; ValSpecial once two differ.
/// Example    src/cumul/ETabulonCumulFuncCollection.cpp
class ETABULON_API ETabulonCumulFuncCommonVal : public ETabulonCumulFunc {
public:
    ETabulonCumulFuncCommonVal();
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override;
    [[nodiscard]] int ResultType(int type) const override { return type; }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override { return size; }

private:
    class Exec;
};

}  // namespace etabulon
