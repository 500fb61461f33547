#include "CumulFixture.h"
#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cumul/PresentFunctions.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace etabulon::test {
namespace {

void AddOn(ETabulonCumulFuncOnVarCollection& calculations, const char* code, int type) {
    calculations.AddCalculation(code, ETabulonVariableID("v"), type, 0, "");
}

EVariant Cell(int type, const char* text) {
    EVariant cell = EVariant::Missing(static_cast<std::uint16_t>(type), 0);
    if (*text != '\0') {
        cell <<= EVariant(text);
    }
    return cell;
}

/// What a buffer makes of these values, "" being missing. The n-th record has the key n, from 1.
std::string Of(const char* code, int type, std::initializer_list<const char*> values) {
    const auto function = FindPresentFunction(code, type);
    if (!function) {
        return "none";
    }
    const auto buffer = ERef<ETabulonCumulBuffer>::Adopt(function->Start(type, 0));
    int record = 0;
    for (const char* const value : values) {
        buffer->AddValue(Cell(type, value), /*modified=*/false, KeyOf(++record));
    }
    return Text(buffer->Result());
}

TEST(PresentFunctions, LeaveOutRecordsWithoutAValue) {
    struct Case {
        const char* code;
        const char* result;     // over "", 4, 2, "", 4, 10
        const char* ofMissing;  // over "", ""
    };
    const Case kCases[] = {
        {"COUNTVAL", "4", "0"},    {"DISTINCT", "3", "0"},  {"FIRST", "4", "-"},
        {"LOWEST", "2", "-"},      {"HIGHEST", "10", "-"},  {"CODELOWEST", "3", "-"},
        {"CODEHIGHEST", "6", "-"}, {"MEAN", "5", "-"},      {"MEDIAN", "4", "-"},
        {"p25", "3.5", "-"},       {"P90", "8.2", "-"},     {"P1", "2.06", "-"},
        {"P0", "none", "none"},    {"P05", "none", "none"}, {"P100", "none", "none"},
        {"P", "none", "none"},     {"SUM", "none", "none"},
    };
    for (const Case& each : kCases) {
        EXPECT_EQ(Of(each.code, TYPE_INT64, {"", "4", "2", "", "4", "10"}), each.result)
            << each.code;
        EXPECT_EQ(Of(each.code, TYPE_INT64, {"", ""}), each.ofMissing) << each.code;
    }
    EXPECT_EQ(Of("STDDEV", TYPE_DOUBLE, {"2", "4", "", "4", "4", "5", "5", "7", "9"}).substr(0, 6),
              "2.1380");
    EXPECT_EQ(Of("STDDEVP", TYPE_DOUBLE, {"2", "4", "", "4", "4", "5", "5", "7", "9"}), "2");
    EXPECT_EQ(Of("STDDEV", TYPE_DOUBLE, {"2"}), "-");
    // Sums of squares of such numbers have no digit left for the difference.
    EXPECT_EQ(Of("STDDEV", TYPE_DOUBLE, {"1000000000001", "1000000000002", "1000000000003"}), "1");
}

TEST(PresentFunctions, OfTextsAndDatesGoByValue) {
    EXPECT_EQ(Of("LOWEST", TYPE_CHAINE, {"pear", "", "Fig", "apple"}), "apple");
    EXPECT_EQ(Of("HIGHEST", TYPE_CHAINE, {"apple", "zoe", "Zoe", "pear"}),
              Of("HIGHEST", TYPE_CHAINE, {"Zoe", "pear", "zoe"}));
    EXPECT_EQ(Of("DISTINCT", TYPE_CHAINE, {"acme", "Acme", "ACME", "acme"}), "3");
    EXPECT_EQ(Of("LOWEST", TYPE_DATE, {"2024-03-01", "2023-12-31", ""}), "2023-12-31");
    EXPECT_EQ(Of("CODEHIGHEST", TYPE_DATE, {"2024-03-01", "2023-12-31", ""}), "1");
    EXPECT_EQ(Of("MEAN", TYPE_DATE, {"2024-03-01"}), "none");
    EXPECT_EQ(Of("CODELOWEST", TYPE_CHAINE, {"a"}), "none");
    for (const Chaine& code : PresentFunctionCodes(TYPE_CHAINE)) {
        EXPECT_NE(Of(code.c_str(), TYPE_CHAINE, {"a"}), "none") << code.c_str();
    }
}

/// Small ones, whose sums are exact in any order and within each type.
EVariant SmallValue(std::mt19937& random, int type) {
    EVariant cell = EVariant::Missing(static_cast<std::uint16_t>(type), 0);
    const unsigned int number = random() % 7;
    if (number == 0) {
        return cell;
    }
    if (TypeInfo(type).valueClass == EValueClass::Date) {
        cell <<= EVariant(type == TYPE_TIME ? "10:00:0" + std::to_string(number)
                                            : "2024-03-0" + std::to_string(number));
    } else if (TypeInfo(type).valueClass == EValueClass::Text) {
        const char* const kTexts[] = {"acme", "Acme", "zoe", "", "b", "a longer text than most"};
        cell <<= EVariant(kTexts[number - 1]);
    } else {
        cell <<= EVariant(static_cast<int>(number));
    }
    return cell;
}

class MergedStates : public testing::TestWithParam<int> {
protected:
    static constexpr int kRecords = 24;

