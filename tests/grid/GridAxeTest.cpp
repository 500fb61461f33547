#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"
#include "etabulon/cumul/ETabulonTypeNumeric.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/sort/ETabulonLevelsLevelUI.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "sort/SortFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace etabulon {
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

TEST(EmptyAxe, HasATitleAndNoLabels) {
    EXPECT_EQ(BuildAxe(Axe::AxeVars, "Vars")->DisplayName(), Chaine("Vars"));
    const auto axe = BuildAxe(Axe::AxeVars, "Vars", "Variables");
    EXPECT_EQ(axe->DisplayName(), Chaine("Variables"));
    EXPECT_EQ(axe->Size(), 0U);
    EXPECT_EQ(axe->FindLabel("A"), -1);
    EXPECT_FALSE(axe->HasLabel("A"));
}

TEST(AxeOfALevel, IsNamedAndDataIsTheLevel) {
    ETabulonLevels levels;
    int drawn = 0;
    auto* const icon = reinterpret_cast<HICON>(&drawn);
    levels.AddLevel("Country", "country", nullptr, false);
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
    axe->AddLabel(ETabulonValue("COUNT", "Number", true), nullptr);
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
    const struct {
        const char* code;
        const char* first;
        const char* second;
    } kCases[] = {{"SUM(AMOUNT)", "SUM", "AMOUNT"},
                  {"A(B)C", "A", "B"},
                  {"A(B(C))", "A", "B(C"},
                  {"()", "", ""},
                  {"AMOUNT", "", ""},
                  {"A)B(C", "", ""},
                  {"A)(B)", "A)", "B"},
                  {"A(B", "", ""},
                  {"", "", ""}};
    for (const auto& tested : kCases) {
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

TEST(SortedLabels, LandBetweenTheirNeighboursAndKeepTheFirstText) {
    const test::Sorted sorted{{0, false, 0}};
    const auto axe = BuildAxe(Axe::AxeData, EVariant(0U));
    const auto add = [&](const char* text) -> const Axe::AxeLabel& {
        return axe->AddLabel(test::TagOf({{0, text}}), &sorted.desc, {0, false, 0});
    };
    add("b");
    add("d");
    const Axe::AxeLabel& c = add("c");
    EXPECT_EQ(&add("C"), &c);
    add("a");
    EXPECT_EQ(Labels(*axe), "a b c d");
}

TEST(SortedLabels, AddedAtOnceAreThoseAddedOneByOne) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        test::Sorted sorted{{0, false, 0}};
        sorted.desc.SetCompareSource(
            static_cast<ETabulonSortDesc::SortCompareSource>(random() % 2));
        const test::SortKey key(0, random() % 2 == 0, 0);
        std::vector<ETabulonValue> values;
        for (unsigned count = random() % 20; count != 0; --count) {
            values.push_back(test::RandomValue(random, 1));
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

TEST(CopiedAxe, GoesItsOwnWay) {
    const auto axe = BuildAxe(Axe::AxeData, EVariant(0U), "City");
    axe->AddLabel("Lyon", "", nullptr);
    const auto copy = MakeRef<Axe>(*axe);
    copy->AddLabel("Paris", "", nullptr);
    EXPECT_EQ(Labels(*axe), "Lyon");
    EXPECT_EQ(Labels(*copy), "Lyon Paris");
    EXPECT_EQ(copy->DisplayName(), Chaine("City"));
}

}  // namespace
}  // namespace etabulon
