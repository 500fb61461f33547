#pragma once

#include "etabulon/csv/ECsvTable.h"
#include "etabulon/csv/fwd.h"
#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/foundation/EDataError.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// Cuts a CSV file into rows of cells, and checks its quoting and that all rows are of one length.
class ECsvScanner {
public:
    /// The most rows that a call of NextRows gives.
    static constexpr std::size_t kMostRows = ERecordBlock::kMostRecords;

    /// The separator is no quote and no line break. `input` and `options` aren't owned.
    ECsvScanner(ECsvInput& input, const ECsvReadOptions& options);
    ECsvScanner(const ECsvScanner&) = delete;
    ECsvScanner& operator=(const ECsvScanner&) = delete;

    /// Begins at the file's first byte. False with the error.
    [[nodiscard]] bool Begin(EDataError& error);
    /// Reads the next rows: the first row alone, later some at a time. False at the end, and with
    /// `error` for a failure, whose text names the line.
    [[nodiscard]] bool NextRows(EDataError& error);

    // ---------------------------------------------------------------- the rows that were read last
    [[nodiscard]] std::size_t Rows() const noexcept { return rows_; }
    /// The number of cells of each row.
    [[nodiscard]] std::size_t Width() const noexcept { return width_; }
    /// Without the quotes around it. Null data(): no character between two separators; a quoted
    /// empty cell is an empty text. Valid until the next call of NextRows.
    [[nodiscard]] std::string_view Cell(std::size_t row, std::size_t column) const noexcept {
        return cells_[row * width_ + column];
    }

private:
    enum class Outcome : std::uint8_t { Row = 0, More = 1, End = 2, Failed = 3 };

    [[nodiscard]] Outcome TakeRow();
    [[nodiscard]] Outcome TakeCells(std::size_t& next);
    [[nodiscard]] Outcome TakeQuoted(std::size_t& cell, std::size_t& next);
    [[nodiscard]] Outcome Fail(std::size_t at, const char* what);
    [[nodiscard]] bool Refill();
    [[nodiscard]] bool ReadMore();
    void Index();
    [[nodiscard]] std::size_t IndexChunk(std::size_t from, std::size_t end, std::size_t count);
    [[nodiscard]] std::uint64_t LineAt(std::size_t at) const noexcept;
    [[nodiscard]] std::uint64_t CountLineEnds(std::size_t end) const noexcept;

    ECsvInput& input_;
    const ECsvReadOptions& options_;
    const char separator_;
    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t end_ = 0;               // of the bytes in the buffer
    std::size_t offset_ = 0;            // of the next row
    bool isFinal_ = false;              // the file ends with the buffer
    std::uint64_t linesBefore_ = 0;     // line ends before the buffer
    bool followsReturn_ = false;        // a carriage return stands before the buffer
    std::vector<std::uint32_t> marks_;  // offsets of separators, quotes and line breaks
    std::size_t markCount_ = 0;
    std::size_t nextMark_ = 0;  // the first at or after offset_
    std::vector<std::string_view> cells_;
    std::size_t rows_ = 0;
    std::size_t width_ = 0;  // 0 before the first row
    EBlockArena texts_;      // of quoted cells with quotes within
    EDataError error_;
};

}  // namespace etabulon
