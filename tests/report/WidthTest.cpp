#include "etabulon/report/EReportScene.h"
#include "etabulon/report/EReportWidth.h"
#include "support/Table.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon::test {
namespace {

TEST(Widths, AreThoseOfWhatAReaderSees) {
    struct Case {
        const char* text;
        std::size_t width;
        std::size_t clusters;
        const char* what;
    };
    const Case cases[] = {
        {"", 0, 0, "nothing"},
        {"plain", 5, 5, "ASCII"},
        {"\u00e9", 1, 1, "a letter with its accent"},
        {"e\u0301x", 2, 2, "a letter and a combining accent"},
        {"\u4e2d\u6587", 4, 2, "ideographs"},
        {"\uff21\u3000", 4, 2, "full-width forms"},
        {"\uac00\u1100\u1161\u11a8", 4, 2, "Hangul, composed and of parts"},
        {"\u0915\u093f", 2, 1, "a mark that stands beside its letter"},
        {"\U0001F600!", 3, 2, "an emoji"},
        {"\u2764", 1, 1, "a heart as text"},
        {"\u2764\ufe0f", 2, 1, "the same as a picture"},
        {"1\ufe0f\u20e3", 2, 1, "a keycap"},
        {"1\ufe0f", 1, 1, "a digit whose style changes nothing"},
        {"\U0001F44D\U0001F3FD", 2, 1, "a thumb with a skin tone"},
        {"\U0001F469\u200d\U0001F469\u200d\U0001F467", 2, 1, "a family of three"},
        {"\U0001F1E9\U0001F1EA\U0001F1EB", 3, 2, "a flag, and a half one"},
        {"a\u200b\u200cb", 2, 4, "a blank of no width, and a non-joiner"},
        {"\u2068x\u2069", 1, 3, "isolates"},
        {"\xFF\xE4\xB8", 3, 3, "bytes that aren't UTF-8"},
        {"e\xCC", 2, 2, "half an accent"},
        {"\n\t", 0, 2, "control characters"},
    };
    for (const Case& each : cases) {
        const std::string text = each.text;
        EXPECT_EQ(ReportWidth(text), each.width) << each.what;
        std::size_t clusters = 0;
        for (std::string_view rest = text; !rest.empty(); ++clusters) {
            rest.remove_prefix(FirstCluster(rest).length);
        }
        EXPECT_EQ(clusters, each.clusters) << each.what;
    }
}

TEST(Widths, OfPicturesAndMarksAreThoseOfOneLetterInDrawingsToo) {
    const IReportFont& font = PlainReportFont();
    const auto width = [&font](const char* text) { return font.Width(text, 100, false); };
    EXPECT_EQ(width("e\u0301"), width("e"));
    EXPECT_EQ(width("\U0001F469\u200d\U0001F467"), width("\u6771"));
    EXPECT_EQ(width("\u05d0\u05b0"), width("\u05d0"));
    EXPECT_EQ(width("\u2068\u2069"), 0);
}

TEST(Widths, AreCutBetweenClusters) {
    const Table<std::string, std::size_t, std::size_t, std::size_t> cases = {
        {"abc", 2, 2, 2},
        {"\u4e2d\u6587", 3, 3, 2},
        {"e\u0301\u0302x", 1, 5, 1},
        {"\U0001F469\u200d\U0001F467x", 1, 0, 0},
        {"\U0001F469\u200d\U0001F467x", 2, 11, 2},
        {"", 3, 0, 0}};
    for (const auto& [text, width, length, taken] : cases) {
        const EReportCluster front = FrontOfWidth(text, width);
        EXPECT_EQ(front.length, length) << text;
        EXPECT_EQ(front.width, taken) << text;
    }
}

TEST(Directions, AreThoseOfLettersOnly) {
    const Table<std::string, bool> cases = {
        {"plain 12", false},  {"\u4e2d \u00e9 \U0001F600", false},
        {"a \u05d0", true},   {"\u0645", true},
        {"\u0661", false},  // an Arabic digit
        {"\U0001E900", true}, {"\u200f", true},
        {"\xD7", false}};
    for (const auto& [text, isThere] : cases) {
        EXPECT_EQ(HasRightToLeft(text), isThere) << text;
    }
}

}  // namespace
}  // namespace etabulon::test
