#include "CumulFixture.h"
#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/values/ETabulonExtractValue.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "support/AllocationCount.h"
#include "support/MemoryTable.h"
#include "support/Tags.h"

#include <gtest/gtest.h>

#include <functional>

namespace etabulon::test {
namespace {

/// Calls a function at each record of a walk over the sales.
class Sales : public ECursorListener {
public:
    Sales() {
        ETabulonLevels levels = LevelsBy({"country", "id"});
        cursor.Init(levels, data_.table.get(), /*ownsTable=*/false);
    }
    void Walk(const std::function<void()>& atRecord) {
        atRecord_ = atRecord;
        const ECursorListening listening(cursor, *this);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    }
    CursorStatus OnMove(const ETabulonCursor&) override {
        atRecord_();
        return StatusOk;
    }

    ETabulonCursorEData cursor;

private:
    VentesData data_;
    std::function<void()> atRecord_;
};

struct NothingLeftBehind {
    std::int64_t live = ECountedUnknown::LiveObjects();
    ~NothingLeftBehind() { EXPECT_EQ(ECountedUnknown::LiveObjects(), live); }
};

class SalesCalculations : public testing::Test {
protected:
    SalesCalculations() {
        calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 9, "Amount");
        calculations.AddCalculation("max", "year", TYPE_LONG, 5, "");
        calculations.AddCalculation("CODEMIN", "amount", TYPE_DOUBLE, 9, "Amount");
    }
    /// The results of a walk whose records are seen through `pending`.
    std::string Folded(const ETabulonPendingChanges* pending, bool viewed) {
        Start();
        extract.Init(&calculations, pending);
        sales->Walk([&] {
            viewed ? extract.ViewCurrent(sales->cursor) : extract.SetCurrent(sales->cursor);
            running->AddValue(extract);
        });
        std::string text;
        for (unsigned int index = 0; index < running->Size(); ++index) {
            const auto one = ERef<ETabulonCumulBufferOnVar>::Adopt(running->Calculation(index));
            text += (text.empty() ? "" : " ") + Text(one->Result());
        }
        return text;
    }
    ERef<ETabulonCumulFuncOnVar> At(unsigned int index) const {
        return ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.Calculation(index));
    }
    void Start() {
        running = ERef<ETabulonCumulBufferOnVarCollection>::Adopt(calculations.Start());
    }

    NothingLeftBehind nothingLeftBehind;
    ERef<Sales> sales = MakeRef<Sales>();
    ETabulonCumulFuncOnVarCollection calculations;
    ERef<ETabulonCumulBufferOnVarCollection> running;
    ETabulonExtractValue extract;
};

TEST_F(SalesCalculations, FoldTheRecordsOfAWalkThroughPendingChanges) {
    ETabulonPendingChanges pending;
    pending.AppendUpdate(Tag({{0, "FR"}}), "amount", EVariant::FromDouble(1));
    pending.AppendUpdate(Tag({{1, 5}}), "year", 2030);
    EXPECT_EQ(Folded(nullptr, /*viewed=*/false), "27.75 2022 5");
    EXPECT_EQ(Folded(nullptr, /*viewed=*/true), "27.75 2022 5");
    EXPECT_EQ(Folded(&pending, /*viewed=*/false), "5.25 2030 5");
    EXPECT_EQ(Folded(&pending, /*viewed=*/true), "5.25 2030 5");
}

TEST_F(SalesCalculations, RecordsAreNeverModified) {
    ETabulonPendingChanges pending;
    pending.AppendUpdate(ETabulonTag::Null, "amount", EVariant::FromDouble(1));
    EXPECT_EQ(Folded(&pending, /*viewed=*/false), "5 2022 1");
    EXPECT_FALSE(extract.IsModified(At(0)->Variable()));
}

