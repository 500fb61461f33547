#include "tree/TreeChildCache.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "tree/NodeAccess.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace etabulon::detail {

namespace {

/// Compares word by word; the last word may overlap the one before it. The texts are short, and a
/// call of memcmp costs as much as the comparison.
bool SameBytes(const char* a, const char* b, std::size_t length) noexcept {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    if (length < kWord) {
        for (std::size_t index = 0; index < length; ++index) {
            if (a[index] != b[index]) {
                return false;
            }
        }
        return true;
    }
    for (std::size_t index = 0; index + kWord < length; index += kWord) {
        if (WordAt(a + index) != WordAt(b + index)) {
            return false;
        }
    }
    return WordAt(a + length - kWord) == WordAt(b + length - kWord);
}

}  // namespace

TreeChildCache::Key::Key(std::uint32_t above, const ETabulonValue& value) noexcept {
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
    hash_ = HashBytes(bytes_, length, above);
}

bool TreeChildCache::Is(const Entry& entry, const Key& key) noexcept {
    return entry.hash == key.hash_ && entry.type == key.type_ && entry.size == key.size_ &&
           entry.length == key.length_ && SameBytes(entry.bytes, key.bytes_, key.length_);
}

TreeChildCache::Hit TreeChildCache::Find(const EDataTreeNode& parent,
                                         const Key& key) const noexcept {
    if (entries_.empty() || !key.FitsEntry()) {
        return {};
    }
    const std::size_t mask = entries_.size() - 1;
    for (std::size_t at = key.hash_ & mask; entries_[at].child != nullptr; at = (at + 1) & mask) {
        if (entries_[at].parent == &parent && Is(entries_[at], key)) {
            return {entries_[at].child, static_cast<std::uint32_t>(at), entries_[at].isPlain};
        }
    }
    return {};
}

void TreeChildCache::Put(const EDataTreeNode& parent, const Key& key, EDataTreeNode* child,
                         bool isPlain) noexcept {
    if (!key.FitsEntry()) {
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
    entry.isPlain = isPlain;
    std::memcpy(entry.bytes, key.bytes_, key.length_);
    ++count_;
}

void TreeChildCache::Grow() {
    WriteKeys();
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

void TreeChildCache::Clear() noexcept {
    std::vector<Entry>().swap(entries_);
    keyed_.clear();
    count_ = 0;
}

void TreeChildCache::KeepKey(std::uint32_t slot, TreeKeyWord key) {
    Entry& entry = entries_[slot];
    if (!entry.hasKey) {
        keyed_.push_back(slot);
        entry.hasKey = true;
    }
    entry.keyWord = key.word;
    entry.keyForm = key.form;
}

void TreeChildCache::WriteKeys() noexcept {
    for (const std::uint32_t slot : keyed_) {
        Entry& entry = entries_[slot];
        NodeAccess::SetKeyWord(*entry.child, {entry.keyWord, entry.keyForm});
        entry.hasKey = false;
    }
    keyed_.clear();
}

}  // namespace etabulon::detail
