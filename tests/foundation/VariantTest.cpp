#include "etabulon/foundation/EVariant.h"
#include "support/AllocationCount.h"

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

// --- Order and hash ----------------------------------------------------------------------------

std::vector<EVariant> TrickyValues() {
    std::vector<EVariant> pool = {EVariant(),       EVariant::Missing(TYPE_LONG, 4),
                                  EVariant(""),     EVariant("a"),
                                  EVariant("A"),    EVariant("a "),
                                  Chaine("a\0", 2), EVariant("\xE9"),
                                  EVariant(0),      EVariant(0U),
                                  EVariant(-1),     EVariant(1UL)};
    std::vector<double> numbers = {kNaN,  -kNaN,  kInfinity, -kInfinity, 0.0, -0.0,
                                   0.5,   -0.5,   0.1,       0.0625,     1.0, -1.0,
                                   1e300, 5e-324, -5e-324,   0.3};
    numbers.insert(numbers.end(), {9007199254740992.0, 9007199254740993.0, 9223372036854775807.0,
                                   -9223372036854775808.0, 18446744073709551615.0,
                                   4503599627370496.5, 92233720368547.75});
    for (const double number : numbers) {
        pool.push_back(EVariant::FromDouble(number));
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
    const auto told = [](const EVariant& value) {
        return std::to_string(value.Type()) + ":" + Text(value);
    };
    const auto of = [&](std::uint16_t type, const char* text) { return told(Of(type, text)); };
    EXPECT_EQ(told(true), of(TYPE_LONG, "1"));
    EXPECT_EQ(told('a'), of(TYPE_LONG, "97"));
    EXPECT_EQ(told(static_cast<short>(-3)), of(TYPE_LONG, "-3"));
    EXPECT_EQ(told(static_cast<unsigned short>(3)), of(TYPE_LONG, "3"));
    EXPECT_EQ(told(3000000000U), of(TYPE_UINT32, "3000000000"));
    EXPECT_EQ(told(5000000000UL), of(TYPE_UINT32, "4294967295"));
    EXPECT_EQ(told(5000000000L), of(TYPE_INT64, "5000000000"));
    EXPECT_EQ(told(-5000000000LL), of(TYPE_INT64, "-5000000000"));
    EXPECT_EQ(told(18446744073709551615ULL), of(TYPE_UINT64, "18446744073709551615"));
    EXPECT_EQ(told(0.5F), of(TYPE_DOUBLE, "0.5"));
    EXPECT_EQ(told(0.25), of(TYPE_DOUBLE, "0.25"));
    EXPECT_EQ(told(0.125L), of(TYPE_DOUBLE, "0.125"));
    EXPECT_EQ(told(std::string("a\0b", 3)), of(TYPE_CHAINE, "") + std::string("a\0b", 3));
    EXPECT_EQ(told(std::string_view("view")), of(TYPE_CHAINE, "view"));
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

TEST(Values, CompareByClassAndExactly) {
    const EVariant big = EVariant::FromInt64(9007199254740993);  // 2^53 + 1
    EXPECT_GT(big, EVariant::FromDouble(9007199254740992.0));
    EXPECT_LT(big, EVariant::FromDouble(9007199254740994.0));
    EXPECT_LT(EVariant::FromDouble(kNaN), EVariant::FromDouble(-kInfinity));
    EXPECT_EQ(EVariant::FromDouble(kNaN), Raw(TYPE_FLOAT, std::nanf("3")));
    EXPECT_EQ(EVariant("9007199254740993").AsInt64(), big.AsInt64());
    EXPECT_EQ(EVariant::FromDouble(0.5), Of(TYPE_DECIMAL32, "0.50"));
    EXPECT_EQ(Of(TYPE_CURRENCY, "0.1"), Of(TYPE_DECIMAL64, "0.1"));
    EXPECT_GT(EVariant::FromDouble(0.1), Of(TYPE_DECIMAL64, "0.1"));  // what 0.1 really is
    EXPECT_EQ(EVariant(1), Raw<std::uint8_t>(TYPE_BOOL, 1));
    EXPECT_GT(Raw(TYPE_UINT64, ~0ULL), EVariant::FromInt64(INT64_MAX));
    EXPECT_LT(EVariant::FromDouble(1e300), Of(TYPE_TIME, "00:00:00"));
    EXPECT_LT(Of(TYPE_TIME, "23:00:00"), Of(TYPE_DATE, "0001-01-01"));
    EXPECT_LT(Of(TYPE_TIMESTAMP, "9999-12-31"), EVariant(""));
    EXPECT_LT(EVariant("\xFF"), Of(TYPE_BLOB, "a"));
    EXPECT_EQ(Of(TYPE_DATE, "2024-02-29"), Of(TYPE_TIMESTAMP, "2024-02-29 00:00:00"));
    EXPECT_EQ(EVariant(), EVariant::Missing(TYPE_CHAINE, 4));
}

TEST(FoldingText, ComparesFoldedWithAnyText) {
    const EVariant folding = Of(TYPE_NC_CHAINE, "Abc");
    EXPECT_EQ(folding, EVariant("aBC"));
    EXPECT_EQ(Of(TYPE_STR, "abC", 9), folding);
    EXPECT_EQ(folding.Hash(), Of(TYPE_STR, "abC", 9).Hash());
    EXPECT_NE(EVariant("Abc"), EVariant("aBC"));
    EXPECT_LT(Of(TYPE_NC_ZSTRING, "a\xE9", 4), EVariant("a"));  // signed bytes
}

// --- Text and conversions ----------------------------------------------------------------------

using Examples = std::vector<std::pair<std::uint16_t, std::vector<const char*>>>;

TEST(ValuesAsText, ReadBackAsThemselves) {
    const Examples examples = {
        {TYPE_INT8, {"-128"}},
        {TYPE_UINT8, {"255"}},
        {TYPE_INT16, {"-32768"}},
        {TYPE_UINT16, {"65535"}},
        {TYPE_LONG, {"-2147483648"}},
        {TYPE_INT, {"2147483647"}},
        {TYPE_UINT32, {"4294967295"}},
        {TYPE_INT64, {"-9223372036854775808", "9223372036854775807"}},
        {TYPE_UINT64, {"18446744073709551615"}},
        {TYPE_BOOL, {"255"}},
        {TYPE_OLDBOOL, {"0"}},
        {TYPE_DOUBLE, {"0.1", "1.7976931348623157e+308", "5e-324", "-0", "nan", "-inf"}},
        {TYPE_FLOAT, {"0.1", "3.4028235e+38", "inf"}},
        {TYPE_DECIMAL32, {"-21474836.48"}},
        {TYPE_DECIMAL64, {"92233720368547758.07", "-0.05"}},
        {TYPE_CURRENCY, {"-922337203685477.5808"}},
        {TYPE_DATE, {"0001-01-01", "2000-02-29", "9999-12-31", "10000-01-01", "214748-12-31"}},
        {TYPE_TIME, {"00:00:00", "23:59:59.999", "-596:31:23.648"}},
        {TYPE_TIMESTAMP,
         {"1999-12-31 23:59:59.001", "-0001-03-01 12:00:00", "12024-02-29 12:00:00"}},
        {TYPE_GUID, {"00112233-4455-6677-8899-aabbccddeeff"}},
        {TYPE_CHAINE, {" any\ttext "}},
        {TYPE_BLOBTEXT, {""}},
        {TYPE_STR, {" left kept"}},
        {TYPE_ZSTRING, {"blanks kept  "}}};
    for (const auto& [type, texts] : examples) {
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
    const Examples examples = {
        {TYPE_LONG, {"", "  ", "1x", "+1", "0x10", "nan"}},       {TYPE_DOUBLE, {"1,5", "1e999"}},
        {TYPE_DATE, {"2023-02-29", "2024-2-1", "214749-01-01"}},  {TYPE_TIME, {"12:60:00"}},
        {TYPE_TIMESTAMP, {"2024-01-01 24:00:00", "2024-01-01T"}}, {TYPE_GUID, {"0011"}}};
    for (const auto& [type, texts] : examples) {
        for (const char* const text : texts) {
            EXPECT_TRUE(Of(type, text).IsMissing()) << text;
        }
    }
    EXPECT_EQ(Text(Of(TYPE_LONG, " \t42 ")), "42");
    EXPECT_EQ(Text(Of(TYPE_TIMESTAMP, "2024-01-01T10:00:00.1239")), "2024-01-01 10:00:00.123");
}

TEST(StoredValues, AreConvertedClampedAndCut) {
    EXPECT_EQ(Stored(EVariant(300), TYPE_INT8), "127");
    EXPECT_EQ(Stored(EVariant(-1), TYPE_UINT64), "0");
    EXPECT_EQ(Stored(EVariant(-1), TYPE_BOOL), "0");
    EXPECT_EQ(Stored(EVariant("99999999999999999999"), TYPE_INT64), "9223372036854775807");
    EXPECT_EQ(Stored(EVariant::FromDouble(-1e30), TYPE_INT64), "-9223372036854775808");
    EXPECT_EQ(Stored(EVariant::FromDouble(kInfinity), TYPE_LONG), "2147483647");
    EXPECT_EQ(Stored(EVariant::FromDouble(kNaN), TYPE_LONG), "(missing)");
    EXPECT_EQ(Stored(EVariant::FromDouble(kNaN), TYPE_CURRENCY), "(missing)");
    EXPECT_EQ(Stored(EVariant::FromDouble(2.5), TYPE_LONG), "2");
    EXPECT_EQ(Stored(EVariant::FromDouble(-3.5), TYPE_LONG), "-4");
    EXPECT_EQ(Stored(EVariant::FromDouble(2.675), TYPE_DECIMAL64), "2.67");  // it lies below
    EXPECT_EQ(Stored(EVariant::FromDouble(0.125), TYPE_DECIMAL64), "0.12");
    EXPECT_EQ(Stored(Of(TYPE_CURRENCY, "1.0050"), TYPE_DECIMAL32), "1.00");
    EXPECT_EQ(Stored(Of(TYPE_CURRENCY, "1.0150"), TYPE_DECIMAL32), "1.02");
    EXPECT_EQ(Stored(Of(TYPE_DECIMAL64, "1.50"), TYPE_LONG), "2");
    EXPECT_EQ(Stored(EVariant::FromDouble(1e300), TYPE_FLOAT), "3.4028235e+38");
    EXPECT_EQ(Stored(EVariant(20240229), TYPE_DATE), "2024-02-29");
    EXPECT_EQ(Stored(EVariant(20230229), TYPE_DATE), "(missing)");
    EXPECT_EQ(Stored(EVariant(120240229), TYPE_DATE), "12024-02-29");
    EXPECT_EQ(Stored(Of(TYPE_TIMESTAMP, "12024-02-29 13:00:00"), TYPE_DATE), "12024-02-29");
    EXPECT_EQ(Stored(Of(TYPE_TIMESTAMP, "214749-01-01"), TYPE_DATE), "(missing)");
    EXPECT_EQ(Stored(Of(TYPE_TIMESTAMP, "2024-02-29 13:00:00"), TYPE_DATE), "2024-02-29");
    EXPECT_EQ(Stored(Of(TYPE_TIMESTAMP, "2024-02-29 13:00:00"), TYPE_TIME), "13:00:00");
    EXPECT_EQ(Stored(Of(TYPE_TIME, "13:00:00"), TYPE_DATE), "(missing)");
    EXPECT_EQ(Stored(Of(TYPE_DATE, "2024-02-29"), TYPE_LONG), "20240229");
    EXPECT_EQ(Stored(EVariant("long text"), TYPE_ZSTRING, 4), "long");
    EXPECT_EQ(Stored(EVariant(-12), TYPE_STR, 5), "-12");
    EXPECT_EQ(Stored(Of(TYPE_STR, "in place", 10), TYPE_BLOBTEXT), "in place");
    EXPECT_EQ(Stored(Of(TYPE_STR, "in place", 10), TYPE_BLOB), Text(Of(TYPE_BLOB, "in place")));
    EXPECT_EQ(Stored(EVariant("Été ÿ €"), TYPE_UP_CHAINE), "ÉTÉ ÿ €");
    EXPECT_EQ(Stored(EVariant("abc"), TYPE_UP_STR, 2), "AB");
    EXPECT_EQ(Stored(EVariant(), TYPE_CHAINE), "(missing)");
    EVariant empty;
    empty <<= EVariant(7);
    EXPECT_EQ(empty.Type(), TYPE_LONG);
    EXPECT_EQ(EVariant::FromDouble(-5).AsUInt64(), 0U);
    EXPECT_EQ(EVariant(" 12 ").AsUInt64(), 12U);
    EXPECT_EQ(Raw(TYPE_UINT64, ~0ULL).AsInt64(), INT64_MAX);
    EXPECT_EQ(Of(TYPE_DECIMAL32, "-1.25").AsDouble(), -1.25);
}

TEST(InitialisedValue, HasItsNaturalSizeAndIsNotMissing) {
    EVariant value;
    EXPECT_TRUE(value.Init(TYPE_LONG, 0, nullptr));
    EXPECT_EQ(value.Size(), 4);
    EXPECT_EQ(Text(value), "0");
    EXPECT_TRUE(value.Init(TYPE_LONG, 5, nullptr));
    EXPECT_EQ(value.Size(), 4);
    const unsigned char marked[5] = {7, 0, 0, 0, 1};
    EXPECT_TRUE(value.Init(TYPE_LONG, 5, marked));
    EXPECT_TRUE(value.IsMissing());
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
    EXPECT_EQ(FamilyOf(TYPE_UP_CHAINE), GenericText);
    EXPECT_EQ(FamilyOf(static_cast<std::int32_t>(0xFFFFFF99U)), GenericUnknown);
    EXPECT_EQ(FamilyOf(TYPE_BLOB), GenericUnknown);
    EXPECT_EQ(FamilyOf(TYPE_BLOBTEXT), GenericText);
    EXPECT_EQ(FamilyOf(TYPE_BLOBSOUND), GenericMedia);
    EXPECT_EQ(FamilyOf(TYPE_BOOL), GenericNumeric);
    EXPECT_EQ(FamilyOf(3), GenericUnknown);
}

// --- Views -------------------------------------------------------------------------------------

TEST(PlainCell, KeepsMissingAsItsReservedImageAndMovesAPresentOne) {
    struct EPlain {
        EVariant reserved;  // a present value with the reserved image
        const char* read;
    };
    const std::vector<EPlain> plains = {
        {Raw(TYPE_INT8, std::int8_t{INT8_MIN}), "-127"},
        {Raw(TYPE_UINT16, std::uint16_t{UINT16_MAX}), "65534"},
        {Raw(TYPE_LONG, INT32_MIN), "-2147483647"},
        {Raw(TYPE_INT64, INT64_MIN), "-9223372036854775807"},
        {Raw(TYPE_UINT64, UINT64_MAX), "18446744073709551614"},
        {Raw(TYPE_BOOL, std::uint8_t{255}), "254"},
        {Raw(TYPE_DECIMAL32, INT32_MIN), "-21474836.47"},
        {Raw(TYPE_TIME, std::int32_t{-1}), "-00:00:00.002"},
        {Raw(TYPE_DATE, std::int32_t{0}), "0000-00-01"},
        {Raw(TYPE_DOUBLE, std::uint64_t{0xFFF8E7AB00000001}), "nan"},
        {Raw(TYPE_FLOAT, std::uint32_t{0xFFC0E7AB}), "nan"}};
    for (const EPlain& plain : plains) {
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

// --- Arithmetic --------------------------------------------------------------------------------

TEST(Sums, AreWideAndTyped) {
    struct ESum {
        EVariant left;
        EVariant right;
        std::uint16_t type;
        const char* text;
    };
    const EVariant most = EVariant::FromInt64(INT64_MAX);
    const std::vector<ESum> sums = {
        {EVariant(1), EVariant(2), TYPE_INT64, "3"},
        {most, EVariant(1), TYPE_UINT64, "9223372036854775808"},
        {Raw(TYPE_UINT64, ~0ULL), EVariant(1), TYPE_UINT64, "18446744073709551615"},
        {Raw(TYPE_INT64, INT64_MIN), EVariant(-1), TYPE_INT64, "-9223372036854775808"},
        {EVariant(1), EVariant::FromDouble(0.5), TYPE_DOUBLE, "1.5"},
        {Of(TYPE_DECIMAL32, "0.25"), EVariant(1), TYPE_DECIMAL64, "1.25"},
        {Of(TYPE_DECIMAL32, "0.25"), Of(TYPE_CURRENCY, "0.0001"), TYPE_CURRENCY, "0.2501"},
        {Raw(TYPE_CURRENCY, INT64_MAX), EVariant(1), TYPE_CURRENCY, "922337203685477.5807"},
        {Of(TYPE_DATE, "2024-02-28"), EVariant(2), TYPE_DATE, "2024-03-01"},
        {EVariant(-1), Of(TYPE_DATE, "2024-03-01"), TYPE_DATE, "2024-02-29"},
        {Of(TYPE_DATE, "9999-12-31"), EVariant(1), TYPE_DATE, "10000-01-01"},
        {Of(TYPE_DATE, "214748-12-30"), EVariant(2), TYPE_DATE, "214748-12-31"},
        {Of(TYPE_DATE, "12024-03-01"), EVariant(-1), TYPE_DATE, "12024-02-29"},
        {Of(TYPE_TIMESTAMP, "2024-02-28"), EVariant(1500), TYPE_TIMESTAMP,
         "2024-02-28 00:00:01.500"},
        {Of(TYPE_TIME, "01:00:00"), Of(TYPE_TIMESTAMP, "2024-02-28"), TYPE_TIMESTAMP,
         "2024-02-28 01:00:00"},
        {Of(TYPE_TIME, "23:00:00"), Of(TYPE_TIME, "02:00:00"), TYPE_TIME, "25:00:00"},
        {EVariant("a"), EVariant(1), TYPE_CHAINE, "a1"},
        {Of(TYPE_STR, "a", 4), EVariant("b"), TYPE_CHAINE, "ab"},
        {EVariant::Missing(TYPE_LONG, 4), EVariant(5U), TYPE_UINT32, "5"},
        {EVariant(5U), EVariant(), TYPE_UINT32, "5"},
        {Of(TYPE_BLOB, "x"), EVariant(1), TYPE_BLOB, ""}};
    for (const ESum& sum : sums) {
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
    sum = EVariant::FromDouble(0.5);
    sum += EVariant::FromDouble(0.25);
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
    struct EQuotient {
        EVariant left;
        EVariant right;
        std::uint16_t type;
        const char* text;
    };
    const std::vector<EQuotient> quotients = {
        {EVariant(3), EVariant(2U), TYPE_DOUBLE, "1.5"},
        {EVariant::FromDouble(1), EVariant(4), TYPE_DOUBLE, "0.25"},
        {Of(TYPE_CURRENCY, "1"), EVariant(3), TYPE_CURRENCY, "0.3333"},
        {Of(TYPE_DECIMAL32, "0.05"), EVariant(2), TYPE_DECIMAL32, "0.02"},
        {Of(TYPE_DECIMAL32, "0.15"), EVariant(-2), TYPE_DECIMAL32, "-0.08"},
        {Of(TYPE_DECIMAL64, "1"), Of(TYPE_CURRENCY, "0.5"), TYPE_DECIMAL64, "2.00"},
        {Raw(TYPE_DECIMAL32, INT32_MIN), Of(TYPE_DECIMAL32, "-0.01"), TYPE_DECIMAL32,
         "21474836.47"},
        {Of(TYPE_DECIMAL64, "1"), EVariant::FromDouble(8), TYPE_DECIMAL64, "0.12"},
        {EVariant(3), EVariant(0), TYPE_LONG, "3"},
        {EVariant(3), EVariant::FromDouble(0), TYPE_LONG, "3"},
        {EVariant(3), EVariant("2"), TYPE_LONG, "3"},
        {EVariant("3"), EVariant(2), TYPE_CHAINE, "3"},
        {Of(TYPE_DATE, "2024-01-01"), EVariant(2), TYPE_DATE, "2024-01-01"},
        {EVariant::Missing(TYPE_LONG, 4), EVariant(2), TYPE_LONG, "(missing)"}};
    for (const EQuotient& quotient : quotients) {
        EVariant value(quotient.left);
        value /= quotient.right;
        EXPECT_EQ(value.Type(), quotient.type) << quotient.text;
        EXPECT_EQ(Text(value), quotient.text);
    }
}

}  // namespace
}  // namespace etabulon
