#pragma once

#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/foundation/detail/EHashMix.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace etabulon {

/// Puts the texts of a block one after the other, where they stay until the next block.
/// Example    adapters/csv/src/ECsvScanner.h
class ETABULON_API EBlockArena {
public:
    [[nodiscard]] char* Take(std::size_t length) {
        if (length > room_ || next_ == nullptr) {
            Grow(length);
        }
        char* const taken = next_;
        next_ += length;
        room_ -= length;
        return taken;
    }
    void Clear() noexcept;

private:
    void Grow(std::size_t length);

    struct Chunk {
        std::unique_ptr<char[]> bytes;
        std::size_t size;
    };
    std::vector<Chunk> chunks_;
    std::size_t used_ = 0;  // chunks
    char* next_ = nullptr;
    std::size_t room_ = 0;
};

/// One column of the block that a source is filling. The source puts each record's value once.
/// Example    src/foundation/EColumnBlocks.cpp
class ETABULON_API EBlockColumn {
public:
    enum class Form : std::uint8_t { Words = 0, Texts = 1, Cells = 2 };

    EBlockColumn(const EFieldDesc& desc, const EBlockRequest::Column& wish);
    EBlockColumn(const EBlockColumn&) = delete;
    EBlockColumn& operator=(const EBlockColumn&) = delete;
    ~EBlockColumn();

    [[nodiscard]] Form GetForm() const noexcept { return form_; }
    [[nodiscard]] const EFieldDesc& Desc() const noexcept { return desc_; }

    /// For any form: the value of a cell that is laid out as the column's field. Texts with numbers
    /// are borrowed until the block is finished.
    void PutCell(std::size_t record, const void* cell);
    // Words: a value in its natural size.
    template <class T>
    void PutNumber(std::size_t record, T number) noexcept {
        static_assert(sizeof number <= sizeof(std::uint64_t));
        std::uint64_t word = 0;
        std::memcpy(&word, &number, sizeof number);
        words_[record] = word;
    }
    // Words and Texts.
    void PutMissing(std::size_t record) noexcept {
        if (form_ == Form::Words) {
            words_[record] = 0;
            missing_[record / 64] |= std::uint64_t{1} << (record % 64);
            hasMissing_ = true;
        } else {
            texts_[record] = {};
        }
    }
    // Texts: copied, or borrowed until the block is finished; borrowed with numbers only.
    void PutText(std::size_t record, const char* bytes, std::size_t length) {
        char* const copy = arena_.Take(length);
        detail::CopyBytes(copy, bytes, length);
        texts_[record] = {copy, length};
    }
    void PutBorrowed(std::size_t record, const char* bytes, std::size_t length) noexcept {
        texts_[record] = {bytes, length};
    }
    /// Cells: the record's cell, which holds the value of an earlier record. Slots are constructed.
    [[nodiscard]] std::byte* Cell(std::size_t record) noexcept {
        return cells_.data() + record * cellSize_;
    }

private:
    friend class EBlockBuilder;
    using Text = ERecordBlock::Text;
    void ReleaseCells() noexcept;

    EFieldDesc desc_;
    Form form_;
    bool numbers_;
    bool isNullable_;
    bool hasMissing_ = false;
    bool hasBodies_ = false;  // the texts lie in bodies, which the dictionary may share
    std::uint8_t size_ = 0;   // of a word's value
    std::size_t cellSize_ = 0;
    std::vector<std::uint64_t> words_;
    std::vector<std::uint64_t> missing_;
    std::vector<Text> texts_;
    EBlockArena arena_;
    std::vector<std::byte> cells_;
    std::unique_ptr<EBlockDictionary> ownDictionary_ = std::make_unique<EBlockDictionary>();
    EBlockDictionary* dictionary_ = ownDictionary_.get();
    std::vector<std::uint32_t> numbered_;
    ERecordBlock::Reader* reader_ = nullptr;  // the block's
};

/// Makes the blocks of a source, in the same storage one after the other.
///
/// Use      construct it with what the listeners asked for; then for each block Begin, the values
///          of each column, and Finish.
/// Threads  one at a time.
/// Cost     nothing is allocated per record except for new values of dictionaries. Finish looks up
///          all values of a column together, so that it waits for memory once for many of them.
/// Example    adapters/sql/src/ESqlReadAhead.h
class ETABULON_API EBlockBuilder {
public:
    /// The descriptions are those of the columns of `request`, in its order. `source` isn't owned.
    EBlockBuilder(const EBlockSource& source, const EBlockRequest& request,
                  const std::vector<EFieldDesc>& descs);
    /// One column with numbers and without keys, for numbering values outside of a walk.
    explicit EBlockBuilder(const EFieldDesc& desc);
    EBlockBuilder(const EBlockBuilder&) = delete;
    EBlockBuilder& operator=(const EBlockBuilder&) = delete;
    ~EBlockBuilder();

    [[nodiscard]] std::size_t ColumnCount() const noexcept { return columns_.size(); }
    [[nodiscard]] EBlockColumn& At(std::size_t column) noexcept { return *columns_[column]; }
    /// Only if keys were asked for; otherwise null.
    [[nodiscard]] EPosition* Positions() noexcept {
        return block_.positions_.empty() ? nullptr : block_.positions_.data();
    }

    /// The dictionary of the first column.
    [[nodiscard]] const EBlockDictionary* Dictionary() const noexcept {
        return columns_[0]->dictionary_;
    }
    /// The same, for the caller to keep: without what only the numbering needs. Ends the builder.
    [[nodiscard]] std::unique_ptr<EBlockDictionary> TakeDictionary();

    /// Numbers values by the dictionaries of `owner` from here on, which has the same columns and
    /// outlives this builder. Each Begin may then run in a thread of its own up to Finish, which
    /// belongs to the thread of the walk.
    void ShareDictionaries(const EBlockBuilder& owner) noexcept;

    void Begin() noexcept;
    /// Requires that each column has the values of the first `size` records, at least one.
    [[nodiscard]] const ERecordBlock& Finish(std::size_t size);

private:
    void AddColumn(const EFieldDesc& desc, const EBlockRequest::Column& wish);
    void Number(EBlockColumn& column, std::size_t size);
    void NumberWords(EBlockColumn& column, std::size_t size);
    void NumberTexts(EBlockColumn& column, std::size_t size);
    void FindCandidates(const EBlockColumn& column, std::size_t size);
    [[nodiscard]] std::uint32_t AddText(EBlockColumn& column, std::size_t record);
    [[nodiscard]] std::uint32_t AddValue(EBlockColumn& column, const EVariant& value,
                                         std::uint32_t hash, std::string_view bytes);

    std::vector<std::unique_ptr<EBlockColumn>> columns_;
    ERecordBlock block_;
    std::vector<std::uint32_t> hashes_;
    std::vector<std::int32_t> candidates_;
};

}  // namespace etabulon
