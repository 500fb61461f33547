#include "CumulFixture.h"
#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulBufferOnVar.h"
#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cumul/ETabulonTypeNumeric.h"
#include "etabulon/cumul/PresentFunctions.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace etabulon::test {
namespace {

using Numeric = ETabulonTypeNumeric;

/// An application's own: bears the code of a sum and keeps the key of the last record.
class LastKey : public Numeric::FunctionSum {
public:
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override {
        return new Exec(this, type, size);
    }

private:
    class Exec : public ETabulonCumulBuffer {
    public:
        using ETabulonCumulBuffer::ETabulonCumulBuffer;
        void AddValue(const EVariant&, bool, const ETabulonPrimaryKey& context) override {
            SetResult(context.SingleCode().Data(), /*modified=*/true);
        }
    };
};

void AddOn(ETabulonCumulFuncOnVarCollection& calculations, const ERef<ETabulonCumulFunc>& function,
           int type, unsigned int size) {
    const auto variable = ERef<ETabulonVariableDesc>::Adopt(
        ETabulonVariableDesc::Build("v", type, size, "", nullptr));
    calculations.AddCalculation(ETabulonCumulFuncOnVar::Build(function.Get(), variable.Get()),
                                /*addRef=*/false);
}

/// Every function, of numbers too where the type doesn't offer them, on a variable of this type.
void AddAllFunctions(ETabulonCumulFuncOnVarCollection& calculations, int type, unsigned int size) {
    const ETabulonCumulFuncCollection& functions =
        ETabulonTypeFactory::Get(GenericNumeric)->Functions();
    for (unsigned int index = 0; index < functions.Size(); ++index) {
        AddOn(calculations, ERef<ETabulonCumulFunc>::Adopt(functions.GetFunction(index)), type,
              size);
    }
    for (const Chaine& code : PresentFunctionCodes(TYPE_INT64)) {
        AddOn(calculations, FindPresentFunction(code, TYPE_INT64), type, size);
    }
    AddOn(calculations, MakeRef<LastKey>(), type, size);
}

EVariant RandomNumber(std::mt19937& random) {
    using Double = std::numeric_limits<double>;
    using Whole = std::numeric_limits<std::int64_t>;
    const double kNaN = Double::quiet_NaN();
    const double kDoubles[] = {0.0, -0.0, 1.5, -2.25, 1e300, -1e300, 0.1, kNaN, Double::infinity()};
    const std::int64_t kWhole[] = {0,         1,         2, 3, -1, Whole::max(), Whole::min(),
                                   INT32_MAX, 1000000000};
    switch (random() % 4) {
        case 0:
            return EVariant::FromDouble(kDoubles[random() % std::size(kDoubles)]);
        case 1:
            return EVariant(static_cast<int>(random() % 5));
        default:
            return EVariant::FromInt64(kWhole[random() % std::size(kWhole)]);
    }
}

/// Mostly of the type itself, as fields are; sometimes of another, missing, or empty.
EVariant RandomValue(std::mt19937& random, int type, unsigned int size) {
    EVariant value = random() % 6 == 0
                         ? EVariant(random() % 2 == 0 ? "abc" : "a text of more than some bytes")
                         : RandomNumber(random);
    switch (random() % 10) {
        case 0:
            return EVariant();
        case 1:
            return EVariant::Missing(TYPE_DOUBLE, 0);
        case 2:
        case 3:
            return value;
        default: {
            EVariant cell = EVariant::Missing(static_cast<std::uint16_t>(type),
                                              static_cast<std::uint16_t>(size));
            cell <<= value;
            return cell;
        }
    }
}

std::string Described(const ETabulonValue& value) {
    return Text(value) + " type " + std::to_string(value.Data().Type()) + " size " +
           std::to_string(value.Data().Size()) + " shown " + value.DisplayText().c_str();
}

struct VariableType {
    int type;
    unsigned int size;
};

class CellsAgainstBuffers : public testing::TestWithParam<VariableType> {};

// Rows are folded in turn; a buffer collection for each row is fed the same records.
TEST_P(CellsAgainstBuffers, GiveTheSameResults) {
    constexpr int kRows = 5;
    const auto [type, size] = GetParam();
    std::mt19937 random(static_cast<unsigned int>(type) * 31 + size);
    ETabulonCumulFuncOnVarCollection calculations;
    AddAllFunctions(calculations, type, size);
    for (int round = 0; round < 25; ++round) {
        detail::CumulCells cells(calculations);
        ASSERT_TRUE(cells.NeedsContext());
        std::vector<std::vector<ERef<ETabulonCumulBuffer>>> buffers(kRows);
        for (auto& row : buffers) {
            cells.AddRow();
            for (unsigned int index = 0; index < calculations.Size(); ++index) {
                const auto calculation =
                    ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.Calculation(index));
                row.push_back(
                    ERef<ETabulonCumulBuffer>::Adopt(calculation->Function()->Start(type, size)));
            }
        }
        for (int record = 0; record < 30; ++record) {
            const EVariant value = RandomValue(random, type, size);
            const std::vector<const EVariant*> values(calculations.Size(), &value);
            const ETabulonPrimaryKey key = KeyOf(record);
            const std::uint32_t row = random() % (kRows - 1);  // the last one stays as it is
            const std::uint32_t rows[] = {row, 0};
            std::byte* const rowBytes[] = {cells.RowAt(row), cells.RowAt(0)};
            cells.Fold(rowBytes, values, &key);
            for (const std::uint32_t folded : rows) {
                for (const auto& buffer : buffers[folded]) {
                    buffer->AddValue(value, /*modified=*/false, key);
                }
            }
            for (unsigned int index = 0; index < calculations.Size(); ++index) {
                ASSERT_EQ(Described(cells.Result(row, index)),
                          Described(buffers[row][index]->Result()))
                    << buffers[row][index]->Desc()->Code().c_str() << " round " << round
                    << " record " << record;
            }
        }
        for (unsigned int index = 0; index < calculations.Size(); ++index) {
            ASSERT_TRUE(cells.Result(kRows - 1, index).IsNull());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Types, CellsAgainstBuffers,
    testing::Values(
        VariableType{TYPE_LONG, 4}, VariableType{TYPE_LONG, 5}, VariableType{TYPE_INT, 0},
        VariableType{TYPE_INT64, 8}, VariableType{TYPE_UINT64, 0}, VariableType{TYPE_UINT32, 0},
        VariableType{TYPE_INT8, 0}, VariableType{TYPE_UINT16, 0}, VariableType{TYPE_DOUBLE, 9},
        VariableType{TYPE_FLOAT, 0}, VariableType{TYPE_BOOL, 0}, VariableType{TYPE_DECIMAL32, 0},
        VariableType{TYPE_DECIMAL64, 0}, VariableType{TYPE_CURRENCY, 0}, VariableType{TYPE_DATE, 0},
        VariableType{TYPE_TIME, 0}, VariableType{TYPE_TIMESTAMP, 0}, VariableType{TYPE_CHAINE, 0},
        VariableType{TYPE_ZSTRING, 3}, VariableType{TYPE_ZSTRING, 0}, VariableType{TYPE_STR, 30},
        VariableType{TYPE_UP_CHAINE, 0}, VariableType{TYPE_GUID, 0}, VariableType{TYPE_LONG, 3},
        VariableType{TYPE_BLOB, 0}),
    [](const auto& given) {
        return "type" + std::to_string(given.param.type) + "size" +
               std::to_string(given.param.size);
    });

/// A sum whose result has another type than the library's, in the library's own buffer.
class RealSum : public Numeric::FunctionSum {
public:
    [[nodiscard]] int ResultType(int) const override { return TYPE_DOUBLE; }
    [[nodiscard]] unsigned int ResultSize(unsigned int) const override { return 8; }
};

class RealCount : public ETabulonCumulFuncCount {
public:
    [[nodiscard]] int ResultType(int) const override { return TYPE_DOUBLE; }
    [[nodiscard]] unsigned int ResultSize(unsigned int) const override { return 8; }
};

ERef<ETabulonCumulFunc> FunctionByCode(const std::string& code) {
    if (code == "REALSUM") {
        return MakeRef<RealSum>();
    }
    return code == "REALCOUNT" ? ERef<ETabulonCumulFunc>(MakeRef<RealCount>())
                               : FunctionOf(TYPE_INT64, code.c_str());
}

// Each calculation has a value of its own, so that a state of another variable, type or content
// would show.
TEST(CumulCells, ShareStatesOfOneContentOnly) {
    const auto Result = [](std::initializer_list<const char*> codes) {
        ETabulonCumulFuncOnVarCollection calculations;
        for (const char* code : codes) {
            const auto variable = ERef<ETabulonVariableDesc>::Adopt(ETabulonVariableDesc::Build(
                code[0] == '2' ? "w" : "v", TYPE_INT64, 8, "", nullptr));
            const auto function = FunctionByCode(code + 1);
            calculations.AddCalculation(
                ETabulonCumulFuncOnVar::Build(function.Get(), variable.Get()), /*addRef=*/false);
        }
        detail::CumulCells cells(calculations);
        std::byte* const row[] = {(static_cast<void>(cells.AddRow()), cells.RowAt(0))};
        for (std::int64_t record = 1; record <= 3; ++record) {
            const EVariant first = EVariant::FromInt64(record);
            const EVariant second = EVariant::FromInt64(10 * record);
            std::vector<const EVariant*> values;
            for (const char* code : codes) {
                values.push_back(code[0] == '2' ? &second : &first);
            }
            cells.Fold(row, values, nullptr);
        }
        std::string results;
        for (unsigned int index = 0; index < cells.Size(); ++index) {
            const ETabulonValue result = cells.Result(0, index);
            results += Text(result) + ":" + std::to_string(result.Data().Type()) + " ";
        }
        return results;
    };
    EXPECT_EQ(Result({"1SUM", "1COUNT", "1AVG", "2SUM", "2AVG", "2COUNT", "1MIN", "2MAX"}),
              "6:26 3:18 2:2 60:26 20:2 3:18 1:26 30:26 ");
    EXPECT_EQ(Result({"1REALSUM", "1SUM", "1REALCOUNT", "1AVG", "2SUM"}),
              "6:2 6:26 3:2 2:2 60:26 ");
}

TEST(CumulCells, AllocateNothingForARecordAndLeaveNothingBehind) {
    const std::int64_t live = ECountedUnknown::LiveObjects();
    {
        ETabulonCumulFuncOnVarCollection calculations;
        AddAllFunctions(calculations, TYPE_CHAINE, 0);
        calculations = ETabulonCumulFuncOnVarCollection();
        for (const char* code : {"SUM", "AVG", "MIN", "MAX", "COUNT", "COMMONVAL", "LAST"}) {
            AddOn(calculations, FunctionOf(TYPE_DOUBLE, code), TYPE_DOUBLE, 9);
        }
        detail::CumulCells first(calculations);
        EXPECT_FALSE(first.NeedsContext());
        for (int row = 0; row < 600; ++row) {
            first.AddRow();
        }
        detail::CumulCells cells = std::move(first);
        const EVariant number = EVariant::FromDouble(1.5);
        const EVariant missing = EVariant::Missing(TYPE_DOUBLE, 9);
        const std::vector<const EVariant*> values = {&number, &number,  &missing, &number,
                                                     &number, &missing, &number};
        const AllocationCount count;
        for (std::uint32_t row = 0; row < 600; ++row) {
            std::byte* const twice[] = {cells.RowAt(row), cells.RowAt(row)};
            cells.Fold(twice, values, nullptr);
        }
        EXPECT_EQ(count.Taken(), 0U);
        EXPECT_EQ(Text(cells.Result(599, 0)), "3");
        detail::CumulCells texts((ETabulonCumulFuncOnVarCollection(calculations)));
        AddAllFunctions(calculations, TYPE_CHAINE, 0);
        texts = detail::CumulCells(calculations);
        texts.AddRow();
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), live);
}

}  // namespace
}  // namespace etabulon::test
