#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon {

class ETabulonTag;

namespace detail {

/// Remembers to which line the values of a label led, by their bytes: a label met before then costs
/// one look into one small table, where finding its values and comparing their texts would each
/// wait for memory.
///
/// It knows nothing of which values are equal. It only relies on this: the same bytes of one type
/// are the same value. Labels that it can't tell by some bytes (too long, without a value) it
/// leaves to the caller.
/// Threads  one at a time. Allocates for new labels only.
class LabelMemo {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    /// A level that may tell two labels apart; one that comes twice is taken once.
    void AddLevel(unsigned int level);
    /// Takes the record's label. False for one that can't be told here.
    [[nodiscard]] bool Read(const ETabulonTag& position) noexcept;
    /// The line of the label that was read, or kNone.
    [[nodiscard]] std::uint32_t Find() const noexcept;
    /// Requires that the label that was read isn't known.
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
        std::uint16_t type;  // of the first value; others are left to the caller
    };

    [[nodiscard]] std::size_t PlaceOf(const Words& words) const noexcept;
    void Grow();

    std::vector<Level> levels_;
    Words words_{};  // of the label that was read
    // Packed, half a cache line an entry, so not a HashIndex: open addressing, a power of two of
    // entries, a quarter of them free.
    std::vector<Entry> entries_;
    std::size_t count_ = 0;
};

}  // namespace detail
}  // namespace etabulon
