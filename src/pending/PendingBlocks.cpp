#include "pending/PendingBlocks.h"

#include <algorithm>

namespace etabulon::detail {

void PendingBlocks::Want(const ETabulonLevels& levels, const EFieldSet& fields,
                         EBlockRequest& request) {
    levels_.clear();
    ids_.clear();
    for (unsigned int position = 0; position < levels.Size(); ++position) {
        ids_.push_back(levels.GetLevelID(position));
    }
    std::sort(ids_.begin(), ids_.end());
    for (const unsigned int id : ids_) {
        const ETabulonLevels::Level& level = levels.GetLevel(id);
        const EField& data = level.DataID().GetIn(fields);
        const bool isNumber = TypeInfo(data.Type()).IsFixedSize();
        levels_.push_back({id, isNumber ? request.AddValues(data) : request.AddNumbers(data), {}});
        if (level.DescID().IsValid()) {
            static_cast<void>(request.AddValues(level.DescID().GetIn(fields)));
        }
    }
    hashes_.resize(levels_.size());
}

void PendingBlocks::Mark(const ERecordBlock& block, PendingFilter& filter) {
    for (std::size_t index = 0; index < levels_.size(); ++index) {
        Hash(levels_[index], block, hashes_[index]);
    }
    const std::span marks(marks_.data(), block.Size());
    std::fill(marks.begin(), marks.end(), std::uint8_t{0});
    filter.Mark(ids_, hashes_, marks);
}

void PendingBlocks::Hash(Level& level, const ERecordBlock& block,
                         std::vector<std::uint32_t>& hashes) {
    hashes.resize(block.Size());
    const ERecordBlock::Column& column = block.At(level.column);
    if (column.numbers == nullptr) {
        for (std::size_t record = 0; record < block.Size(); ++record) {
            hashes[record] = HashOf(block.Value(level.column, static_cast<EBlockIndex>(record)));
        }
        return;
    }
    level.hashOf.resize(column.dictionary->Size(), kUnknown);
    for (std::size_t record = 0; record < block.Size(); ++record) {
        std::uint64_t& hash = level.hashOf[column.numbers[record]];
        if (hash == kUnknown) {
            hash = HashOf(column.dictionary->Value(column.numbers[record]));
        }
        hashes[record] = static_cast<std::uint32_t>(hash);
    }
}

std::uint32_t PendingBlocks::HashOf(const EVariant& data) {
    value_.Refill(data);
    return value_.Hash();
}

}  // namespace etabulon::detail
