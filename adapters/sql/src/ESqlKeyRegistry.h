#pragma once

#include "etabulon/foundation/EData.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace etabulon {

/// Gives each raw key a number, from 1 upward, for life.
class ESqlKeyRegistry {
public:
    /// The key's number, a new one if it has none.
    EPosition PositionOf(std::string_view key);
    /// An empty view for a number that was never given out; no raw key is empty.
    [[nodiscard]] std::string_view KeyOf(EPosition position) const noexcept;

private:
    void Grow();
    [[nodiscard]] const char* Keep(std::string_view key);

    struct Entry {
        const char* bytes;
        std::size_t size;
        std::size_t hash;
    };
    std::vector<Entry> entries_;         // by number less 1
    std::vector<std::uint64_t> places_;  // a power of two; 0 = free, else the number
    std::vector<std::unique_ptr<char[]>> blocks_;
    char* free_ = nullptr;
    std::size_t freeSize_ = 0;
};

}  // namespace etabulon
