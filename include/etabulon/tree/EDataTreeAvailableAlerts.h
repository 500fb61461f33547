#pragma once

#include "etabulon/foundation/FDictionnary.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/tree/EDataTreeAlertDesc.h"

#include <cstdint>

namespace etabulon {

/// The alerts that an application has declared, by name; case makes no difference.
///
/// Ownership  a value type; copies share their storage until the next access to either.
/// Threads    one at a time, const operations included.
/// Example    apps/etabulon/browse/BrowseAlerts.h
class ETABULON_API EDataTreeAvailableAlerts {
public:
    EDataTreeAvailableAlerts() = default;
    EDataTreeAvailableAlerts(const EDataTreeAvailableAlerts&) = default;
    EDataTreeAvailableAlerts& operator=(const EDataTreeAvailableAlerts&) = default;
    virtual ~EDataTreeAvailableAlerts() = default;

    /// Declares an alert, or replaces the one of that name.
    void DeclareAlert(const EDataTreeAlertDesc& desc);
    [[nodiscard]] bool Exist(const Chaine& id) const { return alerts_.Find(id) != -1; }
    [[nodiscard]] std::uint32_t Size() const noexcept { return alerts_.Size(); }
    /// Requires Exist(id).
    [[nodiscard]] const EDataTreeAlertDesc& operator[](const Chaine& id) const {
        return alerts_[id];
    }
    /// In the order of the names. Requires index < Size().
    [[nodiscard]] const EDataTreeAlertDesc& operator[](std::uint32_t index) const {
        return alerts_.Value(index);
    }
    /// The named alerts merged into one. Requires that each exists.
    [[nodiscard]] EDataTreeAlertDesc Get(const PUniqueT<Chaine>& ids) const;

private:
    FDictionnaryNoCase<EDataTreeAlertDesc> alerts_;
};

}  // namespace etabulon
