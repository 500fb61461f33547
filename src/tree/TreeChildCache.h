#pragma once

#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeKey.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// A cache of the children that a walk has met, by their parent and the bytes of the value that
/// names them. Most records find their node in it without a read of any node on the way, each of
/// which would be a miss of the processor's cache; an entry is one cache line.
///
/// It needn't have a child, but a child that it has is the right one. Clear it before a node is
/// dropped.
class TreeChildCache {
public:
    /// What identifies a child of a given parent. Borrows the value's bytes.
    class Key {
    public:
        Key() = default;
        /// `above` is the hash of the key above, 0 for the first.
        Key(std::uint32_t above, const ETabulonValue& value) noexcept;
        /// The value is short enough for an entry, and neither missing nor special.
        [[nodiscard]] bool FitsEntry() const noexcept { return bytes_ != nullptr; }
        [[nodiscard]] std::uint32_t Hash() const noexcept { return hash_; }

    private:
        friend class TreeChildCache;
        const char* bytes_ = nullptr;
        std::uint32_t hash_ = 0;
        std::uint16_t type_ = 0;
        std::uint16_t size_ = 0;
        std::uint8_t length_ = 0;
    };
    struct Hit {
        EDataTreeNode* child = nullptr;
        std::uint32_t slot = kNoSlot;  // of its entry; valid until Put or Clear
        bool isPlain = false;          // as given to Put
    };
    static constexpr std::uint32_t kNoSlot = ~std::uint32_t{0};

    /// Prefetches the entry, which is seldom in the processor's nearer caches.
    void Prefetch(const Key& key) const noexcept {
        if (!entries_.empty()) {
            PrefetchToRead(&entries_[key.hash_ & (entries_.size() - 1)]);
        }
    }
    /// A hit without a child where the cache has none, or the key doesn't fit an entry.
    [[nodiscard]] Hit Find(const EDataTreeNode& parent, const Key& key) const noexcept;
    /// Requires that the value is identical to the child's own, so that a child has one entry.
    /// Where memory runs out, or the cache is full, the child gets no entry.
    void Put(const EDataTreeNode& parent, const Key& key, EDataTreeNode* child,
             bool isPlain) noexcept;
    void Clear() noexcept;

    /// Keeps a primary key for the child of that entry, so that the walk needn't touch the node.
    /// The walk calls WriteKeys before a caller reads the tree.
    void KeepKey(std::uint32_t slot, TreeKeyWord key);
    [[nodiscard]] bool HasKeys() const noexcept { return !keyed_.empty(); }
    void WriteKeys() noexcept;

private:
    static constexpr std::size_t kFirst = 64;
    static constexpr std::size_t kMost = std::size_t{1} << 17;  // 8 MB
    static constexpr std::size_t kLongest = 27;                 // bytes of a value

    struct alignas(64) Entry {
        const EDataTreeNode* parent = nullptr;
        EDataTreeNode* child = nullptr;  // null = free
        std::uint32_t hash = 0;
        std::uint16_t type = 0;
        std::uint16_t size = 0;
        std::int64_t keyWord = 0;
        TreeKeyForm keyForm{};
        bool hasKey = false;  // and it is in keyed_
        bool isPlain = false;
        std::uint8_t length = 0;
        char bytes[kLongest];
    };
    static_assert(sizeof(Entry) == 64);

    [[nodiscard]] static bool Is(const Entry& entry, const Key& key) noexcept;
    void Grow();

    // Packed, one cache line an entry, so not a HashIndex: open addressing, at most three quarters
    // full.
    std::vector<Entry> entries_;
    std::vector<std::uint32_t> keyed_;  // the slots of the entries that hold a key
    std::size_t count_ = 0;             // entries with a child
};

}  // namespace etabulon::detail
