#include "ECsvScanner.h"

#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTypes.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace etabulon {

namespace {

// A piece, its marks and the cells cut from it fit the second-level cache.
constexpr std::size_t kPieceBytes = std::size_t{1} << 18;
// Offsets are 4-byte numbers.
constexpr std::size_t kMostBytes = std::size_t{1} << 31;
constexpr std::size_t kMostCells = std::size_t{1} << 18;  // of a call of NextRows

#if defined(__SSE2__)
/// Stores the offsets of the marks in whole groups of 64 bytes from `from` on, and moves `from`
/// after them. Returns where the next offset goes.
std::uint32_t* FindMarks(const char* bytes, std::size_t& from, std::size_t end, char separator,
                         std::uint32_t* offsets) noexcept {
    const __m128i separators = _mm_set1_epi8(separator);
    const __m128i quotes = _mm_set1_epi8('"');
    const __m128i lineFeeds = _mm_set1_epi8('\n');
    const __m128i returns = _mm_set1_epi8('\r');
    for (; from + 64 <= end; from += 64) {
        std::uint64_t found = 0;
        for (unsigned int part = 0; part < 4; ++part) {
            const __m128i some = _mm_loadu_si128(
                reinterpret_cast<const __m128i*>(bytes + from + std::size_t{part} * 16));
            const __m128i marks = _mm_or_si128(
                _mm_or_si128(_mm_cmpeq_epi8(some, separators), _mm_cmpeq_epi8(some, quotes)),
                _mm_or_si128(_mm_cmpeq_epi8(some, lineFeeds), _mm_cmpeq_epi8(some, returns)));
            found |=
                static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(marks)))
                << (16U * part);
        }
        for (; found != 0; found &= found - 1) {
            *offsets++ = static_cast<std::uint32_t>(
                from + static_cast<unsigned int>(__builtin_ctzll(found)));
        }
    }
    return offsets;
}
#else
std::uint32_t* FindMarks(const char*, std::size_t&, std::size_t, char,
                         std::uint32_t* offsets) noexcept {
    return offsets;
}
#endif

}  // namespace

ECsvScanner::ECsvScanner(ECsvInput& input, const ECsvReadOptions& options)
    : input_(input), options_(options), separator_(options.separator) {}

bool ECsvScanner::Begin(EDataError& error) {
    input_.Rewind();
    if (!Refill()) {
        error = error_;
        return false;
    }
    offset_ = CsvPreambleOf({buffer_.get(), end_}).size;
    while (nextMark_ < markCount_ && marks_[nextMark_] < offset_) {
        ++nextMark_;
    }
    return true;
}

bool ECsvScanner::NextRows(EDataError& error) {
    cells_.clear();
    rows_ = 0;
    texts_.Clear();
    const std::size_t most =
        width_ == 0 ? 1 : std::clamp(kMostCells / width_, std::size_t{1}, kMostRows);
    while (rows_ < most) {
        switch (TakeRow()) {
            case Outcome::Row:
                ++rows_;
                break;
            case Outcome::End:
                return rows_ > 0;
            case Outcome::More:
                if (rows_ > 0) {
                    return true;  // their cells are in the buffer
                }
                if (Refill()) {
                    break;
                }
                [[fallthrough]];
            default:
                error = error_;
                return false;
        }
    }
    return true;
}

ECsvScanner::Outcome ECsvScanner::TakeRow() {
    while (offset_ < end_ && (buffer_[offset_] == '\n' || buffer_[offset_] == '\r')) {
        ++offset_;
        ++nextMark_;
    }
    if (offset_ == end_) {
        return isFinal_ ? Outcome::End : Outcome::More;
    }
    const std::size_t first = offset_;
    const std::size_t before = cells_.size();
    std::size_t next = nextMark_;
    if (const Outcome outcome = TakeCells(next); outcome != Outcome::Row) {
        cells_.resize(before);
        return outcome;
    }
    nextMark_ = next;
    const std::size_t count = cells_.size() - before;
    if (width_ != 0 && count != width_) {
        error_ = CsvWidthError(input_.Name(), LineAt(first), count, width_);
        return Outcome::Failed;
    }
    width_ = count;
    return Outcome::Row;
}

/// Moves offset_ and `next` after the row; after any other outcome they stay.
ECsvScanner::Outcome ECsvScanner::TakeCells(std::size_t& next) {
    const char* const bytes = buffer_.get();
    std::size_t cell = offset_;
    for (;;) {
        std::size_t end = 0;
        if (cell < end_ && bytes[cell] == '"') {
            if (const Outcome outcome = TakeQuoted(cell, next); outcome != Outcome::Row) {
                return outcome;
            }
            end = cell;
        } else {
            if (next == markCount_ && !isFinal_) {
                return Outcome::More;
            }
            end = next < markCount_ ? marks_[next] : end_;
            cells_.emplace_back(end != cell ? bytes + cell : nullptr, end - cell);
        }
        if (end == end_) {
            offset_ = end_;
            return Outcome::Row;
        }
        ++next;
        if (bytes[end] == separator_) {
            cell = end + 1;
            continue;
        }
        if (bytes[end] == '"') {
            return Fail(end, kCsvStrayQuote);
        }
        offset_ = end + 1;
        return Outcome::Row;
    }
}

