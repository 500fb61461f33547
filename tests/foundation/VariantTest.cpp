#include "etabulon/foundation/EVariant.h"
#include "foundation/EVariantOrderKey.h"
#include "support/AllocationCount.h"
#include "support/Rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A view as a record field makes it.
class Cell : public EVariant {
public:
    using EVariant::Layout;
    Cell(std::uint16_t type, std::uint16_t size, Layout layout, void* place)
        : EVariant(type, size, layout, place) {}
    using EVariant::operator<<=;
};

EVariant Real(double number) { return EVariant::FromDouble(number); }
EVariant Of(std::uint16_t type, const char* text, std::uint16_t size = 0) {
    return EVariant::FromText(type, size, text);
}
std::string Text(const EVariant& value) {
    return value.IsMissing() ? "(missing)" : std::string(value.AsChaine().View());
}
template <class T>
EVariant Raw(std::uint16_t type, T image) {
    EVariant value;
    EXPECT_TRUE(value.Init(type, sizeof image, &image));
    return value;
}
// `source` stored in a cell of `type`.
std::string Stored(const EVariant& source, std::uint16_t type, std::uint16_t size = 0) {
    EVariant cell = EVariant::Missing(type, size);
    cell <<= source;
    EXPECT_EQ(cell.Type(), type);
    return Text(cell);
}

// ---------------------------------------------------------------------------------- Order and hash

std::vector<EVariant> TrickyValues() {
    std::vector<EVariant> pool = {"", "a", "A", "a ", "\xE9", 0, 0U, -1, 1UL, {}};
    pool.insert(pool.end(), {EVariant::Missing(TYPE_LONG, 4), Chaine("a\0", 2)});
    std::vector<double> numbers = {kNaN,  -kNaN,  kInfinity, -kInfinity, 0.0, -0.0,
                                   0.5,   -0.5,   0.1,       0.0625,     1.0, -1.0,
                                   1e300, 5e-324, -5e-324,   0.3};
    numbers.insert(numbers.end(), {9007199254740992.0, 9007199254740993.0, 9223372036854775807.0,
                                   -9223372036854775808.0, 18446744073709551615.0,
                                   4503599627370496.5, 92233720368547.75});
    for (const double number : numbers) {
        pool.push_back(Real(number));
        pool.push_back(Raw(TYPE_FLOAT, static_cast<float>(number)));
    }
    for (const std::int64_t number :
         {INT64_MIN, INT64_MIN + 1, INT64_C(-1), INT64_C(0), INT64_C(1), INT64_C(10), INT64_C(50),
          INT64_C(30), INT64_C(5000), INT64_C(625), INT64_C(9007199254740993), INT64_MAX - 1,
          INT64_MAX, INT64_C(-5000), INT64_C(20240229), INT64_C(3000)}) {
        for (const std::uint16_t type :
             {TYPE_INT64, TYPE_UINT64, TYPE_DECIMAL64, TYPE_CURRENCY, TYPE_TIMESTAMP}) {
            pool.push_back(Raw(type, number));
        }
        for (const std::uint16_t type :
             {TYPE_LONG, TYPE_DECIMAL32, TYPE_UINT32, TYPE_DATE, TYPE_TIME}) {
            pool.push_back(Raw(type, static_cast<std::int32_t>(number)));
        }
        pool.push_back(Raw(TYPE_INT8, static_cast<std::int8_t>(number)));
        pool.push_back(Raw(TYPE_BOOL, static_cast<std::uint8_t>(number)));
        pool.push_back(Raw(TYPE_UINT16, static_cast<std::uint16_t>(number)));
    }
    for (const std::int32_t date :
         {0, 10101, 20240228, 20240230, 20240231, 20240301, 20240000, 20249999, 99991231}) {
        pool.push_back(Raw(TYPE_DATE, date));
        pool.push_back(EVariant::Missing(TYPE_TIMESTAMP, 8));
        pool.back() <<= pool[pool.size() - 2];
    }
    for (const std::uint16_t type : {TYPE_ZSTRING, TYPE_STR, TYPE_CSTRING, TYPE_BLOB, TYPE_AUTRE}) {
        pool.push_back(Of(type, "a", 3));
        pool.push_back(Of(type, "ab", 30));
    }
    pool.push_back(Of(TYPE_GUID, "00112233-4455-6677-8899-aabbccddeeff"));
    return pool;
}

