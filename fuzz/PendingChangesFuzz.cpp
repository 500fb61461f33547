// Change scripts: the bytes are operations on a script over a small table. What the script holds
// and answers, what its overlay shows and what a save leaves are compared with a literal
// model.

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/foundation/EDataMemory.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "fuzz/Choices.h"
#include "fuzz/PendingModel.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace etabulon::fuzz {
namespace {

using Change = ETabulonPendingChanges::Change;
using Kind = Datum::Kind;

std::string Text(const EVariant& value) {
    return value.IsMissing() ? "-" : "<" + std::string(value.AsChaine().View()) + ">";
}

std::string Text(const ETabulonTag& tag) {
    std::string text;
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        text += std::to_string(tag.LevelAt(place)) + Text(tag.ValueAt(place).Data());
    }
    return "[" + text + "]";
}

std::string Text(const Change& change) {
    return std::to_string(change.Type()) + Text(change.Selection()) +
           std::string(change.VarDataID().Code().View()) + Text(change.Value()) + "\n";
}

std::string Text(const PTableau<Change>& script) {
    std::string text;
    for (const Change& change : script) {
        text += Text(change);
    }
    return text;
}

Change ChangeOf(const LiteralChange& change) {
    return change.type == kUpdate
               ? Change(TagOf(change.place), change.variable.Id(), change.value.AsVariant())
               : Change(change.type, TagOf(change.place));
}

std::string Text(const std::vector<LiteralChange>& script) {
    std::string text;
    for (const LiteralChange& change : script) {
        text += Text(ChangeOf(change));
    }
    return text;
}

std::string Text(const Record& record) {
    std::string text;
    for (const Datum& datum : record) {
        text += Text(datum.AsVariant());
    }
    return text + "\n";
}

std::string Text(const EFieldSet& fields) {
    std::string text;
    for (std::uint16_t column = 0; column < std::size(kColumns); ++column) {
        text += Text(fields.At(column));
    }
    return text + "\n";
}

/// Writes down the records that a walk shows.
class Reader final : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        text += Text(cursor.CurrentTag()) + (cursor.PrimaryKey().IsSet() ? " " : " new ") +
                Text(cursor.Fields());
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override { text += "cancelled"; }
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus status) override {
        text += "failed " + std::to_string(status);
    }
    std::string text;
};

class Bench {
public:
    explicit Bench(Choices& choices) : choices_(choices) {
        DRubric* const rubric = dico_.AddRubric("Items", "Items");
        constexpr unsigned int kNullableLong = 5;
        rubric->AddVariable("group", "", TYPE_LONG, kNullableLong);
        rubric->AddVariable("name", "", TYPE_CHAINE, 0);
        rubric->AddVariable("id", "", TYPE_LONG, kNullableLong);
        rubric->AddVariable("value", "", TYPE_LONG, kNullableLong);
        rubric->SetKey({"id"});
        table_ = std::make_unique<EDataMemory>(rubric);
        FillTable();
        ETabulonLevels levels;
        for (unsigned int level = 0; level < kLevels; ++level) {
            levels.AddLevel(kColumns[level], kColumns[level], nullptr, /*addRef=*/false);
        }
        cursor_.Init(levels, table_.get(), /*ownsTable=*/false);
        overlay_.Init(cursor_.Levels());
    }

    void Run() {
        while (!choices_.IsEmpty()) {
            Step();
        }
        RequireEqual(Text(changes_.Script()), Text(model_.script), "the script");
        CheckWalk({});
        CheckSave({});
    }

private:
    void FillTable() {
        for (unsigned int count = choices_.Below(8); count > 0; --count) {
            const Record record = {Kept(Group, AnyDatum(Group)), Kept(Name, AnyDatum(Name)),
                                   Kept(Id, AnyDatum(Id)), Kept(Value, AnyDatum(Value))};
            const bool isTwin = model_.HasId(record[Id], model_.records.size());
            std::vector<EVariant> values;
            for (const Datum& datum : record) {
                values.push_back(datum.AsVariant());
            }
            Require((table_->Append(values) == kNoPosition) == isTwin, "an appended record");
            if (!isTwin) {
                model_.records.push_back(record);
            }
        }
    }
    Datum AnyDatum(unsigned int level) {
        constexpr Datum kNumbers[] = {{Kind::Whole, 0, ""}, {Kind::Whole, 1, ""},
                                      {Kind::Real, 1, ""},  {},
                                      {Kind::Whole, 2, ""}, {Kind::Real, 0, ""}};
        constexpr Datum kTexts[] = {
            {Kind::Text, 0, "a"}, {Kind::Text, 0, "A"},        {Kind::FoldingText, 0, "a"}, {},
            {Kind::Text, 0, ""},  {Kind::FoldingText, 0, "B"}, {Kind::Text, 0, "b"}};
        if (level == Name) {
            return choices_.Of(kTexts);
        }
        if (level == Id) {
            const unsigned int id = choices_.Below(8);
            return id == 7 ? Datum{} : Datum{Kind::Whole, static_cast<int>(id), ""};
        }
        return choices_.Of(kNumbers);
    }
    Place AnyPlace() {
        Place place;
        // The level after the last is one that the cursor lacks.
        for (unsigned int known = choices_.Below(1U << (kLevels + 1)), level = 0; known != 0;
             known >>= 1U, ++level) {
            if (known % 2 != 0) {
                place[level] = AnyDatum(level);
            }
        }
        return place;
    }
    Variable AnyVariable() {
        constexpr Variable kVariables[] = {{"value"}, {"VALUE"},  {"group"},  {"name"}, {"id"},
                                           {"4", 4},  {" 4 ", 4}, {"12", 12}, {"none"}, {""}};
        return choices_.Of(kVariables);
    }
    Datum AnyValue() {
        constexpr Datum kValues[] = {{Kind::Whole, 0, ""}, {},
                                     {Kind::Text, 0, "a"}, {Kind::Real, 1, ""},
                                     {Kind::Text, 0, "7"}, {Kind::Text, 0, ""},
                                     {Kind::Whole, 5, ""}, {Kind::FoldingText, 0, "A"}};
        return choices_.Of(kValues);
    }

