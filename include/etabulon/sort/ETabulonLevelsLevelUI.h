#pragma once

#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/values/ETabulonLevels.h"

namespace etabulon {

/// The supplied icons of a level: one for each value, loaded once, and a default icon for values
/// without one. Derive and override iLoadIcon.
///
/// Ownership  counted. With `ownsIcons` the icons are destroyed with the object.
/// Threads    one at a time: Icon writes to the cache.
/// Example    src/sort/ETabulonLevelsLevelUI.cpp
class ETABULON_API ETabulonLevels::LevelUI : public ILevelUI, public virtual ECountedUnknown {
public:
    /// `defaultIcon` may be null.
    LevelUI(HICON defaultIcon, bool ownsIcons) noexcept
        : ownsIcons_(ownsIcons), defaultIcon_(defaultIcon) {}
    LevelUI(const LevelUI&) = default;
    // Deliberate: the handles are shared with the source, and where both own them both destroy
    // them. The platform ignores the second time. AssignmentSharesTheIcons holds it.
    LevelUI& operator=(const LevelUI&) = default;
    ~LevelUI() override;

    /// A missing value gives the default icon and isn't cached.
    HICON Icon(const EVariant& value) override;

protected:
    /// Makes the icon for a value; null for the default icon. Called once for each value.
    virtual HICON iLoadIcon(const EVariant& value);

private:
    bool ownsIcons_;
    HICON defaultIcon_;
    FSortedMap<EVariant, HICON> cache_;
};

}  // namespace etabulon
