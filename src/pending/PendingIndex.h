#pragma once

#include "etabulon/pending/ETabulonPendingChanges.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// Finds the changes of a script by their selections, so that nothing scans it.
///
/// Two tags match as parent and child if they agree on the levels that both know; the levels that
/// only one of them knows aren't looked at. So changes are grouped by the levels of their
/// selections, and in each group there is a table for each set of levels that a question has in
/// common with it: from the values on those levels to the changes, in order of arrival. Tables are
/// made when a question needs one. Nearly always questions know all levels of a group.
///
/// What it finds are candidates, equal by hash: the caller tests them.
class ETabulonPendingChanges::Index {
public:
    /// Numbers changes in order of arrival; never given out twice.
    using Arrival = std::uint64_t;
    using Arrivals = std::vector<Arrival>;  // in order

    /// How the selections sought lie to the tag of the question.
    enum class Side : std::uint8_t {
        Above = 0,    // the tag is at or below them: changes that apply there
        Below = 1,    // they are at or below the tag: changes that it covers
        AtPlace = 2,  // equal
    };

    /// Keeps `script`, which must outlive this, and the tables in step.
    explicit Index(PTableau<Change>& script) : script_(script) {}

    /// A memory exception of it, or of Remove, leaves script and tables as they were.
    void Append(const Change& change);
    /// Takes up what the script has already. Requires that nothing was appended here.
    void AdoptScript();
    /// The changes of these numbers, which are in order.
    void Remove(const Arrivals& removed);
    void Clear() noexcept;

    [[nodiscard]] std::uint32_t Count(ChangeType type) const noexcept { return counts_[type]; }
    [[nodiscard]] const Change& ChangeOf(Arrival arrival) const {
        return script_.At(Place(arrival));
    }

    /// Calls `visit(const Arrivals&)` for each group that may hold changes of `type` on that side
    /// of `tag`, and, if `id` isn't null, of the variable that it names.
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
    enum class By : std::uint8_t { Place = 0, Code = 1, Number = 2 };

    struct Table {
        Levels levels;
        By by;
        std::unordered_map<std::uint64_t, Arrivals> places;
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
    [[nodiscard]] std::uint32_t Place(Arrival arrival) const;

    PTableau<Change>& script_;
    Arrivals order_;  // the number of each change, in the order of the script
    Arrival next_ = 0;
    std::vector<Group> groups_[3];  // by type
    std::uint32_t counts_[3] = {};
    Levels common_;  // of a lookup
};

}  // namespace etabulon
