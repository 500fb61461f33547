#include "etabulon/tree/EDataTreeRaisedAlerts.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

bool KnowsLevelsOf(const ETabulonTag& tag, const ETabulonTag& other) {
    for (unsigned int index = 0; index < other.KnownLevelsCount(); ++index) {
        if (!tag.HasValue(other.LevelAt(index))) {
            return false;
        }
    }
    return true;
}

}  // namespace

EDataTreeRaisedAlerts::EDataTreeRaisedAlerts(const EDataTreeRaisedAlerts& other)
    : available_(other.available_), raised_(other.raised_) {}

EDataTreeRaisedAlerts EDataTreeRaisedAlerts::Merge(const EDataTreeRaisedAlerts& a,
                                                   const EDataTreeRaisedAlerts& b) {
    EDataTreeRaisedAlerts merged(a);
    for (const auto& [tag, ids] : std::as_const(b.raised_)) {
        PUniqueT<Chaine>& all = merged.raised_[tag];
        for (const Chaine& id : ids) {
            all.Add(id);
        }
    }
    return merged;
}

/// Takes the lock and releases it at once, which guards nothing: another thread may change the
/// alerts before the caller uses the answer. Callers that share a set of alerts between threads
/// hold a lock of their own around question and use.
void EDataTreeRaisedAlerts::PassLock() const { const ECriticalSectionHold hold(lock_); }

void EDataTreeRaisedAlerts::Raise(const ETabulonTag& tag, const Chaine& id) {
    PassLock();
    // Deliberate: names that differ only in case are two here, though EDataTreeAvailableAlerts
    // declares them as one alert: raised under both names, its colour counts twice.
    // NamesInTwoCasesCountTwice holds it.
    raised_[tag].Add(id);
}

void EDataTreeRaisedAlerts::Reset(const ETabulonTag& tag) {
    PassLock();
    raised_.RemoveKey(tag);
}

void EDataTreeRaisedAlerts::Reset() {
    PassLock();
    raised_.Free();
}

bool EDataTreeRaisedAlerts::HasDirectAlerts(const ETabulonTag& tag) const {
    PassLock();
    return raised_.Find(tag) != -1;
}

PUniqueT<Chaine> EDataTreeRaisedAlerts::DirectAlertsIDs(const ETabulonTag& tag) const {
    PassLock();
    return raised_[tag];
}

PUniqueT<Chaine> EDataTreeRaisedAlerts::ChildAlertsIDs(const ETabulonTag& tag) const {
    PassLock();
    PUniqueT<Chaine> ids;
    std::vector<std::uint32_t> detours;
    AddChildAlerts(tag, ids, detours);
    for (std::size_t turn = 0; turn < detours.size(); ++turn) {
        AddChildAlerts(raised_.Key(detours[turn]), ids, detours);
    }
    return ids;
}

/// Adds to `ids` the alerts that propagate from the children of the tag. Adds to `detours` the
/// children that may have children which aren't the tag's.
///
/// Deliberate: all alerts below a child count, also those that aren't below `tag` itself: a child
/// that lacks a level of `tag` may have children with another value there.
/// AlertsComeThroughAChildThatLacksALevel holds it.
void EDataTreeRaisedAlerts::AddChildAlerts(const ETabulonTag& tag, PUniqueT<Chaine>& ids,
                                           std::vector<std::uint32_t>& detours) const {
    std::uint32_t index = 0;
    for (const auto& [raisedOn, raised] : raised_) {
        const std::uint32_t row = index++;
        if (!raisedOn.IsChildOf(tag)) {
            continue;
        }
        for (const Chaine& id : raised) {
            if ((*available_)[id].PropagateToParent()) {
                ids.Add(id);
            }
        }
        if (!KnowsLevelsOf(raisedOn, tag) &&
            std::find(detours.begin(), detours.end(), row) == detours.end()) {
            detours.push_back(row);
        }
    }
}

EDataTreeAlertDesc EDataTreeRaisedAlerts::GetDirectDisplayAlert(const ETabulonTag& tag) const {
    return HasDirectAlerts(tag) ? available_->Get(DirectAlertsIDs(tag)) : EDataTreeAlertDesc();
}

EDataTreeAlertDesc EDataTreeRaisedAlerts::GetDisplayAlert(const ETabulonTag& tag) const {
    PUniqueT<Chaine> ids = ChildAlertsIDs(tag);
    if (HasDirectAlerts(tag)) {
        for (const Chaine& id : DirectAlertsIDs(tag)) {
            ids.Add(id);
        }
    }
    return available_->Get(ids);
}

}  // namespace etabulon
