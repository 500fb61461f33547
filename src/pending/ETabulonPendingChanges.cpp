#include "etabulon/pending/ETabulonPendingChanges.h"

#include "pending/PendingFilter.h"
#include "pending/PendingIndex.h"

#include <algorithm>
#include <utility>

namespace etabulon {

ETabulonPendingChanges::Change::Change(const ETabulonTag& selection, const ETabulonVariableID& id,
                                       const EVariant& value)
    : selection_(selection), id_(id), value_(value.IsMissing() ? EVariant() : value) {}

ETabulonPendingChanges::Change::Change(ChangeType type, const ETabulonTag& selection)
    : type_(type), selection_(selection) {}

bool ETabulonPendingChanges::Change::Matches(const ETabulonTag& tag) const {
    return tag.IsAtOrBelow(selection_);
}

bool ETabulonPendingChanges::Change::Matches(const ETabulonTag& tag,
                                             const ETabulonVariableID& id) const {
    return id == id_ && Matches(tag);
}

ETabulonPendingChanges::ETabulonPendingChanges()
    : index_(std::make_unique<Index>(script_)),
      filter_(std::make_unique<detail::PendingFilter>()) {}

ETabulonPendingChanges::~ETabulonPendingChanges() = default;

// -------------------------------------------------------------------------------------- the script

void ETabulonPendingChanges::AppendUpdate(const ETabulonTag& tag, const ETabulonVariableID& id,
                                          const EVariant& value) {
    AppendChange(Change(tag, id, value));
}

void ETabulonPendingChanges::AppendInsert(const ETabulonTag& tag) {
    AppendChange(Change(Insert, tag));
}

void ETabulonPendingChanges::AppendDelete(const ETabulonTag& tag) {
    AppendChange(Change(Delete, tag));
}

void ETabulonPendingChanges::AppendChange(const Change& change) {
    const ECriticalSectionHold hold(lock_);
    const Change added(change);  // `change` may lie in the script and be removed as superseded
    AddToFilter(added);          // first: a change that only the filter has is a false positive
    switch (added.Type()) {
        case Update:
            AddUpdate(added);
            break;
        case Insert:
            AddInsert(added);
            break;
        case Delete:
            AddDelete(added);
            break;
    }
    PublishCounts();
}

void ETabulonPendingChanges::AddUpdate(const Change& change) {
    Index::Arrivals covered;
    index_->ForEach(Update, Index::Side::Below, change.Selection(), &change.VarDataID(),
                    [&](const Index::Arrivals& found) {
                        for (const Index::Arrival arrival : found) {
                            const Change& known = index_->ChangeOf(arrival);
                            if (change.VarDataID() == known.VarDataID() &&
                                known.Selection().IsAtOrBelow(change.Selection())) {
                                covered.push_back(arrival);
                            }
                        }
                    });
    Replace(covered, change);
}

void ETabulonPendingChanges::AddInsert(const Change& change) {
    if (FindEqual(Insert, change.Selection()).empty()) {
        index_->Append(change);
    }
}

void ETabulonPendingChanges::AddDelete(const Change& change) {
    const ETabulonTag& selection = change.Selection();
    // Deliberate: a delete removes the insert at its own tag and isn't added itself, even if the
    // table holds such a record that an earlier delete removes: nothing reaches the table.
    // DeleteCancelsTheInsertAtItsPlace holds it.
    const bool cancelsInsert = !FindEqual(Insert, selection).empty();
    const Index::Arrivals same = FindEqual(Delete, selection);
    Index::Arrivals covered;
    for (const ChangeType type : {Insert, Update, Delete}) {
        FindUnder(type, selection, covered);
    }
    for (const Index::Arrival kept : same) {
        covered.erase(std::find(covered.begin(), covered.end(), kept));
    }
    // Deliberate: a delete is added even if an earlier, wider delete covers it: an append removes
    // only changes that the new change covers. StaysInNormalForm holds it.
    if (cancelsInsert || !same.empty()) {
        RemoveAll(covered);
    } else {
        Replace(covered, change);
    }
}

void ETabulonPendingChanges::Reset() {
    const ECriticalSectionHold hold(lock_);
    filter_->Clear();
    index_->Clear();
    PublishCounts();
    filterVersion_.fetch_add(1, std::memory_order_release);
}

void ETabulonPendingChanges::AddToFilter(const Change& change) {
    if (filter_->IsFull()) {
        detail::PendingFilter larger(script_.Size());
        for (const Change& known : std::as_const(script_)) {
            larger.Add(known);
        }
        *filter_ = std::move(larger);
    }
    filter_->Add(change);
    filterVersion_.fetch_add(1, std::memory_order_release);
}

void ETabulonPendingChanges::CopyFilter(detail::PendingFilter& copy, std::uint64_t& version) const {
    if (version != filterVersion_.load(std::memory_order_acquire)) {
        const ECriticalSectionHold hold(lock_);
        copy = *filter_;
        version = filterVersion_.load(std::memory_order_relaxed);
    }
}

void ETabulonPendingChanges::FindUnder(ChangeType type, const ETabulonTag& tag,
                                       Arrivals& under) const {
    index_->ForEach(type, Index::Side::Below, tag, nullptr, [&](const Index::Arrivals& found) {
        for (const Index::Arrival arrival : found) {
            if (index_->ChangeOf(arrival).Selection().IsAtOrBelow(tag)) {
                under.push_back(arrival);
            }
        }
    });
}

ETabulonPendingChanges::Arrivals ETabulonPendingChanges::FindEqual(
    ChangeType type, const ETabulonTag& selection) const {
    Index::Arrivals equal;
    index_->ForEach(type, Index::Side::Equal, selection, nullptr,
                    [&](const Index::Arrivals& found) {
                        for (const Index::Arrival arrival : found) {
                            if (index_->ChangeOf(arrival).Selection() == selection) {
                                equal.push_back(arrival);
                            }
                        }
                    });
    return equal;
}

void ETabulonPendingChanges::RemoveAll(Arrivals& arrivals) {
    std::sort(arrivals.begin(), arrivals.end());
    index_->Remove(arrivals);
}

// Appends first, since an append may run out of memory and a removal after it can't.
void ETabulonPendingChanges::Replace(Arrivals& covered, const Change& change) {
    index_->Append(change);
    RemoveAll(covered);
}

void ETabulonPendingChanges::PublishCounts() noexcept {
    for (const ChangeType type : {Update, Insert, Delete}) {
        counts_[type].store(index_->Count(type), std::memory_order_release);
    }
}

const PTableau<ETabulonPendingChanges::Change>& ETabulonPendingChanges::Script() const {
    const ECriticalSectionHold hold(lock_);
    return script_;
}

PTableau<ETabulonPendingChanges::Change> ETabulonPendingChanges::Script(ChangeType type) const {
    const ECriticalSectionHold hold(lock_);
    PTableau<Change> changes;
    for (const Change& change : script_) {
        if (change.Type() == type) {
            changes.Add(change);
        }
    }
    return changes;
}

PTableau<ETabulonPendingChanges::Change> ETabulonPendingChanges::ScriptUnder(
    ChangeType type, const ETabulonTag& tag) const {
    PTableau<Change> changes;
    if (HasAny(type)) {
        const ECriticalSectionHold hold(lock_);
        Arrivals under;
        FindUnder(type, tag, under);
        std::sort(under.begin(), under.end());
        for (const Index::Arrival arrival : under) {
            changes.Add(index_->ChangeOf(arrival));
        }
    }
    return changes;
}

PTableau<ETabulonPendingChanges::Change> ETabulonPendingChanges::ScriptCopy() const {
    const ECriticalSectionHold hold(lock_);
    PTableau<Change> changes = script_;
    changes.Detach();
    return changes;
}

std::uint32_t ETabulonPendingChanges::Size() const {
    const ECriticalSectionHold hold(lock_);
    return script_.Size();
}

// --------------------------------------------------------------------------------------- questions

// Deliberate: finds the first update that applies, not the newest: an older update of a wider
// branch wins here over a newer update at the tag itself, while UpdateFields stores the newer value
// last. So calculations show the older value and records the newer.
// FirstUpdateGivesTheValueLastTheField holds it.
const ETabulonPendingChanges::Change* ETabulonPendingChanges::FindUpdate(
    const ETabulonTag& tag, const ETabulonVariableID& id) const {
    constexpr Index::Arrival kNone = ~Index::Arrival{0};
    Index::Arrival first = kNone;
    index_->ForEach(Update, Index::Side::Above, tag, &id, [&](const Index::Arrivals& found) {
        for (const Index::Arrival arrival : found) {
            if (arrival >= first || index_->ChangeOf(arrival).Matches(tag, id)) {
                first = std::min(first, arrival);
                break;
            }
        }
    });
    return first == kNone ? nullptr : &index_->ChangeOf(first);
}

const EVariant& ETabulonPendingChanges::GetFinalValue(const ETabulonTag& tag,
                                                      const ETabulonVariableID& id,
                                                      const EVariant& current) const {
    if (!HasAny(Update)) {
        return current;
    }
    const ECriticalSectionHold hold(lock_);
    const Change* const update = FindUpdate(tag, id);
    return update == nullptr ? current : update->Value();
}

bool ETabulonPendingChanges::GetFinalValueCopy(const ETabulonTag& tag, const ETabulonVariableID& id,
                                               const EVariant& current, EVariant& result) const {
    if (HasAny(Update)) {
        const ECriticalSectionHold hold(lock_);
        if (const Change* const update = FindUpdate(tag, id); update != nullptr) {
            result = update->Value();
            return true;
        }
    }
    result = current;
    return false;
}

bool ETabulonPendingChanges::IsDeleted(const ETabulonTag& tag) const {
    if (!HasAny(Delete)) {
        return false;
    }
    const ECriticalSectionHold hold(lock_);
    // The last delete or insert that applies decides.
    std::int64_t last[3] = {-1, -1, -1};
    for (const ChangeType type : {Insert, Delete}) {
        index_->ForEach(type, Index::Side::Above, tag, nullptr, [&](const Index::Arrivals& found) {
            for (auto arrival = found.rbegin(); arrival != found.rend(); ++arrival) {
                const auto number = static_cast<std::int64_t>(*arrival);
                if (number <= last[type] || index_->ChangeOf(*arrival).Matches(tag)) {
                    last[type] = std::max(last[type], number);
                    break;
                }
            }
        });
    }
    return last[Delete] > last[Insert];
}

bool ETabulonPendingChanges::IsModified(const ETabulonTag& tag,
                                        const ETabulonVariableID& id) const {
    const ECriticalSectionHold hold(lock_);
    // Deliberate: a delete has the empty identifier, so that it counts only for that identifier.
    // DeleteModifiesTheEmptyIdentifierOnly holds it.
    return FindUpdate(tag, id) != nullptr ||
           (id == ETabulonVariableID::Null && AppliesAny(Delete, tag));
}

bool ETabulonPendingChanges::IsUpdated(const ETabulonTag& tag) const {
    if (!HasAny(Update)) {
        return false;
    }
    const ECriticalSectionHold hold(lock_);
    return AppliesAny(Update, tag);
}

bool ETabulonPendingChanges::AppliesAny(ChangeType type, const ETabulonTag& tag) const {
    bool applies = false;
    index_->ForEach(type, Index::Side::Above, tag, nullptr, [&](const Index::Arrivals& found) {
        applies = applies || std::any_of(found.begin(), found.end(), [&](Index::Arrival arrival) {
                      return index_->ChangeOf(arrival).Matches(tag);
                  });
    });
    return applies;
}

bool ETabulonPendingChanges::UpdateFields(EFieldSet& fields, const ETabulonTag& tag) const {
    return UpdateFieldsAndNote(fields, tag, nullptr);
}

bool ETabulonPendingChanges::UpdateFieldsAndNote(EFieldSet& fields, const ETabulonTag& tag,
                                                 std::vector<const EField*>* updated) const {
    if (!HasAny(Update)) {
        return false;
    }
    const ECriticalSectionHold hold(lock_);
    Index::Arrivals applying;
    index_->ForEach(Update, Index::Side::Above, tag, nullptr, [&](const Index::Arrivals& found) {
        for (const Index::Arrival arrival : found) {
            if (index_->ChangeOf(arrival).Matches(tag)) {
                applying.push_back(arrival);
            }
        }
    });
    std::sort(applying.begin(), applying.end());
    for (const Index::Arrival arrival : applying) {
        const Change& update = index_->ChangeOf(arrival);
        EField& field = update.VarDataID().GetIn(fields);
        field <<= update.Value();
        if (updated != nullptr) {
            updated->push_back(&field);
        }
    }
    return !applying.empty();
}

}  // namespace etabulon
