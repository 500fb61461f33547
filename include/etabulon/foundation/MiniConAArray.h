#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/TableauBlock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace etabulon {

/// The storage of an array: one pointer to a block that copies share until an element of one of
/// them is accessed. Null means never filled, or emptied.
///
/// Ownership  copying shares the block; the last owner destroys the elements.
/// Threads    the share count is a plain integer: arrays that share a block belong to one thread,
///            reading included.
/// Failure    only std::bad_alloc and what T's constructors throw; the array and those that share
///            its block stay as they were.
/// Elements never move: an address stays valid until its element is removed or the array detaches
/// from the block.
template <class T>
class MiniConAArray {
public:
    using Element = T;

    constexpr MiniConAArray() noexcept = default;
    MiniConAArray(const MiniConAArray& other) noexcept : block_(other.block_) {
        if (block_ != nullptr) {
            ++block_->share;
        }
    }
    MiniConAArray(MiniConAArray&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    MiniConAArray& operator=(const MiniConAArray& other) noexcept {
        MiniConAArray(other).Swap(*this);
        return *this;
    }
    MiniConAArray& operator=(MiniConAArray&& other) noexcept {
        MiniConAArray(std::move(other)).Swap(*this);
        return *this;
    }
    ~MiniConAArray() { Free(); }

    [[nodiscard]] std::uint32_t Size() const noexcept {
        return block_ != nullptr ? block_->count : 0;
    }
    [[nodiscard]] std::uint32_t Capacity() const noexcept {
        return block_ != nullptr ? block_->capacity : 0;
    }
    [[nodiscard]] bool IsShared() const noexcept { return block_ != nullptr && block_->share != 0; }
    /// Whether the elements stand in the order in which their slots were allocated.
    [[nodiscard]] bool IsInAllocationOrder() const noexcept {
        return block_ == nullptr || block_->inAllocationOrder != 0;
    }
    [[nodiscard]] bool IsSameBlock(const MiniConAArray& other) const noexcept {
        return block_ == other.block_;
    }

    /// Makes the block this array's own. Const, since every access to an element detaches.
    void Detach() const {
        if (IsShared()) [[unlikely]] {
            LeaveForCopy();
        }
    }
    /// The pointers to the elements, of a block that is this array's own; null without a block.
    [[nodiscard]] T* const* Table() const {
        Detach();
        return block_ != nullptr ? block_->table : nullptr;
    }
    /// Requires index < Size().
    [[nodiscard]] T& At(std::uint32_t index) const {
        E_EXPECTS(index < Size());
        if (block_->share != 0) [[unlikely]] {
            LeaveForCopy();
        }
        return *block_->table[index];
    }

    /// Makes the block this array's own, with room for `extra` more elements.
    void Own(std::uint32_t extra) {
        if (block_ == nullptr) {
            block_ = Block::Create(detail::TableauCapacity(0, 0, extra));
        } else if (block_->share != 0) {
            Leave(Block::Copy(*block_, extra));
        } else if (block_->capacity - block_->count < extra) {
            block_->Grow(extra);
        }
    }
    /// Constructs an element before `position`. Requires position <= Size(). The arguments may
    /// refer to elements of this array.
    template <class... Args>
    T& Emplace(std::uint32_t position, Args&&... args) {
        E_EXPECTS(position <= Size());
        Own(1);
        Block& block = *block_;
        T* const slot = block.table[block.count];
        std::construct_at(slot, std::forward<Args>(args)...);
        if (position != block.count) {
            T** const entry = block.table + position;
            std::memmove(entry + 1, entry, (block.count - position) * sizeof(T*));
            *entry = slot;
            block.inAllocationOrder = 0;
        }
        ++block.count;
        return *slot;
    }
    /// Removes up to `count` elements; an empty array has no block.
    void Remove(std::uint32_t index, std::uint32_t count) {
        const std::uint32_t size = Size();
        if (index >= size || count == 0) {
            return;
        }
        count = std::min(count, size - index);
        if (count == size) {
            Free();
            return;
        }
        Detach();
        if (index + count != size) {
            T** const table = block_->table;
            std::rotate(table + index, table + index + count, table + size);
            block_->inAllocationOrder = 0;
        }
        // The array is consistent before each destructor runs, which may read the array.
        Block* const block = block_;
        for (std::uint32_t left = size; left != size - count;) {
            block->count = --left;
            std::destroy_at(block->table[left]);
        }
    }
    /// Puts the element at `from` so that it stands at `to`. Requires both below Size().
    void Move(std::uint32_t from, std::uint32_t to) {
        E_EXPECTS(from < Size() && to < Size());
        Detach();
        T** const table = block_->table;
        if (from < to) {
            std::rotate(table + from, table + from + 1, table + to + 1);
        } else if (to < from) {
            std::rotate(table + to, table + from, table + from + 1);
        }
        if (from != to) {
            block_->inAllocationOrder = 0;
        }
    }
    void Free() noexcept { Release(std::exchange(block_, nullptr)); }
    void Swap(MiniConAArray& other) noexcept { std::swap(block_, other.block_); }

    /// A deep copy of `other` that shares nothing. A block of this array's own that is large enough
    /// is kept, and its elements are assigned: only these assignments allocate, and a failing one
    /// leaves a mixture of old and new elements.
    void AssignReusing(const MiniConAArray& other) {
        if (this == &other) {
            Detach();
            return;
        }
        if (block_ == nullptr || block_->share != 0 || block_->capacity < other.Size()) {
            MiniConAArray copy(other);
            copy.Detach();
            Swap(copy);
        } else if (other.Size() == 0) {
            Free();
        } else {
            block_->AssignElements(*other.block_);
        }
    }

private:
    using Block = detail::TableauBlock<T>;

    // Takes another block; the old one has further owners.
    void Leave(Block* next) const noexcept { Release(std::exchange(block_, next)); }
    // Not inlined, so that the check for a shared block adds few instructions to each lookup.
    [[gnu::noinline]] void LeaveForCopy() const { Leave(Block::Copy(*block_, 0)); }
    static void Release(Block* block) noexcept {
        if (block == nullptr) {
            return;
        }
        if (block->share == 0) {
            Block::Destroy(block);
        } else {
            --block->share;
        }
    }

    mutable Block* block_ = nullptr;
};

}  // namespace etabulon
