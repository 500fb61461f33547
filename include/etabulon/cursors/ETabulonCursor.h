#pragma once

#include "etabulon/cursors/CursorStatus.h"
#include "etabulon/cursors/EFilter.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ECriticalSection.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

namespace detail {
class RecordFilter;
}

/// A long-running activity that can be asked whether it was cancelled.
/// Example    src/tree/TreeRefresh.cpp
class ETABULON_API ICancellableThread {
public:
    virtual ~ICancellableThread() = default;
    [[nodiscard]] virtual bool IsCancelled() = 0;
};

/// The abstract cursor: walks the records under a tag. A concrete cursor supplies Reset and
/// GetNext; this class wraps them in one protocol: cancel test, derived fields, filter on the tag,
/// filter on other values, listeners.
///
/// Use        build, declare fields through Init, add notifiers, Browse, remove the notifier.
/// Ownership  owned by its creator, not counted; outlives everything that points at it. It holds
///            one reference for each entry of its notifiers.
/// Threads    a walk takes no lock. Cancel may be called from any thread at any time. Callers hold
///            CursorLock around work that must not run beside a walk. Const operations fill caches.
/// Failure    every failure is a status, which the listeners get by OnError and the caller as the
///            result. Memory exceptions of listeners and steps pass through.
/// Cost       CurrentTag and PrimaryKey are built on first demand, once for each record, in storage
///            that is reused: a walk allocates per record only the texts of labels that aren't
///            owned text.
/// Example    examples/pending.cpp
class ETABULON_API ETabulonCursor : public ICancellableThread {
public:
    /// A listener of walks. A nonzero status ends the walk; StatusEnd ends it as a success.
    class ETABULON_API INotifier : public virtual EUnknown {
    public:
        /// The cursor was repositioned at `tag`. A nonzero answer stops the reset.
        virtual CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) = 0;
        /// An accepted record is under the cursor. A nonzero answer stops the step.
        virtual CursorStatus OnMove(const ETabulonCursor& cursor) = 0;
        /// The reset found no record. A walk that found records ends without an event.
        virtual void OnDone(const ETabulonCursor& cursor) = 0;
        virtual void OnCancel(const ETabulonCursor& cursor) = 0;
        virtual void OnError(const ETabulonCursor& cursor, CursorStatus status) = 0;
    };

    /// The write side that a cursor may offer. The caller holds the cursor's lock.
    ///
    /// StartUpdate moves to the record of the key, and Save then writes that record; Delete moves
    /// in the same way. A table cursor stays on its record if its fields have the tag already: of
    /// several records with one tag it writes the record that it stands on. The updater of a cache
    /// always moves, since the walks of a cache fill the fields without moving the table.
    class ETABULON_API IUpdater : public virtual EUnknown {
    public:
        virtual CursorStatus StartInsert(const ETabulonTag& tag) = 0;
        virtual CursorStatus StartUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) = 0;
        virtual CursorStatus Save() = 0;
        virtual CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) = 0;
        virtual CursorStatus SetValue(const ETabulonVariableID& id, const ETabulonValue& value) = 0;
        virtual CursorStatus SetBuffer(const EExtract& record) = 0;
    };

    ETabulonCursor();
    ETabulonCursor(const ETabulonCursor&) = delete;
    ETabulonCursor& operator=(const ETabulonCursor&) = delete;

    [[nodiscard]] bool IsCancelled() override;
    ~ETabulonCursor() override;
    /// Requires declared fields.
    [[nodiscard]] virtual const EFieldSet& Fields() const;
    [[nodiscard]] virtual const ETabulonTag& CurrentTag() const;
    [[nodiscard]] virtual const ETabulonPrimaryKey& PrimaryKey() const;
    /// Returns a reference for the caller; null where the cursor can't write.
    [[nodiscard]] virtual IUpdater* Updater();
    /// Returns true. Deliberate: `wait` false, where a caller would expect a try-lock, blocks as
    /// true does. Callers handle the answer false all the same. InTryModeBlocksUntilItIsFree holds
    /// it.
    virtual bool CursorLock(bool wait);
    virtual void CursorUnlock();
    [[nodiscard]] virtual bool IsLockedByThisThread() const noexcept;
    virtual void Cancel();
    /// While this number stays the same, every tag that CurrentTag() returns stays unchanged at its
    /// address, so that the address identifies the tag. Two cursors never have the same number. 0
    /// for a cursor that writes each record into one tag. Call it after CurrentTag().
    [[nodiscard]] virtual std::uint64_t TagGeneration() const noexcept { return 0; }

    void Init(const ETabulonLevels& levels);
    /// From the next reset on, walks show only records that meet this filter too, by the values
    /// that this cursor shows. Its variables may be any that the cursor reads, also behind links;
    /// FindUnresolved names those that it doesn't. A relay that shows edits gets the filter itself:
    /// its source's would test the records as they are stored.
    void SetFilter(const EFilter& filter);
    [[nodiscard]] const EFilter& Filter() const noexcept { return filter_; }
    /// A whole walk. StatusOk if it reached the end or a listener ended it with StatusEnd.
    CursorStatus Browse(const ETabulonTag& tag);

    void AddNotifier(INotifier* notifier);
    /// Removes every entry of this notifier.
    void RemNotifier(INotifier* notifier);
    void AddNotifiers(const PTableau<INotifier*>& notifiers);
    void RemNotifiers(const PTableau<INotifier*>& notifiers);
    [[nodiscard]] const PTableau<INotifier*>& Notifiers() const noexcept { return notifiers_; }

    /// Cancels a running walk, then takes the lock. The cancel flag stays set until the next reset.
    void GetCursorExclusive();

    /// Whether the variable names a field, or a declared path of links that leads to a field. A
    /// variable that can't be resolved reads as missing in each record, and no step fails. False
    /// before the cursor has its fields; a cursor on a table has them from Init on.
    [[nodiscard]] virtual bool CanResolve(const ETabulonVariableID& variable) const;
    /// The variables that can't be resolved, each once: of the levels, of their labels and of
    /// `others`, such as those of calculations. Call it before a walk where names come from a user:
    /// a misspelled level files all records under one blank node.
    [[nodiscard]] std::vector<ETabulonVariableID> FindUnresolved(
        const std::vector<ETabulonVariableID>& others = {}) const;

    /// Adds a field that views `buffer`, which must stay valid as long as the field set lives. An
    /// existing field of that code or number is returned unchanged.
    const EField& DeclareExtraField(const ETabulonVariableID& id, unsigned short type,
                                    unsigned short size, void* buffer, const Chaine& label);
    /// Copies these fields as the cursor's own. Requires that the cursor has no fields yet, or that
    /// ResetDeclaredFields was called.
    void DeclareMasterFields(const EFieldSet& fields);
    void ResetDeclaredFields();

    [[nodiscard]] const ETabulonLevels& Levels() const noexcept { return levels_; }
    [[nodiscard]] const EField& Field(const ETabulonVariableID& id) const {
        return id.GetIn(Fields());
    }
    /// The value of `variable`, displayed by the text of `label`, or by its own text if `label`
    /// isn't valid.
    [[nodiscard]] ETabulonValue Value(const ETabulonVariableID& variable,
                                      const ETabulonVariableID& label) const;

