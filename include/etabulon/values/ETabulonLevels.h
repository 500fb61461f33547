#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/values/ETabulonVariableID.h"

namespace etabulon {

/// The levels that a screen offers: each a variable that may become a level of the tree.
/// Made once, before the sort description, and read-only afterwards.
///
/// Identifiers  given out from 0 upward in the order of adding: a level's identifier is its index.
/// Ownership    a copy shares storage until the first access; a cursor detaches its copy.
/// Threads      one at a time, const operations included.
/// Example    examples/first.cpp
class ETABULON_API ETabulonLevels {
public:
    /// Gives the icon for a value of a level.
    class ETABULON_API ILevelUI : public virtual EUnknown {
    public:
        virtual HICON Icon(const EVariant& value) = 0;
    };
    class LevelUI;  // the supplied one, in sort/ETabulonLevelsLevelUI.h

    class ETABULON_API Level {
    public:
        Level() = default;
        Level(const Chaine& header, const ETabulonVariableID& dataID,
              const ETabulonVariableID& descID, ILevelUI* ui, bool addRef)
            : header_(header),
              dataID_(dataID),
              descID_(descID),
              ui_(ERef<ILevelUI>::Take(ui, addRef)) {}
        Level(const Level&) = default;
        Level& operator=(const Level&) = default;
        Level(Level&&) noexcept = default;
        Level& operator=(Level&&) noexcept = default;
        virtual ~Level() = default;

        /// The level's name for the user.
        [[nodiscard]] const Chaine& Header() const noexcept { return header_; }
        /// The variable whose value a record has on this level.
        [[nodiscard]] const ETabulonVariableID& DataID() const noexcept { return dataID_; }
        /// The variable that gives the text for that value; may be the same.
        [[nodiscard]] const ETabulonVariableID& DescID() const noexcept { return descID_; }
        /// Null without an ILevelUI. Not owned.
        [[nodiscard]] HICON Icon(const EVariant& value) const {
            return ui_ ? ui_->Icon(value) : nullptr;
        }

    private:
        Chaine header_;
        ETabulonVariableID dataID_;
        ETabulonVariableID descID_;
        ERef<ILevelUI> ui_;
    };

    ETabulonLevels() = default;
    virtual ~ETabulonLevels() = default;
    ETabulonLevels(const ETabulonLevels&) = default;
    ETabulonLevels& operator=(const ETabulonLevels&) = default;
    ETabulonLevels(ETabulonLevels&&) noexcept = default;
    ETabulonLevels& operator=(ETabulonLevels&&) noexcept = default;

    /// Returns the new level's identifier. Nothing checks whether a variable is added twice.
    unsigned int AddLevel(const Chaine& header, const ETabulonVariableID& dataID,
                          const ETabulonVariableID& descID, ILevelUI* ui, bool addRef);
    unsigned int AddLevel(const Chaine& header, const ETabulonVariableID& id, ILevelUI* ui,
                          bool addRef) {
        return AddLevel(header, id, id, ui, addRef);
    }
    /// With an icon of the level's own, destroyed with it.
    unsigned int AddLevel(const Chaine& header, const ETabulonVariableID& dataID,
                          const ETabulonVariableID& descID, HICON icon);
    unsigned int AddLevel(const Chaine& header, const ETabulonVariableID& id, HICON icon) {
        return AddLevel(header, id, id, icon);
    }

    [[nodiscard]] unsigned int Size() const noexcept {
        return static_cast<unsigned int>(levels_.Size());
    }
    [[nodiscard]] bool ExistLevel(unsigned int level) const;
    /// Compares each level's DataID() == id, in this order of the operands.
    [[nodiscard]] bool ExistLevel(const ETabulonVariableID& id) const;
    /// Requires ExistLevel(level).
    [[nodiscard]] const Level& GetLevel(unsigned int level) const;
    [[nodiscard]] unsigned int GetLevelID(unsigned int position) const {
        return levels_.At(position).key;
    }
    /// The first level of that variable. Requires ExistLevel(id).
    [[nodiscard]] unsigned int GetLevelID(const ETabulonVariableID& id) const;
    /// Makes the storage this object's own, so that another thread may use the source.
    void Detach() { levels_.Detach(); }

private:
    [[nodiscard]] int IndexOf(const ETabulonVariableID& id) const;

    FSortedMap<unsigned int, Level> levels_;
};

}  // namespace etabulon
