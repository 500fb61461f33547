#pragma once

#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonValue.h"
#include "pending/PendingFilter.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// Finds the records of a block to which pending changes may apply, as PendingFilter::Ask finds
/// them by their tags: a value's hash is made once for each number of a column.
class PendingBlocks {
public:
    /// Adds the columns that make up the records' tags.
    void Want(const ETabulonLevels& levels, const EFieldSet& fields, EBlockRequest& request);
    void Mark(const ERecordBlock& block, PendingFilter& filter);
    /// Requires Mark of its block.
    [[nodiscard]] bool IsMarked(EBlockIndex record) const noexcept { return marks_[record] != 0; }

private:
    struct Level {
        unsigned int level;
        unsigned column;
        std::vector<std::uint64_t> hashOf;  // by number; kUnknown, otherwise the hash
    };
    static constexpr std::uint64_t kUnknown = ~std::uint64_t{0};

    void Hash(Level& level, const ERecordBlock& block, std::vector<std::uint32_t>& hashes);
    [[nodiscard]] std::uint32_t HashOf(const EVariant& data);

    std::vector<Level> levels_;  // rising
    std::vector<unsigned int> ids_;
    std::vector<std::vector<std::uint32_t>> hashes_;  // by level, of the block's records
    std::array<std::uint8_t, ERecordBlock::kMostRecords> marks_{};
    ETabulonValue value_;
};

}  // namespace etabulon::detail