TEST_F(SalesCalculations, SnapshotOutlivesTheStepAndAViewDoesNot) {
    ETabulonExtractValue viewed;
    viewed.Init(&calculations, nullptr);
    extract.Init(&calculations, nullptr);
    ETabulonExtractValue copied;
    int record = 0;
    sales->Walk([&] {
        viewed.ViewCurrent(sales->cursor);
        if (++record == 3) {
            extract.SetCurrent(sales->cursor);
            copied = viewed;
        }
        EXPECT_EQ(viewed.Context().Position(), sales->cursor.PrimaryKey().Position());
    });
    const auto sum = At(0);
    for (const ETabulonExtractValue* kept : {&extract, &copied}) {
        EXPECT_EQ(kept->GetValue(sum->Variable()), EVariant::FromDouble(5.5));
        EXPECT_EQ(kept->CalculationValues()[0], &kept->GetValue(sum->Variable()));
        EXPECT_EQ(kept->Position().DisplayID(), Chaine("[FR, 3]"));
        EXPECT_EQ(kept->Context().SingleCode().Data(), EVariant(3));
    }
}

TEST_F(SalesCalculations, ValuesThatASubclassCopiesAreItsOwn) {
    struct Open : ETabulonExtractValue {
        using ETabulonExtractValue::Values;
    } open;
    open.Init(&calculations, nullptr);
    auto kept = open.Values();
    int record = 0;
    sales->Walk([&] {
        open.SetCurrent(sales->cursor);
        kept = ++record == 3 ? open.Values() : kept;
    });
    EXPECT_NE(open.GetValue(At(0)->Variable()), EVariant::FromDouble(5.5));
    EXPECT_EQ(kept[At(0)->Variable()], EVariant::FromDouble(5.5));
}

TEST_F(SalesCalculations, AllocateNothingForARecord) {
    ETabulonPendingChanges pending;
    pending.AppendUpdate(Tag({{1, 4}}), "amount", EVariant::FromDouble(1));
    for (const ETabulonPendingChanges* changes :
         {static_cast<const ETabulonPendingChanges*>(nullptr), &std::as_const(pending)}) {
        extract.Init(&calculations, changes);
        sales->Walk([&] { extract.SetCurrent(sales->cursor); });
        std::uint64_t taken = 0;
        sales->Walk([&] {
            const AllocationCount count;
            extract.SetCurrent(sales->cursor);
            extract.ViewCurrent(sales->cursor);
            taken += count.Taken();
        });
        EXPECT_EQ(taken, 0U);
    }
}

TEST_F(SalesCalculations, AreFoundByNameOfFunctionAndVariable) {
    Start();
    const auto found =
        ERef<ETabulonCumulBufferOnVar>::Adopt(running->FindFirstByFunctionName("sum"));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->Desc(), At(0).Get());
    EXPECT_EQ(running->FindFirstByFunctionName("AVG"), nullptr);
    EXPECT_EQ(
        ERef<ETabulonCumulBufferOnVar>::Adopt(running->FindFirstByVariableName("YEAR"))->Desc(),
        At(1).Get());
    EXPECT_EQ(running->FindFirstByVariableName("city"), nullptr);
    EXPECT_EQ(ERef<ETabulonCumulBufferOnVar>::Adopt(running->Calculation(At(2).Get()))->Desc(),
              At(2).Get());
}

TEST(CalculationCollection, AnAbsentFunctionAddsNothing) {
    ETabulonCumulFuncOnVarCollection calculations;
    EXPECT_EQ(calculations.AddCalculation("SUM", "city", TYPE_CHAINE, 0, ""), -1);
    EXPECT_EQ(ETabulonCumulFuncOnVar::Build("none", "city", TYPE_CHAINE, 0, ""), nullptr);
    EXPECT_EQ(calculations.AddCalculation("COUNT", "city", TYPE_CHAINE, 0, ""), 0);
    EXPECT_EQ(calculations.AddCalculation("LAST", "city", TYPE_CHAINE, 0, ""), 1);
    EXPECT_EQ(calculations.Size(), 2U);
}

