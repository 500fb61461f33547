#pragma once

#include "etabulon/csv/fwd.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataColumns.h"
#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/ESqlSchema.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace etabulon {

/// How a file of JSON lines is read.
struct EJsonReadOptions {
    /// Empty: the file's name without folder and extension.
    Chaine table = {};
    /// As ECsvReadOptions::goesOn.
    std::function<bool(std::uint64_t read, std::uint64_t of)> goesOn = nullptr;
};

/// A file of JSON lines (an object on each line, UTF-8) in memory, by columns.
///
/// The columns are the keys of all objects, in the order in which they first appear. A column gets
/// the type that all its values have: whole numbers, reals, booleans, and strings that are ISO
/// dates, times or timestamps; otherwise text. Whole numbers beyond 64 bits, or beyond 2^53 beside
/// reals, make their column text, as do reals too large for one. An object or an array is the text
/// of its JSON. null, and a key that an object doesn't have, are missing. A key that is empty, or
/// differs from another by nothing but case, gets a name as in a CSV file. Records have the number
/// of their object as position and key, from 1; blank lines don't count.
///
/// Ownership  outlives the tables that Open returns, which use its dictionary.
/// Threads    Open may be called from any thread; see EDataColumns for the tables.
/// Example    apps/etabulon/request/CliTables.cpp
class ETABULON_API EJsonTable {
public:
    /// Null with `error`, which names the line: what isn't JSON, or no object, a key that an object
    /// has twice, a file that another program writes to meanwhile, a cancel by `goesOn`.
    [[nodiscard]] static std::unique_ptr<EJsonTable> Read(ECsvInput& input,
                                                          const EJsonReadOptions& options,
                                                          ESqlError& error);
    EJsonTable(const EJsonTable&) = delete;
    EJsonTable& operator=(const EJsonTable&) = delete;
    ~EJsonTable();

    /// Whether a file that begins with these bytes has an object on its first line.
    [[nodiscard]] static bool IsBegun(std::string_view start) noexcept;

    /// A dictionary with one rubric: codes are SqlCode of the names, numbers count from 1.
    [[nodiscard]] DDico* Dico() noexcept { return &dico_; }
    /// What a database with the file as its only table would say of it.
    [[nodiscard]] const ESqlTableInfo& Info() const noexcept { return info_; }
    [[nodiscard]] const Chaine& Location() const noexcept { return path_; }
    /// How many times or timestamps of a column (by index) were cut to milliseconds.
    [[nodiscard]] std::uint64_t CutCount(unsigned int column) const { return cuts_[column]; }
    /// A table of all fields, or of some, by index. Not the same object twice.
    [[nodiscard]] std::unique_ptr<EDataColumns> Open() const;
    [[nodiscard]] std::unique_ptr<EDataColumns> Open(std::span<const unsigned int> fields) const;

private:
    class Reader;
    explicit EJsonTable(const Chaine& path) : path_(path) {}

    Chaine path_;
    DDico dico_;
    ESqlTableInfo info_;
    std::vector<std::uint64_t> cuts_;  // by column
    std::unique_ptr<EDataColumns> columns_;
};

}  // namespace etabulon
