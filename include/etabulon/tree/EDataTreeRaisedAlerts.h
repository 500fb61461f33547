#pragma once

#include "etabulon/foundation/ECriticalSection.h"
#include "etabulon/foundation/FAssociative.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/tree/EDataTreeAvailableAlerts.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstdint>
#include <vector>

namespace etabulon {

/// The alerts raised on positions of a tree, and the style that they give a node: by its own
/// alerts, and by those from below that are declared to propagate.
///
/// Ownership  the available alerts aren't owned and must outlive this.
/// Threads    one at a time, const operations included. The lock inside is released before a
///            member is read or written, and so guards nothing: raise alerts on the thread that
///            draws the tree.
/// Failure    none is reported. A name is looked up when a caller asks for a style, and must be
///            available then.
/// Cost       a style reads each raised tag once, whatever the size of the tree.
/// Example    apps/etabulon/browse/BrowseCtrl.h
class ETABULON_API EDataTreeRaisedAlerts {
public:
    explicit EDataTreeRaisedAlerts(const EDataTreeAvailableAlerts& available)
        : available_(&available) {}
    EDataTreeRaisedAlerts(const EDataTreeRaisedAlerts& other);
    EDataTreeRaisedAlerts& operator=(const EDataTreeRaisedAlerts&) = delete;
    virtual ~EDataTreeRaisedAlerts() = default;

    /// The alerts of both, on each tag; the available ones are those of `a`.
    [[nodiscard]] static EDataTreeRaisedAlerts Merge(const EDataTreeRaisedAlerts& a,
                                                     const EDataTreeRaisedAlerts& b);

    [[nodiscard]] const EDataTreeAvailableAlerts& Available() const noexcept { return *available_; }
    void Raise(const ETabulonTag& tag, const Chaine& id);
    /// Removes the alerts of exactly this tag.
    void Reset(const ETabulonTag& tag);
    void Reset();

    [[nodiscard]] bool HasDirectAlerts(const ETabulonTag& tag) const;
    /// Requires HasDirectAlerts(tag).
    [[nodiscard]] PUniqueT<Chaine> DirectAlertsIDs(const ETabulonTag& tag) const;
    /// The alerts from below that propagate.
    [[nodiscard]] PUniqueT<Chaine> ChildAlertsIDs(const ETabulonTag& tag) const;
    /// The style by the tag's own alerts.
    [[nodiscard]] EDataTreeAlertDesc GetDirectDisplayAlert(const ETabulonTag& tag) const;
    /// The style by the tag's own alerts and those from below that propagate.
    [[nodiscard]] EDataTreeAlertDesc GetDisplayAlert(const ETabulonTag& tag) const;

private:
    void PassLock() const;
    void AddChildAlerts(const ETabulonTag& tag, PUniqueT<Chaine>& ids,
                        std::vector<std::uint32_t>& detours) const;

    mutable ECriticalSection lock_;
    const EDataTreeAvailableAlerts* available_;
    FAssociative<ETabulonTag, PUniqueT<Chaine>> raised_;
};

}  // namespace etabulon
