#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/ERecordBlock.h"

#include <vector>

namespace etabulon {

/// What the listeners of a walk read of its records.
/// Example    apps/etabulon/walk/CliProgress.h
struct ETABULON_API EBlockRequest {
    struct Column {
        const EField* field;  // not owned
        bool numbers;         // into a dictionary of the column
        bool values;

        /// A column of which nothing but the bytes of its texts was asked for.
        [[nodiscard]] bool IsTextsOnly() const noexcept { return !numbers && !values; }
    };
    std::vector<Column> columns;
    bool keys = false;  // the records' positions and keys

    // Each returns the index of the field's column in the blocks. A field that is asked for twice
    // has one column.
    unsigned int AddNumbers(const EField& field) {
        return Add(field, /*numbers=*/true, /*values=*/false);
    }
    unsigned int AddValues(const EField& field) {
        return Add(field, /*numbers=*/false, /*values=*/true);
    }
    /// For fields of owned text or bytes: the values in the form that compares fastest. The column
    /// has texts unless something else is asked for as well, or the source has numbers anyway.
    unsigned int AddTexts(const EField& field) {
        return Add(field, /*numbers=*/false, /*values=*/false);
    }
    unsigned int Add(const EField& field, bool numbers, bool values);
};

/// What a table may offer beside single steps: the records of a walk in blocks, by columns.
///
/// Use        after a step that reached a record, BeginBlocks and NextBlock deliver the records
///            after it, exactly those that GetNext would reach. In between the table stands on a
///            record that it has delivered: on the block's last one, unless the walk's end or a
///            failure follows that. So GetNext may go on at any time. The table's fields may stay
///            blank until StandOn, a step or EndBlocks.
/// Ownership  belongs to its table. Blocks and dictionaries belong to the source.
/// Threads    as the table. A source may read ahead in other threads; what it gives changes only
///            within its operations.
/// Example    adapters/sql/src/ESqlReadAhead.h
class ETABULON_API EBlockSource {
public:
    virtual ~EBlockSource() = default;

    /// Called before the step that begins a walk, if the walk is likely read by blocks: the source
    /// may prepare to read ahead; see EReadAhead.
    virtual void ExpectWalk() {}
    /// Drops earlier dictionaries. False, with nothing changed, where only single steps give the
    /// right records, and for a field that isn't the table's own: FindField is -1.
    [[nodiscard]] virtual bool BeginBlocks(const EBlockRequest& request) = 0;
    /// The next records, at least one. Null where GetNext would return -1; the table then has the
    /// status and the state that GetNext would leave. A failure comes after the records before it.
    [[nodiscard]] virtual const ERecordBlock* NextBlock() = 0;
    /// Loads a record of the last block into the table's record: the last one whole, another as far
    /// as its columns were asked for, with all other fields missing. Position and key are the
    /// record's if keys were asked for. The walk continues after the block all the same. Requires
    /// that NextBlock returned a block, and that the walk hasn't failed since.
    virtual void StandOn(EBlockIndex record) = 0;
    /// Frees blocks and dictionaries. The walk stays where it is.
    virtual void EndBlocks() noexcept = 0;
    /// The key of a record of the last block, as EData::CurKey would give it.
    virtual void ReadKey(EPosition position, EFieldKey& key) const = 0;
    /// The key of each record at a position from 0 on is one TYPE_INT64, equal to the position, so
    /// that a listener needn't read it.
    [[nodiscard]] virtual bool AreKeysPositions() const noexcept { return false; }

    /// The index of the field of `fields` that `field` is a copy of, or -1.
    [[nodiscard]] static int FindField(const EFieldSet& fields, const EField& field) noexcept;

    /// Whether cursors walk by blocks where they can, for the whole process. False from the start
    /// if the environment variable ETABULON_BLOCKS is 0. Walks by blocks and by single steps
    /// give the same results: the switch is for comparing them.
    [[nodiscard]] static bool AreEnabled() noexcept;
    static void SetEnabled(bool enabled) noexcept;
};

}  // namespace etabulon
