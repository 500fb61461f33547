#pragma once

#include "etabulon/sql/ESqlRow.h"

#include <cstddef>
#include <span>
#include <vector>

namespace etabulon {

class DRubric;

/// A record of a table's whole rubric, for a table that opened only some columns: links read
/// foreign keys at their offsets in such a record. Its slots borrow the texts of the table's own
/// record.
class ESqlLinkRecord {
public:
    /// Makes a blank record for the links from and to the rubric. `columns` are those that the
    /// table opened, `cells` their places in its own record.
    void Make(const DRubric& rubric, std::span<const unsigned int> columns,
              std::span<const ESqlCell> cells);
    /// Copies the linked columns from the table's own record.
    void Mirror(const void* record) noexcept;
    /// Null before Make.
    [[nodiscard]] std::byte* Get() noexcept { return record_.empty() ? nullptr : record_.data(); }

private:
    struct Column {
        std::size_t from;
        std::size_t to;
        std::size_t size;
    };
    std::vector<std::byte> record_;
    std::vector<Column> columns_;
};

}  // namespace etabulon
