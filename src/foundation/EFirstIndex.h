#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/HashIndex.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Finds the first of the things filed under a key. `Traits` gives Hash(key) and Same(a, b).
template <class Key, class Traits>
class EFirstIndex {
public:
    EFirstIndex() noexcept = default;
    EFirstIndex(const EFirstIndex& other) : entries_(other.entries_) {
        index_.Reserve(other.index_.Size());
        for (std::size_t entry = 0; entry < entries_.size(); ++entry) {
            index_.Add(Traits::Hash(entries_[entry].key), static_cast<std::int32_t>(entry));
        }
    }
    EFirstIndex(EFirstIndex&&) noexcept = default;
    EFirstIndex& operator=(EFirstIndex other) noexcept {
        entries_.swap(other.entries_);
        index_.Swap(other.index_);
        return *this;
    }
    ~EFirstIndex() = default;

    /// Files `position` under `key`, unless the key has a position already. A preferred entry takes
    /// the position of one that isn't.
    void Add(const Key& key, std::uint32_t position, bool preferred) {
        const std::uint32_t hash = Traits::Hash(key);
        if (const std::int32_t found = FindEntry(hash, key); found >= 0) {
            Entry& entry = entries_[static_cast<std::size_t>(found)];
            if (preferred && !entry.preferred) {
                entry.position = position;
                entry.preferred = true;
            }
            return;
        }
        index_.Reserve(index_.Size() + 1);
        entries_.push_back({key, position, preferred});
        index_.Add(hash, static_cast<std::int32_t>(entries_.size() - 1));
    }

    [[nodiscard]] int Find(const Key& key) const noexcept {
        const std::int32_t found = FindEntry(Traits::Hash(key), key);
        return found < 0 ? -1
                         : static_cast<int>(entries_[static_cast<std::size_t>(found)].position);
    }

    void Clear() noexcept {
        entries_.clear();
        index_.Clear();
    }

private:
    struct Entry {
        Key key;
        std::uint32_t position;
        bool preferred;
    };

    [[nodiscard]] std::int32_t FindEntry(std::uint32_t hash, const Key& key) const noexcept {
        return index_.Find(hash, [this, &key](std::int32_t entry) {
            return Traits::Same(entries_[static_cast<std::size_t>(entry)].key, key);
        });
    }

    std::vector<Entry> entries_;
    HashIndex index_;
};

struct ENameTraits {
    // The hashes of similar names may differ in their high bits only.
    static std::uint32_t Hash(const Chaine& name) noexcept { return HashNumber(name.FoldHash()); }
    static bool Same(const Chaine& a, const Chaine& b) noexcept { return a.EqualsFolded(b); }
};

struct ENumberTraits {
    static std::uint32_t Hash(std::uint64_t number) noexcept { return HashNumber(number); }
    static bool Same(std::uint64_t a, std::uint64_t b) noexcept { return a == b; }
};

using ENameIndex = EFirstIndex<Chaine, ENameTraits>;
using ENumberIndex = EFirstIndex<std::uint64_t, ENumberTraits>;

}  // namespace etabulon::detail
