#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"
#include "etabulon/cumul/ETabulonTypeNumeric.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/sort/ETabulonLevelsLevelUI.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/TagIndex.h"
#include "sort/SortFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace etabulon::test {
namespace {
using Axe = ETabulonGridAxe;

ERef<Axe> BuildAxe(Axe::AxeType type, const EVariant& data, const char* title = "") {
    return ERef<Axe>::Adopt(Axe::Build(type, data, title, nullptr));
}

ERef<ETabulonVariableDesc> Variable(const char* code, const char* header) {
    return ERef<ETabulonVariableDesc>::Adopt(
        ETabulonVariableDesc::Build(code, TYPE_LONG, 4, header, nullptr));
}

std::string Labels(const Axe& axe) {
    std::string text;
    for (unsigned int index = 0; index < axe.Size(); ++index) {
        text += (index == 0 ? "" : " ") + std::string(axe.Label(index).DisplayValue().c_str());
    }
    return text;
}

TEST(CopiedAxe, GoesItsOwnWay) {
    EXPECT_EQ(BuildAxe(Axe::AxeVars, "Vars")->DisplayName(), Chaine("Vars"));
    const auto axe = BuildAxe(Axe::AxeData, EVariant(0U), "City");
    EXPECT_FALSE(axe->HasLabel("Lyon"));
    axe->AddLabel("Lyon", "", nullptr);
    const auto copy = MakeRef<Axe>(*axe);
    copy->AddLabel("Paris", "", nullptr);
    EXPECT_EQ(Labels(*axe), "Lyon");
    EXPECT_EQ(Labels(*copy), "Lyon Paris");
    EXPECT_EQ(copy->DisplayName(), Chaine("City"));
}

TEST(AxeOfALevel, IsNamedAndDataIsTheLevel) {
    ETabulonLevels levels;
    int drawn = 0;
    auto* const icon = reinterpret_cast<HICON>(&drawn);
    levels.AddLevel("Country", "country", nullptr, /*addRef=*/false);
    levels.AddLevel("City", "city", icon);
    const auto axe = ERef<Axe>::Adopt(Axe::Build(1, &levels));
    EXPECT_EQ(axe->Type(), Axe::AxeData);
    EXPECT_EQ(axe->Data(), EVariant(1U));
    EXPECT_EQ(axe->DisplayName(), Chaine("City"));
    EXPECT_EQ(axe->Icon(), icon);
    axe->AddLabel("Lyon", "Lyon, France", nullptr);
    ETabulonTag tag;
    axe->SetLabelInTag(tag, 0);
    EXPECT_EQ(tag.Value(1).Data(), EVariant("Lyon"));
    EXPECT_EQ(tag.Value(1).DisplayValue(), Chaine("Lyon, France"));
}

TEST(AxeLabels, OfAFunctionOrVariableStandOnce) {
    const auto axe = BuildAxe(Axe::AxeVars, "Vars");
    const auto amount = Variable("AMOUNT", "Amount");
    const auto price = Variable("PRICE", "");
    axe->AddLabel(amount.Get());
    axe->AddLabel(price.Get());
    EXPECT_EQ(&axe->AddLabel(amount.Get()), &axe->Label(EVariant("AMOUNT")));
    EXPECT_EQ(Labels(*axe), "Amount PRICE");
    const auto count = MakeRef<ETabulonCumulFuncCount>();
    axe->AddLabel(count.Get()).SetColumnTypeInfos(TYPE_UINT32, 4);
    axe->AddLabel(count.Get());
    EXPECT_EQ(axe->Size(), 3U);
    EXPECT_EQ(axe->FindLabel("COUNT"), 2);
    EXPECT_EQ(axe->Label(2U).ColumnType(), TYPE_UINT32);
    EXPECT_EQ(axe->Label(0U).ColumnType(), Axe::AxeLabel::kNoColumnType);
    EXPECT_EQ(axe->Label(0U).ColumnBufferSize(), 0U);
    // Plain values are appended in any case.
    axe->AddLabel("COUNT", "", nullptr);
    axe->AddLabel(ETabulonValue("COUNT", "Number", /*modified=*/true), nullptr);
    EXPECT_EQ(axe->Size(), 5U);
    EXPECT_FALSE(axe->Label(4U).IsModified());
    EXPECT_EQ(axe->FindLabel("COUNT"), 2);
}

TEST(AxeLabels, SecondFunctionOfAVariableAddsNoLabel) {
    const auto sum = MakeRef<ETabulonTypeNumeric::FunctionSum>();
    const auto avg = MakeRef<ETabulonTypeNumeric::FunctionAvg>();
    const auto amount = Variable("AMOUNT", "Amount");
    const auto axe = BuildAxe(Axe::AxeVars, "Vars");
    const Axe::AxeLabel& label = axe->AddLabel(amount.Get(), sum.Get(), /*headerOnly=*/false);
    EXPECT_EQ(label.Data(), EVariant("AMOUNT"));
    EXPECT_EQ(label.DisplayValue(), Chaine("Somme(Amount)"));
    EXPECT_EQ(&axe->AddLabel(amount.Get(), avg.Get(), /*headerOnly=*/false), &label);
    Chaine function;
    Chaine variable;
    label.SplitCode(function, variable, /*display=*/true);
    EXPECT_EQ(function, Chaine("Somme"));
    EXPECT_EQ(variable, Chaine("Amount"));
    label.SplitCode(function, variable, /*display=*/false);
    EXPECT_TRUE(function.IsEmpty() && variable.IsEmpty());
    const auto other = BuildAxe(Axe::AxeVars, "Vars");
    EXPECT_EQ(other->AddLabel(amount.Get(), sum.Get(), /*headerOnly=*/true).DisplayValue(),
              Chaine("Amount"));
}

TEST(AxeLabels, SplitAtTheFirstPairOfBrackets) {
    struct Case {
        const char* code;
        const char* first;
        const char* second;
    };
    for (const auto& tested :
         {Case{"SUM(AMOUNT)", "SUM", "AMOUNT"}, Case{"A(B)C", "A", "B"},
          Case{"A(B(C))", "A", "B(C"}, Case{"()", "", ""}, Case{"AMOUNT", "", ""},
          Case{"A)B(C", "", ""}, Case{"A)(B)", "A)", "B"}, Case{"A(B", "", ""}, Case{"", "", ""}}) {
        Chaine first("x");
        Chaine second("y");
        Axe::AxeLabel::SplitCode(tested.code, first, second);
        EXPECT_EQ(first, Chaine(tested.first)) << tested.code;
        EXPECT_EQ(second, Chaine(tested.second)) << tested.code;
    }
    Chaine code("SUM(AMOUNT)");
    Chaine variable;
    Axe::AxeLabel::SplitCode(code, code, variable);
    EXPECT_EQ(code, Chaine("SUM"));
    EXPECT_EQ(variable, Chaine("AMOUNT"));
}

TEST(SortedLabels, AddedAtOnceAreThoseAddedOneByOne) {
    for (unsigned int seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        Sorted sorted{{0, /*reverse=*/false, 0}};
        sorted.desc.SetCompareSource(kSources[random() % std::size(kSources)]);
        const SortKey key(0, random() % 2 == 0, 0);
        std::vector<ETabulonValue> values;
        for (unsigned int count = random() % 20; count != 0; --count) {
            values.push_back(RandomValue(random, 1));
        }
        const auto atOnce = BuildAxe(Axe::AxeData, EVariant(0U));
        const auto oneByOne = BuildAxe(Axe::AxeData, EVariant(0U));
        std::vector<const ETabulonValue*> borrowed;
        for (const ETabulonValue& value : values) {
            borrowed.push_back(&value);
            ETabulonTag tag;
            tag.SetValue(0, value);
            oneByOne->AddLabel(tag, &sorted.desc, key);
        }
        atOnce->AddLabels(borrowed, &sorted.desc, key);
        ASSERT_EQ(Labels(*atOnce), Labels(*oneByOne)) << seed;
        for (unsigned int index = 0; index < atOnce->Size(); ++index) {
            EXPECT_EQ(atOnce->Label(index), oneByOne->Label(index)) << seed;
        }
    }
}

using detail::PairNumbers;
using detail::TagIndex;
using detail::ValueNumbers;

ETabulonValue ValueOf(const char* text, const char* display = "", int type = TYPE_CHAINE) {
    return ETabulonValue(EVariant::FromText(static_cast<std::uint16_t>(type), 4, text), display,
                         /*modified=*/false);
}

TEST(ValueNumbers, TellTextsApartWhoseBodiesTakeEachOthersPlace) {
    ValueNumbers numbers;
    EXPECT_EQ(numbers.NumberOf(ValueOf("aaaa")), 0U);
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(numbers.NumberOf(ValueOf("aaaa")), 0U);
        EXPECT_EQ(numbers.NumberOf(ValueOf("bbbb")), 1U);
        EXPECT_EQ(numbers.NumberOf(ValueOf("cccc")), 2U);
    }
}

