#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/detail/HashIndex.h"
#include "etabulon/foundation/fwd.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

namespace detail {
class EBlockComposer;
}

/// The index of a record within its block.
using EBlockIndex = std::uint16_t;

/// Numbers the distinct values of one column, from 1 in order of arrival; 0 is the missing value.
///
/// Values are distinct by their bytes: two cases of one text, or the two zeros, have two numbers
/// though they may be equal. A number keeps its value as long as the source delivers blocks.
///
/// Threads  it grows only within EBlockSource::NextBlock, on the thread of the walk.
/// Example    tests/blocks/RandomWalk.h
class ETABULON_API EBlockDictionary {
public:
    static constexpr std::uint32_t kMissing = 0;

    EBlockDictionary() = default;
    EBlockDictionary(const EBlockDictionary&) = delete;
    EBlockDictionary& operator=(const EBlockDictionary&) = delete;

    /// All numbers are below. It is at least 1.
    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(values_.size());
    }
    /// With the type and size of the column. Valid until the next block.
    [[nodiscard]] const EVariant& Value(std::uint32_t number) const noexcept {
        return values_[number];
    }

private:
    friend class EBlockBuilder;
    friend class EBlockColumn;

    /// What a value is found by: its bytes, or those of its word. A key of up to 28 bytes lies
    /// within, so that a lookup reads half a cache line.
    struct alignas(32) Key {
        static constexpr std::size_t kInside = 28;
        std::uint32_t length = 0;
        char bytes[kInside] = {};  // a longer key: its address

        [[nodiscard]] const char* Bytes() const noexcept {
            const char* elsewhere = nullptr;
            if (length > kInside) {
                std::memcpy(&elsewhere, bytes, sizeof elsewhere);
            }
            return length > kInside ? elsewhere : bytes;
        }
    };

    std::vector<EVariant> values_;
    std::vector<Key> keys_;
    std::vector<std::unique_ptr<char[]>> longKeys_;
    detail::HashIndex index_;  // of keys_, without that of the missing value
};

/// Some consecutive records of a walk, by columns: only those that the listeners asked for.
///
/// A column has up to four forms. Each that is there has an entry for each record of the block:
///   numbers  into the column's dictionary, where they were asked for (EBlockRequest::AddNumbers)
///   words    of a fixed-size type of up to 8 bytes: the value's natural bytes at the start of each
///            word, zeros after them
///   texts    the bytes of owned text or bytes, where nothing but these was asked for
///            (EBlockRequest::AddTexts)
///   cells    of any other type: as in a record of the table, one after the other
/// Value reads a record's value whatever forms there are.
///
/// Ownership  all of it belongs to the source, and is valid until its next block.
/// Threads    one at a time, const operations included: Value moves a view.
/// Example    apps/etabulon/walk/CliProgress.h
class ETABULON_API ERecordBlock {
public:
    /// The most records that a block may hold.
    static constexpr std::size_t kMostRecords = 1024;

    struct Text {
        const char* bytes = nullptr;  // null: missing
        std::size_t length = 0;
    };
    struct Column {
        const ETypeInfo* type = nullptr;
        const std::uint32_t* numbers = nullptr;
        const EBlockDictionary* dictionary = nullptr;  // of `numbers`
        const std::uint64_t* words = nullptr;
        const std::uint64_t* missing = nullptr;  // of `words`: a bit for each record; null: none
        const Text* texts = nullptr;
        const std::byte* cells = nullptr;
        std::size_t cellSize = 0;

        [[nodiscard]] bool IsMissingWord(EBlockIndex record) const noexcept {
            return missing != nullptr && (missing[record / 64U] >> (record % 64U) & 1U) != 0;
        }
    };

    ERecordBlock();
    ERecordBlock(const ERecordBlock&) = delete;
    ERecordBlock& operator=(const ERecordBlock&) = delete;
    ~ERecordBlock();

    /// How many records there are; at least one.
    [[nodiscard]] std::size_t Size() const noexcept { return size_; }
    /// The column at the index that EBlockRequest gave.
    [[nodiscard]] const Column& At(unsigned int column) const noexcept { return columns_[column]; }
    /// The value as the column's field would show it. Valid until the next call for this column,
    /// and, read from a dictionary, until the next block.
    [[nodiscard]] const EVariant& Value(unsigned int column, EBlockIndex record) const;

    // ----------------------------------------------------------------- only if keys were asked for
    [[nodiscard]] EPosition Position(EBlockIndex record) const noexcept {
        return positions_[record];
    }
    void ReadKey(EBlockIndex record, EFieldKey& key) const;
    /// See EBlockSource.
    [[nodiscard]] bool AreKeysPositions() const noexcept;

private:
    friend class EBlockBuilder;
    friend class EBlockColumn;
    friend class EDataColumns;  // its source shows its columns themselves
    friend class detail::EBlockComposer;
    class Reader;

    std::vector<Column> columns_;
    std::vector<std::unique_ptr<Reader>> readers_;  // by column
    std::vector<EPosition> positions_;
    const EBlockSource* source_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace etabulon
