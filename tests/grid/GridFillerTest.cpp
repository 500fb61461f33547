#include "etabulon/cumul/ETabulonTypeFactory.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/EDataArray.h"
#include "etabulon/grid/ETabulonGridUIBuildEData.h"
#include "grid/FillerSuite.h"

#include <gtest/gtest.h>

#include <map>

namespace etabulon::test {
namespace {
/// Shows the lines in the order of their labels.
struct GridKind {
    using Filler = ETabulonGridFiller;
    using Trace = GridTrace;
    static void SetParams(Filler& filler, const ITabulonCumulFuncOnVarCollection& calculations,
                          unsigned int depth, ETabulonSortDesc& sort) {
        filler.SetParams(&calculations, depth, &sort);
    }
    static std::string Text(const Lines& lines, const char* total) {
        std::string labels, values;
        for (const auto& [label, result] :
             std::map<std::string, std::string>(lines.begin(), lines.end())) {
            values += " 0," + std::to_string((labels.size() + 1) / 2) + "=" + result;
            labels += (labels.empty() ? "" : ",") + label;
        }
        return "start reset axes=1 axe0[" + labels + "]" + values +
               (total != nullptr ? std::string(" column0=") + total : "") + " end";
    }
    static std::string TextBelowB(const char* result) {
        return Text((std::string("X ") + result).c_str(), result);
    }
    static std::string Hear(const Filler& filler) {
        GridTrace view;
        filler.SendTo(&view);
        return view.Take();
    }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Grid, FillerSuite, GridKind);

using GridWalk = Listening<GridKind>;
const Calculations kCount("COUNT A");

TEST(GridInTheMidstOfAWalk, KeepsAnAxeThatWasHandedOut) {
    GridWalk listening(Turns(2), 1, kCount);
    EXPECT_EQ(listening.cursor.CallReset(ETabulonTag::Null), StatusOk);
    const auto axe = ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0));
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0)), axe);
    EXPECT_EQ(listening.cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0))->Size(), 2U);
    EXPECT_EQ(axe->Size(), 1U);
    EXPECT_EQ(listening.cursor.locks, 0);
}

TEST(GridSelection, NamesVariableAndPosition) {
    struct Case {
        Calculations calculations;
        int priority;
        unsigned int axes;
        int column, line;
        bool found;
        const char *variable, *tag;
    };
    const char* const two = "SUM A, SUM B";
    // Past the last column or line the position is that of the other axis; a column counts only
    // where it is of an axis. The variable is that of the priority calculation, of the column, or
    // the first.
    for (const Case& tested :
         {Case{kCount, -1, 2, 0, 1, true, "A", "[B, X]"},
          Case{kCount, -1, 2, 1, 1, true, "A", "[B]"}, Case{kCount, -1, 2, 0, 2, true, "A", "[X]"},
          Case{kCount, -1, 2, -1, -1, true, "A", "[]"}, Case{kCount, -1, 1, 5, 0, true, "A", "[A]"},
          Case{kCount, -1, 0, 0, 0, true, "A", "[]"}, Case{kCount, -1, 0, 0, 1, false, "A", "[]"},
          Case{kCount, -1, 0, 1, 0, false, "A", "[]"}, Case{two, 1, 2, 0, 0, true, "B", "[A, X]"},
          Case{two, -1, 2, 1, 1, true, "B", "[B]"}, Case{two, -1, 2, 9, 1, true, "A", "[B]"},
          Case{"SUM B, MAX B", -1, 2, 1, 1, true, "B", "[B]"},
          Case{"", -1, 2, 0, 0, true, "", "[A, X]"}}) {
        GridWalk listening(Turns(2), tested.axes, kCount);
        const auto collection = Collect(tested.calculations, tested.priority);
        listening.filler->SetParams(&collection, tested.axes, &listening.setup.sort);
        EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
        EXPECT_EQ(listening.filler->Calculations()->Size(), tested.calculations.size());
        EXPECT_EQ(listening.filler->Calculations()->PriorityCalculationPos(), tested.priority);
        ETabulonVariableID variable("before");
        ETabulonTag tag = Tag({{3, "before"}});
        EXPECT_EQ(listening.filler->GetSelection(tested.column, tested.line, &variable, &tag),
                  tested.found);
        EXPECT_EQ(variable.Code(), Chaine(tested.variable)) << tested.column << tested.line;
        EXPECT_EQ(tag.DisplayID(), Chaine(tested.tag)) << tested.column << tested.line;
    }
}