    void Step() {
        switch (choices_.Below(12)) {
            case 0:
                model_.script.clear();
                changes_.Reset();
                break;
            case 1:
            case 2:
                CheckWalk(AnyPlace());
                break;
            case 3:
                CheckSave(AnyPlace());
                break;
            case 4: {
                const Place place = AnyPlace();  // before: arguments have no order
                CheckQuestions(place, AnyVariable());
                break;
            }
            case 5:
            case 6:
                Append({kInsert, AnyPlace(), {}, {}});
                break;
            case 7:
            case 8:
                Append({kDelete, AnyPlace(), {}, {}});
                break;
            case 9:
                AppendOwn();
                break;
            default: {
                LiteralChange change{kUpdate, AnyPlace(), AnyVariable(), AnyValue()};
                Append(change);
                break;
            }
        }
    }
    void Append(const LiteralChange& change) {
        const ETabulonTag tag = TagOf(change.place);
        switch (change.type) {
            case kUpdate:
                changes_.AppendUpdate(tag, change.variable.Id(), change.value.AsVariant());
                break;
            case kInsert:
                changes_.AppendInsert(tag);
                break;
            case kDelete:
                changes_.AppendDelete(tag);
                break;
        }
        model_.Append(change);
    }
    /// A change that lies in the script itself.
    void AppendOwn() {
        if (!model_.script.empty()) {
            const unsigned int index = choices_.Below(
                static_cast<unsigned int>(std::min<std::size_t>(model_.script.size(), 256)));
            const LiteralChange own = model_.script[index];
            changes_.AppendChange(changes_.Script()[index]);
            model_.Append(own);
        }
    }

    void CheckQuestions(const Place& place, const Variable& variable) {
        const ETabulonTag tag = TagOf(place);
        const std::vector<LiteralChange> updates = model_.At(kUpdate, place);
        const auto update =
            std::find_if(updates.begin(), updates.end(), [&variable](const LiteralChange& each) {
                return IsSameVariable(variable, each.variable);
            });
        const bool isChanged = update != updates.end();
        const EVariant expected = isChanged ? update->value.AsVariant() : EVariant("present");
        EVariant copy;
        Require(changes_.IsDeleted(tag) == model_.IsDeleted(place), "IsDeleted");
        Require(changes_.IsUpdated(tag) == !updates.empty(), "IsUpdated");
        const bool asksForEmpty = variable.number == 0 && *variable.code == '\0';
        Require(changes_.IsModified(tag, variable.Id()) ==
                    (isChanged || (asksForEmpty && !model_.At(kDelete, place).empty())),
                "IsModified");
        RequireEqual(Text(changes_.GetFinalValue(tag, variable.Id(), "present")), Text(expected),
                     "GetFinalValue");
        Require(changes_.GetFinalValueCopy(tag, variable.Id(), "present", copy) == isChanged,
                "GetFinalValueCopy");
        RequireEqual(Text(copy), Text(expected), "GetFinalValueCopy");
        for (const ChangeType type : {kUpdate, kInsert, kDelete}) {
            RequireEqual(Text(changes_.ScriptUnder(type, tag)), Text(model_.Under(type, place)),
                         "ScriptUnder");
        }
    }

    void CheckWalk(const Place& under) {
        Reader reader;
        {
            const ECursorListening listening(overlay_, reader);
            Require(overlay_.Browse(TagOf(under)) == StatusOk, "the status of a walk");
        }
        std::string expected;
        for (const Shown& shown : model_.Walk(under)) {
            expected +=
                Text(TagOf(shown.place)) + (shown.isNew ? " new " : " ") + Text(shown.record);
        }
        RequireEqual(reader.text, expected, "what the overlay shows");
    }

    void CheckSave(const Place& under) {
        std::int32_t status = StatusOk;
        {
            ETabulonSavePending save(&overlay_, cursor_.Levels());
            status = save.Run(&changes_, TagOf(under));
        }
        const std::int32_t expectedStatus = model_.Save(under);
        std::string expected;
        for (const Record& record : model_.records) {
            expected += Text(record);
        }
        std::string found;
        EDataMemory other(*table_);
        for (EPosition at = other.GetFirst(); at != kNoPosition; at = other.GetNext()) {
            found += Text(other.Fields());
        }
        RequireEqual(found, expected, "the table behind a save");
        Require(status == expectedStatus, "the status of a save");
        Require(cursor_.Notifiers().Size() == 0, "a listener that stayed");
    }

    Choices& choices_;
    DDico dico_;
    std::unique_ptr<EDataMemory> table_;
    ETabulonCursorEData cursor_;
    ETabulonPendingChanges changes_;
    ETabulonCursorPending overlay_{&cursor_, &changes_};
    PendingModel model_;
};

}  // namespace
}  // namespace etabulon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    etabulon::fuzz::Choices choices(bytes, size);
    etabulon::fuzz::Bench(choices).Run();
    return 0;
}
