#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace etabulon::detail {

/// The capacity that a block of `count` elements and `capacity` slots needs for `extra` more.
inline std::uint32_t TableauCapacity(std::uint32_t count, std::uint32_t capacity,
                                     std::uint32_t extra) {
    constexpr std::uint32_t kSmallCount = 32;
    constexpr std::uint32_t kMediumCount = 8192;
    const std::uint64_t needed = std::uint64_t{count} + extra;
    if (needed <= capacity) {
        return capacity;
    }
    if (needed > std::numeric_limits<std::uint32_t>::max() - 1) {
        throw std::bad_array_new_length();  // -1 is no index
    }
    std::uint32_t step = 1024;
    if (count < kSmallCount) {
        step = 4;
    } else if (count <= kMediumCount) {
        step = count / 8;
    }
    const std::uint64_t stepped = std::uint64_t{capacity} + step;
    return static_cast<std::uint32_t>(std::max(stepped, needed));
}

/// The head of a further pool; its slots lie after it.
struct TableauPool {
    TableauPool* next;
};

/// The block that arrays share. The first slots, their pointers and this header are one allocation;
/// each growth chains a further pool. Slots beyond `count` are raw memory.
template <class T>
struct TableauBlock {
    std::uint32_t elementSize = 0;
    std::uint32_t count = 0;
    std::uint32_t capacity = 0;
    std::uint32_t share = 0;       // further owners beside the first
    T** table = nullptr;           // a pointer to each slot, spare ones included
    TableauPool* pools = nullptr;  // those after the first
    std::uint8_t inAllocationOrder = 1;
    // The pointers that `table` has room for. It grows by half, while the slots of a large block
    // grow by a fixed step: each step copying all pointers would make growth quadratic.
    std::uint32_t tableCapacity = 0;

    static TableauBlock* Create(std::uint32_t capacity) {
        const std::size_t poolOffset =
            RoundUp(sizeof(TableauBlock) + std::size_t{capacity} * sizeof(T*));
        auto* const bytes =
            static_cast<std::byte*>(Allocate(poolOffset + std::size_t{capacity} * sizeof(T)));
        auto* const block =
            std::construct_at(static_cast<TableauBlock*>(static_cast<void*>(bytes)));
        block->elementSize = static_cast<std::uint32_t>(sizeof(T));
        block->table = block->OwnTable();
        block->tableCapacity = capacity;
        block->AddSlots(bytes + poolOffset, capacity);
        return block;
    }

    /// A new block with a copy of each element, and room for `extra` more.
    static TableauBlock* Copy(const TableauBlock& source, std::uint32_t extra) {
        const std::uint32_t count = source.count;
        TableauBlock* const copy =
            Create(TableauCapacity(count, TableauCapacity(0, 0, std::max(count, 1U)), extra));
        if constexpr (std::is_trivially_copyable_v<T>) {
            if (source.inAllocationOrder != 0 && source.pools == nullptr) {
                std::memcpy(static_cast<void*>(*copy->table), *source.table, count * sizeof(T));
                copy->count = count;
                return copy;
            }
        }
        try {
            copy->AppendCopies(source);
        } catch (...) {
            Destroy(copy);
            throw;
        }
        return copy;
    }

    /// Requires room for all elements of `other`.
    void AssignElements(const TableauBlock& other) {
        const std::uint32_t common = std::min(count, other.count);
        for (std::uint32_t i = 0; i < common; ++i) {
            *table[i] = *other.table[i];
        }
        while (count > other.count) {
            std::destroy_at(table[--count]);
        }
        AppendCopies(other);
    }

    /// Chains one pool, so that `extra` more elements fit.
    void Grow(std::uint32_t extra) {
        const std::uint32_t grown = TableauCapacity(count, capacity, extra);
        ReserveTable(grown);
        const std::size_t poolOffset = RoundUp(sizeof(TableauPool));
        const std::uint32_t step = grown - capacity;
        auto* const bytes =
            static_cast<std::byte*>(Allocate(poolOffset + std::size_t{step} * sizeof(T)));
        pools = ::new (static_cast<void*>(bytes)) TableauPool{pools};
        AddSlots(bytes + poolOffset, step);
    }

    static void Destroy(TableauBlock* block) noexcept {
        if constexpr (!std::is_trivially_destructible_v<T>) {
            for (std::uint32_t i = 0; i < block->count; ++i) {
                std::destroy_at(block->table[i]);
            }
        }
        for (TableauPool* pool = block->pools; pool != nullptr;) {
            Deallocate(std::exchange(pool, pool->next));
        }
        block->FreeTable();
        Deallocate(block);
    }

private:
    static constexpr std::size_t Alignment() { return std::max(alignof(T), alignof(TableauBlock)); }
    static constexpr std::size_t RoundUp(std::size_t offset) {
        return (offset + Alignment() - 1) / Alignment() * Alignment();
    }
    static void* Allocate(std::size_t bytes) {
        if constexpr (Alignment() > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
            return ::operator new (bytes, std::align_val_t{Alignment()});
        } else {
            return ::operator new(bytes);
        }
    }
    static void Deallocate(void* bytes) noexcept {
        if constexpr (Alignment() > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
            ::operator delete (bytes, std::align_val_t{Alignment()});
        } else {
            ::operator delete(bytes);
        }
    }

    // The table that was allocated with the block.
    T** OwnTable() noexcept { return static_cast<T**>(static_cast<void*>(this + 1)); }
    void FreeTable() noexcept {
        if (table != OwnTable()) {
            ::operator delete(static_cast<void*>(table));
        }
    }
    void ReserveTable(std::uint32_t pointers) {
        if (pointers <= tableCapacity) {
            return;
        }
        const std::uint64_t half = std::uint64_t{tableCapacity} + tableCapacity / 2;
        const auto room = std::max<std::uint64_t>(pointers, std::min<std::uint64_t>(half, ~0U));
        auto** const larger = static_cast<T**>(::operator new(room * sizeof(T*)));
        std::memcpy(static_cast<void*>(larger), table, capacity * sizeof(T*));
        FreeTable();
        table = larger;
        tableCapacity = static_cast<std::uint32_t>(room);
    }
    void AddSlots(std::byte* slots, std::uint32_t slotCount) noexcept {
        for (std::uint32_t i = 0; i < slotCount; ++i) {
            table[capacity + i] = static_cast<T*>(static_cast<void*>(slots + i * sizeof(T)));
        }
        capacity += slotCount;
    }
    // Copies the elements of `source` from `count` onward.
    void AppendCopies(const TableauBlock& source) {
        for (; count < source.count; ++count) {
            std::construct_at(table[count], std::as_const(*source.table[count]));
        }
    }
};

}  // namespace etabulon::detail
