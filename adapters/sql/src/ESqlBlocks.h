#pragma once

#include "ESqlReadAhead.h"
#include "ESqlTableState.h"
#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/sql/ESqlRowBlock.h"

#include <optional>

namespace etabulon {

/// The blocks of a streaming walk.
class ESqlTable::BlockSource final : public EBlockSource {
public:
    explicit BlockSource(ESqlTable& table) : table_(table), scratch_(table.state_->layout) {}

    void ExpectWalk() override;
    bool BeginBlocks(const EBlockRequest& request) override;
    const ERecordBlock* NextBlock() override;
    void StandOn(EBlockIndex record) override;
    void EndBlocks() noexcept override;
    void ReadKey(EPosition position, EFieldKey& key) const override;
    bool AreKeysPositions() const noexcept override;

private:
    [[nodiscard]] const ERecordBlock* StepSingly();
    [[nodiscard]] const ERecordBlock* TakeAhead();
    [[nodiscard]] const ERecordBlock* FinishAhead();
    void StepStreaming();
    [[nodiscard]] std::size_t FindPositions();
    [[nodiscard]] bool FindPosition(std::size_t row, EPosition& position);
    void StandOnLast(EPosition last);

    void Show(EBlockIndex record);

    ESqlTable& table_;
    ERecordBuffer scratch_;
    std::optional<EBlockBuilder> builder_;
    ESqlRowBlock rows_;
    ESqlRow current_;                    // decodes a row again, into the table's record
    std::vector<std::uint16_t> fields_;  // of the table, by column
    const ERecordBlock* block_ = nullptr;
    bool isSingle_ = false;             // the block is of StepSingly
    ReadAhead::Slot* ahead_ = nullptr;  // the block's, if another thread has read it
};

}  // namespace etabulon
