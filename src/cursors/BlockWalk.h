#pragma once

#include "etabulon/cursors/IBlockNotifier.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

/// The part of Browse that walks by blocks: from the first record after the reset on, as long as
/// the listeners stay the same.
class ETabulonCursor::BlockWalk {
public:
    /// Begins if all that take part in the walk can.
    explicit BlockWalk(ETabulonCursor& cursor);
    ~BlockWalk() { End(); }
    /// Whether all listeners may take blocks, before they are asked.
    [[nodiscard]] static bool IsLikely(const ETabulonCursor& cursor) noexcept;
    BlockWalk(const BlockWalk&) = delete;
    BlockWalk& operator=(const BlockWalk&) = delete;

    /// Otherwise the walk goes on by single steps.
    [[nodiscard]] bool IsRunning();
    /// Requires IsRunning. In place of CallGetNext for each record of a block.
    CursorStatus CallGetNextBlock();

private:
    /// A level of the filter's tag, and how its column's values compare with the tag's.
    struct Test {
        const ETabulonValue* value;  // in the filter's tag
        unsigned int column;
        std::vector<std::int8_t> verdicts;  // by number in the column's dictionary; kUnknown
    };
    static constexpr std::int8_t kUnknown = -1;

    [[nodiscard]] bool CanRun(EBlockRequest& request);
    [[nodiscard]] bool AddTests(EBlockRequest& request);
    [[nodiscard]] bool HasSameListeners() const noexcept;
    [[nodiscard]] CursorStatus Step();
    CursorStatus PassOn(const BlockPart& part);
    CursorStatus PassInParts();
    CursorStatus ShowSingly(EBlockIndex record);
    void StandWhole(EBlockIndex record);
    CursorStatus Stand(EBlockIndex record, bool isWhole);
    void Select();
    [[nodiscard]] BlockPart TakePart(std::span<const EBlockIndex> records);
    [[nodiscard]] std::size_t Keep(Test& test);
    [[nodiscard]] static bool IsAccepted(Test& test, const ERecordBlock& block, EBlockIndex record);
    void End() noexcept;

    ETabulonCursor& cursor_;
    bool isRunning_ = false;
    std::vector<IBlockNotifier*> listeners_;  // not owned
    std::vector<Test> tests_;
    const ERecordBlock* block_ = nullptr;
    std::array<EBlockIndex, ERecordBlock::kMostRecords> kept_{};
    std::span<const EBlockIndex> selected_;  // of the block: those that the filter accepts
};

}  // namespace etabulon
