#pragma once

#include "etabulon/foundation/ECriticalSection.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/ETabulonVariableID.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon {

namespace detail {
class PendingFilter;
}

/// The script of edits that were made and not yet saved. Each append keeps it in normal form by
/// removing the changes that the new change supersedes.
///
/// Threads    every operation holds the script's lock during the call, so that one thread may
///            append while another reads. Operations that return a reference (GetFinalValue,
///            Script()) are for the thread that appends; other threads use the forms that copy. The
///            caller keeps the tags and fields that it passes away from other threads.
/// Failure    none: an append without effect is silent. An append that ends by a memory exception
///            leaves the script unchanged.
/// Cost       indexes find the changes: neither an append nor a query scans the script.
/// Example    examples/pending.cpp
class ETABULON_API ETabulonPendingChanges {
public:
    enum ChangeType : std::int32_t {
        Update = 0,  // VarDataID() becomes Value() at and under Selection()
        Insert = 1,  // a new record at Selection()
        Delete = 2,  // the records at and under Selection() go
    };

    /// One edit.
    class ETABULON_API Change {
    public:
        Change() = default;
        /// An update. A missing value is kept as an empty variant.
        Change(const ETabulonTag& selection, const ETabulonVariableID& id, const EVariant& value);
        /// An insert or a delete: its identifier and its value are empty.
        Change(ChangeType type, const ETabulonTag& selection);
        Change(const Change&) = default;
        Change(Change&&) noexcept = default;
        Change& operator=(const Change&) = default;
        Change& operator=(Change&&) noexcept = default;
        virtual ~Change() = default;

        [[nodiscard]] ChangeType Type() const noexcept { return type_; }
        /// A record, or a whole branch when the tag is shorter.
        [[nodiscard]] const ETabulonTag& Selection() const noexcept { return selection_; }
        [[nodiscard]] const ETabulonVariableID& VarDataID() const noexcept { return id_; }
        [[nodiscard]] const EVariant& Value() const noexcept { return value_; }

        /// Whether the change applies at `tag`, which is at or below its selection.
        [[nodiscard]] bool Matches(const ETabulonTag& tag) const;
        /// Whether it applies at `tag` and is of the variable `id`, compared by number if `id` has
        /// one, otherwise by code.
        [[nodiscard]] bool Matches(const ETabulonTag& tag, const ETabulonVariableID& id) const;

    private:
        ChangeType type_ = Update;
        ETabulonTag selection_;
        ETabulonVariableID id_;
        EVariant value_;
    };

    ETabulonPendingChanges();
    ETabulonPendingChanges(const ETabulonPendingChanges&) = delete;
    ETabulonPendingChanges& operator=(const ETabulonPendingChanges&) = delete;
    virtual ~ETabulonPendingChanges();

    void AppendUpdate(const ETabulonTag& tag, const ETabulonVariableID& id, const EVariant& value);
    void AppendInsert(const ETabulonTag& tag);
    void AppendDelete(const ETabulonTag& tag);
    /// The other appends call this one.
    void AppendChange(const Change& change);
    /// Removes all changes.
    void Reset();

    /// The value of the first update that applies, as a reference into the script, or `current`.
    [[nodiscard]] const EVariant& GetFinalValue(const ETabulonTag& tag,
                                                const ETabulonVariableID& id,
                                                const EVariant& current) const;
    /// The same as a copy made under the lock. True if an update applies; `result` becomes its
    /// value, otherwise `current`. Allocates nothing if `result` has room for the value already.
    bool GetFinalValueCopy(const ETabulonTag& tag, const ETabulonVariableID& id,
                           const EVariant& current, EVariant& result) const;
    [[nodiscard]] bool IsDeleted(const ETabulonTag& tag) const;
    /// Whether an update of that variable applies, or for the empty identifier also a delete.
    [[nodiscard]] bool IsModified(const ETabulonTag& tag, const ETabulonVariableID& id) const;
    /// Whether an update of any variable applies: UpdateFields would return true.
    [[nodiscard]] bool IsUpdated(const ETabulonTag& tag) const;
    /// Stores the values of the updates that apply, in order of arrival, so that the newest wins.
    /// False if none applies.
    bool UpdateFields(EFieldSet& fields, const ETabulonTag& tag) const;

    /// The changes in order of arrival, for the thread that appends. The reference stays valid
    /// while this script lives.
    [[nodiscard]] const PTableau<Change>& Script() const;
    /// The changes of one type, in order.
    [[nodiscard]] PTableau<Change> Script(ChangeType type) const;
    /// The changes of one type at and below `tag`, in order.
    [[nodiscard]] PTableau<Change> ScriptUnder(ChangeType type, const ETabulonTag& tag) const;
    /// A deep copy of the whole script, made under the lock.
    [[nodiscard]] PTableau<Change> ScriptCopy() const;
    /// The number of changes.
    [[nodiscard]] std::uint32_t Size() const;

private:
    friend class ETabulonSavePending;    // indexes its snapshot by Index
    friend class ETabulonCursorPending;  // keeps a copy of the filter, and notes updated fields
    class Index;
    using Arrivals = std::vector<std::uint64_t>;  // numbers of changes

    [[nodiscard]] bool HasAny(ChangeType type) const noexcept {
        return counts_[type].load(std::memory_order_acquire) != 0;
    }
    void AddUpdate(const Change& change);
    void AddInsert(const Change& change);
    void AddDelete(const Change& change);
    /// Adds to `under` the changes at and below `tag`.
    void FindUnder(ChangeType type, const ETabulonTag& tag, Arrivals& under) const;
    [[nodiscard]] Arrivals FindEqual(ChangeType type, const ETabulonTag& selection) const;
    void RemoveAll(Arrivals& arrivals);
    void Replace(Arrivals& covered, const Change& change);
    void PublishCounts() noexcept;
    /// The same as UpdateFields; also adds each field that it stores a value in to `updated`.
    bool UpdateFieldsAndNote(EFieldSet& fields, const ETabulonTag& tag,
                             std::vector<const EField*>* updated) const;
    void AddToFilter(const Change& change);
    /// Copies the filter to `copy` unless `version` shows that the copy is current.
    void CopyFilter(detail::PendingFilter& copy, std::uint64_t& version) const;
    [[nodiscard]] const Change* FindUpdate(const ETabulonTag& tag,
                                           const ETabulonVariableID& id) const;
    [[nodiscard]] bool AppliesAny(ChangeType type, const ETabulonTag& tag) const;

    mutable ECriticalSection lock_;
    PTableau<Change> script_;       // guarded by lock_
    std::unique_ptr<Index> index_;  // guarded by lock_; adds to and removes from script_
    // The number of changes by type: a walk takes the lock only if there are changes of its type.
    std::atomic<std::uint32_t> counts_[3] = {};
    std::unique_ptr<detail::PendingFilter> filter_;  // guarded by lock_
    std::atomic<std::uint64_t> filterVersion_{1};    // rises before each change of the script
};

}  // namespace etabulon
