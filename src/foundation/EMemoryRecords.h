#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EData.h"
#include "foundation/ECellView.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// Reads the values of some variables from records of a rubric.
/// Threads  one at a time, const operations included.
class EKeyReader {
public:
    EKeyReader(const DRubric& rubric, std::span<const unsigned int> variables);
    void Read(const void* record, EFieldKey& key) const;
    [[nodiscard]] bool IsEmpty() const noexcept { return parts_.empty(); }

private:
    struct Part {
        ECellView cell;
        std::size_t offset;
    };
    mutable std::vector<Part> parts_;  // the views move
};

struct EFieldKeyHash {
    std::size_t operator()(const EFieldKey& key) const noexcept { return key.Hash(); }
};
using EKeyIndex = std::unordered_map<EFieldKey, EPosition, EFieldKeyHash>;

/// The records of in-memory tables of one rubric.
///
/// A position is the number of the record in order of arrival. Records lie in blocks and never
/// move; a block is freed with the last of its records, so that a walk skips deleted records 64 at
/// a time.
class EMemoryRecords final : public IRecordSource,
                             public std::enable_shared_from_this<EMemoryRecords> {
public:
    explicit EMemoryRecords(const DRubric& rubric);
    ~EMemoryRecords() override;
    EMemoryRecords(const EMemoryRecords&) = delete;
    EMemoryRecords& operator=(const EMemoryRecords&) = delete;

    /// How a record is laid out, without a buffer.
    [[nodiscard]] const EFieldSet& Layout() const noexcept { return layout_; }
    [[nodiscard]] std::size_t Count() const noexcept { return count_; }
    /// One above the last position given.
    [[nodiscard]] EPosition End() const noexcept { return end_; }
    /// Changes with every write.
    [[nodiscard]] std::uint64_t Version() const noexcept { return version_; }
    /// Null where there is no record at the position.
    [[nodiscard]] std::byte* At(EPosition position) const noexcept;
    /// The first record at or after `from`, the last at or before it; -1 where there is none.
    [[nodiscard]] EPosition FindNext(EPosition from) const noexcept;
    [[nodiscard]] EPosition FindPrevious(EPosition from) const noexcept;

    // Writes: a status, which is DataDuplicate when another record has the key.
    [[nodiscard]] std::int32_t Insert(const void* record, EPosition& position);
    [[nodiscard]] std::int32_t Update(EPosition position, const void* record);  // there is one
    void Delete(EPosition position);                                            // there is one
    /// A blank record of the layout to fill for Insert; the same one each time.
    [[nodiscard]] EFieldSet& Scratch();

    void ReadKey(const void* record, EFieldKey& key) const { key_.Read(record, key); }
    /// The record with this key, -1 without one.
    [[nodiscard]] EPosition FindKey(const EFieldKey& key) const;
    [[nodiscard]] std::unique_ptr<IRecordLookup> OpenLookup(
        const DRubric& rubric, std::span<const unsigned int> keyVariables,
        std::span<const unsigned int> columns, EData* from, EDataError& error) override;

    // Locks between tables. A table can hold a record in two ways, each released by itself.
    enum LockWay : std::uint8_t { ByLock = 1, ByLockRecord = 2 };
    [[nodiscard]] bool IsLockedByOther(EPosition position, const void* holder) const;
    /// False where another table holds the record.
    [[nodiscard]] bool TakeLock(EPosition position, const void* holder, LockWay way);
    void DropLock(EPosition position, const void* holder, LockWay way);
    void DropLocks(const void* holder);

private:
    static constexpr unsigned int kBlockShift = 6;  // as many records as a mask has bits
    struct Block {
        std::uint64_t living = 0;  // a bit for each record that is there
        std::unique_ptr<std::byte[]> bytes;
    };
    struct HeldLock {
        const void* holder = nullptr;
        std::uint8_t ways = 0;
    };
    [[nodiscard]] std::byte* BytesAt(EPosition position) const noexcept;

    const DRubric& rubric_;
    EFieldSet layout_;
    std::size_t recordSize_;
    std::vector<Block> blocks_;
    std::size_t count_ = 0;
    EPosition end_ = 0;
    std::uint64_t version_ = 1;
    EKeyReader key_;
    EKeyIndex byKey_;
    EFieldKey newKey_;  // for writes, which take turns
    EFieldKey oldKey_;
    EFieldSet scratch_;
    ERecordBuffer scratchRecord_;
    std::unordered_map<EPosition, HeldLock> locks_;
};

}  // namespace etabulon
