#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/detail/EHashMix.h"

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
        if (held != nullptr && IsText(*held, bytes, length)) {
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
    // Labels are a few words long: their first and last ones, which may overlap, tell most of them,
    // and spare a call.
    [[nodiscard]] static bool IsText(const Chaine::Body& body, const char* bytes,
                                     std::size_t length) noexcept {
        if (body.length != length + 1) {
            return false;
        }
        using detail::WordAt;
        if (length >= sizeof(std::uint64_t)) {
            const std::size_t last = length - sizeof(std::uint64_t);
            return WordAt<>(body.Text()) == WordAt<>(bytes) &&
                   WordAt<>(body.Text() + last) == WordAt<>(bytes + last) &&
                   (length <= 2 * sizeof(std::uint64_t) ||
                    std::memcmp(body.Text(), bytes, length) == 0);
        }
        if (length >= sizeof(std::uint32_t)) {
            const std::size_t last = length - sizeof(std::uint32_t);
            return WordAt<std::uint32_t>(body.Text()) == WordAt<std::uint32_t>(bytes) &&
                   WordAt<std::uint32_t>(body.Text() + last) == WordAt<std::uint32_t>(bytes + last);
        }
        return std::memcmp(body.Text(), bytes, length) == 0;
    }
    void StoreOther(void* slot, Chaine::Body* held, const char* bytes, std::size_t length);
    void StoreUnique(void* slot, Chaine::Body* held, const char* bytes, std::size_t length);
    void Grow();
    void Drop() noexcept;

    // The body lies in the slot, so that a hit touches no second table: not a HashIndex. A power of
    // two of slots, at most half full.
    std::vector<Entry> entries_;
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
    std::uint64_t repeats_ = 0;  // found in the slot or in the table
    std::uint64_t misses_ = 0;
    bool unique_ = false;
    Chaine spare_;  // the body that the slot held before, for the next text
};

}  // namespace etabulon
