#pragma once

#include "etabulon/pending/ETabulonPendingChanges.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// An index of a script's changes by their selections.
///
/// Two tags match as parent and child if they agree on the levels that both hold; the other levels
/// aren't compared. So changes are grouped by the levels of their selections, and each group has
/// one hash table for each set of levels that a queried tag has in common with the group: from the
/// values at those levels to the changes, in order of arrival. A query makes the table that it
/// needs. Nearly all queried tags hold all levels of a group.
///
/// A lookup returns candidates with an equal hash, which the caller compares.
class ETabulonPendingChanges::Index {
public:
    /// The number of a change in order of arrival, which is never given twice.
    using Arrival = std::uint64_t;
    using Arrivals = std::vector<Arrival>;  // in rising order

    /// Where the selections sought lie relative to the queried tag.
    enum class Side : std::uint8_t {
        Above = 0,  // the tag is at or below them: changes that apply there
        Below = 1,  // they are at or below the tag: changes that it covers
        Equal = 2,  // they equal the tag
    };

    /// Changes to `script` are made through this index, which keeps the two consistent. The script
    /// isn't owned and must outlive the index.
    explicit Index(PTableau<Change>& script) : script_(script) {}

    /// A memory exception of Append or Remove leaves script and tables unchanged.
    void Append(const Change& change);
    /// Indexes the changes that the script has already. Requires an empty index.
    void AdoptScript();
    /// Removes the changes of these numbers, which must be in rising order.
    void Remove(const Arrivals& removed);
    void Clear() noexcept;

    [[nodiscard]] std::uint32_t Count(ChangeType type) const noexcept { return counts_[type]; }
    [[nodiscard]] const Change& ChangeOf(Arrival arrival) const {
        return script_.At(IndexOf(arrival));
    }

    /// Calls `visit(const Arrivals&)` with the candidates of each group: changes of `type` on that
    /// side of `tag` and, if `id` isn't null, of the variable that it names.
    template <class Visit>
    void ForEach(ChangeType type, Side side, const ETabulonTag& tag, const ETabulonVariableID* id,
                 const Visit& visit) {
        for (Group& group : groups_[type]) {
            if (IsOnSide(group, side, tag)) {
                if (const Arrivals* found = Lookup(group, tag, id); found != nullptr) {
                    visit(*found);
                }
            }
        }
    }

private:
    using Levels = std::vector<unsigned int>;  // rising
    enum class By : std::uint8_t { Tag = 0, Code = 1, Number = 2 };

    struct Table {
        Levels levels;
        By by;
        std::unordered_map<std::uint64_t, Arrivals> changes;  // by KeyOf
    };
    struct Group {
        Levels levels;
        Arrivals all;
        std::vector<Table> tables;
    };

    [[nodiscard]] static bool HasLevels(const ETabulonTag& tag, const Levels& levels);
    [[nodiscard]] static bool IsOnSide(const Group& group, Side side, const ETabulonTag& tag);
    [[nodiscard]] static std::uint64_t KeyOf(const Levels& levels, By by, const ETabulonTag& tag,
                                             const ETabulonVariableID* id);
    [[nodiscard]] const Arrivals* Lookup(Group& group, const ETabulonTag& tag,
                                         const ETabulonVariableID* id);
    [[nodiscard]] Table* MakeTable(Group& group, By by);
    [[nodiscard]] Group* FindGroup(const Change& change);
    void Register(Arrival arrival, const Change& change);
    void Unregister(Arrival arrival, const Change& change);
    [[nodiscard]] std::uint32_t IndexOf(Arrival arrival) const;

    PTableau<Change>& script_;
    Arrivals order_;  // the number of each change, in the order of the script
    Arrival next_ = 0;
    std::vector<Group> groups_[3];  // by type
    std::uint32_t counts_[3] = {};
    Levels common_;  // scratch of Lookup
};

}  // namespace etabulon
