#pragma once

#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeKey.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Children met before, by their parent and the bytes of the value that names them. Most records
/// then find their node without a look at any node on the way, each of which would have to be
/// waited for: an entry is one line of a cache.
///
/// A hint that is always true: it knows some children, and those it knows are the node's children
/// of that value. To be cleared before any node goes.
class TreeMemo {
public:
    /// What a child is known by, besides its parent. Borrows the value's bytes.
    class Key {
    public:
        Key() = default;
        /// `above` is the hash of the key above, 0 for the first.
        Key(std::uint32_t above, const ETabulonValue& value) noexcept;
        /// The value is short enough to be kept.
        [[nodiscard]] bool IsKept() const noexcept { return bytes_ != nullptr; }
        [[nodiscard]] std::uint32_t Hash() const noexcept { return hash_; }

    private:
        friend class TreeMemo;
        const char* bytes_ = nullptr;
        std::uint32_t hash_ = 0;
        std::uint16_t type_ = 0;
        std::uint16_t size_ = 0;
        std::uint8_t length_ = 0;
    };
    struct Hit {
        EDataTreeNode* child = nullptr;
        std::uint32_t place = kNoPlace;  // of its entry; good until Put or Clear
        bool isPlain = false;            // as Put was told
    };
    static constexpr std::uint32_t kNoPlace = ~std::uint32_t{0};

    /// Asks the memory for the entry, which is seldom in a near cache.
    void LookAhead(const Key& key) const noexcept {
        if (!entries_.empty()) {
            __builtin_prefetch(&entries_[key.hash_ & (entries_.size() - 1)]);
        }
    }
    /// A null child for a key that isn't kept or known.
    [[nodiscard]] Hit Find(const EDataTreeNode& parent, const Key& key) const noexcept;
    /// Requires that the value is the child's own to the letter, so that a child has one entry.
    /// Does without where memory runs out.
    void Put(const EDataTreeNode& parent, const Key& key, EDataTreeNode* child,
             bool isPlain) noexcept;
    void Clear() noexcept;

    /// Keeps a primary key for the child of that entry, so that the walk needn't touch the node.
    /// Requires a call of WriteKeys before anybody looks at it.
    void KeepKey(std::uint32_t place, TreeKeyWord key);
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
    std::vector<std::uint32_t> keyed_;
    std::size_t count_ = 0;
};

}  // namespace etabulon::detail