/// Takes a quoted cell, and moves `cell` and `next` to the mark after it.
ECsvScanner::Outcome ECsvScanner::TakeQuoted(std::size_t& cell, std::size_t& next) {
    const char* const bytes = buffer_.get();
    const std::size_t first = cell + 1;
    std::size_t doubled = 0;
    ++next;
    for (;; ++next) {
        while (next < markCount_ && bytes[marks_[next]] != '"') {
            ++next;
        }
        if (next == markCount_) {
            return isFinal_ ? Fail(end_, kCsvOpenQuote) : Outcome::More;
        }
        const std::size_t quote = marks_[next];
        ++next;
        if (quote + 1 == end_ && !isFinal_) {
            return Outcome::More;
        }
        if (quote + 1 == end_ || bytes[quote + 1] != '"') {
            cell = quote + 1;
            break;
        }
        ++doubled;
    }
    const std::size_t length = cell - 1 - first;
    if (cell < end_ && bytes[cell] != separator_ && bytes[cell] != '\n' && bytes[cell] != '\r') {
        return Fail(cell, kCsvStrayQuote);
    }
    if (doubled == 0) {
        cells_.emplace_back(bytes + first, length);
        return Outcome::Row;
    }
    char* const text = texts_.Take(length - doubled);
    char* to = text;
    for (std::size_t at = 0; at < length; ++at) {
        *to++ = bytes[first + at];
        at += bytes[first + at] == '"' ? 1 : 0;
    }
    cells_.emplace_back(text, length - doubled);
    return Outcome::Row;
}

ECsvScanner::Outcome ECsvScanner::Fail(std::size_t at, const char* what) {
    // A last line break ends its line.
    const bool isAtEnd =
        at == end_ && at > 0 && (buffer_[at - 1] == '\n' || buffer_[at - 1] == '\r');
    error_ = CsvError(input_.Name(), LineAt(at) - (isAtEnd ? 1 : 0), what);
    return Outcome::Failed;
}

std::uint64_t ECsvScanner::LineAt(std::size_t at) const noexcept {
    return linesBefore_ + 1 + CountLineEnds(at);
}

/// The line feeds, carriage returns and pairs of both before this offset of the buffer.
std::uint64_t ECsvScanner::CountLineEnds(std::size_t end) const noexcept {
    std::uint64_t count = 0;
    for (std::size_t mark = 0; mark < markCount_ && marks_[mark] < end; ++mark) {
        const std::uint32_t at = marks_[mark];
        if (buffer_[at] == '\r') {
            ++count;
        } else if (buffer_[at] == '\n') {
            count += (at > 0 ? buffer_[at - 1] == '\r' : followsReturn_) ? 0 : 1;
        }
    }
    return count;
}

// ------------------------------------------------------------------------------------------ pieces

/// Drops the rows that were taken, and reads on. False with error_.
bool ECsvScanner::Refill() {
    linesBefore_ += CountLineEnds(offset_);
    followsReturn_ = offset_ > 0 ? buffer_[offset_ - 1] == '\r' : followsReturn_;
    const std::size_t kept = end_ - offset_;
    if (capacity_ < 2 * kept || capacity_ == 0) {
        const std::size_t larger = std::max(2 * capacity_, kPieceBytes);
        if (larger > kMostBytes) {
            error_ = CsvError(input_.Name(), linesBefore_ + 1,
                              "a row of more than " + std::to_string(kept) + " bytes");
            return false;
        }
        std::unique_ptr<char[]> buffer(new char[larger]);
        std::copy_n(buffer_.get() + offset_, kept, buffer.get());
        buffer_ = std::move(buffer);
        capacity_ = larger;
    } else {
        std::memmove(buffer_.get(), buffer_.get() + offset_, kept);
    }
    offset_ = 0;
    end_ = kept;
    const bool isRead = ReadMore();
    nextMark_ = 0;
    Index();
    if (!isRead) {
        error_ = CsvError(input_.Name(), LineAt(end_) - 1, input_.Problem());
        return false;
    }
    if (options_.goesOn && !options_.goesOn(input_.ReadBytes(), input_.Size())) {
        error_ = CsvError(input_.Name(), 0, kCsvCancelled);
        error_.status = kDataInterrupted;
        return false;
    }
    return true;
}

bool ECsvScanner::ReadMore() {
    std::size_t count = 0;
    const std::size_t room = capacity_ - end_;
    const bool isRead = input_.Read(buffer_.get() + end_, room, count);
    end_ += count;
    isFinal_ = count < room;
    return isRead;
}

/// Finds the marks of the buffer, chunk by chunk: a long row's cells have few of them, and room for
/// as many as it has bytes would take four times the bytes.
void ECsvScanner::Index() {
    markCount_ = 0;
    for (std::size_t from = 0; from < end_;) {
        const std::size_t end = std::min(from + kPieceBytes, end_);
        if (marks_.size() < markCount_ + (end - from)) {
            marks_.resize(std::max(marks_.size() * 3 / 2, markCount_ + kPieceBytes));
        }
        markCount_ = IndexChunk(from, end, markCount_);
        from = end;
    }
}

/// Appends a chunk's marks to the first `count`, and returns how many there are then.
std::size_t ECsvScanner::IndexChunk(std::size_t from, std::size_t end, std::size_t count) {
    const char* const bytes = buffer_.get();
    std::uint32_t* offsets = FindMarks(bytes, from, end, separator_, marks_.data() + count);
    for (; from < end; ++from) {
        const char c = bytes[from];
        if (c == separator_ || c == '"' || c == '\n' || c == '\r') {
            *offsets++ = static_cast<std::uint32_t>(from);
        }
    }
    return static_cast<std::size_t>(offsets - marks_.data());
}

}  // namespace etabulon
