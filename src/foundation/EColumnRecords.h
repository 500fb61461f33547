#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EData.h"
#include "foundation/EColumn.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace etabulon {

/// The columns of a table in columns, and the positions and keys of its records. A record is
/// identified by its number, from 0 in the order of loading.
///
/// Threads  once it is filled, any number of threads may read it.
class EColumnRecords {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    /// Where the key is.
    enum class Key : std::uint8_t {
        None = 0,
        Columns = 1,   // in keyColumns
        Position = 2,  // the key of one 64-bit number that the position is made of
    };

    EFieldSet layout;  // without a buffer
    DDicoBase* node = nullptr;
    std::vector<std::unique_ptr<EColumn>> columns;  // of the fields, and of other parts of the key
    Key keyForm = Key::None;
    std::vector<unsigned int> keyColumns;

    [[nodiscard]] std::size_t Count() const noexcept { return count_; }
    [[nodiscard]] EPosition PositionOf(std::size_t record) const noexcept {
        return positions_.empty() ? first_ + static_cast<EPosition>(record) : positions_[record];
    }
    /// The record at a position, or kNone.
    [[nodiscard]] std::size_t Find(EPosition position) const;
    void AppendPosition(EPosition position);
    /// The key that a position stands for, where the key is one whole number: negative numbers have
    /// positions one lower, since -1 is none.
    [[nodiscard]] static std::int64_t KeyOfPosition(EPosition position) noexcept {
        return position >= 0 ? position : position + 1;
    }
    void End();
    [[nodiscard]] std::size_t Bytes() const noexcept;

private:
    std::size_t count_ = 0;
    EPosition first_ = 0;
    std::vector<EPosition> positions_;  // empty while they are consecutive
    bool areRising_ = true;
    mutable std::once_flag ordering_;
    mutable std::vector<std::size_t> order_;  // of positions that don't rise: records by position
};

}  // namespace etabulon