TEST(Variant, MakesAVariantOfEveryArithmeticType) {
    struct Case {
        EVariant made;
        std::uint16_t type;
        const char* text;
    };
    for (const auto& [made, type, text] :
         {Case{true, TYPE_LONG, "1"}, Case{'a', TYPE_LONG, "97"},
          Case{static_cast<short>(-3), TYPE_LONG, "-3"},
          Case{static_cast<unsigned short>(3), TYPE_LONG, "3"},
          Case{3000000000U, TYPE_UINT32, "3000000000"},
          Case{5000000000UL, TYPE_UINT32, "4294967295"},
          Case{5000000000L, TYPE_INT64, "5000000000"},
          Case{-5000000000LL, TYPE_INT64, "-5000000000"},
          Case{18446744073709551615ULL, TYPE_UINT64, "18446744073709551615"},
          Case{0.5F, TYPE_DOUBLE, "0.5"}, Case{0.25, TYPE_DOUBLE, "0.25"},
          Case{0.125L, TYPE_DOUBLE, "0.125"},
          Case{std::string_view("view"), TYPE_CHAINE, "view"}}) {
        EXPECT_EQ(made.Type(), type) << text;
        EXPECT_EQ(Text(made), text);
    }
    EXPECT_EQ(Text(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(AllValues, HaveOneTotalOrder) {
    const std::vector<EVariant> pool = TrickyValues();
    const std::size_t size = pool.size();
    std::vector<int> order(size * size);
    for (std::size_t i = 0; i < size; ++i) {
        for (std::size_t j = 0; j < size; ++j) {
            order[i * size + j] = EVariant::Compare(pool[i], pool[j]);
            ASSERT_EQ(order[i * size + j] == 0, pool[i] == pool[j]) << i << ' ' << j;
            if (order[i * size + j] == 0) {
                ASSERT_EQ(pool[i].Hash(), pool[j].Hash()) << Text(pool[i]) << ' ' << Text(pool[j]);
            }
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        for (std::size_t j = 0; j < size; ++j) {
            ASSERT_EQ(order[i * size + j], -order[j * size + i]) << i << ' ' << j;
            for (std::size_t k = 0; order[i * size + j] <= 0 && k < size; ++k) {
                if (order[j * size + k] <= 0) {
                    ASSERT_LE(order[i * size + k],
                              std::max(order[i * size + j], order[j * size + k]))
                        << Text(pool[i]) << ' ' << Text(pool[j]) << ' ' << Text(pool[k]);
                }
            }
        }
    }
}

TEST(OrderKeys, StandInTheOrderOfTheValues) {
    std::vector<EVariant> pool = TrickyValues();
    pool.insert(pool.end(), {"B", "b", Chaine("a\0b", 3), Chaine("a\1", 2), "ab",
                             Of(TYPE_CURRENCY, "0.0001"), Real(0.0001), Of(TYPE_DECIMAL64, "0.1")});
    std::vector<std::string> keys(pool.size());
    for (std::size_t i = 0; i < pool.size(); ++i) {
        AppendOrderKey(pool[i], keys[i]);
    }
    for (std::size_t i = 0; i < pool.size(); ++i) {
        for (std::size_t j = 0; j < pool.size(); ++j) {
            const int order = keys[i].compare(keys[j]);
            EXPECT_EQ(order == 0, pool[i] == pool[j]) << Text(pool[i]) << ' ' << Text(pool[j]);
            EXPECT_TRUE(i == j || order == 0 || !keys[j].starts_with(keys[i]));
            const auto isText = [](const EVariant& value) {
                return !value.IsMissing() && TypeInfo(value.Type()).valueClass == EValueClass::Text;
            };
            const int expected = isText(pool[i]) && isText(pool[j])
                                     ? pool[i].AsChaine().CompareLocale(pool[j].AsChaine())
                                     : EVariant::Compare(pool[i], pool[j]);
            EXPECT_TRUE(expected == 0 || (order < 0) == (expected < 0))
                << Text(pool[i]) << ' ' << Text(pool[j]);
        }
    }
}

TEST(Values, CompareByClassAndExactly) {
    struct Case {
        EVariant left, right;
        int order;
    };
    const EVariant big = EVariant::FromInt64(9007199254740993);  // 2^53 + 1
    EXPECT_EQ(EVariant("9007199254740993").AsInt64(), big.AsInt64());
    for (const auto& [left, right, order] :
         {Case{big, Real(9007199254740992.0), 1}, Case{big, Real(9007199254740994.0), -1},
          Case{Real(kNaN), Real(-kInfinity), -1},
          Case{Real(kNaN), Raw(TYPE_FLOAT, std::nanf("3")), 0},
          Case{Real(0.5), Of(TYPE_DECIMAL32, "0.50"), 0},
          Case{Of(TYPE_CURRENCY, "0.1"), Of(TYPE_DECIMAL64, "0.1"), 0},
          Case{Real(0.1), Of(TYPE_DECIMAL64, "0.1"), 1},
          Case{1, Raw<std::uint8_t>(TYPE_BOOL, 1), 0},
          Case{Raw(TYPE_UINT64, ~0ULL), EVariant::FromInt64(INT64_MAX), 1},
          Case{Real(1e300), Of(TYPE_TIME, "00:00:00"), -1},
          Case{Of(TYPE_TIME, "23:00:00"), Of(TYPE_DATE, "0001-01-01"), -1},
          Case{Of(TYPE_TIMESTAMP, "9999-12-31"), "", -1}, Case{"\xFF", Of(TYPE_BLOB, "a"), -1},
          Case{Of(TYPE_DATE, "2024-02-29"), Of(TYPE_TIMESTAMP, "2024-02-29 00:00:00"), 0},
          Case{{}, EVariant::Missing(TYPE_CHAINE, 4), 0}}) {
        EXPECT_EQ(EVariant::Compare(left, right), order) << Text(left) << ' ' << Text(right);
    }
}

TEST(FoldingText, ComparesFoldedWithAnyText) {
    const EVariant folding = Of(TYPE_NC_CHAINE, "Abc");
    EXPECT_EQ(folding, EVariant("aBC"));
    EXPECT_EQ(Of(TYPE_STR, "abC", 9), folding);
    EXPECT_EQ(folding.Hash(), Of(TYPE_STR, "abC", 9).Hash());
    EXPECT_NE(EVariant("Abc"), EVariant("aBC"));
    EXPECT_LT(Of(TYPE_NC_ZSTRING, "a\xE9", 4), EVariant("a"));  // signed bytes
}

// ---------------------------------------------------------------------------- Text and conversions

struct Read {
    std::uint16_t type;
    std::vector<const char*> texts;
};

TEST(ValuesAsText, ReadBackAsThemselves) {
    for (const auto& [type, texts] : test::Rows(
             Read{TYPE_INT8, {"-128"}}, Read{TYPE_UINT8, {"255"}}, Read{TYPE_INT16, {"-32768"}},
             Read{TYPE_UINT16, {"65535"}}, Read{TYPE_LONG, {"-2147483648"}},
             Read{TYPE_INT, {"2147483647"}}, Read{TYPE_UINT32, {"4294967295"}},
             Read{TYPE_INT64, {"-9223372036854775808", "9223372036854775807"}},
             Read{TYPE_UINT64, {"18446744073709551615"}}, Read{TYPE_BOOL, {"255"}},
             Read{TYPE_OLDBOOL, {"0"}},
             Read{TYPE_DOUBLE, {"0.1", "1.7976931348623157e+308", "5e-324", "-0", "nan", "-inf"}},
             Read{TYPE_FLOAT, {"0.1", "3.4028235e+38", "inf"}},
             Read{TYPE_DECIMAL32, {"-21474836.48"}},
             Read{TYPE_DECIMAL64, {"92233720368547758.07", "-0.05"}},
             Read{TYPE_CURRENCY, {"-922337203685477.5808"}},
             Read{TYPE_DATE,
                  {"0001-01-01", "2000-02-29", "9999-12-31", "10000-01-01", "214748-12-31"}},
             Read{TYPE_TIME, {"00:00:00", "23:59:59.999", "-596:31:23.648"}},
             Read{TYPE_TIMESTAMP,
                  {"1999-12-31 23:59:59.001", "-0001-03-01 12:00:00", "12024-02-29 12:00:00"}},
             Read{TYPE_GUID, {"00112233-4455-6677-8899-aabbccddeeff"}},
             Read{TYPE_CHAINE, {" any\ttext "}}, Read{TYPE_BLOBTEXT, {""}},
             Read{TYPE_STR, {" left kept"}}, Read{TYPE_ZSTRING, {"blanks kept  "}})) {
        for (const char* const text : texts) {
            const EVariant value = Of(type, text, 40);
            ASSERT_FALSE(value.IsMissing()) << text;
            EXPECT_EQ(Text(value), text);
            EXPECT_EQ(EVariant::FromText(value.Type(), value.Size(), value.AsChaine()), value);
        }
    }
    for (const std::int64_t moment : {INT64_MIN, INT64_C(-1), INT64_MAX}) {
        const EVariant value = Raw(TYPE_TIMESTAMP, moment);
        EXPECT_EQ(EVariant::FromText(TYPE_TIMESTAMP, 8, value.AsChaine()), value) << moment;
    }
}

TEST(ParsedText, MissesWhatIsNoValue) {
    for (const auto& [type, texts] : {Read{TYPE_LONG, {"", "  ", "1x", "+1", "0x10", "nan"}},
                                      Read{TYPE_DOUBLE, {"1,5", "1e999"}},
                                      Read{TYPE_DATE, {"2023-02-29", "2024-2-1", "214749-01-01"}},
                                      Read{TYPE_TIME, {"12:60:00"}},
                                      Read{TYPE_TIMESTAMP, {"2024-01-01 24:00:00", "2024-01-01T"}},
                                      Read{TYPE_GUID, {"0011"}}}) {
        for (const char* const text : texts) {
            EXPECT_TRUE(Of(type, text).IsMissing()) << text;
        }
    }
    EXPECT_EQ(Text(Of(TYPE_LONG, " \t42 ")), "42");
    EXPECT_EQ(Text(Of(TYPE_TIMESTAMP, "2024-01-01T10:00:00.1239")), "2024-01-01 10:00:00.123");
}

TEST(StoredValues, AreConvertedClampedAndCut) {
    struct Case {
        EVariant source;
        std::uint16_t type;
        const char* stored;
        std::uint16_t size = 0;
    };
    for (const auto& [source, type, stored, size] : test::Rows(
             Case{300, TYPE_INT8, "127"}, Case{-1, TYPE_UINT64, "0"}, Case{-1, TYPE_BOOL, "0"},
             Case{"99999999999999999999", TYPE_INT64, "9223372036854775807"},
             Case{Real(-1e30), TYPE_INT64, "-9223372036854775808"},
             Case{Real(kInfinity), TYPE_LONG, "2147483647"},
             Case{Real(kNaN), TYPE_LONG, "(missing)"}, Case{Real(kNaN), TYPE_CURRENCY, "(missing)"},
             Case{Real(2.5), TYPE_LONG, "2"}, Case{Real(-3.5), TYPE_LONG, "-4"},
             Case{Real(2.675), TYPE_DECIMAL64, "2.67"}, Case{Real(0.125), TYPE_DECIMAL64, "0.12"},
             Case{Of(TYPE_CURRENCY, "1.0050"), TYPE_DECIMAL32, "1.00"},
             Case{Of(TYPE_CURRENCY, "1.0150"), TYPE_DECIMAL32, "1.02"},
             Case{Of(TYPE_DECIMAL64, "1.50"), TYPE_LONG, "2"},
             Case{Real(1e300), TYPE_FLOAT, "3.4028235e+38"},
             Case{20240229, TYPE_DATE, "2024-02-29"}, Case{20230229, TYPE_DATE, "(missing)"},
             Case{120240229, TYPE_DATE, "12024-02-29"},
             Case{Of(TYPE_TIMESTAMP, "12024-02-29 13:00:00"), TYPE_DATE, "12024-02-29"},
             Case{Of(TYPE_TIMESTAMP, "214749-01-01"), TYPE_DATE, "(missing)"},
             Case{Of(TYPE_TIMESTAMP, "2024-02-29 13:00:00"), TYPE_DATE, "2024-02-29"},
             Case{Of(TYPE_TIMESTAMP, "2024-02-29 13:00:00"), TYPE_TIME, "13:00:00"},
             Case{Of(TYPE_TIME, "13:00:00"), TYPE_DATE, "(missing)"},
             Case{Of(TYPE_DATE, "2024-02-29"), TYPE_LONG, "20240229"},
             Case{"long text", TYPE_ZSTRING, "long", 4}, Case{-12, TYPE_STR, "-12", 5},
             Case{Of(TYPE_STR, "in place", 10), TYPE_BLOBTEXT, "in place"},
             Case{"Été ÿ €", TYPE_UP_CHAINE, "ÉTÉ ÿ €"}, Case{"abc", TYPE_UP_STR, "AB", 2},
             Case{{}, TYPE_CHAINE, "(missing)"})) {
        EXPECT_EQ(Stored(source, type, size), stored) << Text(source);
    }
    EXPECT_EQ(Stored(Of(TYPE_STR, "in place", 10), TYPE_BLOB), Text(Of(TYPE_BLOB, "in place")));
    EVariant empty;
    empty <<= EVariant(7);
    EXPECT_EQ(empty.Type(), TYPE_LONG);
    EXPECT_EQ(Real(-5).AsUInt64(), 0U);
    EXPECT_EQ(EVariant(" 12 ").AsUInt64(), 12U);
    EXPECT_EQ(Raw(TYPE_UINT64, ~0ULL).AsInt64(), INT64_MAX);
    EXPECT_EQ(Of(TYPE_DECIMAL32, "-1.25").AsDouble(), -1.25);
}

TEST(InitialisedValue, HasItsNaturalSizeAndIsNotMissing) {
    EVariant value;
    EXPECT_TRUE(value.Init(TYPE_LONG, 0, nullptr));
    EXPECT_EQ(value.Size(), 4);
    EXPECT_EQ(Text(value), "0");
    const unsigned char marked[5] = {7, 0, 0, 0, 1};
    EXPECT_TRUE(value.Init(TYPE_LONG, 5, marked));
    EXPECT_TRUE(value.IsMissing());
    EXPECT_EQ(value.Size(), 4);
    EXPECT_FALSE(value.Init(TYPE_LONG, 3, nullptr));
    EXPECT_TRUE(value.Init(TYPE_CHAINE, 0, nullptr));
    EXPECT_EQ(value.Size(), 4);
    EXPECT_EQ(Text(value), "");
    EXPECT_TRUE(value.Init(TYPE_STR, 30, nullptr));
    EXPECT_EQ(value.ByteCount(), 30U);
    EXPECT_STREQ(static_cast<const char*>(value.GetBuffer()), std::string(30, ' ').c_str());
    EXPECT_EQ(Text(value), "");
    EXPECT_TRUE(value.Init(TYPE_ZSTRING, 24, std::string(24, 'z').c_str()));
    EXPECT_STREQ(static_cast<const char*>(value.GetBuffer()), std::string(24, 'z').c_str());
    for (const std::uint16_t type : {TYPE_UP_ZSTRING, TYPE_UP_STR, TYPE_UP_CHAINE}) {
        EXPECT_TRUE(value.Init(type, 6, "caf\xC3\xA9"));
        EXPECT_EQ(Text(value), "CAF\xC3\x89") << type;
    }
    EXPECT_EQ(EVariant(5'000'000'000UL).AsUInt64(), 4294967295U);
}

TEST(SignExtendedType, IsStoredByItsLowByte) {
    const EVariant value = Of(0xFF99, "abc");
    EXPECT_EQ(value.Type(), 0xFF99);
    EXPECT_EQ(Text(value), "ABC");
    using Family = std::pair<std::int32_t, GenericType>;
    for (const auto& [type, family] :
         {Family{TYPE_UP_CHAINE, GenericText},
          Family{static_cast<std::int32_t>(0xFFFFFF99U), GenericUnknown},
          Family{TYPE_BLOB, GenericUnknown}, Family{TYPE_BLOBTEXT, GenericText},
          Family{TYPE_BLOBSOUND, GenericMedia}, Family{TYPE_BOOL, GenericNumeric},
          Family{3, GenericUnknown}}) {
        EXPECT_EQ(FamilyOf(type), family) << type;
    }
}

// ------------------------------------------------------------------------------------------- Views

TEST(PlainCell, KeepsMissingAsItsReservedImageAndMovesAPresentOne) {
    struct Case {
        EVariant reserved;
        const char* read;  // a present value that has the reserved image
    };
    for (const auto& plain : {Case{Raw(TYPE_INT8, std::int8_t{INT8_MIN}), "-127"},
                              Case{Raw(TYPE_UINT16, std::uint16_t{UINT16_MAX}), "65534"},
                              Case{Raw(TYPE_LONG, INT32_MIN), "-2147483647"},
                              Case{Raw(TYPE_INT64, INT64_MIN), "-9223372036854775807"},
                              Case{Raw(TYPE_UINT64, UINT64_MAX), "18446744073709551614"},
                              Case{Raw(TYPE_BOOL, std::uint8_t{255}), "254"},
                              Case{Raw(TYPE_DECIMAL32, INT32_MIN), "-21474836.47"},
                              Case{Raw(TYPE_TIME, std::int32_t{-1}), "-00:00:00.002"},
                              Case{Raw(TYPE_DATE, std::int32_t{0}), "0000-00-01"},
                              Case{Raw(TYPE_DOUBLE, std::uint64_t{0xFFF8E7AB00000001}), "nan"},
                              Case{Raw(TYPE_FLOAT, std::uint32_t{0xFFC0E7AB}), "nan"}}) {
        unsigned char record[9] = {};
        Cell cell(plain.reserved.Type(), plain.reserved.Size(), Cell::Layout::Plain, record + 1);
        cell.SetMissing();
        EXPECT_TRUE(cell.IsMissing()) << plain.read;
        EXPECT_TRUE(EVariant(cell).IsMissing());
        EXPECT_EQ(EVariant(cell).Type(), plain.reserved.Type());
        EXPECT_EQ(std::memcmp(record + 1, plain.reserved.GetBuffer(), plain.reserved.Size()), 0);
        cell <<= plain.reserved;
        EXPECT_EQ(Text(cell), plain.read);
        EXPECT_EQ(Text(EVariant(cell)), plain.read);
        EXPECT_EQ(record[0], 0);
    }
}

TEST(NullableCell, KeepsAllValuesAndAMark) {
    unsigned char record[11] = {};
    Cell cell(TYPE_INT64, 8, Cell::Layout::Nullable, record + 1);
    EXPECT_EQ(Text(cell), "0");
    cell <<= Raw(TYPE_INT64, INT64_MIN);
    EXPECT_EQ(Text(EVariant(cell)), "-9223372036854775808");
    cell.SetMissing();
    EXPECT_EQ(record[9], 1);
    EXPECT_TRUE(cell.IsMissing());
    EVariant copy(5);
    copy = cell;
    EXPECT_TRUE(copy.IsMissing());
    EXPECT_EQ(copy.Size(), 8);
    cell <<= EVariant("12");
    EXPECT_EQ(record[9], 0);
    EXPECT_EQ(cell, EVariant(12));
    cell += EVariant(3);
    cell /= EVariant(2);
    EXPECT_EQ(Text(cell), "8");  // 7.5, stored in a whole cell
    EXPECT_EQ(record[10], 0);
}

TEST(SlotCell, SharesTheTextThatIsStored) {
    Chaine::Body* slot = nullptr;
    Cell cell(TYPE_CHAINE, 4, Cell::Layout::Slot, &slot);
    EXPECT_TRUE(cell.IsMissing());
    const Chaine text("a text in a record");
    cell <<= EVariant(text);
    EXPECT_EQ(slot, text.GetBody());
    EVariant copy;
    copy = cell;
    copy = cell;
    EXPECT_EQ(text.GetBody()->share.load(), 2U);  // the text, the slot, the copy
    EXPECT_TRUE(copy.AsChaine().IsSameBody(text));
    cell <<= EVariant("");
    EXPECT_FALSE(cell.IsMissing());
    cell <<= EVariant(42);
    EXPECT_EQ(Text(cell), "42");
    cell.SetMissing();
    EXPECT_EQ(slot, nullptr);
    copy = EVariant();
    EXPECT_EQ(text.GetBody()->share.load(), 0U);
}

TEST(SizedCell, IsCutPaddedAndNeverMissing) {
    char record[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
    Cell padded(TYPE_STR, 5, Cell::Layout::Sized, record);
    padded <<= EVariant("ab");
    EXPECT_EQ(std::string(record, 8), "ab   ###");
    EXPECT_EQ(Text(EVariant(padded)), "ab");
    padded <<= EVariant("abcdefgh");
    EXPECT_EQ(std::string(record, 8), "abcde###");
    padded.SetMissing();
    EXPECT_EQ(Text(padded), "");
    Cell ended(TYPE_ZSTRING, 5, Cell::Layout::Sized, record);
    ended <<= EVariant(Chaine("a\0b", 3));
    EXPECT_EQ(std::string(record, 6), std::string("a\0\0\0\0#", 6));
    Cell nowhere(TYPE_LONG, 4, Cell::Layout::Plain, nullptr);
    nowhere <<= EVariant(5);
    EXPECT_TRUE(nowhere.IsMissing());
    EXPECT_EQ(EVariant(nowhere).Type(), TYPE_LONG);
}

TEST(WalkOverRecords, AllocatesNothing) {
    std::int64_t number = 7;
    const Chaine text("a text that is longer than what lies inside of a value");
    Chaine::Body* slot = text.GetBody();
    const Cell numberCell(TYPE_INT64, 8, Cell::Layout::Plain, &number);
    const Cell textCell(TYPE_CHAINE, 4, Cell::Layout::Slot, &slot);
    EVariant sum = EVariant::FromInt64(0);
    EVariant last;
    EVariant padded = EVariant::Missing(TYPE_STR, 23);
    const test::AllocationCount count;
    for (number = 0; number < 100; ++number) {
        sum += EVariant(numberCell);
        last = numberCell;
        last = textCell;
        EVariant moved(std::move(last));
        last = moved;
        padded <<= EVariant(numberCell);
    }
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(Text(sum), "4950");
    EXPECT_EQ(Text(padded), "99");
    EXPECT_EQ(text.GetBody()->share.load(), 1U);
}

TEST(HeapValue, IsCopiedDeeply) {
    EVariant first = Of(TYPE_ZSTRING, "a text of more than what is kept inside", 60);
    EVariant second(first);
    const void* place = second.GetBuffer();
    EXPECT_NE(place, first.GetBuffer());
    first <<= EVariant("other");
    EXPECT_EQ(Text(second), "a text of more than what is kept inside");
    second = first;
    EXPECT_EQ(second.GetBuffer(), place);  // in place: the size is the same
    const EVariant moved(std::move(second));
    EXPECT_EQ(moved.GetBuffer(), place);
    EXPECT_EQ(Text(moved), "other");
}

// -------------------------------------------------------------------------------------- Arithmetic

struct Case {
    EVariant left, right;
    std::uint16_t type;
    const char* text;
};

TEST(Sums, AreWideAndTyped) {
    const EVariant most = EVariant::FromInt64(INT64_MAX);
    for (const Case& sum : test::Rows(
             Case{1, 2, TYPE_INT64, "3"}, Case{most, 1, TYPE_UINT64, "9223372036854775808"},
             Case{Raw(TYPE_UINT64, ~0ULL), 1, TYPE_UINT64, "18446744073709551615"},
             Case{Raw(TYPE_INT64, INT64_MIN), -1, TYPE_INT64, "-9223372036854775808"},
             Case{1, Real(0.5), TYPE_DOUBLE, "1.5"},
             Case{Of(TYPE_DECIMAL32, "0.25"), 1, TYPE_DECIMAL64, "1.25"},
             Case{Of(TYPE_DECIMAL32, "0.25"), Of(TYPE_CURRENCY, "0.0001"), TYPE_CURRENCY, "0.2501"},
             Case{Raw(TYPE_CURRENCY, INT64_MAX), 1, TYPE_CURRENCY, "922337203685477.5807"},
             Case{Of(TYPE_DATE, "2024-02-28"), 2, TYPE_DATE, "2024-03-01"},
             Case{-1, Of(TYPE_DATE, "2024-03-01"), TYPE_DATE, "2024-02-29"},
             Case{Of(TYPE_DATE, "9999-12-31"), 1, TYPE_DATE, "10000-01-01"},
             Case{Of(TYPE_DATE, "214748-12-30"), 2, TYPE_DATE, "214748-12-31"},
             Case{Of(TYPE_DATE, "12024-03-01"), -1, TYPE_DATE, "12024-02-29"},
             Case{Of(TYPE_TIMESTAMP, "2024-02-28"), 1500, TYPE_TIMESTAMP,
                  "2024-02-28 00:00:01.500"},
             Case{Of(TYPE_TIME, "01:00:00"), Of(TYPE_TIMESTAMP, "2024-02-28"), TYPE_TIMESTAMP,
                  "2024-02-28 01:00:00"},
             Case{Of(TYPE_TIME, "23:00:00"), Of(TYPE_TIME, "02:00:00"), TYPE_TIME, "25:00:00"},
             Case{"a", 1, TYPE_CHAINE, "a1"}, Case{Of(TYPE_STR, "a", 4), "b", TYPE_CHAINE, "ab"},
             Case{EVariant::Missing(TYPE_LONG, 4), 5U, TYPE_UINT32, "5"},
             Case{5U, {}, TYPE_UINT32, "5"}, Case{Of(TYPE_BLOB, "x"), 1, TYPE_BLOB, ""})) {
        const EVariant result = sum.left + sum.right;
        EXPECT_EQ(result.Type(), sum.type) << sum.text;
        EXPECT_EQ(Text(result), sum.text);
    }
}

TEST(RunningSum, StaysInItsCellAndClamps) {
    EVariant sum = EVariant::FromInt64(INT64_MAX - 1);
    sum += EVariant::FromInt64(5);
    EXPECT_EQ(sum.Type(), TYPE_INT64);
    EXPECT_EQ(sum.AsInt64(), INT64_MAX);
    sum = EVariant::FromInt64(INT64_MIN);
    sum += EVariant::FromInt64(-5);
    EXPECT_EQ(sum.AsInt64(), INT64_MIN);
    sum = Real(0.5);
    sum += Real(0.25);
    EXPECT_EQ(Text(sum), "0.75");
    std::int64_t number = 3;
    Cell cell(TYPE_INT64, 8, Cell::Layout::Plain, &number);
    sum = EVariant::FromInt64(1);
    sum += cell;
    cell.SetMissing();
    sum += cell;
    EXPECT_EQ(Text(sum), "4");
    sum = EVariant();
    sum += EVariant(3);
    sum += EVariant::Missing(TYPE_LONG, 4);
    EXPECT_EQ(sum.Type(), TYPE_LONG);
    sum += EVariant(4);
    EXPECT_EQ(sum.Type(), TYPE_INT64);
    EXPECT_EQ(Text(sum), "7");
}

TEST(Quotients, KeepFractionsAndScales) {
    for (const Case& quotient :
         {Case{3, 2U, TYPE_DOUBLE, "1.5"}, Case{Real(1), 4, TYPE_DOUBLE, "0.25"},
          Case{Of(TYPE_CURRENCY, "1"), 3, TYPE_CURRENCY, "0.3333"},
          Case{Of(TYPE_DECIMAL32, "0.05"), 2, TYPE_DECIMAL32, "0.02"},
          Case{Of(TYPE_DECIMAL32, "0.15"), -2, TYPE_DECIMAL32, "-0.08"},
          Case{Of(TYPE_DECIMAL64, "1"), Of(TYPE_CURRENCY, "0.5"), TYPE_DECIMAL64, "2.00"},
          Case{Raw(TYPE_DECIMAL32, INT32_MIN), Of(TYPE_DECIMAL32, "-0.01"), TYPE_DECIMAL32,
               "21474836.47"},
          Case{Of(TYPE_DECIMAL64, "1"), Real(8), TYPE_DECIMAL64, "0.12"},
          Case{3, 0, TYPE_LONG, "3"}, Case{3, Real(0), TYPE_LONG, "3"},
          Case{3, "2", TYPE_LONG, "3"}, Case{"3", 2, TYPE_CHAINE, "3"},
          Case{Of(TYPE_DATE, "2024-01-01"), 2, TYPE_DATE, "2024-01-01"},
          Case{EVariant::Missing(TYPE_LONG, 4), 2, TYPE_LONG, "(missing)"}}) {
        EVariant value(quotient.left);
        value /= quotient.right;
        EXPECT_EQ(value.Type(), quotient.type) << quotient.text;
        EXPECT_EQ(Text(value), quotient.text);
    }
}

}  // namespace
}  // namespace etabulon
