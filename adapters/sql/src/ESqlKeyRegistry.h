#pragma once

#include "etabulon/foundation/EData.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace etabulon {

/// Gives each raw key of a table a permanent number, from 1. All table objects of a source share
/// the registry, so that a position from one is valid in another.
///
/// Threads  any.
class ESqlKeyRegistry {
public:
    /// The key's number, which is new for an unknown key.
    EPosition PositionOf(std::string_view key);
    /// An empty view for an unknown number; no raw key is empty. The bytes live as long as the
    /// registry.
    [[nodiscard]] std::string_view KeyOf(EPosition position) const;

private:
    void Grow();
    [[nodiscard]] const char* Keep(std::string_view key);

    struct Entry {
        const char* bytes;
        std::size_t size;
        std::size_t hash;
    };
    mutable std::mutex lock_;     // guards all below
    std::vector<Entry> entries_;  // by number - 1
    // Open addressing: the number, 0 = free; a power of two. Not a HashIndex, whose positions and
    // hashes have 32 bits: a table may have more keys.
    std::vector<std::uint64_t> slots_;
    std::vector<std::unique_ptr<char[]>> blocks_;
    char* free_ = nullptr;
    std::size_t freeSize_ = 0;
};

}  // namespace etabulon