TEST(CalculationCollection, CopiesHoldTheirOwnReferences) {
    const std::int64_t live = ECountedUnknown::LiveObjects();
    {
        ETabulonCumulFuncOnVarCollection first;
        first.AddCalculation("COUNT", "city", TYPE_CHAINE, 0, "");
        first.SetPriorityCalculationPos(0);
        // The same calculation twice: two buffers, and the later one by name of the calculation.
        first.AddCalculation(first.Calculation(0), /*addRef=*/false);
        first.AddCalculations(&first);
        EXPECT_EQ(first.Size(), 4U);
        ETabulonCumulFuncOnVarCollection copy(first);
        copy = first;
        EXPECT_EQ(copy.PriorityCalculationPos(), 0);
        first = ETabulonCumulFuncOnVarCollection();
        const auto running = ERef<ETabulonCumulBufferOnVarCollection>::Adopt(copy.Start());
        ASSERT_EQ(running->Size(), 4U);
        const auto calculation = ERef<ETabulonCumulFuncOnVar>::Adopt(copy.Calculation(0));
        EXPECT_EQ(ERef<ETabulonCumulBufferOnVar>::Adopt(running->Calculation(calculation.Get())),
                  ERef<ETabulonCumulBufferOnVar>::Adopt(running->Calculation(3U)));
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), live);
}

TEST(CalculationOfAField, GoesByItsNumberIfItHasOne) {
    VentesData data;
    const EFieldSet& fields = data.table->Fields();
    const auto byNumber = ERef<ETabulonCumulFuncOnVar>::Adopt(
        ETabulonCumulFuncOnVar::Build("SUM", fields["amount"], ""));
    EXPECT_EQ(byNumber->Variable()->DataID().Accelerator(), fields["amount"].Infos().Accelerator());
    EXPECT_EQ(byNumber->Variable()->DataType(), TYPE_DOUBLE);
    double place = 0;
    EField field;
    field.Attach(EFieldDesc("plain", TYPE_DOUBLE, 0, 0, nullptr), &place, /*takeOwnership=*/false);
    const auto byName =
        ERef<ETabulonCumulFuncOnVar>::Adopt(ETabulonCumulFuncOnVar::Build("AVG", field, "Plain"));
    EXPECT_EQ(byName->Variable()->DataID().Code(), Chaine("plain"));
    EXPECT_EQ(byName->Variable()->Header(), Chaine("Plain"));
    const std::int64_t live = ECountedUnknown::LiveObjects();
    static_cast<void>(ETabulonCumulFuncOnVarCollection().AddCalculation("AVG", field, "Plain"));
    EXPECT_EQ(ECountedUnknown::LiveObjects(), live);
}

TEST(CalculationOfADictionaryVariable, NamesTheElementOfAnArray) {
    DDico dico;
    DRubric* const rubric = dico.AddRubric("Sales");
    rubric->AddVariable("Amount", "Total", TYPE_DOUBLE, 9, 4);
    rubric->AddVariable("City", "", TYPE_CHAINE, 0);
    const auto amount = ERef<ETabulonCumulFuncOnVar>::Adopt(
        ETabulonCumulFuncOnVar::Build("SUM", rubric->Find("Amount"), 2));
    EXPECT_EQ(amount->Variable()->DataID().Code(), Chaine("Amount[2]"));
    EXPECT_EQ(amount->Variable()->Header(), Chaine("Total[2]"));
    const auto city =
        ERef<ETabulonVariableDesc>::Adopt(ETabulonVariableDesc::Build(rubric->Find("City"), 2));
    EXPECT_EQ(city->DataID().Code(), Chaine("City"));
    EXPECT_EQ(city->Header(), Chaine("City"));
    EXPECT_EQ(ETabulonCumulFuncOnVar::Build("SUM", rubric->Find("City"), 0), nullptr);
}

TEST(VariableDescription, TakesTheIconOfItsTypeAndKeepsItsOwnFunctions) {
    const auto icon = reinterpret_cast<HICON>(std::uintptr_t{7});
    const auto own = ERef<ETabulonVariableDesc>::Adopt(
        ETabulonVariableDesc::Build("a", TYPE_LONG, 4, "A", icon));
    const auto other = ERef<ETabulonVariableDesc>::Adopt(
        ETabulonVariableDesc::Build("a", TYPE_LONG, 4, "", nullptr));
    EXPECT_EQ(own->Icon(), icon);
    EXPECT_EQ(other->Icon(), other->Type()->Icon());
    EXPECT_EQ(own->Functions().Size(), 9U);
    EXPECT_NE(&own->Functions(), &other->Functions());
    EXPECT_EQ(ERef<ETabulonCumulFunc>::Adopt(own->Functions().GetFunction("SUM")),
              ERef<ETabulonCumulFunc>::Adopt(other->Functions().GetFunction("SUM")));
}

}  // namespace
}  // namespace etabulon::test
