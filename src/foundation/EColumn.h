#pragma once

#include "etabulon/foundation/EField.h"
#include "etabulon/foundation/ERecordBlock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon {

/// One column of a table in columns: an entry of fixed width for each record.
///
///   Words  of a fixed-size type of up to 8 bytes: the natural bytes, and a bit for each record in
///          those chunks that have missing values
///   Texts  of slots: a 4-byte number into the column's dictionary
///   Cells  of any other type: as in a record
///
/// Entries lie in chunks that never move once the next chunk has begun.
///
/// Threads  once it is filled, any number of threads may read it.
class EColumn {
public:
    enum class Form : std::uint8_t { Words = 0, Texts = 1, Cells = 2 };
    static constexpr unsigned int kChunkShift = 16;
    static constexpr std::size_t kChunk = std::size_t{1} << kChunkShift;  // records

    explicit EColumn(const EFieldDesc& desc);
    EColumn(const EColumn&) = delete;
    EColumn& operator=(const EColumn&) = delete;
    ~EColumn();

    [[nodiscard]] Form GetForm() const noexcept { return form_; }
    [[nodiscard]] const EFieldDesc& Desc() const noexcept { return desc_; }
    [[nodiscard]] std::size_t Size() const noexcept { return size_; }
    [[nodiscard]] std::size_t Width() const noexcept { return width_; }
    [[nodiscard]] const std::byte* At(std::size_t record) const noexcept {
        return chunks_[record >> kChunkShift].bytes.get() + (record & (kChunk - 1)) * width_;
    }
    /// Words: the bits of the chunk with this record; null: nothing is missing in it.
    [[nodiscard]] const std::uint64_t* MissingIn(std::size_t record) const noexcept {
        return chunks_[record >> kChunkShift].missing.get();
    }
    [[nodiscard]] bool IsMissing(std::size_t record) const noexcept {
        const std::uint64_t* const bits = MissingIn(record);
        const std::size_t at = record & (kChunk - 1);
        return bits != nullptr && (bits[at / 64] >> (at % 64) & 1U) != 0;
    }
    /// Texts.
    [[nodiscard]] const EBlockDictionary& Dictionary() const noexcept { return *dictionary_; }
    /// Copies the value into the constructed cell of a record. `blank` is a cell without a value.
    void Read(std::size_t record, void* cell, const void* blank) const noexcept;
    /// What the column takes, in bytes.
    [[nodiscard]] std::size_t Bytes() const noexcept;

    // -------------------------------------------------------------------------- while it is filled
    /// How many entries the next call of Add may add.
    [[nodiscard]] std::size_t Room() const noexcept { return kChunk - (size_ & (kChunk - 1)); }
    /// Adds `count` entries, from 1 to Room(), for the caller to fill, and returns the first.
    [[nodiscard]] std::byte* Add(std::size_t count);
    /// Words.
    void SetMissing(std::size_t record);
    /// Words of 64-bit integers become reals of the same value.
    void MakeReal(const EFieldDesc& desc);
    /// Ends the filling. The dictionary is that of all numbers of the column; null without Texts.
    void End(std::unique_ptr<EBlockDictionary> dictionary);

private:
    struct Chunk {
        std::unique_ptr<std::byte[]> bytes;
        std::unique_ptr<std::uint64_t[]> missing;
        std::size_t capacity = 0;  // in entries
    };
    void Resize(Chunk& chunk, std::size_t used, std::size_t capacity) const;

    EFieldDesc desc_;
    Form form_;
    bool isNullable_;
    std::size_t width_;
    std::size_t size_ = 0;
    std::vector<Chunk> chunks_;
    std::unique_ptr<EBlockDictionary> dictionary_;
    std::vector<Chaine::Body*> bodies_;  // of the dictionary's texts, one reference each; 0: null
};

}  // namespace etabulon
