#pragma once

#include "etabulon/foundation/Chaine.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace etabulon {

/// Makes equal texts of one column share one body: a bounded table from bytes to body. A column
/// that turns out to have a text of its own in nearly every row gives up the table, and its texts
/// are written over the body before wherever nobody else holds that one.
///
/// Threads  one at a time; the bodies may go anywhere.
class ETABULON_API ESqlTextIntern {
public:
    ESqlTextIntern() = default;
    ESqlTextIntern(const ESqlTextIntern&) = delete;
    ESqlTextIntern& operator=(const ESqlTextIntern&) = delete;
    ~ESqlTextIntern() { Drop(); }

    /// Makes the record slot at `slot` hold this text.
    void Store(void* slot, const char* bytes, std::size_t length) {
        Chaine::Body* held = nullptr;
        std::memcpy(&held, slot, sizeof held);
        if (held != nullptr && held->length == length + 1 &&
            std::memcmp(held->text, bytes, length) == 0) {
            ++repeats_;
            return;
        }
        StoreOther(slot, held, bytes, length);
    }
    static void StoreMissing(void* slot) noexcept {
        Chaine::Body* held = nullptr;
        std::memcpy(&held, slot, sizeof held);
        if (held != nullptr) {
            std::memset(slot, 0, sizeof held);
            Chaine::Release(held);
        }
    }
    [[nodiscard]] bool IsInterning() const noexcept { return !unique_; }

private:
    struct Entry {
        std::uint32_t hash = 0;
        Chaine::Body* body = nullptr;  // one reference; null = free
    };
    void StoreOther(void* slot, Chaine::Body* held, const char* bytes, std::size_t length);
    void StoreUnique(void* slot, Chaine::Body* held, const char* bytes, std::size_t length);
    void Grow();
    void Drop() noexcept;

    std::vector<Entry> entries_;  // a power of two, at most half full
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
    std::uint64_t repeats_ = 0;  // found in the slot or in the table
    std::uint64_t misses_ = 0;
    bool unique_ = false;
    Chaine spare_;  // the body that the slot held before, for the next text
};

}  // namespace etabulon
