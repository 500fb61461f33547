#pragma once

#include "etabulon/foundation/detail/EPrefetch.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace etabulon::detail {

/// A hash table by open addressing (linear probing; Knuth, The Art of Computer Programming, volume
/// 3, section 6.4, algorithms L and R) of positions in a storage that the caller owns. It holds
/// hashes and no keys: the caller's predicate decides whether the element at a position is the
/// sought one.
///
/// Ownership  a copy starts empty: its owner compares Size() with the storage, and fills the index.
class HashIndex {
public:
    HashIndex() noexcept = default;
    HashIndex(const HashIndex&) noexcept {}
    HashIndex(HashIndex&& other) noexcept { Swap(other); }
    HashIndex& operator=(const HashIndex&) noexcept {
        Clear();
        return *this;
    }
    HashIndex& operator=(HashIndex&& other) noexcept {
        Clear();
        Swap(other);
        return *this;
    }
    ~HashIndex() = default;

    [[nodiscard]] std::uint32_t Size() const noexcept { return size_; }
    void Clear() noexcept {
        slots_.clear();
        size_ = 0;
    }
    void Swap(HashIndex& other) noexcept {
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

    // For many lookups at a time: prefetch the slots of all hashes, then ask for each candidate.
    void Prefetch(std::uint32_t hash) const noexcept {
        if (!slots_.empty()) {
            PrefetchToRead(&slots_[hash & Mask()]);
        }
    }
    /// The first position with this hash, of whatever element, or -1.
    [[nodiscard]] std::int32_t Candidate(std::uint32_t hash) const noexcept {
        return Find(hash, [](std::int32_t /*position*/) { return true; });
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
    /// Removes a position. The positions after it stay as they are.
    void Remove(std::uint32_t hash, std::int32_t position) noexcept {
        std::size_t at = hash & Mask();
        while (slots_[at].position != position) {
            if (slots_[at].position == kFree) {
                return;
            }
            at = (at + 1) & Mask();
        }
        // Entries displaced past this slot move back into it, so that no probe sequence is broken.
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
    /// Every position after `position` becomes one less, after a removal from the storage.
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

}  // namespace etabulon::detail
