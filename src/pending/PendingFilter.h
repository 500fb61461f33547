#pragma once

#include "etabulon/pending/ETabulonPendingChanges.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// A Bloom filter over the updates and deletes of a script, by the tags at which they apply. False
/// positives are possible, false negatives aren't; on a hit the caller asks the script.
///
/// A walk keeps a copy, so that records without a change cost neither the script's lock nor a
/// lookup. Removed changes stay in the filter until it is rebuilt.
class PendingFilter {
public:
    struct Answer {
        bool mayBeUpdated;
        bool mayBeDeleted;
    };

    PendingFilter() : PendingFilter(0) {}
    /// A filter with room for twice that many changes.
    explicit PendingFilter(std::size_t changes);

    /// Adds an update or a delete; ignores an insert.
    void Add(const ETabulonPendingChanges::Change& change);
    /// Removes all changes.
    void Clear() noexcept;
    /// Whether so many changes were added that a larger filter pays: fewer than 32 cells for each.
    [[nodiscard]] bool IsFull() const noexcept { return added_ * kCellsPerChange > CellCount(); }
    [[nodiscard]] Answer Ask(const ETabulonTag& tag);
    /// The same for `marks.size()` tags that hold these levels, in rising order: marks those to
    /// which an update or a delete may apply. `hashes` are those of the tags' values, by level.
    void Mark(std::span<const unsigned int> levels,
              std::span<const std::vector<std::uint32_t>> hashes, std::span<std::uint8_t> marks);

private:
    static constexpr std::size_t kCellsPerChange = 32;
    static constexpr std::size_t kCellsPerByte = 4;
    /// The changes whose selections hold the same levels.
    struct Kind {
        std::vector<unsigned int> levels;  // rising
        std::uint8_t flags;                // of all its changes
    };

    [[nodiscard]] static std::size_t BytesFor(std::size_t changes) noexcept;
    [[nodiscard]] std::size_t CellCount() const noexcept { return cells_.size() * kCellsPerByte; }
    [[nodiscard]] std::array<std::uint64_t, 2> CellsOf(std::uint64_t key) const noexcept;
    [[nodiscard]] std::uint8_t FlagsAt(std::uint64_t key) const noexcept;

    std::vector<Kind> kinds_;
    std::vector<std::uint8_t> cells_;  // flags by hash, two bits each; a power of two
    std::size_t added_ = 0;
    std::vector<std::uint32_t> hashes_;  // of the values of the queried tag
    std::vector<std::uint64_t> keys_;    // of the queried tags
};

}  // namespace etabulon::detail
