#include "etabulon/foundation/ERecordBlock.h"

#include "etabulon/foundation/EBlockSource.h"
#include "foundation/EBlockReader.h"

namespace etabulon {

ERecordBlock::ERecordBlock() = default;
ERecordBlock::~ERecordBlock() = default;

const EVariant& ERecordBlock::Value(unsigned int column, EBlockIndex record) const {
    const Column& from = columns_[column];
    Reader& reader = *readers_[column];
    if (from.words != nullptr) {
        return from.IsMissingWord(record) ? reader.Missing() : reader.Word(from.words[record]);
    }
    if (from.cells != nullptr) {
        return reader.Cell(from.cells + record * from.cellSize);
    }
    return from.texts != nullptr ? reader.OwnText(from.texts[record])
                                 : from.dictionary->Value(from.numbers[record]);
}

void ERecordBlock::ReadKey(EBlockIndex record, EFieldKey& key) const {
    source_->ReadKey(positions_[record], key);
}

bool ERecordBlock::AreKeysPositions() const noexcept { return source_->AreKeysPositions(); }

}  // namespace etabulon
