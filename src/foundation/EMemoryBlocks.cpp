#include "foundation/EMemoryBlocks.h"

#include "foundation/EMemoryRecords.h"

#include <algorithm>

namespace etabulon {

bool EDataMemory::BlockSource::BeginBlocks(const EBlockRequest& request) {
    std::vector<EFieldDesc> descs;
    std::vector<std::size_t> offsets;
    const EFieldSet& fields = table_.Fields();
    for (const EBlockRequest::Column& column : request.columns) {
        const int field = FindField(fields, *column.field);
        if (field < 0) {
            return false;
        }
        descs.push_back(column.field->Desc());
        offsets.push_back(fields.OffsetOf(static_cast<std::uint16_t>(field)));
    }
    builder_.emplace(*this, request, descs);
    offsets_ = std::move(offsets);
    return true;
}

const ERecordBlock* EDataMemory::BlockSource::NextBlock() {
    const EMemoryRecords& stored = *table_.records_;
    std::size_t size = 0;
    for (EPosition at = stored.FindNext(table_.walk_.next); at != kNoPosition && table_.walk_.known;
         at = stored.FindNext(at + 1)) {
        positions_[size] = at;
        records_[size] = stored.At(at);
        if (++size == ERecordBlock::kMostRecords) {
            break;
        }
    }
    if (size == 0) {
        static_cast<void>(table_.GetNext());
        return nullptr;
    }
    builder_->Begin();
    for (std::size_t index = 0; index < offsets_.size(); ++index) {
        EBlockColumn& column = builder_->At(index);
        for (std::size_t record = 0; record < size; ++record) {
            column.PutCell(record, records_[record] + offsets_[index]);
        }
    }
    if (EPosition* const positions = builder_->Positions(); positions != nullptr) {
        std::copy_n(positions_.begin(), size, positions);
    }
    table_.Load(positions_[size - 1]);
    return &builder_->Finish(size);
}

void EDataMemory::BlockSource::StandOn(EBlockIndex record) {
    const EWalkState walk = table_.walk_;
    table_.Load(positions_[record]);
    table_.walk_ = walk;
}

void EDataMemory::BlockSource::ReadKey(EPosition position, EFieldKey& key) const {
    if (const std::byte* const record = table_.records_->At(position); record != nullptr) {
        table_.records_->ReadKey(record, key);
    } else {
        key.Free();
    }
}

}  // namespace etabulon
