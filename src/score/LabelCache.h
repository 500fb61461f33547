#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon {

class ETabulonTag;

namespace detail {

/// A cache from the bytes of a label's values to its line. A known label costs one lookup in a
/// packed table, where looking up its values and comparing their texts would each wait for memory.
///
/// It relies on one fact: identical bytes of one type are the same value. Equal values with other
/// bytes get entries of their own. Labels that are too long or lack a value aren't cached, and the
/// caller looks them up elsewhere.
/// Threads  one at a time. Allocates only for new labels.
class LabelCache {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    /// Adds a level of the labels. A repeated level counts once.
    void AddLevel(unsigned int level);
    /// Reads the record's label. False if it can't be cached.
    [[nodiscard]] bool Read(const ETabulonTag& position) noexcept;
    /// The line of the label that was read, or kNone.
    [[nodiscard]] std::uint32_t Find() const noexcept;
    /// Stores the line of the label that was read. Requires that Find returned kNone.
    void Add(std::uint32_t line);

private:
    // An entry is half a cache line.
    static constexpr std::size_t kWords = 3;
    using Words = std::array<std::uint64_t, kWords>;
    struct alignas(32) Entry {
        Words words{};  // for each level the length and the bytes of its value
        std::uint32_t line = kNone;
    };
    struct Level {
        unsigned int level;
        unsigned int index;  // in the last tag
        std::uint16_t type;  // of the first value; values of other types aren't cached
    };

    [[nodiscard]] std::size_t SlotOf(const Words& words) const noexcept;
    void Grow();

    std::vector<Level> levels_;
    Words words_{};  // of the label that was read
    // Open addressing with linear probing, packed in half a cache line an entry, therefore not a
    // HashIndex. A power of two of entries, at least a quarter of them free.
    std::vector<Entry> entries_;
    std::size_t count_ = 0;
};

}  // namespace detail
}  // namespace etabulon
