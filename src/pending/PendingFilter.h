#pragma once

#include "etabulon/pending/ETabulonPendingChanges.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Tells at little cost that no update or no delete of a script applies at a tag. It may say that
/// one does where none does, and never the opposite: whoever hears "may" asks the script.
///
/// A walk keeps a copy, so that the records that no change concerns cost neither the script's lock
/// nor a lookup. Nothing is taken out of it but by building it anew.
class PendingFilter {
public:
    struct Answer {
        bool mayBeUpdated;
        bool mayBeDeleted;
    };

    PendingFilter() : PendingFilter(0) {}
    /// With room for so many changes, and as many more.
    explicit PendingFilter(std::size_t changes);

    /// Inserts aren't kept: nobody asks for them.
    void Add(const ETabulonPendingChanges::Change& change);
    /// Forgets all.
    void Clear() noexcept;
    /// So many were added that it says "may" too often.
    [[nodiscard]] bool IsFull() const noexcept { return added_ * kCellsPerChange > CellCount(); }
    [[nodiscard]] Answer Ask(const ETabulonTag& tag);

private:
    static constexpr std::size_t kCellsPerChange = 32;
    static constexpr std::size_t kCellsPerByte = 4;
    /// Selections that know the same levels.
    struct Kind {
        std::vector<unsigned int> levels;  // rising
        std::uint8_t flags;                // of all its changes
    };

    [[nodiscard]] static std::size_t BytesFor(std::size_t changes) noexcept;
    [[nodiscard]] std::size_t CellCount() const noexcept { return cells_.size() * kCellsPerByte; }

    std::vector<Kind> kinds_;
    std::vector<std::uint8_t> cells_;  // flags by hash, two bits each; a power of two of them
    std::size_t added_ = 0;
    std::vector<std::uint32_t> hashes_;  // of the values of the tag asked for
};

}  // namespace etabulon::detail
