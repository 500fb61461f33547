#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace etabulon::detail {

/// Memory for the nodes of one sort, hundreds in one allocation, in the order in which they are
/// made: the nodes of a tree are usually made at once and dropped at once. A place that is given
/// back isn't used again, and an allocation ends with the last node in it. A walk that changes some
/// nodes of a tree must not use slabs, because the few nodes that it leaves would keep whole
/// allocations.
///
/// Ownership  the nodes own the allocation together; this object only as long as it makes nodes.
/// Threads    GiveBack may be called by any thread.
/// Failure    std::bad_alloc from Take leaves all as it was.
class TreeNodeSlabs {
public:
    TreeNodeSlabs() noexcept = default;
    TreeNodeSlabs(const TreeNodeSlabs&) = delete;
    TreeNodeSlabs& operator=(const TreeNodeSlabs&) = delete;
    ~TreeNodeSlabs() { Leave(); }

    /// Memory for a node of `size` bytes, the same for all nodes of this object.
    [[nodiscard]] void* Take(std::size_t size);
    static void GiveBack(void* place) noexcept;

private:
    // An allocation grows with the number of nodes, up to 36 KB.
    static constexpr std::uint32_t kFirst = 8;
    static constexpr std::uint32_t kMost = 256;

    /// The head of an allocation. In front of each place is the address of this object.
    struct Slab {
        std::atomic<std::uint32_t> inUse;  // places with a node, and those that wait for one
    };
    static void Release(Slab* slab, std::uint32_t places) noexcept;
    void Leave() noexcept;

    Slab* slab_ = nullptr;
    unsigned char* next_ = nullptr;
    std::uint32_t left_ = 0;
    std::uint32_t places_ = kFirst;  // of the next slab
};

}  // namespace etabulon::detail