protected:
    friend class ETabulonCursorRelay;  // drives the single steps of its source

    virtual EFieldSet& iFields();
    virtual CursorStatus Reset(const ETabulonTag& tag) = 0;
    virtual CursorStatus GetNext() = 0;
    /// Called before Reset if the walk is likely read by blocks.
    virtual void ExpectBlocks() {}
    // The records after the current one, block by block, in place of calls of GetNext; see
    // IBlockNotifier. A cursor that has a part in single steps (a step, derived fields, a filter, a
    // tag or key of its own) doesn't begin, as here.
    [[nodiscard]] virtual bool BeginBlocks(const EBlockRequest& /*request*/) { return false; }
    /// A block with StatusOk, otherwise the status that GetNext would return. StatusOk without a
    /// block: the walk goes on by single steps.
    virtual CursorStatus GetNextBlock(const ERecordBlock*& block);
    virtual void EndBlocks() noexcept {}
    /// Some records of the last block as the cursor shows them.
    struct BlockPart {
        const ERecordBlock* block;             // the last one, or the same with changed values
        std::span<const EBlockIndex> records;  // those that are shown
        std::size_t count;                     // of the given records, from the first on
    };
    /// What listeners may take in a block in place of these records. The one after the part comes
    /// by OnMove. Valid until the next call.
    [[nodiscard]] virtual BlockPart TakePart(const ERecordBlock& block,
                                             std::span<const EBlockIndex> records);
    /// Makes a record of the last block the cursor's record, as GetNext would. Without `isWhole`
    /// only fields that listeners asked for have their values, and the walk goes on after the
    /// block; otherwise single steps go on after the record.
    virtual CursorStatus StandInBlock(const ERecordBlock& block, EBlockIndex record, bool isWhole);
    virtual void DeclareFields() {}
    virtual void PrepareFields() {}
    virtual void CalcFields() {}
    /// Makes those fields again that are derived from `written` ones, and adds them.
    virtual void DeriveAgain(std::vector<const EField*>& /*written*/) {}
    /// Reports a failure from PrepareFields or CalcFields, which have no result: the step that
    /// called them ends with this status. The next reset prepares fields again whose preparation
    /// failed. Requires a failure: not StatusOk, StatusRefused or StatusEnd.
    void FailFields(CursorStatus status) noexcept;
    [[nodiscard]] virtual bool IsInFilter() const;
    virtual CursorStatus OnAcceptedByFilter() { return StatusOk; }
    virtual void OnRefusedByFilter() {}
    /// Whether the current record meets the filter of SetFilter.
    [[nodiscard]] virtual bool MeetsFilter() const;
    /// Called by a reset after SetFilter and Init: links to these variables may be declared.
    virtual void DeclareVariables(const std::vector<ETabulonVariableID>& /*variables*/) {}
    /// The filter that records are tested by, since the last reset.
    [[nodiscard]] const EFilter& FilterInUse() const noexcept;
    /// The next reset prepares fields again.
    void MarkFieldsDirty() noexcept { fieldsDirty_ = true; }
    virtual void ResetCancel();
    virtual void ExtractCurrentTag(ETabulonTag& tag) const;
    /// The tag of the values that the fields hold, whatever record a walk stands on: for a record
    /// that is about to be written. A cursor that stores its record's tag elsewhere overrides this.
    virtual void ExtractTagOfFields(ETabulonTag& tag) const { ExtractCurrentTag(tag); }
    virtual void ExtractPrimaryKey(ETabulonPrimaryKey& key) const;

    CursorStatus CallReset(const ETabulonTag& tag);
    CursorStatus CallGetNext();
    CursorStatus CallIsInFilter();
    /// CalcFields for a record that the fields hold. The status is that of a failure, or StatusOk.
    CursorStatus DeriveFields();
    EField& iField(const ETabulonVariableID& id) { return id.GetIn(iFields()); }

    [[nodiscard]] const ETabulonTag& FilterTag() const noexcept { return filterTag_; }
    [[nodiscard]] bool FieldsDirty() const noexcept { return fieldsDirty_; }
    void MarkStale() const noexcept { tagStale_ = keyStale_ = true; }
    // For a cursor that stores the current tag itself.
    [[nodiscard]] bool IsTagStale() const noexcept { return tagStale_; }
    void MarkTagFresh() const noexcept { tagStale_ = false; }

