#pragma once

#include "etabulon/foundation/ERecordBlock.h"
#include "foundation/EBlockReader.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace etabulon::detail {

/// A block put together from columns of another block and from further ones, with the records of
/// the other.
class EBlockComposer {
public:
    void AddColumn(const EFieldDesc& desc) {
        block_.columns_.emplace_back();
        block_.readers_.push_back(std::make_unique<ERecordBlock::Reader>(desc));
    }
    /// The composer's user fills it for each block, before Compose.
    [[nodiscard]] ERecordBlock::Column& At(std::size_t column) noexcept {
        return block_.columns_[column];
    }
    /// The first `size` records of `from`.
    [[nodiscard]] const ERecordBlock& Compose(const ERecordBlock& from, std::size_t size) {
        block_.source_ = from.source_;
        block_.positions_.resize(from.positions_.empty() ? 0 : ERecordBlock::kMostRecords);
        std::copy_n(from.positions_.begin(), std::min(size, block_.positions_.size()),
                    block_.positions_.begin());
        block_.size_ = size;
        return block_;
    }

private:
    ERecordBlock block_;
};

}  // namespace etabulon::detail
