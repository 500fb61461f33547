#include "ChartNumbers.h"
#include "etabulon/report/EReportScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

using Kind = EReportChart::Kind;

TEST(Ticks, AreRoundNumbersAroundTheValues) {
    struct Case {
        double low;
        double high;
        std::vector<double> ticks;
    };
    const std::vector<Case> cases = {
        {105, 543, {100, 200, 300, 400, 500, 600}},
        {-3, 7, {-4, -2, 0, 2, 4, 6, 8}},
        {0, 0, {0, 0.2, 0.4, 0.6, 0.8, 1}},
        {97, 103, {96, 98, 100, 102, 104}},
        {5, 5, {2, 3, 4, 5, 6, 7, 8}},
    };
    for (const Case& each : cases) {
        const std::vector<double> ticks = detail::NiceTicks(each.low, each.high, 5).All();
        ASSERT_EQ(ticks.size(), each.ticks.size()) << each.low << " to " << each.high;
        for (std::size_t place = 0; place < ticks.size(); ++place) {
            EXPECT_NEAR(ticks[place], each.ticks[place], 1e-9);
        }
    }
}

TEST(Numbers, AreShownInGroups) {
    EXPECT_EQ(detail::ShownNumber(1234567.891, 2), "1,234,567.89");
    EXPECT_EQ(detail::ShownNumber(-1000, 0),
              "\xE2\x88\x92"
              "1,000");
    EXPECT_EQ(detail::ShownNumber(-100, 0),
              "\xE2\x88\x92"
              "100");
    EXPECT_EQ(detail::ShownNumber(-0.001, 1), "0.0");
    EXPECT_EQ(detail::ShownNumber(3e20, 0), "3e+20");
}

TEST(DateTicks, BeginYearsMonthsOrDays) {
    const auto texts = [](const char* first, const char* last) {
        std::string all;
        for (const auto& [at, text] :
             detail::DateTicks(*detail::DaysOf(first), *detail::DaysOf(last), 6)) {
            all += text + ' ';
        }
        return all;
    };
    EXPECT_EQ(texts("1990-05-01", "2002-03-01"), "1992 1994 1996 1998 2000 2002 ");
    EXPECT_EQ(texts("2000-11-15", "2001-04-10"), "2000-12 2001-01 2001-02 2001-03 2001-04 ");
    EXPECT_EQ(texts("2000-02-28", "2000-03-01"), "2000-02-28 2000-02-29 2000-03-01 ");
}

/// A chart with every trouble: long labels, missing, negative and huge values, one label or none.
EReportChart Troubled(Kind kind, std::size_t labels, std::size_t series, double factor) {
    EReportChart chart;
    chart.kind = kind;
    chart.title = std::string(200, 'W') + " by a very long name of a level";
    chart.labelTitle = "airport > state > name of the state";
    chart.seriesTitle = "a series of many words";
    chart.valueTitle = "SUM(cost_total)";
    chart.note = std::string(200, 'n');
    for (std::size_t label = 0; label < labels; ++label) {
        chart.labels.push_back({label % 3 == 0 ? std::string(80, 'M') : "B & <C>",
                                label % 2 == 0 ? std::optional<double>(label) : std::nullopt,
                                label + 1 == labels});
    }
    for (std::size_t line = 0; line < series; ++line) {
        EReportChart::Series& added = chart.series.emplace_back();
        added.name = line % 2 == 0 ? std::string(60, 'Q') : "\xF0\x9F\x98\x80 x";
        for (std::size_t label = 0; label < labels; ++label) {
            const double value = std::cos(static_cast<double>(label * 7 + line)) * factor;
            added.values.push_back(label % 4 == 3 ? std::nullopt : std::optional<double>(value));
        }
    }
    return chart;
}

