#include "XlsxText.h"
#include "etabulon/report/EReportXlsx.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <optional>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

struct Sink final : EReportSink {
    void Append(std::string_view more) override { bytes += more; }
    void Fail(std::string_view reason) override { failure = reason; }
    void Note(std::string_view sentence) override { note = sentence; }
    [[nodiscard]] bool IsBroken() const noexcept override { return !failure.empty(); }
    std::string bytes;
    std::string failure;
    std::string note;
};

struct Report {
    std::string bytes;
    std::string failure;
    std::string note;
};

/// Writes a sheet of one column; its cells are texts or numbers.
Report Written(const std::vector<EReportCell>& cells) {
    Sink sink;
    EReportXlsxWriter writer(sink);
    writer.Begin(std::vector<EReportColumn>{{"n", true}});
    for (const EReportCell& cell : cells) {
        writer.Cell(cell);
        writer.EndRecord();
    }
    writer.Finish(/*isWhole=*/true);
    return {sink.bytes, sink.failure, sink.note};
}

TEST(Spreadsheet, RefusesWhatItCanNotHoldAndGivesNoBytes) {
    const Report fits = Written({EReportCellMaker::Of(std::string_view(std::string(32'767, 'x')))});
    EXPECT_EQ(fits.failure, "");
    EXPECT_TRUE(fits.bytes.starts_with("PK"));
    // Two units of UTF-16 each, and seven characters for a control character.
    std::string wide;
    for (int count = 0; count < 16'384; ++count) {
        wide += "\xF0\x9F\x98\x80";
    }
    for (const std::string& text : {std::string(32'768, 'x'), wide, std::string(4'682, '\x01')}) {
        const Report sink = Written({EReportCellMaker::Of(std::string_view(text))});
        EXPECT_NE(sink.failure.find("at most 32,767 characters; the text of column 'n' in row 2"),
                  std::string::npos)
            << sink.failure;
        EXPECT_EQ(sink.bytes, "");
    }
    Sink columns;
    EReportXlsxWriter writer(columns);
    writer.Begin(std::vector<EReportColumn>(16'385, EReportColumn{"n"}));
    writer.Finish(/*isWhole=*/true);
    EXPECT_EQ(columns.failure, "a spreadsheet has at most 16,384 columns, not 16385");
}

TEST(Spreadsheet, HasAMostNumberOfRows) {
    const std::vector<EReportCell> most(1'048'575, EReportCellMaker::Of(true));
    EXPECT_EQ(Written(most).failure, "");
    std::vector<EReportCell> more = most;
    more.push_back(more.front());
    const Report sink = Written(more);
    EXPECT_NE(sink.failure.find("at most 1,048,576 rows"), std::string::npos) << sink.failure;
    EXPECT_EQ(sink.bytes, "");
}

TEST(Spreadsheet, OnAFullDiskFails) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    // So small that the rows' own file is cut, and so that the zip's is.
    for (const rlim_t size : {20'000U, 150'000U, 300'000U}) {
        const rlimit tight{size, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
        const std::vector<EReportCell> cells(5'000, EReportCellMaker::Of(std::string_view("text")));
        const Report sink = Written(cells);
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_NE(sink.failure, "") << size;
        EXPECT_EQ(sink.bytes, "") << size;
    }
    std::signal(SIGXFSZ, handler);
}

TEST(Spreadsheet, TellsOfNumbersThatItKeepsAsText) {
    EXPECT_EQ(Written({{EReportKind::Number, "9007199254740992", 0, EReportForm::Whole}}).note, "");
    EXPECT_EQ(Written({{EReportKind::Number, "9007199254740993", 0, EReportForm::Whole}}).note,
              "1 number is written as text: a spreadsheet's own can't tell all of their digits");
}

TEST(SpreadsheetNumbers, AreThoseThatADoubleHolds) {
    struct Case {
        const char* text;
        EReportForm form;
        std::optional<double> number;
    };
    const std::vector<Case> cases = {
        {"-9007199254740992", EReportForm::Whole, -9007199254740992.0},
        {"-9007199254740993", EReportForm::Whole, {}},
        {"18446744073709551615", EReportForm::Whole, {}},
        {"0.30000000000000004", EReportForm::Real, 0.30000000000000004},
        {"1.5e+300", EReportForm::Real, 1.5e300},
        {"123456789012.5000", EReportForm::Real, 123456789012.5},
        {"12345678901234567.8900", EReportForm::Real, {}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(detail::XlsxNumber(each.text, each.form), each.number) << each.text;
    }
}

TEST(SpreadsheetMoments, AreDaysFrom1900On) {
    struct Case {
        const char* text;
        EReportForm form;
        std::optional<double> days;
    };
    const std::vector<Case> cases = {
        {"1900-01-01", EReportForm::Date, 1},
        {"1900-02-28", EReportForm::Date, 59},
        {"1900-03-01", EReportForm::Date, 61},
        {"2001-02-09", EReportForm::Date, 36931},
        {"1899-12-31", EReportForm::Date, {}},
        {"2001-02-30", EReportForm::Date, {}},
        {"12:00:00", EReportForm::Time, 0.5},
        {"2001-02-09 06:00:00.000", EReportForm::DateTime, 36931.25},
        {"9999-12-31", EReportForm::Date, 2958465},
        {"", EReportForm::Date, {}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(detail::XlsxMoment(each.text, each.form), each.days) << each.text;
    }
}

}  // namespace
}  // namespace etabulon::test