/// A filler that joins another walk hears no reset: what it knows of the tags of the walk before
/// doesn't hold for those that have taken their places in memory.
TEST(GridOnACache, KnowsNoTagByTheAddressOfOneThatHasGone) {
    class Joining : public ECursorListener {
    public:
        std::function<void()> join;
        CursorStatus OnMove(const ETabulonCursor&) override {
            std::exchange(join, [] {})();
            return StatusOk;
        }
    };
    const auto records = [](int first) {
        std::vector<Record> made;
        for (int label = first; label < first + 50; ++label) {
            made.push_back({Tag({{0, label}}), 1});
        }
        return made;
    };
    GridWalk listening(records(0), 1, kCount);
    listening.cursor.RemNotifier(listening.filler.Get());
    ETabulonCursorCache cache(&listening.cursor);
    cache.AddNotifier(listening.filler.Get());
    EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
    cache.RemNotifier(listening.filler.Get());

    listening.cursor.SetRecords(records(50));
    cache.ClearCache();
    Joining joining;
    joining.join = [&] { cache.AddNotifier(listening.filler.Get()); };
    cache.AddNotifier(&joining);
    EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
    cache.RemNotifier(&joining);
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0))->Size(), 100U);
    cache.RemNotifier(listening.filler.Get());
}

const Calculations kSum("SUM A");
const Calculations kVarFuncs("SUM A, SUM B");
const Calculations kFuncs("SUM A, COUNT A");

/// "[X,Y] A:7,- B:-,2": the headers of the fields, then the records by their labels. No value shows
/// as "-", an empty text as "''".
std::string Text(const ETabulonGridUIBuildEData& view) {
    EData* const table = view.Result();
    if (table == nullptr) {
        return "no table";
    }
    std::string text = "[";
    for (std::uint16_t field = 0; field < table->Fields().Size(); ++field) {
        text += (field == 0 ? "" : ",");
        text += table->Fields().At(field).Infos().Header().c_str();
    }
    text += "]";
    std::uint32_t line = 0;
    for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
        text += std::string(" ") + view.LinesLabels().At(line++).c_str() + ":";
        for (std::uint16_t field = 0; field < table->Fields().Size(); ++field) {
            const EField& cell = table->Fields().At(field);
            const std::string shown = cell.AsChaine().c_str();
            text += (field == 0 ? "" : ",");
            text += cell.IsMissing() ? "-" : (shown.empty() ? "''" : shown);
        }
    }
    return text + (line == view.LinesLabels().Size() ? "" : " labels!");
}

