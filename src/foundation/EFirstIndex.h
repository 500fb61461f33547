#pragma once

#include "etabulon/foundation/Chaine.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Finds the first of the things filed under a key: open addressing, half full at most.
/// `Traits` gives Hash(key) and Same(a, b).
template <class Key, class Traits>
class EFirstIndex {
public:
    /// Files `place` under `key`, unless the key has a place already. A preferred entry takes the
    /// place of one that isn't.
    void Add(const Key& key, std::uint32_t place, bool preferred) {
        if (const Slot* slot = Probe(key); slot != nullptr && slot->entry != 0) {
            Entry& entry = entries_[slot->entry - 1];
            if (preferred && !entry.preferred) {
                entry.place = place;
                entry.preferred = true;
            }
            return;
        }
        entries_.push_back({key, place, preferred});
        if (entries_.size() * 2 > slots_.size()) {
            Rebuild();
        } else {
            File(static_cast<std::uint32_t>(entries_.size()));
        }
    }

    [[nodiscard]] int Find(const Key& key) const noexcept {
        const Slot* slot = Probe(key);
        return slot == nullptr || slot->entry == 0
                   ? -1
                   : static_cast<int>(entries_[slot->entry - 1].place);
    }

    void Clear() noexcept {
        entries_.clear();
        slots_.clear();
    }

private:
    struct Entry {
        Key key;
        std::uint32_t place;
        bool preferred;
    };
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t entry = 0;  // index in entries_ plus 1; 0 when free
    };

    /// The slot of the key, or the free one where it would go; null without slots.
    [[nodiscard]] const Slot* Probe(const Key& key) const noexcept {
        if (slots_.empty()) {
            return nullptr;
        }
        const std::uint32_t hash = Traits::Hash(key);
        for (std::size_t at = Start(hash);; at = (at + 1) & (slots_.size() - 1)) {
            const Slot& slot = slots_[at];
            if (slot.entry == 0 ||
                (slot.hash == hash && Traits::Same(entries_[slot.entry - 1].key, key))) {
                return &slot;
            }
        }
    }

    [[nodiscard]] std::size_t Start(std::uint32_t hash) const noexcept {
        // Spread first: hashes of like names may differ in their high bits only.
        return ((hash * 0x9E3779B97F4A7C15U) >> 32) & (slots_.size() - 1);
    }

    void File(std::uint32_t entry) noexcept {
        const std::uint32_t hash = Traits::Hash(entries_[entry - 1].key);
        std::size_t at = Start(hash);
        while (slots_[at].entry != 0) {
            at = (at + 1) & (slots_.size() - 1);
        }
        slots_[at] = {hash, entry};
    }

    void Rebuild() {
        slots_.assign(slots_.empty() ? 16 : slots_.size() * 2, Slot{});
        for (std::uint32_t entry = 1; entry <= entries_.size(); ++entry) {
            File(entry);
        }
    }

    std::vector<Entry> entries_;
    std::vector<Slot> slots_;  // a power of two
};

struct ENameTraits {
    static std::uint32_t Hash(const Chaine& name) noexcept { return name.FoldHash(); }
    static bool Same(const Chaine& a, const Chaine& b) noexcept { return a.EqualsFolded(b); }
};

struct ENumberTraits {
    static std::uint32_t Hash(std::uint64_t number) noexcept {
        return static_cast<std::uint32_t>(number ^ (number >> 32));
    }
    static bool Same(std::uint64_t a, std::uint64_t b) noexcept { return a == b; }
};

using ENameIndex = EFirstIndex<Chaine, ENameTraits>;
using ENumberIndex = EFirstIndex<std::uint64_t, ENumberTraits>;

}  // namespace etabulon::detail