TEST(ValueNumbers, KeepSpellingsThatDifferInAnything) {
    ValueNumbers numbers;
    const std::uint32_t number = numbers.NumberOf(ValueOf("a", "x", TYPE_NC_CHAINE));
    EXPECT_EQ(numbers.SpellingOf(number, ValueOf("a", "x", TYPE_NC_CHAINE)), 0U);
    EXPECT_EQ(numbers.SpellingOf(number, ValueOf("A", "x", TYPE_NC_CHAINE)), 1U);
    EXPECT_EQ(numbers.SpellingOf(number, ValueOf("a", "y", TYPE_NC_CHAINE)), 2U);
    EXPECT_EQ(numbers.SpellingOf(number, ValueOf("a", "x")), 3U);
    ETabulonValue modified = ValueOf("a", "x", TYPE_NC_CHAINE);
    modified.SetModified(true);
    EXPECT_EQ(numbers.SpellingOf(number, modified), 4U);
    EXPECT_EQ(numbers.SpellingOf(number, ValueOf("A", "x", TYPE_NC_CHAINE)), 1U);
    EXPECT_EQ(numbers.SpellingCount(), 5U);
}

// First few pairs out of many, then many, then a far one: found by table, by hash and back.
TEST(PairNumbers, StayAsTheFillOfThePossiblePairsChanges) {
    std::mt19937 random(7);
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> known;
    PairNumbers numbers;
    const auto meet = [&](std::uint32_t first, std::uint32_t second) {
        const auto next = static_cast<std::uint32_t>(known.size());
        const std::uint32_t expected = known.try_emplace({first, second}, next).first->second;
        ASSERT_EQ(numbers.FindOrAdd(first, second), expected);
        ASSERT_EQ(numbers.FirstOf(expected), first);
        ASSERT_EQ(numbers.SecondOf(expected), second);
    };
    std::vector<bool> taken;  // of batches
    const auto meetAll = [&](std::uint32_t bound) {
        std::vector<std::uint32_t> first(500);
        std::vector<std::uint32_t> second(500);
        std::vector<std::uint32_t> found(500);
        const auto any = [&] { return static_cast<std::uint32_t>(random() % bound); };
        std::generate(first.begin(), first.end(), any);
        std::generate(second.begin(), second.end(), any);
        taken.push_back(numbers.FindOrAddAll(first, second, bound - 1, bound - 1, found.data()));
        for (std::size_t at = 0; at < first.size(); ++at) {
            const auto next = static_cast<std::uint32_t>(known.size());
            ASSERT_TRUE(!taken.back() ||
                        known.try_emplace({first[at], second[at]}, next).first->second ==
                            found[at]);
            meet(first[at], second[at]);
        }
    };
    for (const std::uint32_t bound : {20U, 3000U, 200U, 100000U, 300U}) {
        for (int count = 0; count < 40000; ++count) {
            const std::uint32_t second = random() % bound;
            meet(random() % bound, second == 3 ? PairNumbers::kNone : second);
            if (count % 2000 == 0) {
                meetAll(bound);
            }
        }
    }
    EXPECT_EQ(std::set<bool>(taken.begin(), taken.end()).size(), 2U);
    for (const auto& [pair, number] : known) {
        ASSERT_EQ(numbers.Find(pair.first, pair.second), number);
    }
    EXPECT_EQ(numbers.Find(200000, 0), PairNumbers::kNone);
    EXPECT_EQ(numbers.Size(), known.size());
}