    MergedStates() : random_(static_cast<unsigned int>(GetParam())) {
        for (const char* code : {"COUNT", "LAST", "COMMONVAL", "SUM", "AVG", "MIN", "MAX",
                                 "CODEMIN", "CODEMAX", "P10"}) {
            AddOn(calculations_, code, GetParam());
        }
        for (const Chaine& code : PresentFunctionCodes(GetParam())) {
            AddOn(calculations_, code.c_str(), GetParam());
        }
    }
    void Fold(detail::CumulCells& cells, std::uint32_t row, int record) {
        const std::vector<const EVariant*> values(calculations_.Size(), &values_[record]);
        const ETabulonPrimaryKey key = KeyOf(record);
        std::byte* const rows[] = {cells.RowAt(row)};
        cells.Fold(rows, values, &key);
    }
    /// A lowest code over missing values that can't be merged is special.
    void ExpectEqual(const detail::CumulCells& merged, const detail::CumulCells& whole) {
        for (unsigned int index = 0; index < calculations_.Size(); ++index) {
            const auto calculation =
                ERef<ETabulonCumulFuncOnVar>::Adopt(calculations_.Calculation(index));
            const std::string code = calculation->Function()->Code().c_str();
            const std::string result = Text(merged.Result(0, index));
            if (code == "CODEMIN" && result == "?") {
                continue;
            }
            if (code.starts_with("STDDEV")) {
                EXPECT_NEAR(merged.Result(0, index).Data().AsDouble(),
                            whole.Result(0, index).Data().AsDouble(), 1e-12);
                continue;
            }
            EXPECT_EQ(result, Text(whole.Result(0, index))) << code;
        }
    }

    std::mt19937 random_;
    ETabulonCumulFuncOnVarCollection calculations_;
    std::vector<EVariant> values_;
};

// Groups that lie among each other, as the leaves of a tree do, and runs one after the other.
TEST_P(MergedStates, AreThoseOfAllRecords) {
    constexpr std::uint32_t kGroups = 5;
    for (int round = 0; round < 200; ++round) {
        values_.clear();
        for (int record = 0; record < kRecords; ++record) {
            values_.push_back(SmallValue(random_, GetParam()));
        }
        detail::CumulCells whole(calculations_);
        detail::CumulCells groups(calculations_);
        whole.AddRows(1);
        groups.AddRows(1 + kGroups);
        std::vector<detail::CumulCells> runs;
        for (int record = 0; record < kRecords; ++record) {
            Fold(whole, 0, record);
            Fold(groups, 1 + static_cast<std::uint32_t>(random_() % (kGroups - 1)), record);
            if (runs.empty() || random_() % 5 == 0) {
                runs.emplace_back(calculations_).AddRows(1);
            }
            Fold(runs.back(), 0, record);
        }
        std::byte* const group[] = {groups.RowAt(0)};
        std::vector<std::uint32_t> order = {1, 2, 3, 4, 5};
        std::shuffle(order.begin(), order.end(), random_);
        for (const std::uint32_t row : order) {
            groups.Merge(group, groups, row);
        }
        ExpectEqual(groups, whole);
        detail::CumulCells joined(calculations_);
        joined.AddRows(1);
        std::byte* const row[] = {joined.RowAt(0)};
        std::uint32_t before = 0;
        for (const detail::CumulCells& run : runs) {
            joined.Merge(row, run, 0, before);
            before += run.Records();
        }
        ExpectEqual(joined, whole);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Types, MergedStates,
                         testing::Values(TYPE_INT64, TYPE_LONG, TYPE_UINT32, TYPE_INT8, TYPE_DOUBLE,
                                         TYPE_FLOAT, TYPE_DECIMAL64, TYPE_CURRENCY, TYPE_DATE,
                                         TYPE_TIME, TYPE_TIMESTAMP, TYPE_CHAINE, TYPE_ZSTRING,
                                         TYPE_BOOL));

}  // namespace
}  // namespace etabulon::test
