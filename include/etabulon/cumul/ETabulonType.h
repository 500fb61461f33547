#pragma once

#include "etabulon/cumul/ETabulonCumulFuncCollection.h"
#include "etabulon/foundation/EDataType.h"

#include <atomic>

namespace etabulon {

/// A loaded module of the platform that holds icons; an opaque handle.
struct _MODULE;
using HINSTANCE = _MODULE*;

/// What the platform does for the icons of type families.
struct ETypeIconPlatform {
    /// The loaded module that holds a group icon of this number; null where there is none.
    HINSTANCE (*findModule)(unsigned short iconID) = nullptr;
    /// Its icon, in the size of small icons; null where it can't be loaded.
    HICON (*loadIcon)(HINSTANCE module, unsigned short iconID) = nullptr;
};
/// Without a platform, families have no icons. Families exist before `main`: each loads its icon at
/// the first call of Icon.
ETABULON_API void SetTypeIconPlatform(const ETypeIconPlatform& platform) noexcept;

/// A family of types: its icon and the functions that variables of these types offer.
///
/// Ownership  made and owned by ETabulonTypeFactory, to the end of the process. An icon that the
///            family loaded is destroyed with it.
/// Threads    immutable once made, except for the icon, which is loaded under a lock: threads may
///            share it.
/// Example    tests/cumul/FunctionsTest.cpp
class ETABULON_API ETabulonType {
public:
    /// Loads the icon; a failure leaves a null one.
    ETabulonType(unsigned long iconID, HINSTANCE module, GenericType type);
    /// The icon isn't owned.
    ETabulonType(HICON icon, GenericType type) noexcept;
    ETabulonType(const ETabulonType&) = delete;
    ETabulonType& operator=(const ETabulonType&) = delete;
    virtual ~ETabulonType();

    [[nodiscard]] HICON Icon() const;
    [[nodiscard]] GenericType Type() const noexcept { return genericType_; }
    [[nodiscard]] const ETabulonCumulFuncCollection& Functions() const noexcept {
        return functions_;
    }

protected:
    /// An icon by number, from the module that holds an icon numbered `searchID`. The first call of
    /// Icon that finds a platform loads it.
    struct LateIcon {
        unsigned short iconID;
        unsigned short searchID;
    };
    ETabulonType(LateIcon icon, GenericType type) noexcept;
    void AddFunction(ETabulonCumulFunc* function, bool addRef) {
        functions_.AddFunction(function, addRef);
    }

private:
    friend class ETabulonTypeFactory;

    ETabulonCumulFuncCollection functions_;
    mutable std::atomic<HICON> icon_;
    bool ownsIcon_;
    GenericType genericType_;
    LateIcon late_{0, 0};
    mutable std::atomic<bool> isLate_{false};  // icon_ is still to be loaded
};

}  // namespace etabulon
