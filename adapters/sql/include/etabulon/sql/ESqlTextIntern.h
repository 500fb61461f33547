#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/detail/EHashMix.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace etabulon {

/// Interns the texts of one column, so that equal texts share one body: a bounded hash table from
/// bytes to body. If most rows of a column have distinct texts, it drops the table and writes each
/// text into the previous row's body, unless that body is shared.
///
/// Threads  one at a time; any thread may use the bodies.
/// Example    adapters/sql/src/ESqlStatements.h
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
    [[nodiscard]] static bool IsText(const Chaine::Body& body, const char* bytes,
                                     std::size_t length) noexcept {
        return body.length == length + 1 && detail::HaveSameBytes(body.Text(), bytes, length);
    }
    void StoreOther(void* slot, Chaine::Body* held, const char* bytes, std::size_t length);
    void StoreUnique(void* slot, Chaine::Body* held, const char* bytes, std::size_t length);
    void Grow();
    void Drop() noexcept;

    // Open addressing with linear probing. The body's pointer lies in the slot, so that a hit reads
    // no second table; therefore not a HashIndex. A power of two of slots, at most half full.
    std::vector<Entry> entries_;
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
    std::uint64_t repeats_ = 0;  // hits in the record slot or in the table
    std::uint64_t misses_ = 0;
    bool unique_ = false;
    Chaine spare_;  // a shared body that the slot held, to be reused when it is free
};

}  // namespace etabulon
