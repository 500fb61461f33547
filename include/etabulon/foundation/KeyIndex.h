#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

namespace etabulon {

/// To be specialised for a key type that has no std::hash: `std::size_t operator()(const K&)
/// const`. It must agree with K's operator==. Without either, maps of such keys are scanned.
template <class K>
struct EHash {};

namespace detail {

template <class K>
concept HasOwnHash = requires(const K& key) {
    EHash<K>{}(key);
};
template <class K>
concept HasStdHash = std::is_default_constructible_v<std::hash<K>>;
template <class K>
concept Hashable = HasOwnHash<K> || HasStdHash<K>;

template <Hashable K>
std::uint32_t HashOfKey(const K& key) {
    std::uint64_t hash = 0;
    if constexpr (HasOwnHash<K>) {
        hash = EHash<K>{}(key);
    } else {
        hash = std::hash<K>{}(key);
    }
    // Hashes of numbers and addresses are the numbers themselves: their bits must be spread.
    hash = (hash ^ (hash >> 32)) * 0x9E3779B97F4A7C15U;
    return static_cast<std::uint32_t>(hash >> 32);
}

/// Finds positions by hash beside an ordered storage. It knows no keys: the caller tells whether
/// the element at a position is the sought one.
///
/// Ownership  a copy starts empty: whoever uses one compares Size() with his storage, and fills it.
class KeyIndex {
public:
    KeyIndex() noexcept = default;
    KeyIndex(const KeyIndex&) noexcept {}
    KeyIndex(KeyIndex&& other) noexcept { Swap(other); }
    KeyIndex& operator=(const KeyIndex&) noexcept {
        Clear();
        return *this;
    }
    KeyIndex& operator=(KeyIndex&& other) noexcept {
        Clear();
        Swap(other);
        return *this;
    }
    ~KeyIndex() = default;

    [[nodiscard]] std::uint32_t Size() const noexcept { return size_; }
    void Clear() noexcept {
        slots_.clear();
        size_ = 0;
    }
    void Swap(KeyIndex& other) noexcept {
        slots_.swap(other.slots_);
        std::swap(size_, other.size_);
    }

    /// The first position with this hash for which `isIt` holds, or -1.
    template <class IsIt>
    [[nodiscard]] std::int32_t Find(std::uint32_t hash, const IsIt& isIt) const {
        if (slots_.empty()) {
            return -1;
        }
        for (std::size_t at = hash & Mask(); slots_[at].position != kFree; at = (at + 1) & Mask()) {
            if (slots_[at].hash == hash && isIt(slots_[at].position)) {
                return slots_[at].position;
            }
        }
        return -1;
    }

    /// Makes room, so that Add doesn't fail until there are more than `size` positions.
    void Reserve(std::uint32_t size) {
        std::size_t room = slots_.empty() ? kSmallest : slots_.size();
        while (room / 2 < size) {
            room *= 2;
        }
        if (room != slots_.size()) {
            std::vector<Slot> old(room);
            old.swap(slots_);
            for (const Slot& slot : old) {
                if (slot.position != kFree) {
                    Put(slot);
                }
            }
        }
    }
    /// Requires room.
    void Add(std::uint32_t hash, std::int32_t position) noexcept {
        Put({hash, position});
        ++size_;
    }
    /// Forgets a position. Those behind it stay as they are.
    void Remove(std::uint32_t hash, std::int32_t position) noexcept {
        std::size_t at = hash & Mask();
        while (slots_[at].position != position) {
            if (slots_[at].position == kFree) {
                return;
            }
            at = (at + 1) & Mask();
        }
        // Those that were pushed past this slot move up, so that no chain of slots is broken.
        for (std::size_t next = (at + 1) & Mask(); slots_[next].position != kFree;
             next = (next + 1) & Mask()) {
            const std::size_t home = slots_[next].hash & Mask();
            if (((next - home) & Mask()) >= ((next - at) & Mask())) {
                slots_[at] = slots_[next];
                at = next;
            }
        }
        slots_[at] = Slot{};
        --size_;
    }
    /// Every position behind `position` becomes one less, after a removal from the storage.
    void CloseGap(std::int32_t position) noexcept {
        for (Slot& slot : slots_) {
            if (slot.position > position) {
                --slot.position;
            }
        }
    }

private:
    static constexpr std::size_t kSmallest = 64;
    static constexpr std::int32_t kFree = -1;
    struct Slot {
        std::uint32_t hash = 0;
        std::int32_t position = kFree;
    };

    [[nodiscard]] std::size_t Mask() const noexcept { return slots_.size() - 1; }
    void Put(Slot slot) noexcept {
        std::size_t at = slot.hash & Mask();
        while (slots_[at].position != kFree) {
            at = (at + 1) & Mask();
        }
        slots_[at] = slot;
    }

    std::vector<Slot> slots_;  // a power of two of them, at least half of them free
    std::uint32_t size_ = 0;
};

}  // namespace detail
}  // namespace etabulon