/// Levels 0 and 1 across, records on the diagonal of {A, B} x {X, Y}; level 0 shows in full.
struct GridTable : ::testing::Test {
    GridTable() {
        for (const auto& [data, text] : {std::pair{"A", "Alpha"}, std::pair{"B", "Beta"}}) {
            ETabulonTag tag = Tag({{1, *data == 'A' ? "X" : "Y"}});
            tag.SetValue(0, ETabulonValue(EVariant(data), text, /*modified=*/false));
            records.push_back({tag, *data == 'A' ? 7 : 2, EVariant::FromDouble(0.5), data});
        }
    }
    /// The filler stays, for questions.
    void Send(ETabulonGridUIBuildEData& view, unsigned int axes, const Calculations& calculations) {
        cursor = std::make_unique<RecordCursor>(records);
        filler = ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(cursor.get(), nullptr));
        collection = Collect(calculations);
        filler->SetParams(&collection, axes, &setup.sort);
        const ECursorListening listening(*cursor, *filler);
        static_cast<void>(cursor->Browse(ETabulonTag::Null));
        filler->SendTo(&view);
    }
    std::string Sent(unsigned int axes, const Calculations& calculations,
                     ETabulonDisplayMode mode = DisplayText) {
        ETabulonGridUIBuildEData view(&collection, /*ownsResult=*/true);
        view.SetDisplayMode(mode);
        Send(view, axes, calculations);
        return Text(view);
    }

    GridSetup setup{0, 1};
    std::vector<Record> records;
    ETabulonCumulFuncOnVarCollection collection;
    std::unique_ptr<RecordCursor> cursor;
    ERef<ETabulonGridFiller> filler;
};

TEST_F(GridTable, HasALineForEachLabelAndAFieldForEachColumn) {
    EXPECT_EQ(Sent(0, kSum), "[Header of A] :9");
    EXPECT_EQ(Sent(0, kSum, DisplayRawValue), "[A] :9");
    EXPECT_EQ(Sent(1, kSum), "[Alpha,Beta] :7,2");
    EXPECT_EQ(Sent(2, kSum), "[X,Y] Alpha:7,- Beta:-,2");
    EXPECT_EQ(Sent(2, kVarFuncs), "[Header of A,Header of B] Alpha:7,0.5 Beta:2,0.5");
    EXPECT_EQ(Sent(2, kFuncs), "[Somme,Nombre d'éléments] Alpha:7,1 Beta:2,1");
    // Labels of functions that hold for several variables have no column type.
    EXPECT_EQ(Sent(0, "SUM A, MAX A, SUM B"), "[Somme,Max.] Header of A:9,7 Header of B:1,''");
    EXPECT_EQ(Sent(1, "LAST T"), "[Alpha,Beta] :A,B");
    records.clear();
    EXPECT_EQ(Sent(2, kSum), "[]");
    EXPECT_EQ(Sent(0, kSum), "no table");
}

TEST_F(GridTable, CellsWithoutAValueAreEmpty) {
    records.push_back(records[0]);
    records.back().t = "other";
    EXPECT_EQ(Sent(2, "COMMONVAL T"), "[X,Y] Alpha:'','' Beta:'',B");
}

TEST_F(GridTable, RawModeShowsDataButInDescriptions) {
    ETabulonGridUIBuildEData view(&collection, /*ownsResult=*/true);
    EXPECT_EQ(view.DisplayMode(), DisplayText);
    view.SetDisplayMode(DisplayRawValue);
    Send(view, 1, kSum);
    EXPECT_EQ(Text(view), "[A,B] :7,2");
    const EField& field = view.Result()->Fields().At(0);
    const auto& infos = dynamic_cast<const EFInfosHandlerLocal&>(field.Infos());
    EXPECT_STREQ(infos.Description().c_str(), "Alpha");
    EXPECT_STREQ(field.Name().c_str(), "A");
    EXPECT_EQ(infos.Accelerator(), 0U);
    Send(view, 2, kSum);
    EXPECT_EQ(Text(view), "[X,Y] A:7,- B:-,2");
}

