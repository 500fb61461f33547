#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "grid/FillerSuite.h"
#include "grid/RandomResult.h"
#include "score/LabelCache.h"
#include "score/LiteralScore.h"
#include "score/ScoreFixture.h"

#include <limits>
#include <map>

namespace etabulon::test {
namespace {
const Calculations kSum("SUM A");
const Calculations kCount("COUNT A");

Record At(const char* label, const EVariant& a, const EVariant& b = EVariant()) {
    return {Tag({{0, label}}), a, b};
}

TEST(EqualResults, TiesTurnRoundWithTheOrder) {
    const ScoreSetup setup{0};
    const std::vector<Record> records = {At("b", 1), At("c", 2), At("a", 1), At("d", 1)};
    EXPECT_EQ(HeardLines(*Folded(*setup.Score(ETabulonTag(), kSum, 1, true), records)),
              "[a]=1 [b]=1 [d]=1 [c]=2 total=5");
    EXPECT_EQ(HeardLines(*Folded(*setup.Score(ETabulonTag(), kSum, 1, false), records)),
              "[c]=2 [d]=1 [b]=1 [a]=1 total=5");
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

// What is known by its bytes and what isn't, in one score: short and long, of two types, absent.
TEST(ManyLabels, AreToldApart) {
    const ScoreSetup setup{0, 1};
    std::vector<Record> records;
    std::map<std::string, int> counts;
    unsigned int random = 1;
    for (int place = 0; place < 20000; ++place) {
        random = random * 1103515245 + 12345;
        const unsigned int number = (random >> 8) % 3000;
        const std::string text =
            std::string(std::size_t{4} * (number % 7), 'x') + std::to_string(number);
        const EVariant label =
            number % 5 == 0 ? EVariant(static_cast<int>(number)) : EVariant(text.c_str());
        records.push_back({Tag({{0, label}, {1, number % 2 == 0 ? "even" : "odd"}})});
        if (number % 11 == 0) {
            records.back().tag = Tag({{0, EVariant()}, {1, static_cast<int>(number)}});
        }
        ++counts[records.back().tag.DisplayID().c_str()];
    }
    struct Counting : ScoreTrace {
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

using Score = ETabulonScoreCumuls;

TEST(ScoreRoot, KeepsVisibleSortLevelsOnly) {
    const ScoreSetup setup(KeysOf({{0, false, 0}, {1, false, kCalc}, {2, false, 0}}));
    const auto score = setup.Score(Tag({{0, "A"}, {1, "X"}, {3, "Z"}}), {}, 9, false);
    EXPECT_EQ(score->Root(), Tag({{0, "A"}}));
    EXPECT_EQ(score->LevelCount(), 1U);
}

TEST(ScoreLevelCount, IsCutToWhatRemainsBelowTheRoot) {
    const ScoreSetup setup{0, 1, 2};
    struct Case {
        ETabulonTag root;
        unsigned int asked;
        unsigned int levels;
    };
    for (const auto& tested :
         {Case{ETabulonTag(), static_cast<unsigned int>(-1), 3}, Case{ETabulonTag(), 3, 3},
          Case{ETabulonTag(), 4, 3}, Case{ETabulonTag(), 2, 2}, Case{ETabulonTag(), 0, 0},
          Case{Tag({{0, "A"}}), 3, 2}, Case{Tag({{0, "A"}, {1, "X"}, {2, "P"}}), 1, 0}}) {
        EXPECT_EQ(setup.Score(tested.root, {}, tested.asked, false)->LevelCount(), tested.levels)
            << tested.root.DisplayID().c_str() << tested.asked;
    }
}

TEST(ScoreOfALevelWithTwoKeys, TakesTheLevelsThatThereAre) {
    const ScoreSetup setup(KeysOf({{0, false, 0}, {0, true, 0}, {1, false, 0}}));
    const auto score = setup.Score(Tag({{0, "A"}}), "COUNT A", 9, true);
    EXPECT_EQ(score->LevelCount(), 2U);
    EXPECT_EQ(score->ExtractLabelTag(Tag({{0, "A"}, {1, "X"}})), Tag({{0, "A"}, {1, "X"}}));
}

TEST(ScoreAxe, FollowsTheCalculations) {
    struct AxeCase {
        Calculations calculations;
        Score::ScoreAxeMode mode;
        const char *data, *axe;
    };
    const ScoreSetup setup{0};
    for (const AxeCase& tested :
         {AxeCase{"", Score::ScoreAxeVars, "Vars", "Variables[]"},
          AxeCase{"SUM A, SUM B", Score::ScoreAxeVars, "Vars",
                  "Variables[Header of A,Header of B]"},
          AxeCase{"SUM A, MAX A", Score::ScoreAxeFuncs, "Funcs", "Fonctions[Somme,Max.]"},
          AxeCase{"SUM A, MAX B", Score::ScoreAxeCalcs, "Calcs",
                  "Calculs[Header of A,Header of B]"},
          AxeCase{"SUM B, MAX B, SUM A", Score::ScoreAxeCalcsMany, "Calcs",
                  "Calculs[Somme(Header of B),Somme(Header of A)]"}}) {
        const auto score = setup.Score(ETabulonTag(), tested.calculations, 1, false);
        EXPECT_EQ(score->AxeMode(), tested.mode);
        const auto axe = ERef<ETabulonGridAxe>::Adopt(score->BuildAxeDesc());
        std::string text;
        for (unsigned int label = 0; label < axe->Size(); ++label) {
            text += (label == 0 ? "" : ",");
            text += axe->Label(label).DisplayValue().c_str();
        }
        EXPECT_EQ(axe->DisplayName().c_str() + ("[" + text + "]"), tested.axe);
        EXPECT_EQ(axe->Data(), EVariant(tested.data));
        EXPECT_EQ(axe->Type(), tested.mode == Score::ScoreAxeVars ? ETabulonGridAxe::AxeVars
                                                                  : ETabulonGridAxe::AxeFuncs);
    }
}

TEST(ScoreAxe, FurtherCalculationOfAVariableAddsNoLabel) {
    const ScoreSetup setup{0};
    const auto score = setup.Score(ETabulonTag(), "SUM A, MAX A, SUM B", 1, false);
    const auto buffers =
        Folded(*score, {{Tag({{0, "A"}}), 2, EVariant::FromDouble(5)}, {Tag({{0, "A"}}), 3}});
    EXPECT_EQ(Heard(*buffers),
              "levels=1 axe[Somme(Header of A),Somme(Header of B)] [A]=5,3,5 total=5,3,5");
}

TEST(ScoreTags, AreTheRootAndBelow) {
    const ScoreSetup setup{0, 1, 2};
    const auto score = setup.Score(Tag({{0, "A"}}), {}, 1, false);
    EXPECT_TRUE(score->IsComputeTag(Tag({{0, "A"}})));
    EXPECT_TRUE(score->IsComputeTag(Tag({{0, "A"}, {2, "P"}})));
    EXPECT_FALSE(score->IsComputeTag(Tag({{0, "B"}, {1, "X"}})));
    EXPECT_FALSE(score->IsComputeTag(ETabulonTag()));
    EXPECT_EQ(score->ExtractLabelTag(Tag({{0, "A"}, {1, "X"}, {2, "P"}})),
              Tag({{0, "A"}, {1, "X"}}));
    EXPECT_EQ(score->ExtractLabelTag(Tag({{0, "A"}, {2, "P"}})), Tag({{0, "A"}}));
}

TEST(ScoreDescription, IsOutOfReachOfLaterChanges) {
    ScoreSetup setup{0, 1};
    auto collection = Collect("SUM A");
    const auto score = ERef<Score>::Adopt(
        Score::Build(ETabulonTag(), &setup.sort, &collection, 2, /*increasingOrder=*/true));
    collection.AddCalculation("COUNT", "A", TYPE_LONG, 0, "");
    setup.sort.MoveSortLevel(1, 0, 0);
    EXPECT_EQ(score->SortDesc()->SortLevel(0, 0).Level(), 0U);
    EXPECT_EQ(score->Calculations().Size(), 1U);
    EXPECT_TRUE(score->IncreasingOrder());
}

TEST(ScoreDescription, CopiedDescriptionNeedsAReference) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    {
        const ScoreSetup setup{0};
        const auto score = setup.Score(Tag({{0, "A"}}), "SUM A", 0, true);
        const auto other = setup.Score(ETabulonTag(), {}, 1, false);
        const auto copy = MakeRef<Score>(*other);  // without its reference, and overwritten
        *copy = *score;
        EXPECT_EQ(copy->SortDesc(), score->SortDesc());
        EXPECT_EQ(copy->Root(), score->Root());
        EXPECT_EQ(copy->Calculations().Size(), 1U);
        EXPECT_TRUE(copy->IncreasingOrder());
        EXPECT_EQ(copy->LevelCount(), 0U);
        // Two hold it with one reference: one more is needed, and no more than one.
        copy->RetainShared();
        score->SortDesc()->AddRef();
        EXPECT_EQ(score->SortDesc()->Release(), 2);
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

constexpr unsigned int kScores = 600;

class RandomScore : public RandomResult {
public:
    using RandomResult::RandomResult;

    [[nodiscard]] Calculations SomeCalculations() {
        static const char* const kFunctions[] = {"SUM", "AVG", "MIN", "MAX", "COUNT", "COMMONVAL"};
        Calculations calculations;
        for (unsigned int count = Below(3); count != 0; --count) {
            calculations.emplace_back(kFunctions[Below(6)], OneIn(2) ? "A" : "B");
        }
        if (OneIn(4)) {
            calculations.emplace_back(OneIn(2) ? "LAST" : "COMMONVAL", "T");
        }
        if (OneIn(3)) {
            calculations.emplace_back("LASTPOSITIVE", "A");
        }
        return calculations;
    }

protected:
    // Few different results, so that most lines have equals.
    void SetValues(Record& record) override {
        record.a = OneIn(4) ? EVariant() : EVariant(static_cast<int>(Below(3)) - 1);
        record.b = Real();
        record.t = OneIn(2) ? "x" : "X";
    }

private:
    [[nodiscard]] EVariant Real() {
        switch (Below(5)) {
            case 0:
                return {};
            case 1:
                return EVariant::FromDouble(std::numeric_limits<double>::quiet_NaN());
            case 2:
                return EVariant::FromDouble(OneIn(2) ? 0.0 : -0.0);
            default:
                return EVariant::FromDouble(0.5);
        }
    }
};

/// Writes labels down level by level with what their values are.
class FullTrace : public ScoreTrace {
public:
    FullTrace() { ShowAll(); }
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override {
        for (unsigned int place = 0; place < label.KnownLevelsCount(); ++place) {
            Hear(std::to_string(label.LevelAt(place)) + ":" + Text(label.ValueAt(place)));
        }
        ScoreTrace::SetScoreLine(label, values);
        ++lines;
    }
    unsigned int lines = 0;
};

TEST(AnyScore, IsRankedAsASetOfItsLinesWouldBe) {
    unsigned int lines = 0;
    unsigned int collapsed = 0;
    for (unsigned int seed = 0; seed < kScores; ++seed) {
        RandomScore random(seed);
        ScoreSetup setup(random.Keys(/*mayRepeat=*/false));
        setup.sort.SetCompareSource(random.CompareSource());
        const ETabulonTag root = random.Root(setup.sort.SortLevels());
        const Calculations calculations = random.SomeCalculations();
        const auto score = setup.Score(root, calculations, random.Below(4), random.OneIn(2));
        const auto buffers = ERef<ETabulonScoreCumulsBuffers>::Adopt(score->Start());
        const auto merged = ERef<ETabulonScoreCumulsBuffers>::Adopt(score->Start());
        const bool isMergeable = AreMergeable(calculations);
        LiteralScore literal(score);
        random.Feed(random.Records(score->Root(), 1 + random.Below(60)), score->Calculations(),
                    [&](const ETabulonExtractValue& extract) {
                        buffers->AddValue(extract);
                        if (isMergeable) {
                            AddAsPartial(*merged, extract);
                        }
                        literal.AddValue(extract);
                    });
        if (literal.LineCount() == 0) {
            continue;
        }
        FullTrace sent;
        buffers->SendTo(&sent);
        FullTrace expected;
        literal.SendTo(expected);
        lines += expected.lines;
        collapsed += literal.LineCount() - expected.lines;
        const std::string text = sent.Take();
        ASSERT_EQ(text, expected.Take()) << "seed " << seed;
        if (isMergeable) {
            merged->SendTo(&sent);
            ASSERT_EQ(sent.Take(), text) << "seed " << seed << ", merged";
        }
    }
    EXPECT_GT(lines, 5 * kScores);
    EXPECT_GT(collapsed, kScores);
}

/// Ranks the largest first.
struct ScoreKind {
    using Filler = ETabulonScoreFiller;
    using Trace = ScoreTrace;
    static void SetParams(Filler& filler, const ITabulonCumulFuncOnVarCollection& calculations,
                          unsigned int depth, ETabulonSortDesc& sort) {
        filler.SetParams(&calculations, &sort, depth);
    }
    static std::string Text(const Lines& lines, const char* total) {
        std::string text;
        for (const auto& [label, result] : lines) {
            text = "[" + label + "]=" + result + " " + text;
        }
        return text + "total=" + (total != nullptr ? total : "-");
    }
    static std::string TextBelowB(const std::string& result) {
        return "[B, X]=" + result + " total=" + result;
    }
    static std::string Hear(const Filler& filler) { return HeardLines(filler); }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Score, FillerSuite, ScoreKind);

TEST(PartialStates, DontMergeWithFunctionsOfAnApplication) {
    const auto isMergeable = [](const char* calculations) {
        return CumulPartial(CollectAny(calculations)).IsMergeable();
    };
    EXPECT_TRUE(isMergeable("SUM A, COUNT B"));
    EXPECT_FALSE(isMergeable("SUM A, LASTPOSITIVE B"));
}

TEST(RankedScore, RanksTheLargestFirstAndReplacesAtEachWalk) {
    Listening<ScoreKind> listening(Turns(4), 1, kSum);
    EXPECT_EQ(listening.Walk(), "[B]=4 [A]=2 total=6");
    EXPECT_EQ(listening.Walk(Tag({{0, "A"}})), "[A, X]=2 total=2");
}

class CopiedScore : public ::testing::Test {
protected:
    void SetUp() override { before_ = ECountedUnknown::LiveObjects(); }
    // Every object went, and none twice.
    void TearDown() override { EXPECT_EQ(ECountedUnknown::LiveObjects(), before_); }

private:
    std::int64_t before_ = 0;
};

TEST_F(CopiedScore, CopiedBuffersNeedReferences) {
    const ScoreSetup setup{0};
    const auto score = setup.Score(ETabulonTag(), kSum, 1, false);
    const auto buffers = Folded(*score, Turns(4));
    const auto other = Folded(*score, {});
    const auto copy = MakeRef<ETabulonScoreCumulsBuffers>(*other);
    *copy = *buffers;
    copy->RetainShared();
    EXPECT_EQ(copy->Desc(), score.Get());
    EXPECT_EQ(HeardLines(*copy), "[B]=4 [A]=2 total=6");
    const ERef<ETabulonScoreCumulsBuffers> again = MakeRef<ETabulonScoreCumulsBuffers>(*copy);
    again->RetainShared();
    EXPECT_EQ(HeardLines(*again), HeardLines(*buffers));
}

TEST_F(CopiedScore, CopiedFillerNeedsReferences) {
    Listening<ScoreKind> listening(Turns(4), 1, kSum);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    ETabulonScoreFiller copy(*listening.filler);
    copy.RetainShared();
    // Without a score there is nothing to retain, and nothing to give back.
    ETabulonScoreFiller assigned(&listening.cursor, nullptr);
    assigned = *listening.filler;
    assigned.RetainShared();
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "A"}})), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "[A, X]=2 total=2");
    EXPECT_EQ(HeardLines(copy), "[B]=4 [A]=2 total=6");
    EXPECT_EQ(HeardLines(assigned), "[B]=4 [A]=2 total=6");
    // The copy has the parameters too.
    const ECursorListening listener(listening.cursor, copy);
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "B"}})), StatusOk);
    EXPECT_EQ(HeardLines(copy), "[B, X]=4 total=4");
}

}  // namespace
}  // namespace etabulon::test
