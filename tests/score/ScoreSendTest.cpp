#include "score/LabelCache.h"
#include "score/ScoreFixture.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

namespace etabulon {
namespace {

using test::Calculations;
using test::Folded;
using test::Heard;
using test::HeardLines;
using test::Record;
using test::ScoreSetup;
using test::Tag;

const Calculations kSum = {{"SUM", "A"}};
const Calculations kSumB = {{"SUM", "B"}};
const Calculations kCount = {{"COUNT", "A"}};
const EVariant kNone;
const EVariant kHalf = EVariant::FromDouble(0.5);
const EVariant kNaN = EVariant::FromDouble(std::numeric_limits<double>::quiet_NaN());

Record At(const char* label, const EVariant& a, const EVariant& b = EVariant()) {
    return {Tag({{0, label}}), a, b};
}

struct Ranking {
    const char* name;
    std::vector<Record> records;
    Calculations calculations;
    bool rising;
    const char* lines;

    friend void PrintTo(const Ranking& ranking, std::ostream* out) { *out << ranking.name; }
};

class ScoreRanking : public ::testing::TestWithParam<Ranking> {};

TEST_P(ScoreRanking, IsSentInOrder) {
    const ScoreSetup setup{0};
    const Ranking& ranking = GetParam();
    const auto score = setup.Score(ETabulonTag(), ranking.calculations, 1, ranking.rising);
    EXPECT_EQ(HeardLines(*Folded(*score, ranking.records)), ranking.lines);
}

INSTANTIATE_TEST_SUITE_P(
    Score, ScoreRanking,
    ::testing::Values(
        Ranking{"SecondDecidesAmongEqualFirsts",
                {At("a", 1), At("b", 9), At("c", 2), At("c", 2), At("d", 5)},
                {{"COUNT", "A"}, {"SUM", "A"}},
                false,
                "[c]=2,4 [b]=1,9 [d]=1,5 [a]=1,1 total=5,19"},
        Ranking{"NullBelowAllOthers",
                {At("a", 0), At("b", 2), At("c", -5), At("d", 1)},
                {{"LASTPOSITIVE", "A"}},
                false,
                "[b]=2 [d]=1 [c]=- [a]=- total=1"},
        Ranking{"MissingBelowValues",
                {At("a", 0), At("b", kNone), At("c", -3)},
                kSum,
                false,
                "[a]=0 [c]=-3 [b]= total=-3"},
        Ranking{"NaNBelowNumbers",
                {At("a", 0, kHalf), At("b", 0, kNaN), At("c", 0, kNone), At("d", 0, -9)},
                kSumB,
                true,
                "[c]= [b]=nan [d]=-9 [a]=0.5 total=nan"},
        Ranking{"DifferentBelowValues",
                {At("a", 3), At("b", 1), At("b", 2), At("c", 1), At("d", kNone)},
                {{"COMMONVAL", "A"}},
                true,
                "[b]=<> [d]= [c]=1 [a]=3 total=<>"},
        Ranking{"ResultsByValueLabelsByText",
                {{Tag({{0, 9}}), 9}, {Tag({{0, 10}}), 9}, {Tag({{0, 8}}), 10}},
                kSum,
                true,
                "[10]=9 [9]=9 [8]=10 total=28"},
        Ranking{"NoCalculations", {At("b", 1), At("a", 1)}, {}, false, "[b]= [a]= total="},
        Ranking{"NoRecordsAndANullTotal", {}, {{"COUNT", "A"}, {"SUM", "A"}}, false, "total=-,-"}),
    [](const auto& tested) { return tested.param.name; });

TEST(EqualResults, TiesTurnRoundWithTheOrder) {
    const ScoreSetup setup{0};
    const std::vector<Record> records = {At("b", 1), At("c", 2), At("a", 1), At("d", 1)};
    EXPECT_EQ(HeardLines(*Folded(*setup.Score(ETabulonTag(), kSum, 1, true), records)),
              "[a]=1 [b]=1 [d]=1 [c]=2 total=5");
    EXPECT_EQ(HeardLines(*Folded(*setup.Score(ETabulonTag(), kSum, 1, false), records)),
              "[c]=2 [d]=1 [b]=1 [a]=1 total=5");
}

TEST(EqualResults, FollowTheDirectionsOfTheKeys) {
    ETabulonSortDesc::SortKeyArray keys;
    keys.Add({1, /*reverse=*/true, 0});
    keys.Add({0, /*reverse=*/false, 0});
    const ScoreSetup setup(keys);
    const std::vector<Record> records = {
        {Tag({{0, "B"}, {1, "X"}})}, {Tag({{0, "A"}, {1, "X"}})}, {Tag({{0, "A"}, {1, "Y"}})}};
    EXPECT_EQ(HeardLines(*Folded(*setup.Score(ETabulonTag(), kCount, 2, true), records)),
              "[A, Y]=1 [A, X]=1 [B, X]=1 total=3");
}

TEST(EqualLines, AreOneAndShowTheLast) {
    const ScoreSetup setup{0};
    const auto score = setup.Score(ETabulonTag(), kSum, 1, true);
    // Without regard to case: "A" in the place of "a", while "B" has another result than "b".
    EXPECT_EQ(HeardLines(*Folded(*score, {At("b", 1), At("a", 1), At("B", 2), At("A", 1)})),
              "[A]=1 [b]=1 [B]=2 total=5");
}

TEST(EqualLines, LabelsWithGapsCollapseAsTheyAreMet) {
    const ScoreSetup setup{0, 1};
    const auto score = setup.Score(ETabulonTag(), kCount, 2, true);
    const Record x = {Tag({{0, "A"}, {1, "X"}})};
    const Record y = {Tag({{0, "A"}, {1, "Y"}})};
    const Record gap = {Tag({{0, "A"}})};
    EXPECT_EQ(HeardLines(*Folded(*score, {x, gap, y})), "[A, Y]=1 total=3");
    EXPECT_EQ(HeardLines(*Folded(*score, {x, y, gap})), "[A, X]=1 [A]=1 total=3");
}

TEST(ScoreBelowARoot, DropsRecordsElsewhere) {
    const ScoreSetup setup{0, 1};
    const std::vector<Record> records = {{Tag({{0, "A"}, {1, "X"}}), 1},
                                         {Tag({{0, "B"}, {1, "Y"}}), 2},
                                         {Tag({{0, "A"}, {1, "Z"}}), 4},
                                         {ETabulonTag(), 8}};
    EXPECT_EQ(Heard(*Folded(*setup.Score(Tag({{0, "A"}}), kSum, 1, false), records)),
              "levels=2 axe[Header of A] [A, Z]=4 [A, X]=1 total=5");
    EXPECT_EQ(Heard(*Folded(*setup.Score(Tag({{0, "A"}}), kSum, 0, false), records)),
              "levels=1 axe[Header of A] [A]=5 total=5");
}

TEST(ScoreLabels, ShowTheFirstTextOfAValue) {
    const ScoreSetup setup{0};
    const auto record = [](int code, const char* text) {
        ETabulonTag tag;
        tag.SetValue(0, ETabulonValue(EVariant(code), text, false));
        return Record{tag, 1};
    };
    EXPECT_EQ(HeardLines(*Folded(*setup.Score(ETabulonTag(), kSum, 1, true),
                                 {record(12, "Dupont"), record(7, "Durand"), record(12, "Duval")})),
              "[Durand]=1 [Dupont]=2 total=3");
}

// What is known by its bytes and what isn't, in one score: short and long, of two types, absent.
TEST(ManyLabels, AreToldApart) {
    const ScoreSetup setup{0, 1};
    std::vector<Record> records;
    std::map<std::string, int> counts;
    unsigned random = 1;
    for (int place = 0; place < 20000; ++place) {
        random = random * 1103515245 + 12345;
        const unsigned number = (random >> 8) % 3000;
        const std::string text = std::string(number % 7 * 4, 'x') + std::to_string(number);
        const EVariant label =
            number % 5 == 0 ? EVariant(static_cast<int>(number)) : EVariant(text.c_str());
        records.push_back({Tag({{0, label}, {1, number % 2 == 0 ? "even" : "odd"}})});
        if (number % 11 == 0) {
            records.back().tag = Tag({{0, EVariant()}, {1, static_cast<int>(number)}});
        }
        ++counts[records.back().tag.DisplayID().c_str()];
    }
    struct Counting : test::ScoreTrace {
        void SetScoreLine(const ETabulonTag& label,
                          const PTableau<ETabulonValue>& values) override {
            counted[label.DisplayID().c_str()] = static_cast<int>(values.At(0).Data().AsInt64());
        }
        std::map<std::string, int> counted;
    } view;
    Folded(*setup.Score(ETabulonTag(), kCount, 2, false), records)->SendTo(&view);
    EXPECT_EQ(view.counted, counts);
}

TEST(KnownLabels, AreToldByLengthsToo) {
    detail::LabelCache cache;
    cache.AddLevel(0);
    cache.AddLevel(3);
    cache.AddLevel(0);
    std::uint32_t line = 0;
    for (const auto& tag :
         {Tag({{0, "ab"}, {3, "c"}}), Tag({{0, "a"}, {3, "bc"}}), Tag({{0, ""}, {3, "abc"}})}) {
        ASSERT_TRUE(cache.Read(tag));
        EXPECT_EQ(cache.Find(), detail::LabelCache::kNone);
        cache.Add(line++);
    }
    ASSERT_TRUE(cache.Read(Tag({{0, "a"}, {2, "other"}, {3, "bc"}})));
    EXPECT_EQ(cache.Find(), 1U);
    EXPECT_FALSE(cache.Read(Tag({{0, "a"}})));
    EXPECT_FALSE(cache.Read(Tag({{0, 5}, {3, "bc"}})));
    EXPECT_FALSE(cache.Read(Tag({{0, "abcdefgh"}, {3, "as long as this is"}})));
}

}  // namespace
}  // namespace etabulon
