#pragma once

#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/foundation/EDataMemory.h"

#include <array>
#include <optional>
#include <vector>

namespace etabulon {

/// The blocks of a table in memory.
class EDataMemory::BlockSource final : public EBlockSource {
public:
    explicit BlockSource(EDataMemory& table) : table_(table) {}

    bool BeginBlocks(const EBlockRequest& request) override;
    const ERecordBlock* NextBlock() override;
    void StandOn(EBlockIndex record) override;
    void EndBlocks() noexcept override { builder_.reset(); }
    void ReadKey(EPosition position, EFieldKey& key) const override;

private:
    EDataMemory& table_;
    std::optional<EBlockBuilder> builder_;
    std::vector<std::size_t> offsets_;  // in a record, by column
    std::array<EPosition, ERecordBlock::kMostRecords> positions_{};
    std::array<const std::byte*, ERecordBlock::kMostRecords> records_{};
};

}  // namespace etabulon
