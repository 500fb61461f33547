#pragma once

#include "etabulon/csv/ECsvFormat.h"
#include "etabulon/csv/ECsvHint.h"
#include "etabulon/csv/fwd.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataColumns.h"
#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/ESqlSchema.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

/// How a CSV file is written, and how it is read.
struct ECsvReadOptions : ECsvFormat {
    /// Empty: the file's name without folder and extension.
    Chaine table;
    /// Asked at each piece of the file (256 KiB) with the bytes that were read, and those that the
    /// file had when it was opened, packed ones where gzip packed it; false ends the read with
    /// kDataInterrupted. Where only the whole file tells a column's type, its cells are read by a
    /// second pass, which counts from 0 again. May be empty.
    std::function<bool(std::uint64_t read, std::uint64_t of)> goesOn = nullptr;
};

/// A CSV file (RFC 4180, UTF-8 with or without a byte order mark, packed by gzip or not) in memory,
/// by columns.
///
/// A column gets the type that all its cells have: whole numbers, reals, ISO dates, times and
/// timestamps, true/false; otherwise text. +5, -0 and .097 are numbers. A cell that a number
/// wouldn't reproduce makes its column text: leading zeros (007), ten digits and more behind a
/// plus, which are phone numbers, separators between thousands, whole numbers beyond 64 bits, or
/// beyond 2^53 beside reals. An empty cell is missing; a quoted empty cell is an empty text in a
/// text column, and missing in others. Columns without a name are column1, column2...; a repeated
/// `name` becomes name_2. Records have their number in the file as position and key, from 1.
///
/// Ownership  outlives the tables that Open returns, which use its dictionary.
/// Threads    Open may be called from any thread; see EDataColumns for the tables.
/// Example    apps/etabulon/request/CliTables.cpp
class ETABULON_API ECsvTable {
public:
    /// Null with `error`, which names the line: rows of different lengths, bad quoting, a missing
    /// or damaged file, one that another program writes to meanwhile, a cancel by `goesOn`.
    [[nodiscard]] static std::unique_ptr<ECsvTable> Read(const Chaine& path,
                                                         const ECsvReadOptions& options,
                                                         ESqlError& error);
    /// The same of an opened file, from its first byte on.
    [[nodiscard]] static std::unique_ptr<ECsvTable> Read(ECsvInput& input,
                                                         const ECsvReadOptions& options,
                                                         ESqlError& error);
    ECsvTable(const ECsvTable&) = delete;
    ECsvTable& operator=(const ECsvTable&) = delete;
    ~ECsvTable();

    /// A dictionary with one rubric: codes are SqlCode of the names, numbers count from 1.
    [[nodiscard]] DDico* Dico() noexcept { return &dico_; }
    /// What a database with the file as its only table would say of it.
    [[nodiscard]] const ESqlTableInfo& Info() const noexcept { return info_; }
    [[nodiscard]] const Chaine& Location() const noexcept { return path_; }
    /// How many times or timestamps of a column (by index) were cut to milliseconds.
    [[nodiscard]] std::uint64_t CutCount(unsigned int column) const { return cuts_[column]; }
    /// Columns that another notation would read as numbers or dates: an application that guesses
    /// none tells of them.
    [[nodiscard]] std::span<const ECsvHint> Hints() const noexcept { return hints_; }
    /// A table of all fields, or of some, by index. Not the same object twice.
    [[nodiscard]] std::unique_ptr<EDataColumns> Open() const;
    [[nodiscard]] std::unique_ptr<EDataColumns> Open(std::span<const unsigned int> fields) const;

private:
    class Reader;
    explicit ECsvTable(const Chaine& path) : path_(path) {}

    Chaine path_;
    DDico dico_;
    ESqlTableInfo info_;
    std::vector<std::uint64_t> cuts_;  // by column
    std::vector<ECsvHint> hints_;
    std::unique_ptr<EDataColumns> columns_;
};

}  // namespace etabulon