/// The root, and the values of `tag` at these levels.
ETabulonTag DetailOf(const ETabulonTag& tag, const ETabulonTag& root,
                     const std::vector<unsigned int>& levels) {
    ETabulonTag detail = root;
    for (const unsigned int level : levels) {
        if (tag.HasValue(level)) {
            detail.SetValue(level, tag.Value(level));
        }
    }
    return detail;
}

// A linear search over tags.
// Its arrays move to large pages at 4 MB.
TEST(PairsOfMegabytes, KeepTheirNumbers) {
    constexpr std::uint32_t kPairs = 600000;
    detail::PairNumbers pairs;
    for (std::uint32_t number = 0; number < kPairs; ++number) {
        ASSERT_EQ(pairs.FindOrAdd(number / 1000, number % 1000), number);
    }
    for (std::uint32_t number = 0; number < kPairs; ++number) {
        ASSERT_EQ(pairs.Find(number / 1000, number % 1000), number);
    }
}

TEST(TagIndex, DetailKeepsItsSpellingThoughItsNumberIsOlder) {
    const unsigned int levels[] = {0};
    TagIndex index(ETabulonTag::Null, levels);
    ASSERT_EQ(index.NumberOf(0, ETabulonValue(EVariant("Lyon"), "", /*modified=*/false)), 0U);
    ETabulonTag tag;
    tag.SetValue(0, ETabulonValue(EVariant("Lyon"), "", /*modified=*/true));
    ASSERT_EQ(index.FindOrAdd(tag), 0U);
    EXPECT_TRUE(index.Tag(0).ValueAt(0).IsModified());
}

