#include "foundation/EMemoryRecords.h"

#include "foundation/EMemoryLookup.h"

#include <algorithm>
#include <bit>

namespace etabulon {

namespace {

constexpr std::uint64_t kAllRecords = ~std::uint64_t{0};

}  // namespace

EKeyReader::EKeyReader(const DRubric& rubric, std::span<const unsigned int> variables) {
    for (const unsigned int index : variables) {
        const DVariable& variable = *rubric.At(index);
        parts_.push_back({ECellView(variable.MakeFieldDesc()), variable.Offset()});
    }
}

void EKeyReader::Read(const void* record, EFieldKey& key) const {
    key.Resize(static_cast<std::uint16_t>(parts_.size()));
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        Part& part = parts_[i];
        const void* const address = static_cast<const std::byte*>(record) + part.offset;
        key.At(static_cast<std::uint16_t>(i)) = part.cell.At(address);
    }
}

EMemoryRecords::EMemoryRecords(const DRubric& rubric)
    : rubric_(rubric),
      layout_(rubric.MakeFields()),
      recordSize_(layout_.RecordSize()),
      key_(rubric, rubric.Key()),
      scratch_(layout_),
      scratchRecord_(layout_) {
    scratch_.ChangeBuffer(scratchRecord_.Get(), /*takeOwnership=*/false);
}

EMemoryRecords::~EMemoryRecords() {
    for (EPosition at = FindNext(0); at != kNoPosition; at = FindNext(at + 1)) {
        layout_.DestroyRecord(BytesAt(at));
    }
}

std::byte* EMemoryRecords::BytesAt(EPosition position) const noexcept {
    const auto number = static_cast<std::size_t>(position);
    return blocks_[number >> kBlockShift].bytes.get() + (number & 63U) * recordSize_;
}

std::byte* EMemoryRecords::At(EPosition position) const noexcept {
    if (position < 0 || position >= end_) {
        return nullptr;
    }
    const auto number = static_cast<std::size_t>(position);
    const bool isThere = (blocks_[number >> kBlockShift].living >> (number & 63U) & 1U) != 0;
    return isThere ? BytesAt(position) : nullptr;
}

EPosition EMemoryRecords::FindNext(EPosition from) const noexcept {
    const auto first = static_cast<std::size_t>(std::max<EPosition>(from, 0));
    std::uint64_t asked = kAllRecords << (first & 63U);
    for (std::size_t i = first >> kBlockShift; i < blocks_.size(); ++i, asked = kAllRecords) {
        if (const std::uint64_t found = blocks_[i].living & asked; found != 0) {
            return static_cast<EPosition>((i << kBlockShift) +
                                          static_cast<unsigned int>(std::countr_zero(found)));
        }
    }
    return kNoPosition;
}

EPosition EMemoryRecords::FindPrevious(EPosition from) const noexcept {
    const EPosition bounded = std::min(from, end_ - 1);
    if (bounded < 0) {
        return kNoPosition;
    }
    const auto last = static_cast<std::size_t>(bounded);
    std::uint64_t asked = kAllRecords >> (63U - (last & 63U));
    for (std::size_t i = (last >> kBlockShift) + 1; i-- > 0; asked = kAllRecords) {
        if (const std::uint64_t found = blocks_[i].living & asked; found != 0) {
            return static_cast<EPosition>((i << kBlockShift) + 63U -
                                          static_cast<unsigned int>(std::countl_zero(found)));
        }
    }
    return kNoPosition;
}

std::int32_t EMemoryRecords::Insert(const void* record, EPosition& position) {
    const auto number = static_cast<std::size_t>(end_);
    if (number >> kBlockShift == blocks_.size()) {
        blocks_.push_back({0, std::make_unique<std::byte[]>(recordSize_ << kBlockShift)});
    }
    if (!key_.IsEmpty()) {
        key_.Read(record, newKey_);
        if (!byKey_.try_emplace(newKey_, end_).second) {
            return DataDuplicate;
        }
    }
    position = end_++;
    layout_.ConstructRecord(BytesAt(position));
    layout_.CopyRecord(BytesAt(position), record);
    blocks_[number >> kBlockShift].living |= std::uint64_t{1} << (number & 63U);
    ++count_;
    ++version_;
    return DataOk;
}

std::int32_t EMemoryRecords::Update(EPosition position, const void* record) {
    if (!key_.IsEmpty()) {
        key_.Read(record, newKey_);
        key_.Read(BytesAt(position), oldKey_);
        if (!(newKey_ == oldKey_)) {
            if (!byKey_.try_emplace(newKey_, position).second) {
                return DataDuplicate;
            }
            byKey_.erase(oldKey_);
        }
    }
    layout_.CopyRecord(BytesAt(position), record);
    ++version_;
    return DataOk;
}

void EMemoryRecords::Delete(EPosition position) {
    if (!key_.IsEmpty()) {
        key_.Read(BytesAt(position), oldKey_);
        byKey_.erase(oldKey_);
    }
    layout_.DestroyRecord(BytesAt(position));
    locks_.erase(position);
    --count_;
    ++version_;
    const auto number = static_cast<std::size_t>(position);
    Block& block = blocks_[number >> kBlockShift];
    block.living &= ~(std::uint64_t{1} << (number & 63U));
    const bool isFull = number >> kBlockShift < static_cast<std::size_t>(end_) >> kBlockShift;
    if (block.living == 0 && isFull) {
        block.bytes.reset();
    }
}

EFieldSet& EMemoryRecords::Scratch() {
    scratchRecord_.Clear();
    return scratch_;
}

EPosition EMemoryRecords::FindKey(const EFieldKey& key) const {
    const auto found = byKey_.find(key);
    return found == byKey_.end() ? kNoPosition : found->second;
}

std::unique_ptr<IRecordLookup> EMemoryRecords::OpenLookup(
    const DRubric& rubric, std::span<const unsigned int> keyVariables,
    std::span<const unsigned int>, EData*, EDataError& error) {
    if (&rubric != &rubric_) {
        error.status = DataOther;
        error.text = rubric.Name();
        error.text.Append(": its source has the records of another rubric");
        return nullptr;
    }
    if (!key_.IsEmpty() && std::ranges::equal(keyVariables, rubric_.Key())) {
        return std::make_unique<EMemoryKeyLookup>(shared_from_this());
    }
    return std::make_unique<EMemoryLookup>(shared_from_this(), EKeyReader(rubric_, keyVariables));
}

bool EMemoryRecords::IsLockedByOther(EPosition position, const void* holder) const {
    const auto found = locks_.find(position);
    return found != locks_.end() && found->second.holder != holder;
}

bool EMemoryRecords::TakeLock(EPosition position, const void* holder, LockWay way) {
    HeldLock& lock = locks_[position];
    if (lock.ways != 0 && lock.holder != holder) {
        return false;
    }
    lock.holder = holder;
    lock.ways = static_cast<std::uint8_t>(lock.ways | way);
    return true;
}

void EMemoryRecords::DropLock(EPosition position, const void* holder, LockWay way) {
    const auto found = locks_.find(position);
    if (found == locks_.end() || found->second.holder != holder) {
        return;
    }
    found->second.ways = static_cast<std::uint8_t>(found->second.ways & ~way);
    if (found->second.ways == 0) {
        locks_.erase(found);
    }
}

void EMemoryRecords::DropLocks(const void* holder) {
    std::erase_if(locks_, [holder](const auto& entry) { return entry.second.holder == holder; });
}

}  // namespace etabulon
