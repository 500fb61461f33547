#include "etabulon/sql/ESqlTextIntern.h"

namespace etabulon {

namespace {

constexpr std::size_t kFirstSize = 64;
constexpr std::size_t kMostTexts = 8192;
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr std::size_t kLongText = 256;  // longer texts rarely repeat, and aren't interned
// From 4096 misses on, a column with more than one miss for two hits isn't interned.
constexpr std::uint64_t kTrial = 4096;

void Put(void* slot, Chaine::Body* body) noexcept { std::memcpy(slot, &body, sizeof body); }

}  // namespace

void ESqlTextIntern::StoreOther(void* slot, Chaine::Body* held, const char* bytes,
                                std::size_t length) {
    if (unique_ || length > kLongText) {
        StoreUnique(slot, held, bytes, length);
        return;
    }
    const std::uint32_t hash = detail::HashBytes(bytes, length);
    if (entries_.empty()) {
        entries_.resize(kFirstSize);
    }
    std::size_t at = hash & (entries_.size() - 1);
    while (entries_[at].body != nullptr) {
        const Entry& entry = entries_[at];
        if (entry.hash == hash && IsText(*entry.body, bytes, length)) {
            ++repeats_;
            Chaine::Retain(entry.body);
            Put(slot, entry.body);
            if (held != nullptr) {
                Chaine::Release(held);
            }
            return;
        }
        at = (at + 1) & (entries_.size() - 1);
    }
    ++misses_;
    if (misses_ >= kTrial && misses_ > repeats_ / 2) {
        unique_ = true;
        Drop();
    }
    if (unique_ || count_ >= kMostTexts || bytes_ + length > kMostBytes) {
        StoreUnique(slot, held, bytes, length);
        return;
    }
    Chaine text(bytes, length);
    Chaine::Body* const body = text.GetBody();
    Chaine::Retain(body);
    entries_[at] = Entry{hash, body};
    bytes_ += length;
    Put(slot, text.Detach());
    if (held != nullptr) {
        Chaine::Release(held);
    }
    if (++count_ * 2 > entries_.size()) {
        Grow();
    }
}

/// A reader of the previous record shares the slot's body, usually for one step more, so that two
/// bodies in turn are enough.
void ESqlTextIntern::StoreUnique(void* slot, Chaine::Body* held, const char* bytes,
                                 std::size_t length) {
    if (held != nullptr && held->capacity != 0 &&
        held->share.load(std::memory_order_acquire) != 0) {
        Put(slot, spare_.Detach());
        spare_ = Chaine::Adopt(held);
        std::memcpy(&held, slot, sizeof held);
    }
    Chaine text = held != nullptr ? Chaine::Adopt(held) : Chaine();
    Put(slot, nullptr);  // Assign may throw, and `text` owns the body
    text.Assign(bytes, length);
    Put(slot, text.Detach());
}

void ESqlTextIntern::Grow() {
    std::vector<Entry> larger(entries_.size() * 2);
    for (const Entry& entry : entries_) {
        if (entry.body == nullptr) {
            continue;
        }
        std::size_t at = entry.hash & (larger.size() - 1);
        while (larger[at].body != nullptr) {
            at = (at + 1) & (larger.size() - 1);
        }
        larger[at] = entry;
    }
    entries_.swap(larger);
}

void ESqlTextIntern::Drop() noexcept {
    for (const Entry& entry : entries_) {
        if (entry.body != nullptr) {
            Chaine::Release(entry.body);
        }
    }
    std::vector<Entry>().swap(entries_);
    count_ = 0;
    bytes_ = 0;
}

}  // namespace etabulon