TEST(ColumnOfType, IsAFieldOfTheTable) {
    struct Typed {
        int type;
        unsigned int size;
        const char* field;  // type, size
    };
    for (const auto& [type, size, field] :
         {Typed{0x19, 4, "0, 50"}, Typed{0x19, 20, "0, 20"}, Typed{0x19, 0, "0, 50"},
          Typed{0x18, 4, "0, 50"}, Typed{0x99, 4, "0, 50"}, Typed{0xA1, 4, "0, 50"},
          Typed{0xA1, 7, "0, 7"}, Typed{0, 4, "0, 4"},
          Typed{ETabulonGridAxe::AxeLabel::kNoColumnType, 0, "0, 50"}, Typed{TYPE_LONG, 4, "1, 4"},
          Typed{TYPE_LONG, 0, "1, 4"}, Typed{TYPE_INT8, 1, "13, 1"},
          Typed{TYPE_DOUBLE, 9, "2, 8"}}) {
        const auto axe = ERef<ETabulonGridAxe>::Adopt(
            ETabulonGridAxe::Build(ETabulonGridAxe::AxeVars, EVariant("Vars"), "", nullptr));
        axe->AddLabel(EVariant("V"), "", nullptr).SetColumnTypeInfos(type, size);
        ETabulonGridUIBuildEData view(nullptr, /*ownsResult=*/true);
        view.SetAxeCount(1);
        view.SetAxe(ITabulonResGridUI::AxeLines, axe.Get());
        const EFieldDesc& desc = view.Result()->Fields().At(0).Desc();
        EXPECT_EQ(std::to_string(desc.Type()) + ", " + std::to_string(desc.Size()), field) << type;
        // Whatever the field is, a value that isn't there doesn't read as one.
        view.SetValue(0, 0, ETabulonValue::Null);
        EXPECT_EQ(Text(view), desc.Type() == TYPE_ZSTRING ? "[V] :''" : "[V] :-");
    }
}

TEST_F(GridTable, HasAtMost512Fields) {
    records.clear();
    for (int column = 0; column < 600; ++column) {
        records.push_back({Tag({{0, column}}), column});
    }
    ETabulonGridUIBuildEData view(&collection, /*ownsResult=*/true);
    Send(view, 1, kSum);
    ASSERT_EQ(view.Result()->Fields().Size(), 512U);
    EXPECT_EQ(view.LeftOutColumns(), 88U);
    view.Result()->GetFirst();
    const EField& last = view.Result()->Fields().At(511);
    EXPECT_STREQ(last.AsChaine().c_str(), last.Infos().Header().c_str());
}

TEST_F(GridTable, AnswersWhatIsBehindItsCells) {
    ETabulonGridUIBuildEData view(&collection, /*ownsResult=*/true);
    const auto behind = [&](unsigned int column, unsigned int line) {
        ETabulonVariableID id;
        ETabulonTag tag;
        const bool isThere = view.GetSelection(filler.Get(), column, line, &id, &tag);
        return isThere ? std::string(id.Code().c_str()) + tag.DisplayID().c_str() : "nothing";
    };
    Send(view, 2, kSum);
    EXPECT_EQ(behind(1, 0), "A[Alpha, Y]");
    Send(view, 1, kSum);
    EXPECT_EQ(behind(1, 0), "A[Beta]");
    EXPECT_EQ(behind(2, 0), "A[]");
    EXPECT_EQ(cursor->locks, 0);
}

TEST_F(GridTable, BelongsToTheViewOrToTheCaller) {
    std::unique_ptr<EData> kept;
    {
        ETabulonGridUIBuildEData view(&collection, /*ownsResult=*/false);
        Send(view, 2, kSum);
        const ETabulonGridUIBuildEData copy(view);
        EXPECT_EQ(Text(copy), "no table");
        kept.reset(view.Result());
        view.Reset();
        EXPECT_EQ(Text(view), "no table");
        EXPECT_EQ(view.LinesLabels().Size(), 0U);
    }
    kept->GetFirst();
    EXPECT_EQ(kept->Fields().At(0).AsInt64(), 7);
    ETabulonGridUIBuildEData view(&collection, /*ownsResult=*/true);
    Send(view, 2, kSum);
    Send(view, 1, kSum);
    EXPECT_EQ(Text(view), "[Alpha,Beta] :7,2");
    const ETabulonGridUIBuildEData empty(nullptr, true);
    view = empty;
    EXPECT_EQ(Text(view), "no table");
}

}  // namespace
}  // namespace etabulon::test