TEST(TagIndex, NumbersDetailsAsALinearSearchDoes) {
    for (unsigned int seed = 0; seed < 200; ++seed) {
        std::mt19937 random(seed);
        std::vector<unsigned int> levels = {0, 1, 2, 3};
        std::shuffle(levels.begin(), levels.end(), random);
        levels.resize(random() % 5);
        ETabulonTag root;
        if (random() % 2 == 0) {
            const unsigned int level = random() % 5;
            root.SetValue(level, RandomValue(random, level));
        }
        TagIndex index(root, levels);
        std::vector<ETabulonTag> found;
        for (int record = 0; record < 60; ++record) {
            ETabulonTag tag = RandomTag(random, 5, /*withGaps=*/true);
            for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
                tag.ValueAt(place).SetModified(random() % 3 == 0);
            }
            if (!root.IsRoot() && tag.HasValue(root.LevelAt(0))) {
                tag.SetValue(root.LevelAt(0), root.ValueAt(0));
            }
            const ETabulonTag detail = DetailOf(tag, root, levels);
            const auto place = std::find(found.begin(), found.end(), detail) - found.begin();
            if (place == static_cast<std::ptrdiff_t>(found.size())) {
                found.push_back(detail);
            }
            ASSERT_EQ(index.FindOrAdd(tag), static_cast<std::uint32_t>(place)) << seed;
            ASSERT_EQ(index.Find(index.LastNumbers()), static_cast<std::uint32_t>(place)) << seed;
        }
        ASSERT_EQ(index.Size(), found.size());
        for (std::uint32_t detail = 0; detail < index.Size(); ++detail) {
            ASSERT_EQ(Text(index.Tag(detail)), Text(found[detail])) << seed;
            for (unsigned int place = 0; place < found[detail].KnownLevelsCount(); ++place) {
                ASSERT_TRUE(index.Tag(detail).ValueAt(place).IsIdenticalTo(
                    std::as_const(found[detail]).ValueAt(place)))
                    << seed;
            }
        }
    }
}

}  // namespace
}  // namespace etabulon::test
