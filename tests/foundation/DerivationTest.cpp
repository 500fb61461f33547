#include "etabulon/foundation/EDerivation.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon {
namespace {

using Kind = EDerivation::Kind;

std::string Made(const EDerivation& derivation, std::uint16_t type, const char* text) {
    const EVariant made = derivation.Of(EVariant::FromText(type, 0, text));
    return made.IsMissing() ? "(missing)" : made.AsChaine().c_str();
}

struct DateCase {
    const char* text;
    const char* year;
    const char* quarter;
    const char* month;
    const char* week;
    const char* weekday;
    const char* day;
};

TEST(PartsOfDates, AreThoseOfTheCalendarAndOfISOWeeks) {
    for (const auto& [text, year, quarter, month, week, weekday, day] :
         {DateCase{"2024-02-29", "2024", "1", "2", "9", "4", "29"},
          DateCase{"2020-12-31", "2020", "4", "12", "53", "4", "31"},
          DateCase{"2021-01-03", "2021", "1", "1", "53", "7", "3"},
          DateCase{"2021-01-04", "2021", "1", "1", "1", "1", "4"},
          DateCase{"2024-12-30", "2024", "4", "12", "1", "1", "30"},
          DateCase{"2000-06-30", "2000", "2", "6", "26", "5", "30"},
          DateCase{"0001-01-01", "1", "1", "1", "1", "1", "1"},
          DateCase{"", "(missing)", "(missing)", "(missing)", "(missing)", "(missing)",
                   "(missing)"}}) {
        for (const std::uint16_t type : {TYPE_DATE, TYPE_TIMESTAMP}) {
            EXPECT_EQ(Made(EDerivation(Kind::Year), type, text), year) << text;
            EXPECT_EQ(Made(EDerivation(Kind::Quarter), type, text), quarter) << text;
            EXPECT_EQ(Made(EDerivation(Kind::Month), type, text), month) << text;
            EXPECT_EQ(Made(EDerivation(Kind::Week), type, text), week) << text;
            EXPECT_EQ(Made(EDerivation(Kind::Weekday), type, text), weekday) << text;
            EXPECT_EQ(Made(EDerivation(Kind::Day), type, text), day) << text;
        }
    }
    EXPECT_EQ(Made(EDerivation(Kind::Hour), TYPE_TIMESTAMP, "1960-05-01 23:59:59.999"), "23");
    EXPECT_EQ(Made(EDerivation(Kind::Day), TYPE_TIMESTAMP, "0001-01-02 00:00:00"), "2");
    EXPECT_EQ(Made(EDerivation(Kind::Hour), TYPE_TIME, "00:30:00"), "0");
    EXPECT_EQ(Made(EDerivation(Kind::Hour), TYPE_DATE, "2024-02-29"), "(missing)");
    for (const std::int32_t noDay : {20240230, 20230229, 20240431, 20241301, 20240100, -20240101}) {
        EVariant date;
        ASSERT_TRUE(date.Init(TYPE_DATE, 4, &noDay));
        EXPECT_TRUE(EDerivation(Kind::Year).Of(date).IsMissing()) << noDay;
        EVariant cell(1);
        EDerivation(Kind::Month).StoreOf(date, cell);
        EXPECT_TRUE(cell.IsMissing()) << noDay;
    }
}

TEST(GroupsOfNumbers, BeginAtMultiplesOfTheirWidthAndHoldTheirBorders) {
    EXPECT_EQ(Made(EDerivation::Bin(1000), TYPE_INT64, "999"), "0");
    EXPECT_EQ(Made(EDerivation::Bin(1000), TYPE_INT64, "1000"), "1000");
    EXPECT_EQ(Made(EDerivation::Bin(1000), TYPE_LONG, "-1"), "-1000");
    EXPECT_EQ(Made(EDerivation::Bin(10), TYPE_INT64, "-9223372036854775808"),
              "-9223372036854775808");
    EXPECT_EQ(Made(EDerivation::Bin(2.5), TYPE_LONG, "7"), "5");
    EXPECT_EQ(Made(EDerivation::Bin(10), TYPE_DECIMAL64, "19.99"), "10");
    EXPECT_EQ(Made(EDerivation::Bin(10), TYPE_DOUBLE, "nan"), "nan");
    EXPECT_EQ(Made(EDerivation::Bin(10), TYPE_CHAINE, "7"), "(missing)");
    for (int hundredths = -300; hundredths <= 300; ++hundredths) {
        const std::string text = std::to_string(hundredths / 100.0);
        const int tenths = hundredths / 10 - (hundredths % 10 < 0 ? 1 : 0);
        for (const std::uint16_t type : {TYPE_DECIMAL64, TYPE_DOUBLE}) {
            EXPECT_EQ(EDerivation::Bin(0.1).Of(EVariant::FromText(type, 0, Chaine(text))),
                      EVariant::FromDouble(tenths / 10.0))
                << text;
            EXPECT_EQ(EDerivation::Bin(0.01).Of(EVariant::FromText(type, 0, Chaine(text))),
                      EVariant::FromDouble(hundredths / 100.0));
        }
    }
    EXPECT_EQ(Made(EDerivation::Bin(1e-320), TYPE_DOUBLE, "7"), "7");
    EXPECT_EQ(Made(EDerivation::Bin(10), TYPE_DOUBLE, "inf"), "inf");
    EXPECT_EQ(Made(EDerivation::Bins(-1e308, 1e308, 2), TYPE_DOUBLE, "0.5"), "0");
    // Numbers far from 0, where a quotient is rounded by a large part of a group.
    EXPECT_EQ(EDerivation::Bin(1).Of(EVariant::FromDouble(600000000000.7)),
              EVariant::FromDouble(600000000000));
    EXPECT_EQ(EDerivation::Bin(0.001).Of(EVariant::FromDouble(1700000000.0007)),
              EVariant::FromDouble(1700000000));
    EXPECT_EQ(Made(EDerivation::Bin(0.001), TYPE_DOUBLE, "1e22"), "1e+22");
    EXPECT_EQ(EDerivation::Bins(1e20, 1e20, 10).Of(EVariant::FromDouble(1e20)),
              EVariant::FromDouble(1e20));
    EXPECT_EQ(Made(EDerivation::Bins(-1e308, 1e308, 1), TYPE_DOUBLE, "0"), "-1e+308");
    const EDerivation thirds = EDerivation::Bins(0, 9, 3);
    for (const auto& [number, group] : {std::pair{0.0, 0.0},
                                        {2.9, 0.0},
                                        {3.0, 3.0},
                                        {8.9, 6.0},
                                        {9.0, 6.0},
                                        {-1.0, 0.0},
                                        {10.0, 6.0}}) {
        EXPECT_EQ(thirds.Of(EVariant::FromDouble(number)), EVariant::FromDouble(group)) << number;
    }
}

TEST(FirstLetters, AreCharacters) {
    EXPECT_EQ(Made(EDerivation::First(1), TYPE_CHAINE, "\xC3\x89va"), "\xC3\x89");
    EXPECT_EQ(Made(EDerivation::First(2), TYPE_CHAINE, "\xF0\x9F\x98\x80x!"), "\xF0\x9F\x98\x80x");
    EXPECT_EQ(Made(EDerivation::First(2), TYPE_CHAINE, "\xC3(a"), "\xC3(");
    EXPECT_EQ(Made(EDerivation::First(9), TYPE_CHAINE, "ab"), "ab");
    EXPECT_EQ(Made(EDerivation::First(1), TYPE_LONG, "12"), "(missing)");
}

}  // namespace
}  // namespace etabulon
