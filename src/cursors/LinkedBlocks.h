#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/EBlockBuilder.h"
#include "foundation/EBlockComposer.h"
#include "foundation/PairNumbers.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace etabulon {

/// The blocks of a cursor with links or derived fields: those of its table, with a column for each
/// linked or derived variable that the listeners read. Links are followed, and values derived, once
/// for each distinct key of a walk, with the table standing on the first record that has it, as a
/// single step does. The key of a derived value is that of the one that it is made from. A value
/// that DerivedFields makes per record is made so here too, from the number in the block.
///
/// A key whose link can't be read ends the walk after the records before it. Whenever a table that
/// links lead to has changed, all of them are followed again.
class ETabulonCursorEData::LinkedBlocks {
public:
    explicit LinkedBlocks(ETabulonCursorEData& cursor) : cursor_(cursor) {}

    [[nodiscard]] bool Begin(const EBlockRequest& request);
    CursorStatus Next(const ERecordBlock*& block);

private:
    /// The variables of the table that some links start at, and a number for each distinct
    /// combination of their values.
    struct Key {
        std::vector<unsigned int> columns;       // of the table's blocks
        std::vector<detail::PairNumbers> pairs;  // by column but one
        std::vector<std::uint32_t> made;         // the numbers of the block's records
        const std::uint32_t* numbers = nullptr;  // the same, or those of the only column
        std::vector<std::uint8_t> isKnown;       // by number
    };
    /// A linked or derived variable, by the numbers of its key or per record.
    struct Linked {
        std::size_t key;      // kNone: per record
        unsigned int base;    // the column that it is made from per record
        std::size_t derived;  // its index among the derived fields
        const EField* field;  // of the cursor
        bool wantsWords;
        std::unique_ptr<EBlockBuilder> builder;  // of the values' dictionary
        std::vector<std::uint32_t> valueOf;
        std::vector<std::uint64_t> wordOf;
        std::vector<std::uint32_t> numbers;  // of the block's records, as the two below
        std::vector<std::uint64_t> words;
        std::vector<std::uint64_t> missing;
        const ERecordBlock::Column* made = nullptr;  // per record
    };
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    /// A column of the blocks: one of the table's, or a linked one.
    struct Column {
        unsigned int own;
        std::size_t linked;  // kNone: of the table
    };

    [[nodiscard]] bool AddKeys(EBlockRequest& request);
    [[nodiscard]] bool AddLink(std::size_t link, EBlockRequest& request);
    [[nodiscard]] bool AddDerived(std::size_t index, EBlockRequest& request);
    void AddKey(std::vector<unsigned int> columns);
    [[nodiscard]] const EField* FindOwn(const DVariable& variable, unsigned int element) const;
    [[nodiscard]] bool AddColumn(const EBlockRequest::Column& wish, EBlockRequest& request);
    static void Number(Key& key, const ERecordBlock& block);
    [[nodiscard]] std::size_t Follow(const ERecordBlock& block);
    void TakeValues(EBlockIndex record);
    void Derive(Linked& linked, const ERecordBlock& block);
    void Show(Linked& linked, ERecordBlock::Column& shown, std::size_t size);

    ETabulonCursorEData& cursor_;
    /// A variable that the table lacks, and its key.
    struct Further {
        ETabulonVariableID id;
        std::size_t key = kNone;       // kNone: it reads nothing, or
        const EField* base = nullptr;  // it is made per record from this field of the table
        std::size_t derived = kNone;
    };
    std::vector<Further> further_;  // the links in their order, then the derived ones
    std::vector<Key> keys_;
    std::vector<Linked> linked_;
    std::vector<Column> columns_;
    detail::EBlockComposer composer_;
    std::uint64_t version_ = 0;
    CursorStatus failure_ = StatusOk;  // follows the last block
    EDataError error_;
};

}  // namespace etabulon
