#include "tree/TreeMemo.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace etabulon::detail {

namespace {

constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;

std::uint64_t Mix(std::uint64_t hash, std::uint64_t word) noexcept {
    return std::rotl((hash ^ word) * kFactor, 29);
}

std::uint32_t HashOf(std::uint32_t above, const char* bytes, std::size_t length) noexcept {
    std::uint64_t hash = Mix(length, above);
    std::uint64_t word = 0;
    if (length >= sizeof word) {
        const char* const last = bytes + length - sizeof word;
        for (; bytes < last; bytes += sizeof word) {
            std::memcpy(&word, bytes, sizeof word);
            hash = Mix(hash, word);
        }
        std::memcpy(&word, last, sizeof word);  // overlaps the one before it
    } else {
        for (std::size_t index = 0; index < length; ++index) {
            word = word << 8 | static_cast<unsigned char>(bytes[index]);
        }
    }
    return static_cast<std::uint32_t>((Mix(hash, word) * kFactor) >> 32);
}

}  // namespace

TreeMemo::Key::Key(std::uint32_t above, const ETabulonValue& value) noexcept {
    const EVariant& data = value.Data();
    if (value.IsNull() || value.IsSpecial() || data.IsMissing()) {
        return;
    }
    const std::size_t length = data.ByteCount();
    if (length > kLongest) {
        return;
    }
    bytes_ = static_cast<const char*>(data.GetBuffer());
    length_ = static_cast<std::uint8_t>(length);
    type_ = data.Type();
    size_ = data.Size();
    hash_ = HashOf(above, bytes_, length);
}

bool TreeMemo::Is(const Entry& entry, const Key& key) noexcept {
    return entry.hash == key.hash_ && entry.type == key.type_ && entry.size == key.size_ &&
           entry.length == key.length_ && std::memcmp(entry.bytes, key.bytes_, key.length_) == 0;
}

TreeMemo::Hit TreeMemo::Find(const EDataTreeNode& parent, const Key& key) const noexcept {
    if (entries_.empty() || !key.IsKept()) {
        return {};
    }
    const std::size_t mask = entries_.size() - 1;
    for (std::size_t at = key.hash_ & mask; entries_[at].child != nullptr; at = (at + 1) & mask) {
        if (entries_[at].parent == &parent && Is(entries_[at], key)) {
            return {entries_[at].child, entries_[at].isIdentical};
        }
    }
    return {};
}

void TreeMemo::Put(const EDataTreeNode& parent, const Key& key, EDataTreeNode* child,
                   bool isIdentical) noexcept {
    if (!key.IsKept()) {
        return;
    }
    if ((count_ + 1) * 4 > entries_.size() * 3) {
        if (entries_.size() == kMost) {
            return;
        }
        try {
            Grow();
        } catch (const std::bad_alloc&) {
            return;
        }
    }
    const std::size_t mask = entries_.size() - 1;
    std::size_t at = key.hash_ & mask;
    while (entries_[at].child != nullptr) {
        at = (at + 1) & mask;
    }
    Entry& entry = entries_[at];
    entry.parent = &parent;
    entry.child = child;
    entry.hash = key.hash_;
    entry.type = key.type_;
    entry.size = key.size_;
    entry.length = key.length_;
    entry.isIdentical = isIdentical;
    std::memcpy(entry.bytes, key.bytes_, key.length_);
    ++count_;
}

void TreeMemo::Grow() {
    std::vector<Entry> larger(std::max(kFirst, entries_.size() * 2));
    const std::size_t mask = larger.size() - 1;
    for (const Entry& entry : entries_) {
        if (entry.child == nullptr) {
            continue;
        }
        std::size_t at = entry.hash & mask;
        while (larger[at].child != nullptr) {
            at = (at + 1) & mask;
        }
        larger[at] = entry;
    }
    entries_.swap(larger);
}

void TreeMemo::Clear() noexcept {
    std::vector<Entry>().swap(entries_);
    count_ = 0;
}

}  // namespace etabulon::detail
