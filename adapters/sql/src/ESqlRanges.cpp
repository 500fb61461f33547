#include "ESqlRanges.h"

#include "etabulon/foundation/EReadAhead.h"
#include "etabulon/foundation/ERecordBlock.h"

#include <algorithm>
#include <limits>

namespace etabulon {

namespace {

constexpr std::size_t kSampleRows = 1024;
constexpr std::size_t kMostRows = 8 * ERecordBlock::kMostRecords;  // of a range

std::uint64_t Distance(std::int64_t from, std::int64_t to) noexcept {
    return static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
}

std::int64_t Forward(std::int64_t from, std::uint64_t by) noexcept {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(from) + by);
}

}  // namespace

std::string ESqlTable::Ranges::Column(const ESqlTableInfo& info) {
    return info.keyKind == ESqlKeyKind::RowId ? SqlRowId(info) : SqlColumn(info, info.key[0]);
}

std::string ESqlTable::Ranges::Where(const State& state,
                                     std::initializer_list<std::string_view> bounds) {
    std::string where = SqlWhere(state.conditions);
    int parameter = CountSqlParameters(state.conditions);
    for (const std::string_view bound : bounds) {
        where += where.empty() ? " WHERE " : " AND ";
        where += Column(state.info) + std::string(bound) + std::to_string(++parameter);
    }
    return where;
}

/// The number that a statement with these values returns; none if it has no row, or fails.
std::optional<std::int64_t> ESqlTable::Ranges::Ask(State& state, const std::string& text,
                                                   std::initializer_list<std::int64_t> values) {
    ISqlStatement* const statement = state.Prepared(text);
    if (statement == nullptr) {
        state.ClearError();
        return std::nullopt;
    }
    const SqlRun run(*statement);
    ESqlValue value;
    value.kind = ESqlValue::Kind::Int;
    int parameter = 0;
    for (const std::int64_t each : values) {
        value.integer = each;
        statement->Bind(++parameter, value);
    }
    ESqlRow none;
    return statement->StepWalk(none) == ESqlStep::Row
               ? std::optional<std::int64_t>(statement->Column(0).integer)
               : std::nullopt;
}

bool ESqlTable::Ranges::Plan(State& state) {
    const std::size_t least = EReadAhead::LeastRecords();
    const std::int64_t first = state.AddressOf(state.walkPosition).number;
    const std::string key = Column(state.info);
    const std::string from = " FROM " + std::string(state.info.qualifiedName.View());
    // Nearly all tables are small, and are known as such at once.
    const std::size_t few = std::clamp<std::size_t>(least, 1, kSampleRows);
    const std::optional<std::int64_t> sampled = Ask(
        state,
        "SELECT " + key + from + " WHERE " + key + " > ?1 ORDER BY " + key + " LIMIT 1 OFFSET ?2",
        {first, static_cast<std::int64_t>(few) - 1});
    if (!sampled.has_value()) {
        return false;
    }
    const std::optional<std::int64_t> highest = Ask(state, "SELECT max(" + key + ')' + from);
    if (!highest.has_value()) {
        return false;
    }
    wanted_ = std::clamp<std::size_t>(least / 8, 1, kMostRows);
    // Where conditions leave few rows, the readers still share the table.
    constexpr std::uint64_t kShares = 64;
    constexpr std::uint64_t kMostWidth = std::uint64_t{1} << 62U;
    mostWidth_ = state.conditions.empty()
                     ? kMostWidth
                     : std::max<std::uint64_t>(Distance(first, *highest) / kShares, wanted_);
    return static_cast<double>(Distance(first, *highest)) /
               static_cast<double>(Distance(first, *sampled)) * static_cast<double>(few) >=
           static_cast<double>(least);
}

bool ESqlTable::Ranges::ReadsAll(State& state) {
    constexpr int kDetail = 3;
    if (state.conditions.empty()) {
        return true;
    }
    // Prepared each time: a plan isn't made again by itself when the schema has changed.
    const auto plan = state.connection->Prepare("EXPLAIN QUERY PLAN " + state.walkText);
    if (plan == nullptr) {
        return false;
    }
    ESqlRow none;
    ESqlStep step = ESqlStep::Done;
    while ((step = plan->StepWalk(none)) == ESqlStep::Row) {
        const ESqlValue detail = plan->Column(kDetail);
        if (detail.bytes != nullptr &&
            std::string_view(detail.bytes, detail.size).starts_with("SEARCH")) {
            return false;
        }
    }
    return step == ESqlStep::Done;
}

void ESqlTable::Ranges::Start(std::int64_t after) noexcept {
    at_ = after;
    width_ = wanted_;
    isAtEnd_ = false;
}

std::string ESqlTable::Ranges::SeekText(const ESqlTableInfo& info) {
    const std::string key = Column(info);
    return "SELECT " + key + " FROM " + info.qualifiedName.c_str() + " WHERE " + key +
           " > ?1 ORDER BY " + key + " LIMIT 1";
}

ESqlStep ESqlTable::Ranges::Next(ISqlStatement& seek, std::int64_t& after, std::int64_t& last) {
    if (isAtEnd_) {
        return ESqlStep::Done;
    }
    const SqlRun run(seek);
    ESqlValue value;
    value.kind = ESqlValue::Kind::Int;
    value.integer = at_;
    seek.Bind(1, value);
    ESqlRow none;
    const ESqlStep step = seek.StepWalk(none);
    if (step != ESqlStep::Row) {
        isAtEnd_ = step == ESqlStep::Done;
        return step;
    }
    after = seek.Column(0).integer - 1;
    last =
        Forward(after, std::min(width_, Distance(after, std::numeric_limits<std::int64_t>::max())));
    at_ = last;
    return step;
}

void ESqlTable::Ranges::NoteRows(std::uint64_t width, std::size_t rows) noexcept {
    if (width != width_) {
        return;  // another range has changed the width since this one was taken
    }
    if (rows * 2 < wanted_) {
        width_ = std::min(width_ * 2, mostWidth_);
    } else if (rows > wanted_ * 2) {
        width_ = std::max<std::uint64_t>(width_ / (rows / wanted_), 1);
    }
}

}  // namespace etabulon
