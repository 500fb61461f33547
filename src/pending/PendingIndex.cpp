#include "pending/PendingIndex.h"

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/EHashMix.h"

#include <algorithm>
#include <utility>

namespace etabulon {

bool ETabulonPendingChanges::Index::HasLevels(const ETabulonTag& tag, const Levels& levels) {
    const unsigned int count = tag.KnownLevelsCount();
    if (count != levels.size()) {
        return false;
    }
    for (unsigned int index = 0; index < count; ++index) {
        if (tag.LevelAt(index) != levels[index]) {
            return false;
        }
    }
    return true;
}

// A parent holds fewer levels than its child; tags with equally many levels match only if equal.
bool ETabulonPendingChanges::Index::IsOnSide(const Group& group, Side side,
                                             const ETabulonTag& tag) {
    const std::size_t count = tag.KnownLevelsCount();
    const bool strict = side == Side::Above ? group.levels.size() < count
                                            : (side == Side::Below && group.levels.size() > count);
    return strict || HasLevels(tag, group.levels);
}

// A hash of the values at `levels`, which the tag must hold, and of the variable. Equal values and
// equal identifiers give equal keys.
std::uint64_t ETabulonPendingChanges::Index::KeyOf(const Levels& levels, By by,
                                                   const ETabulonTag& tag,
                                                   const ETabulonVariableID* id) {
    std::uint64_t key = 0;
    for (unsigned int index = 0, next = 0; next < levels.size(); ++index) {
        if (tag.LevelAt(index) == levels[next]) {
            key = detail::MixHash(key, tag.ValueAt(index).Hash());
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
        for (unsigned int index = 0; index < change.Selection().KnownLevelsCount(); ++index) {
            group->levels.push_back(change.Selection().LevelAt(index));
        }
    }
    group->all.push_back(arrival);
    try {
        for (Table& table : group->tables) {
            const std::uint64_t key =
                KeyOf(table.levels, table.by, change.Selection(), &change.VarDataID());
            table.changes[key].push_back(arrival);
        }
    } catch (...) {
        group->all.pop_back();
        group->tables.clear();  // the next lookup rebuilds the table that it needs
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
        const auto found = table.changes.find(
            KeyOf(table.levels, table.by, change.Selection(), &change.VarDataID()));
        erase(found->second);
        if (found->second.empty()) {
            table.changes.erase(found);
        }
    }
}

std::uint32_t ETabulonPendingChanges::Index::IndexOf(Arrival arrival) const {
    return static_cast<std::uint32_t>(std::lower_bound(order_.begin(), order_.end(), arrival) -
                                      order_.begin());
}

void ETabulonPendingChanges::Index::Append(const Change& change) {
    order_.push_back(next_);
    try {
        Register(next_, script_.Add(change));
    } catch (...) {
        order_.pop_back();
        script_.RemoveAt(
            static_cast<std::uint32_t>(order_.size()));  // no element there if Add threw
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
    script_.Detach();  // first, as the only operation here that may run out of memory
    for (const Arrival arrival : removed) {
        Unregister(arrival, ChangeOf(arrival));
    }
    // Removes from the end, and adjacent changes together, so that few elements move.
    for (std::size_t end = removed.size(); end != 0;) {
        const std::uint32_t last = IndexOf(removed[--end]);
        std::uint32_t first = last;
        while (end != 0 && IndexOf(removed[end - 1]) + 1 == first) {
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
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        if (std::binary_search(group.levels.begin(), group.levels.end(), tag.LevelAt(index))) {
            common_.push_back(tag.LevelAt(index));
        }
    }
    By by = By::Tag;
    if (id != nullptr) {
        by = id->IsAccelerator() ? By::Number : By::Code;
    } else if (common_.empty()) {
        return &group.all;
    }
    const auto known =
        std::find_if(group.tables.begin(), group.tables.end(),
                     [&](const Table& table) { return table.by == by && table.levels == common_; });
    const Table* const table = known != group.tables.end() ? &*known : MakeTable(group, by);
    const auto found = table->changes.find(KeyOf(common_, by, tag, id));
    return found == table->changes.end() ? nullptr : &found->second;
}

ETabulonPendingChanges::Index::Table* ETabulonPendingChanges::Index::MakeTable(Group& group,
                                                                               By by) {
    Table table{common_, by, {}};
    for (const Arrival arrival : group.all) {
        const Change& change = ChangeOf(arrival);
        table.changes[KeyOf(common_, by, change.Selection(), &change.VarDataID())].push_back(
            arrival);
    }
    return &group.tables.emplace_back(std::move(table));
}

}  // namespace etabulon
