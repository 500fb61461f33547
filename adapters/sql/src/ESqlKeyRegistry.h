#pragma once

#include "etabulon/foundation/EData.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace etabulon {

/// Gives each raw key of a table a number, from 1 upward, for life. All table objects of a source
/// share it, so that a position taken from one names the same record in another.
///
/// Threads  any.
class ESqlKeyRegistry {
public:
    /// The key's number, a new one if it has none.
    EPosition PositionOf(std::string_view key);
    /// An empty view for a number that was never given out; no raw key is empty. The bytes stay
    /// where they are.
    [[nodiscard]] std::string_view KeyOf(EPosition position) const;

private:
    void Grow();
    [[nodiscard]] const char* Keep(std::string_view key);

    struct Entry {
        const char* bytes;
        std::size_t size;
        std::size_t hash;
    };
    mutable std::mutex lock_;            // guards all below
    std::vector<Entry> entries_;         // by number less 1
    std::vector<std::uint64_t> places_;  // a power of two; 0 = free, else the number
    std::vector<std::unique_ptr<char[]>> blocks_;
    char* free_ = nullptr;
    std::size_t freeSize_ = 0;
};

}  // namespace etabulon
