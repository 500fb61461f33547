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

/// The script of edits that were made and not yet saved. It is kept in normal form as it grows:
/// each append removes what the new change supersedes.
///
/// Threads    every operation holds the script's lock for the time of the call, so that one thread
///            may append while another reads. What hands out a reference (GetFinalValue, Script())
///            is for the one thread that also appends; others use the forms that copy. The tags and
///            fields given to a call are the caller's.
/// Failure    none: an append that changes nothing is silent. One that ends by a memory exception
///            has left the script as it was.
/// Cost       changes are found through indexes: neither an append nor a question scans the script.
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

        /// It applies at `tag`: at its own selection, and below.
        [[nodiscard]] bool Matches(const ETabulonTag& tag) const;
        /// And is of the same variable, by number if `id` has one, else by code.
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
    /// The one place where the script grows.
    void AppendChange(const Change& change);
    /// Removes all changes.
    void Reset();

    /// The value of the first update that applies, by reference to the script, or `current`.
    [[nodiscard]] const EVariant& GetFinalValue(const ETabulonTag& tag,
                                                const ETabulonVariableID& id,
                                                const EVariant& current) const;
    /// The same as a copy made under the lock. `result` becomes the value, or `current` and the
    /// answer is false. Nothing is allocated where `result` has held such a value before.
    bool GetFinalValueCopy(const ETabulonTag& tag, const ETabulonVariableID& id,
                           const EVariant& current, EVariant& result) const;
    [[nodiscard]] bool IsDeleted(const ETabulonTag& tag) const;
    /// An update of that variable applies; of the empty identifier also a delete.
    [[nodiscard]] bool IsModified(const ETabulonTag& tag, const ETabulonVariableID& id) const;
    /// An update of any variable applies: UpdateFields would be true.
    [[nodiscard]] bool IsUpdated(const ETabulonTag& tag) const;
    /// Stores the updates that apply, in order, so that the newest stands at the end. False if
    /// there was none.
    bool UpdateFields(EFieldSet& fields, const ETabulonTag& tag) const;

    /// In order of arrival. For the thread that appends; the reference is good while this lives.
    [[nodiscard]] const PTableau<Change>& Script() const;
    /// The changes of one type, in order.
    [[nodiscard]] PTableau<Change> Script(ChangeType type) const;
    /// Those of them at and under `tag`, in order.
    [[nodiscard]] PTableau<Change> ScriptUnder(ChangeType type, const ETabulonTag& tag) const;
    /// The whole script as a copy made under the lock, which shares nothing with it.
    [[nodiscard]] PTableau<Change> ScriptCopy() const;
    /// How many changes there are.
    [[nodiscard]] std::uint32_t Size() const;

private:
    friend class ETabulonSavePending;    // finds the changes of its snapshot by the same index
    friend class ETabulonCursorPending;  // keeps a copy of the filter
    class Index;
    using Arrivals = std::vector<std::uint64_t>;  // numbers of changes

    [[nodiscard]] bool HasAny(ChangeType type) const noexcept {
        return counts_[type].load(std::memory_order_acquire) != 0;
    }
    void AddUpdate(const Change& change);
    void AddInsert(const Change& change);
    void AddDelete(const Change& change);
    /// Adds the changes at and under `tag`.
    void FindUnder(ChangeType type, const ETabulonTag& tag, Arrivals& under) const;
    [[nodiscard]] Arrivals FindEqual(ChangeType type, const ETabulonTag& selection) const;
    void RemoveAll(Arrivals& arrivals);
    void Replace(Arrivals& covered, const Change& change);
    void PublishCounts() noexcept;
    void AddToFilter(const Change& change);
    /// Makes `copy` the present filter unless `version` says that it is.
    void CopyFilter(detail::PendingFilter& copy, std::uint64_t& version) const;
    [[nodiscard]] const Change* FindUpdate(const ETabulonTag& tag,
                                           const ETabulonVariableID& id) const;
    [[nodiscard]] bool AppliesAny(ChangeType type, const ETabulonTag& tag) const;

    mutable ECriticalSection lock_;
    PTableau<Change> script_;       // guarded by lock_
    std::unique_ptr<Index> index_;  // guarded by lock_; it adds to script_ and removes from it
    // Of each type, so that a walk over a script without such changes doesn't take the lock.
    std::atomic<std::uint32_t> counts_[3] = {};
    std::unique_ptr<detail::PendingFilter> filter_;  // guarded by lock_
    std::atomic<std::uint64_t> filterVersion_{1};    // rises with each change of it
};

}  // namespace etabulon
