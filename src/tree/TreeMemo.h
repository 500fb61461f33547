#pragma once

#include "etabulon/tree/EDataTreeNode.h"

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
        bool isIdentical = false;  // the value is the child's to the letter, if it is plain
    };

    /// Asks the memory for the entry, which is seldom in a near cache.
    void LookAhead(const Key& key) const noexcept {
        if (!entries_.empty()) {
            __builtin_prefetch(&entries_[key.hash_ & (entries_.size() - 1)]);
        }
    }
    /// A null child for a key that isn't kept or known.
    [[nodiscard]] Hit Find(const EDataTreeNode& parent, const Key& key) const noexcept;
    /// Does without where memory runs out.
    void Put(const EDataTreeNode& parent, const Key& key, EDataTreeNode* child,
             bool isIdentical) noexcept;
    void Clear() noexcept;

private:
    static constexpr std::size_t kFirst = 64;
    static constexpr std::size_t kMost = std::size_t{1} << 17;  // 8 MB
    static constexpr std::size_t kLongest = 36;                 // bytes of a value

    struct alignas(64) Entry {
        const EDataTreeNode* parent = nullptr;
        EDataTreeNode* child = nullptr;  // null = free
        std::uint32_t hash = 0;
        std::uint16_t type = 0;
        std::uint16_t size = 0;
        std::uint8_t length = 0;
        bool isIdentical = false;
        char bytes[kLongest];
    };
    static_assert(sizeof(Entry) == 64);

    [[nodiscard]] static bool Is(const Entry& entry, const Key& key) noexcept;
    void Grow();

    std::vector<Entry> entries_;  // open addressing, at most three quarters full
    std::size_t count_ = 0;
};

}  // namespace etabulon::detail
