#include "etabulon/sql/ETabulonCursorSql.h"

#include "etabulon/foundation/DDico.h"

#include <typeinfo>

namespace etabulon {

namespace {

/// The column of `id`, or -1 if it isn't of this table.
int PlainColumn(const DRubric& rubric, const ETabulonVariableID& id) {
    if (id.IsLink()) {
        return -1;
    }
    if (id.IsAccelerator()) {
        for (std::size_t i = 0; i < rubric.Size(); ++i) {
            if (rubric.At(i)->Accelerator() == id.Accelerator()) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    const bool isQualified = !id.CodeVar().IsEmpty();  // an unqualified name is in CodeRub
    if (isQualified && !id.CodeRub().EqualsFolded(rubric.Name())) {
        return -1;
    }
    const DVariable* const variable = rubric.Find(isQualified ? id.CodeVar() : id.Code());
    return variable != nullptr ? static_cast<int>(variable->Index()) : -1;
}

}  // namespace

ETabulonCursorSql::~ETabulonCursorSql() = default;

void ETabulonCursorSql::Init(const ETabulonLevels& levels, EData* table, bool ownsTable) {
    table_ = dynamic_cast<ESqlTable*>(table);
    ETabulonCursorEData::Init(levels, table, ownsTable);
}

bool ETabulonCursorSql::IsCancelled() {
    if (!ETabulonCursorEData::IsCancelled()) {
        return false;
    }
    // Any thread may ask, but only the walking thread may touch the table.
    if (table_ != nullptr && walker_.load() == std::this_thread::get_id()) {
        walker_.store({});
        table_->EndWalk();
    }
    return true;
}

void ETabulonCursorSql::Cancel() {
    ETabulonCursorEData::Cancel();
    if (table_ != nullptr) {
        table_->Interrupt();
    }
}

void ETabulonCursorSql::ResetCancel() {
    // Resets the interrupt before the flag: a Cancel in between leaves the interrupt, which ends
    // the walk.
    if (table_ != nullptr) {
        table_->ResetInterrupt();
    }
    ETabulonCursorEData::ResetCancel();
}

CursorStatus ETabulonCursorSql::SetKeyRange(const ETabulonTag& tag, EData* data) const {
    auto* const table = dynamic_cast<ESqlTable*>(data);
    if (table == nullptr) {
        return StatusOk;
    }
    table->ClearRange();
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        if (!Levels().ExistLevel(tag.LevelAt(index))) {
            continue;
        }
        const ETabulonLevels::Level& level = Levels().GetLevel(tag.LevelAt(index));
        const int column = PlainColumn(table->Rubric(), level.DataID());
        if (column >= 0 && level.DataID().ExistsIn(table->Fields())) {
            table->AddRange(static_cast<unsigned int>(column), tag.ValueAt(index));
        }
    }
    return StatusOk;
}

void ETabulonCursorSql::PushFilter(const EFilter& filter, EData* data) const {
    auto* const table = dynamic_cast<ESqlTable*>(data);
    if (table == nullptr) {
        return;
    }
    table->ClearTests();  // a derived class may keep its range from one walk to the next
    for (const EFilter::Node* const test : filter.Required()) {
        const ETabulonVariableID& id = test->variable;
        const int column = IsDerived(id) ? -1 : PlainColumn(table->Rubric(), id);
        if (column >= 0 && id.ExistsIn(table->Fields())) {
            table->AddTest(static_cast<unsigned int>(column), *test);
        }
    }
}

CursorStatus ETabulonCursorSql::Reset(const ETabulonTag& tag) {
    walker_.store(std::this_thread::get_id());
    const CursorStatus status = ETabulonCursorEData::Reset(tag);
    return status == kDataInterrupted ? StatusCancelled : status;
}

CursorStatus ETabulonCursorSql::GetNext() {
    const CursorStatus status = ETabulonCursorEData::GetNext();
    return status == kDataInterrupted ? StatusCancelled : status;
}

CursorStatus ETabulonCursorSql::GetNextBlock(const ERecordBlock*& block) {
    const CursorStatus status = ETabulonCursorEData::GetNextBlock(block);
    return status == kDataInterrupted ? StatusCancelled : status;
}

bool ETabulonCursorSql::HasOwnSteps() const noexcept {
    return typeid(*this) != typeid(ETabulonCursorSql);
}

void ETabulonCursorSql::OnLinkFailed(const EDataError& error) {
    if (table_ == nullptr) {
        return ETabulonCursorEData::OnLinkFailed(error);
    }
    table_->FailWalk(error);
    if (table_->status == kDataInterrupted) {
        return FailFields(StatusCancelled);
    }
    ETabulonCursorEData::OnLinkFailed(error);
}

CursorStatus ETabulonCursorSql::MoveToTag(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (key.Position() == kNoPosition || table_ == nullptr) {
        return ETabulonCursorEData::MoveToTag(key, tag);
    }
    if (table_->position == key.Position()) {
        return StatusOk;
    }
    table_->RePos(key.Position(), /*flag=*/false);
    return static_cast<CursorStatus>(table_->status);
}

CursorStatus ETabulonCursorSql::StartInsert(const ETabulonTag& tag) {
    if (table_ != nullptr) {
        table_->ClearFields();
    }
    return ETabulonCursorEData::StartInsert(tag);
}

/// A value that the column can't hold fails the save.
CursorStatus ETabulonCursorSql::SetValue(const ETabulonVariableID& id, const ETabulonValue& value) {
    if (table_ == nullptr) {
        return ETabulonCursorEData::SetValue(id, value);
    }
    const EFieldSet& fields = table_->Fields();
    const int field =
        id.IsAccelerator() ? fields.IndexOf(id.Accelerator()) : fields.IndexOf(id.Code());
    if (field < 0) {
        return ETabulonCursorEData::SetValue(id, value);
    }
    table_->SetField(static_cast<std::uint16_t>(field), value.Data());
    return StatusOk;
}

CursorStatus ETabulonCursorSql::Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (table_ == nullptr) {
        return ETabulonCursorEData::Delete(key, tag);
    }
    const CursorStatus status = MoveToTag(key, tag);
    if (status != StatusOk) {
        return status;
    }
    // Deletes the record that MoveToTag moved to, not the record of the walk.
    return table_->DeleteOne(kNoPosition) ? StatusOk : static_cast<CursorStatus>(table_->status);
}

}  // namespace etabulon
