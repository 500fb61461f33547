#include "etabulon/tree/EDataTreeRaisedAlerts.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

bool KnowsLevelsOf(const ETabulonTag& tag, const ETabulonTag& other) {
    for (unsigned int place = 0; place < other.KnownLevelsCount(); ++place) {
        if (!tag.HasValue(other.LevelAt(place))) {
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

/// Waits for whoever is passing too, and no longer. It can't guard anything: what a caller was
/// answered may be untrue by the time that he uses it, so that whoever shares a set between threads
/// has a lock of his own around question and use.
void EDataTreeRaisedAlerts::PassLock() const { const ECriticalSectionHold hold(lock_); }

void EDataTreeRaisedAlerts::Raise(const ETabulonTag& tag, const Chaine& id) {
    PassLock();
    // Deliberate: names that differ in case only are two here, though they are one alert where it
    // is declared: raised both ways, its colour counts twice. NamesInTwoCasesCountTwice holds it.
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

/// Adds what propagates from the children of the tag, and to `detours` those children whose own
/// children may not all be among them.
///
/// Deliberate: the alerts below a child count, also those that aren't below `tag` itself: a child
/// that lacks a level of `tag` may have children that differ from `tag` there.
/// AlertsComeThroughAChildThatLacksALevel holds it.
void EDataTreeRaisedAlerts::AddChildAlerts(const ETabulonTag& tag, PUniqueT<Chaine>& ids,
                                           std::vector<std::uint32_t>& detours) const {
    std::uint32_t index = 0;
    for (const auto& [raisedOn, raised] : raised_) {
        const std::uint32_t place = index++;
        if (!raisedOn.IsChildOf(tag)) {
            continue;
        }
        for (const Chaine& id : raised) {
            if ((*available_)[id].PropagateToParent()) {
                ids.Add(id);
            }
        }
        if (!KnowsLevelsOf(raisedOn, tag) &&
            std::find(detours.begin(), detours.end(), place) == detours.end()) {
            detours.push_back(place);
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
