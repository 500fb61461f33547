#pragma once

#include "ESqlTableState.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace etabulon {

/// Splits the rows after the first one of a walk into ranges of its integer key, of about as many
/// rows each. The width of a range follows from the rows that earlier ones had, and gaps between
/// keys are passed over, so that each range has a row.
class ESqlTable::Ranges {
public:
    /// Plans the ranges. False if the table has too few rows after the walk's first one, or they
    /// can't be estimated.
    [[nodiscard]] bool Plan(State& state);
    /// Whether the walk's conditions leave the engine no better way than to read all rows. A
    /// search by an index mostly finds few.
    [[nodiscard]] static bool ReadsAll(State& state);
    /// Begins after this key.
    void Start(std::int64_t after) noexcept;
    /// The next range in the order of the key: the rows with keys above `after`, up to `last`. Done
    /// after the last one. `seek` is a statement of SeekText.
    [[nodiscard]] ESqlStep Next(ISqlStatement& seek, std::int64_t& after, std::int64_t& last);
    /// Tells how many rows a range of this width had.
    void NoteRows(std::uint64_t width, std::size_t rows) noexcept;
    /// Whether Next has told that there are no more.
    [[nodiscard]] bool IsAtEnd() const noexcept { return isAtEnd_; }

    [[nodiscard]] static std::string Column(const ESqlTableInfo& info);
    /// " WHERE" the walk's conditions, and the key after ("> ?") or from (">= ?") a bound, or up to
    /// a second one. The bounds' parameters follow those of the conditions.
    [[nodiscard]] static std::string Where(const State& state,
                                           std::initializer_list<std::string_view> bounds);
    [[nodiscard]] static std::string SeekText(const ESqlTableInfo& info);

private:
    [[nodiscard]] static std::optional<std::int64_t> Ask(
        State& state, const std::string& text, std::initializer_list<std::int64_t> values = {});

    std::uint64_t wanted_ = 1;  // rows of a range
    std::uint64_t width_ = 1;   // of the next range, in keys
    std::uint64_t mostWidth_ = 1;
    std::int64_t at_ = 0;  // the last key of the range before
    bool isAtEnd_ = false;
};

}  // namespace etabulon
