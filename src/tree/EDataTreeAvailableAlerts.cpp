#include "etabulon/tree/EDataTreeAvailableAlerts.h"

namespace etabulon {

void EDataTreeAvailableAlerts::DeclareAlert(const EDataTreeAlertDesc& desc) {
    alerts_[desc.ID()] = desc;
}

EDataTreeAlertDesc EDataTreeAvailableAlerts::Get(const PUniqueT<Chaine>& ids) const {
    // Deliberate: merging begins with the nameless alert, so that the merged name begins with a
    // comma, also for a single alert. Callers tell an alert from none, which has no name, by that
    // comma. NameBeginsWithAComma holds it.
    EDataTreeAlertDesc merged;
    for (const Chaine& id : ids) {
        merged = EDataTreeAlertDesc::Merge(merged, (*this)[id]);
    }
    return merged;
}

}  // namespace etabulon
