#include "pending/PendingIndex.h"

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/EHashMix.h"

#include <algorithm>
#include <utility>

namespace etabulon {
namespace {}  // namespace

bool ETabulonPendingChanges::Index::HasLevels(const ETabulonTag& tag, const Levels& levels) {
    const unsigned int count = tag.KnownLevelsCount();
    if (count != levels.size()) {
        return false;
    }
    for (unsigned int place = 0; place < count; ++place) {
        if (tag.LevelAt(place) != levels[place]) {
            return false;
        }
    }
    return true;
}

// A parent knows fewer levels than its child; tags of as many levels match only if equal.
bool ETabulonPendingChanges::Index::IsOnSide(const Group& group, Side side,
                                             const ETabulonTag& tag) {
    const std::size_t count = tag.KnownLevelsCount();
    const bool strict = side == Side::Above ? group.levels.size() < count
                                            : (side == Side::Below && group.levels.size() > count);
    return strict || HasLevels(tag, group.levels);
}

// Of the values on `levels`, which the tag knows, and of the variable. It agrees with the equality
// of values and of identifiers.
std::uint64_t ETabulonPendingChanges::Index::KeyOf(const Levels& levels, By by,
                                                   const ETabulonTag& tag,
                                                   const ETabulonVariableID* id) {
    std::uint64_t key = 0;
    for (unsigned int place = 0, next = 0; next < levels.size(); ++place) {
        if (tag.LevelAt(place) == levels[next]) {
            key = detail::MixHash(key, tag.ValueAt(place).Hash());
            ++next;
        }
    }
    if (by == By::Code) {
        key = detail::MixHash(key, id->Code().FoldHash());
    } else if (by == By::Number) {
        key = detail::MixHash(key, id->Accelerator());
    }
    return key;
}

ETabulonPendingChanges::Index::Group* ETabulonPendingChanges::Index::FindGroup(
    const Change& change) {
    for (Group& group : groups_[change.Type()]) {
        if (HasLevels(change.Selection(), group.levels)) {
            return &group;
        }
    }
    return nullptr;
}

void ETabulonPendingChanges::Index::Register(Arrival arrival, const Change& change) {
    Group* group = FindGroup(change);
    if (group == nullptr) {
        group = &groups_[change.Type()].emplace_back();
        for (unsigned int place = 0; place < change.Selection().KnownLevelsCount(); ++place) {
            group->levels.push_back(change.Selection().LevelAt(place));
        }
    }
    group->all.push_back(arrival);
    try {
        for (Table& table : group->tables) {
            const std::uint64_t key =
                KeyOf(table.levels, table.by, change.Selection(), &change.VarDataID());
            table.places[key].push_back(arrival);
        }
    } catch (...) {
        group->all.pop_back();
        group->tables.clear();  // they are made anew when they are asked
        throw;
    }
    ++counts_[change.Type()];
}

void ETabulonPendingChanges::Index::Unregister(Arrival arrival, const Change& change) {
    Group* const group = FindGroup(change);
    const auto erase = [&](Arrivals& arrivals) {
        arrivals.erase(std::lower_bound(arrivals.begin(), arrivals.end(), arrival));
    };
    erase(group->all);
    --counts_[change.Type()];
    if (group->all.empty()) {
        auto& groups = groups_[change.Type()];
        groups.erase(groups.begin() + (group - groups.data()));
        return;
    }
    for (Table& table : group->tables) {
        const auto place = table.places.find(
            KeyOf(table.levels, table.by, change.Selection(), &change.VarDataID()));
        erase(place->second);
        if (place->second.empty()) {
            table.places.erase(place);
        }
    }
}

std::uint32_t ETabulonPendingChanges::Index::Place(Arrival arrival) const {
    return static_cast<std::uint32_t>(std::lower_bound(order_.begin(), order_.end(), arrival) -
                                      order_.begin());
}

void ETabulonPendingChanges::Index::Append(const Change& change) {
    order_.push_back(next_);
    try {
        Register(next_, script_.Add(change));
    } catch (...) {
        order_.pop_back();
        script_.RemoveAt(static_cast<std::uint32_t>(order_.size()));  // if it came to be added
        throw;
    }
    ++next_;
}

void ETabulonPendingChanges::Index::AdoptScript() {
    E_EXPECTS(order_.empty());
    order_.reserve(script_.Size());
    for (; next_ < script_.Size(); ++next_) {
        Register(next_, std::as_const(script_).At(static_cast<std::uint32_t>(next_)));
        order_.push_back(next_);
    }
}

void ETabulonPendingChanges::Index::Remove(const Arrivals& removed) {
    script_.Detach();  // the one thing here that takes memory
    for (const Arrival arrival : removed) {
        Unregister(arrival, ChangeOf(arrival));
    }
    // From the end, and neighbours at once, so that little is moved.
    for (std::size_t end = removed.size(); end != 0;) {
        const std::uint32_t last = Place(removed[--end]);
        std::uint32_t first = last;
        while (end != 0 && Place(removed[end - 1]) + 1 == first) {
            --first;
            --end;
        }
        script_.RemoveAt(first, last - first + 1);
        order_.erase(order_.begin() + first, order_.begin() + last + 1);
    }
}

void ETabulonPendingChanges::Index::Clear() noexcept {
    script_.Free();
    order_.clear();
    for (const ChangeType type : {Update, Insert, Delete}) {
        groups_[type].clear();
        counts_[type] = 0;
    }
}

const ETabulonPendingChanges::Index::Arrivals* ETabulonPendingChanges::Index::Lookup(
    Group& group, const ETabulonTag& tag, const ETabulonVariableID* id) {
    common_.clear();
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        if (std::binary_search(group.levels.begin(), group.levels.end(), tag.LevelAt(place))) {
            common_.push_back(tag.LevelAt(place));
        }
    }
    By by = By::Place;
    if (id != nullptr) {
        by = id->IsAccelerator() ? By::Number : By::Code;
    } else if (common_.empty()) {
        return &group.all;
    }
    const auto known =
        std::find_if(group.tables.begin(), group.tables.end(),
                     [&](const Table& table) { return table.by == by && table.levels == common_; });
    const Table* const table = known != group.tables.end() ? &*known : MakeTable(group, by);
    const auto found = table->places.find(KeyOf(common_, by, tag, id));
    return found == table->places.end() ? nullptr : &found->second;
}

ETabulonPendingChanges::Index::Table* ETabulonPendingChanges::Index::MakeTable(Group& group,
                                                                               By by) {
    Table table{common_, by, {}};
    for (const Arrival arrival : group.all) {
        const Change& change = ChangeOf(arrival);
        table.places[KeyOf(common_, by, change.Selection(), &change.VarDataID())].push_back(
            arrival);
    }
    return &group.tables.emplace_back(std::move(table));
}

}  // namespace etabulon