private:
    class BlockWalk;
    /// The fields that a level's value is read from; resolved once for each field set.
    struct LevelField {
        unsigned int level;
        const EField* data;
        const EField* label;  // null: the data's own text
    };
    void BindLevels(const EFieldSet& fields) const;
    void TakeFilter();
    CursorStatus EndReset(CursorStatus status);
    CursorStatus ReportFirstRecord(CursorStatus status);
    CursorStatus ReportStep(CursorStatus status);

    ETabulonLevels levels_;
    ETabulonTag filterTag_;
    EFilter filter_;
    bool isFilterNew_ = false;                            // not in use yet
    std::unique_ptr<detail::RecordFilter> recordFilter_;  // of the filter in use; null: none
    std::atomic<std::int32_t> cancelFlag_{0};
    PTableau<INotifier*> notifiers_;  // one reference each
    ECriticalSection lock_;
    std::unique_ptr<EFieldSet> fields_;
    bool fieldsDirty_ = true;
    CursorStatus fieldsStatus_ = StatusOk;  // of the last PrepareFields or CalcFields
    mutable ETabulonTag currentTag_;
    mutable ETabulonPrimaryKey primaryKey_;
    mutable bool tagStale_ = false;
    mutable bool keyStale_ = false;

    mutable std::vector<LevelField> levelFields_;
    // The field set that levelFields_ was resolved for: its first field, and its shape's number.
    mutable const EField* boundFields_ = nullptr;
    mutable std::uint64_t boundShape_ = 0;
};

}  // namespace etabulon
