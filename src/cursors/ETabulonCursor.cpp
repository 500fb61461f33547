#include "etabulon/cursors/ETabulonCursor.h"

#include "cursors/BlockWalk.h"
#include "cursors/RecordFilter.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/ERef.h"

#include <algorithm>

namespace etabulon {

ETabulonCursor::ETabulonCursor() = default;

ETabulonCursor::~ETabulonCursor() {
    fields_.reset();
    for (std::size_t index = 0; index < notifiers_.Size(); ++index) {
        notifiers_.At(index)->Release();
    }
}

bool ETabulonCursor::IsCancelled() { return cancelFlag_.load(std::memory_order_acquire) != 0; }

void ETabulonCursor::Cancel() { cancelFlag_.exchange(1, std::memory_order_acq_rel); }

void ETabulonCursor::ResetCancel() { cancelFlag_.exchange(0, std::memory_order_acq_rel); }

bool ETabulonCursor::CursorLock(bool /*wait*/) {
    lock_.Lock();
    return true;
}

void ETabulonCursor::CursorUnlock() { lock_.Unlock(); }

bool ETabulonCursor::IsLockedByThisThread() const noexcept { return lock_.IsHeldByThisThread(); }

void ETabulonCursor::GetCursorExclusive() {
    Cancel();
    CursorLock(true);
}

void ETabulonCursor::Init(const ETabulonLevels& levels) {
    levels_ = levels;
    // The caller may use its own copy in another thread.
    levels_.Detach();
    boundShape_ = 0;
    isFilterNew_ = true;
    ResetCancel();
    if (fieldsDirty_) {
        DeclareFields();
    }
}

// --------------------------------------------------------------------------------------- listeners

void ETabulonCursor::AddNotifier(INotifier* notifier) {
    auto reference = ERef<INotifier>::Retain(notifier);
    notifiers_.Add(notifier);
    static_cast<void>(reference.Detach());  // owned by the entry
}

void ETabulonCursor::RemNotifier(INotifier* notifier) {
    std::size_t index = 0;
    while (index < notifiers_.Size()) {
        if (notifiers_.At(index) == notifier) {
            notifiers_.RemoveAt(index, 1);
            notifier->Release();
        } else {
            ++index;
        }
    }
}

void ETabulonCursor::AddNotifiers(const PTableau<INotifier*>& notifiers) {
    // A copy: the array may be this cursor's own.
    const PTableau<INotifier*> added(notifiers);
    for (std::size_t index = 0; index < added.Size(); ++index) {
        AddNotifier(added.At(index));
    }
}

void ETabulonCursor::RemNotifiers(const PTableau<INotifier*>& notifiers) {
    const PTableau<INotifier*> removed(notifiers);
    for (std::size_t index = 0; index < removed.Size(); ++index) {
        RemNotifier(removed.At(index));
    }
}

// ------------------------------------------------------------------------------------------- steps

// Listeners may add and remove listeners, themselves included. So each loop below reads size and
// entry again on every iteration, and touches nothing of a listener after its call. The loop still
// reaches a listener that is added meanwhile; after a removal it skips the listener that moves into
// the freed index.

CursorStatus ETabulonCursor::CallReset(const ETabulonTag& tag) {
    const ETabulonTag target(tag);  // `tag` may be this cursor's own current or filter tag
    ResetCancel();
    filterTag_ = target;
    MarkStale();
    fieldsStatus_ = StatusOk;
    TakeFilter();
    if (fieldsDirty_) {
        PrepareFields();
        fieldsDirty_ = fieldsStatus_ != StatusOk;
    }
    if (IsCancelled()) {
        return EndReset(StatusCancelled);
    }
    const CursorStatus status = fieldsStatus_ != StatusOk ? fieldsStatus_ : Reset(target);
    if (status != StatusCancelled) {
        for (std::size_t index = 0; index < notifiers_.Size(); ++index) {
            const CursorStatus answer = notifiers_.At(index)->OnReset(target, *this);
            if (answer != StatusOk) {
                return answer;
            }
        }
    }
    return status == StatusOk ? ReportFirstRecord(CallIsInFilter()) : EndReset(status);
}

CursorStatus ETabulonCursor::ReportFirstRecord(CursorStatus status) {
    for (std::size_t index = 0; index < notifiers_.Size(); ++index) {
        INotifier& notifier = *notifiers_.At(index);
        if (status == StatusRefused) {
            // Deliberate: a refused first record ends the reset as StatusOk if the cursor has a
            // listener, and as StatusRefused if it has none. Browse treats the two alike; direct
            // callers must too. RefusedFirstRecord holds it.
            return StatusOk;
        }
        if (status == StatusCancelled) {
            notifier.OnCancel(*this);
        } else if (status == StatusOk) {
            const CursorStatus answer = notifier.OnMove(*this);
            if (answer != StatusOk) {
                return answer;
            }
        } else {
            notifier.OnError(*this, status);
        }
    }
    return status;
}

CursorStatus ETabulonCursor::EndReset(CursorStatus status) {
    for (std::size_t index = 0; index < notifiers_.Size(); ++index) {
        INotifier& notifier = *notifiers_.At(index);
        if (status == StatusCancelled) {
            notifier.OnCancel(*this);
        } else if (status == StatusEnd) {
            notifier.OnDone(*this);
        } else {
            notifier.OnError(*this, status);
        }
    }
    return status;
}

CursorStatus ETabulonCursor::CallGetNext() {
    CursorStatus status = StatusRefused;
    MarkStale();
    while (status == StatusRefused) {
        if (IsCancelled()) {
            status = StatusCancelled;
            break;
        }
        status = GetNext();
        if (status == StatusOk) {
            status = CallIsInFilter();
        }
    }
    return ReportStep(status);
}

CursorStatus ETabulonCursor::ReportStep(CursorStatus status) {
    // Deliberate: the end of a walk calls no listener, though a reset that finds no record does
    // (OnDone). A listener's owner finishes its work after Browse. WalkThatEndsTellsNobody holds
    // it.
    for (std::size_t index = 0; index < notifiers_.Size(); ++index) {
        INotifier& notifier = *notifiers_.At(index);
        if (status == StatusOk) {
            const CursorStatus answer = notifier.OnMove(*this);
            if (answer != StatusOk) {
                return answer;
            }
        } else if (status == StatusCancelled) {
            notifier.OnCancel(*this);
        } else if (status != StatusEnd) {
            notifier.OnError(*this, status);
        }
    }
    return status;
}

CursorStatus ETabulonCursor::DeriveFields() {
    MarkStale();
    fieldsStatus_ = StatusOk;
    CalcFields();
    return fieldsStatus_;
}

CursorStatus ETabulonCursor::CallIsInFilter() {
    if (const CursorStatus status = DeriveFields(); status != StatusOk) {
        return status;
    }
    if (IsInFilter() && MeetsFilter()) {
        return OnAcceptedByFilter();
    }
    OnRefusedByFilter();
    return StatusRefused;
}

void ETabulonCursor::FailFields(CursorStatus status) noexcept {
    E_EXPECTS(status != StatusOk && status != StatusRefused && status != StatusEnd);
    fieldsStatus_ = status;
}

bool ETabulonCursor::IsInFilter() const {
    // Every tag is at or below the root, so that the record's tag needn't be built.
    return filterTag_.IsRoot() || CurrentTag().IsAtOrBelow(filterTag_);
}

void ETabulonCursor::SetFilter(const EFilter& filter) {
    filter_ = filter;
    isFilterNew_ = true;
}

void ETabulonCursor::TakeFilter() {
    if (!isFilterNew_) {
        return;
    }
    recordFilter_ = filter_.IsEmpty() ? nullptr : std::make_unique<detail::RecordFilter>(filter_);
    DeclareVariables(filter_.Variables());
    isFilterNew_ = false;
}

const EFilter& ETabulonCursor::FilterInUse() const noexcept {
    static const EFilter kNone;
    return recordFilter_ != nullptr ? recordFilter_->Filter() : kNone;
}

bool ETabulonCursor::MeetsFilter() const {
    return recordFilter_ == nullptr || recordFilter_->IsMet(Fields());
}

CursorStatus ETabulonCursor::Browse(const ETabulonTag& tag) {
    if (BlockWalk::IsLikely(*this)) {
        ExpectBlocks();
    }
    CursorStatus status = CallReset(tag);
    if (status == StatusRefused) {
        status = StatusOk;  // the walk goes on after the refused record
    }
    if (status == StatusOk) {
        BlockWalk blocks(*this);
        while (status == StatusOk) {
            status = blocks.IsRunning() ? blocks.CallGetNextBlock() : CallGetNext();
        }
    }
    return status == StatusEnd ? StatusOk : status;
}

CursorStatus ETabulonCursor::GetNextBlock(const ERecordBlock*& block) {
    block = nullptr;
    return StatusEnd;
}

ETabulonCursor::BlockPart ETabulonCursor::TakePart(const ERecordBlock& block,
                                                   std::span<const EBlockIndex> records) {
    return {&block, records, records.size()};
}

CursorStatus ETabulonCursor::StandInBlock(const ERecordBlock& /*block*/, EBlockIndex /*record*/,
                                          bool /*isWhole*/) {
    return StatusEnd;
}

// ---------------------------------------------------------------------------------- current record

const ETabulonTag& ETabulonCursor::CurrentTag() const {
    if (tagStale_) {
        ExtractCurrentTag(currentTag_);
        tagStale_ = false;
    }
    return currentTag_;
}

const ETabulonPrimaryKey& ETabulonCursor::PrimaryKey() const {
    if (keyStale_) {
        ExtractPrimaryKey(primaryKey_);
        keyStale_ = false;
    }
    return primaryKey_;
}

void ETabulonCursor::ExtractCurrentTag(ETabulonTag& tag) const {
    const EFieldSet& fields = Fields();
    const EField* first = fields.Size() != 0 ? &fields.At(0) : nullptr;
    if (first != boundFields_ || fields.ShapeNumber() != boundShape_) {
        BindLevels(fields);
        boundFields_ = first;
        boundShape_ = fields.ShapeNumber();
    }
    const auto count = static_cast<unsigned int>(levelFields_.size());
    bool sameLevels = tag.KnownLevelsCount() == count;
    for (unsigned int index = 0; sameLevels && index < count; ++index) {
        sameLevels = tag.LevelAt(index) == levelFields_[index].level;
    }
    if (!sameLevels) {
        tag.RemoveAll();
        for (const LevelField& bound : levelFields_) {
            static_cast<void>(tag.Slot(bound.level));
        }
    }
    for (unsigned int index = 0; index < count; ++index) {
        const LevelField& bound = levelFields_[index];
        if (bound.label == nullptr) {
            tag.ValueAt(index).Refill(*bound.data);
        } else {
            tag.ValueAt(index).Refill(*bound.data, bound.label->AsChaine());
        }
    }
}

void ETabulonCursor::BindLevels(const EFieldSet& fields) const {
    levelFields_.clear();
    for (unsigned int position = 0; position < levels_.Size(); ++position) {
        const unsigned int level = levels_.GetLevelID(position);
        const ETabulonLevels::Level& description = levels_.GetLevel(level);
        const EField* data = &description.DataID().GetIn(fields);
        const EField* label =
            description.DescID().IsValid() ? &description.DescID().GetIn(fields) : nullptr;
        // A label that is the data field itself gives the same text, which is made on demand.
        levelFields_.push_back({level, data, label == data ? nullptr : label});
    }
}

void ETabulonCursor::ExtractPrimaryKey(ETabulonPrimaryKey& /*key*/) const {}

ETabulonValue ETabulonCursor::Value(const ETabulonVariableID& variable,
                                    const ETabulonVariableID& label) const {
    return ETabulonValue(Field(variable), label.IsValid() ? Field(label).AsChaine() : Chaine(),
                         /*modified=*/false);
}

ETabulonCursor::IUpdater* ETabulonCursor::Updater() { return nullptr; }

// ------------------------------------------------------------------------------------------ fields

const EFieldSet& ETabulonCursor::Fields() const {
    E_EXPECTS(fields_ != nullptr);
    return *fields_;
}

EFieldSet& ETabulonCursor::iFields() {
    MarkStale();
    E_EXPECTS(fields_ != nullptr);
    return *fields_;
}

bool ETabulonCursor::CanResolve(const ETabulonVariableID& variable) const {
    return fields_ != nullptr && variable.ExistsIn(*fields_);
}

std::vector<ETabulonVariableID> ETabulonCursor::FindUnresolved(
    const std::vector<ETabulonVariableID>& others) const {
    std::vector<ETabulonVariableID> unresolved;
    const auto ask = [this, &unresolved](const ETabulonVariableID& variable) {
        if (variable.IsValid() && !CanResolve(variable) &&
            std::find(unresolved.begin(), unresolved.end(), variable) == unresolved.end()) {
            unresolved.push_back(variable);
        }
    };
    for (unsigned int position = 0; position < levels_.Size(); ++position) {
        const ETabulonLevels::Level& level = levels_.GetLevel(levels_.GetLevelID(position));
        ask(level.DataID());
        ask(level.DescID());
    }
    for (const ETabulonVariableID& variable : others) {
        ask(variable);
    }
    return unresolved;
}

const EField& ETabulonCursor::DeclareExtraField(const ETabulonVariableID& id, unsigned short type,
                                                unsigned short size, void* buffer,
                                                const Chaine& label) {
    if (fields_ == nullptr) {
        fields_ = std::make_unique<EFieldSet>();
    } else {
        if (fields_->Exist({id.Code(), 0})) {
            return (*fields_)[id.Code()];
        }
        if (id.IsAccelerator() && fields_->Exist({Chaine(), id.Accelerator()})) {
            return (*fields_)[id.Accelerator()];
        }
    }
    const auto offset = static_cast<std::uint16_t>(fields_->FieldsTotalSize() & 0xFFFFU);
    fieldsDirty_ = true;
    auto infos = std::make_shared<EFInfosHandlerLocal>(label, label, offset, id.Accelerator());
    const EFieldDesc desc(id.Code(), type, size, offset, std::move(infos));
    EField field;
    field.Attach(desc, buffer, /*takeOwnership=*/false);
    fields_->Add(field);
    return id.GetIn(*fields_);
}

void ETabulonCursor::DeclareMasterFields(const EFieldSet& fields) {
    E_EXPECTS(fields_ == nullptr);
    fields_ = std::make_unique<EFieldSet>(fields);
    fieldsDirty_ = true;
}

void ETabulonCursor::ResetDeclaredFields() {
    fields_.reset();
    fieldsDirty_ = true;
}

}  // namespace etabulon