/// The texts, and shapes, of a scene that reach over its edge.
std::string Outside(const EReportScene& scene) {
    std::string outside;
    const auto look = [&](double x, double y, double width, double height,
                          const std::string& what) {
        const bool isFinite = std::isfinite(x + y + width + height);
        if (!isFinite || x < -0.5 || y < -0.5 || x + width > scene.width + 0.5 ||
            y + height > scene.height + 0.5) {
            outside += what + "; ";
        }
    };
    for (const auto& shape : scene.shapes) {
        if (const auto* const text = std::get_if<EReportScene::Text>(&shape)) {
            const double width = PlainReportFont().Width(text->text, text->size, text->isBold);
            const double back = text->anchor == EReportScene::Text::End      ? width
                                : text->anchor == EReportScene::Text::Middle ? width / 2
                                                                             : 0;
            text->isTurned
                ? look(text->x - text->size, text->y - width, text->size, width, text->text)
                : look(text->x - back, text->y - text->size, width, text->size, text->text);
        } else if (const auto* const rect = std::get_if<EReportScene::Rect>(&shape)) {
            look(rect->x, rect->y, rect->width, rect->height, "rect");
        } else if (const auto* const path = std::get_if<EReportScene::Path>(&shape)) {
            for (const auto& [x, y] : path->points) {
                look(x, y, 0, 0, "path");
            }
        }
    }
    return outside;
}

class AnyChart : public testing::TestWithParam<Kind> {};

TEST_P(AnyChart, KeepsAllOfItInsideThePicture) {
    for (const std::size_t labels : {0U, 1U, 2U, 40U}) {
        for (const std::size_t series : {1U, 2U, 8U}) {
            for (const double factor : {0.0, 1e-4, 1.0, -12345.0, 3e7, 1e18}) {
                const EReportChart chart = Troubled(GetParam(), labels, series, factor);
                const EReportScene scene = DrawChart(chart, EReportTheme::Dark());
                EXPECT_EQ(Outside(scene), "")
                    << labels << " labels, " << series << " series, " << factor;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, AnyChart, testing::Values(Kind::Bars, Kind::Heat, Kind::Lines));

TEST(HeatColours, GoOneWayInLuminance) {
    for (const EReportTheme* const theme : {&EReportTheme::Light(), &EReportTheme::Dark()}) {
        const auto brightness = [](EReportColour colour) {
            return 3 * colour.red + 6 * colour.green + colour.blue;
        };
        const int low = brightness(theme->low);
        const int middle = brightness(theme->middle);
        const int high = brightness(theme->high);
        EXPECT_GT((middle - low) * (high - middle), 0);
    }
}

TEST(CrossChart, DrawsLinesForOneAxisOfTime) {
    EReportCross cross;
    cross.calculation = "COUNT(id)";
    cross.lines = {{"damage"}, {}, true, false};
    cross.columns = {{"year"}, {}, true, true};
    cross.lines.Add(EVariant("Minor"));
    cross.lines.Add(EVariant());
    for (const int year : {2002, 2000, 2001}) {
        cross.columns.Add(EVariant(year));
    }
    cross.columns.Add(EVariant());
    for (int value = 0; value < 8; ++value) {
        cross.values.push_back(ETabulonValue(EVariant(value), Chaine(), /*modified=*/false));
    }
    const EReportChart chart = MakeChart(cross);
    EXPECT_EQ(chart.kind, Kind::Lines);
    EXPECT_EQ(chart.title, "COUNT(id) by year and damage");
    EXPECT_EQ(chart.note, "1 label without a place in time left out");
    ASSERT_EQ(chart.labels.size(), 3U);
    EXPECT_EQ(chart.labels.front().text, "2000");
    ASSERT_EQ(chart.series.size(), 2U);
    EXPECT_EQ(chart.series[1].name, "NULL");
    EXPECT_EQ(chart.series[1].values.front(), 5.0);
    cross.columns.isTime = false;
    EXPECT_EQ(MakeChart(cross).kind, Kind::Heat);
}

TEST(SvgTexts, HideNothingAndAreXml) {
    struct Text final : EReportSink {
        void Append(std::string_view more) override { bytes += more; }
        void Fail(std::string_view /*reason*/) override {}
        [[nodiscard]] bool IsBroken() const noexcept override { return false; }
        std::string bytes;
    } text;
    EReportScene scene;
    scene.title = "_x0041_ <a&b>\r\n \x01 \xC3 \u202Elive \uFFFE \u05D0";
    WriteSvg(scene, text);
    EXPECT_NE(text.bytes.find("<title>_x0041_ &lt;a&amp;b&gt;   \\x01 \\xc3 "
                              "\\xe2\\x80\\xaelive \\xef\\xbf\\xbe \u05D0</title>"),
              std::string::npos)
        << text.bytes;
}

}  // namespace
}  // namespace etabulon::test
