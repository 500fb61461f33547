#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlEngine.h"
#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/sql/ESqlTable.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace etabulon {

namespace detail {
struct SqlSourceCore;
}

enum class ESqlOpenMode : std::uint8_t {
    ReadOnly = 0,   // changes no byte of the database
    ReadWrite = 1,  // the database must exist; it isn't created
};

/// A database: its location, the mode it was opened in, and the dictionary read from its schema.
///
/// Each table or view becomes a rubric, and each column a variable, whose accelerator is the
/// column's number in its table, from 1. Codes are SqlCode of the names, with a suffix _2, _3... if
/// codes differ only by case; headers are the names themselves. Foreign keys become links, and each
/// rubric is a link target.
///
/// Ownership  outlives the tables, cursors and link lookups made from it. After its end their
///            steps, reads and writes fail with DataConnectionLost and a text that names the
///            source; the dictionary stays until the last of them goes.
/// Threads    OpenTable, the counts and link lookups may be called from any thread; each table has
///            a connection of its own, which links from its records share. A lookup without a table
///            has its own connection too.
/// Schema     read once; after a change of schema statements fail until the source is opened again.
/// Example    examples/database.cpp
class ETABULON_API ESqlSource {
public:
    ESqlSource(const ESqlSource&) = delete;
    ESqlSource& operator=(const ESqlSource&) = delete;
    virtual ~ESqlSource();

    [[nodiscard]] DDico* Dico() noexcept;
    [[nodiscard]] const DDico* Dico() const noexcept;
    /// The tables and views in the order of their names; the same order as the dictionary's
    /// rubrics.
    [[nodiscard]] std::span<const ESqlTableInfo> Tables() const noexcept;
    /// Finds a table by rubric code, otherwise by its name in the database; null if there is none.
    [[nodiscard]] const ESqlTableInfo* FindTable(const Chaine& codeOrName) const;
    [[nodiscard]] DRubric* Rubric(const ESqlTableInfo& table);
    [[nodiscard]] ESqlOpenMode Mode() const noexcept;
    /// The database's name for messages, without a password.
    [[nodiscard]] const Chaine& Location() const noexcept;

    /// Opens a table on a new connection; null with `error`.
    [[nodiscard]] std::unique_ptr<ESqlTable> OpenTable(const Chaine& codeOrName,
                                                       const ESqlTableOptions& options,
                                                       ESqlError& error);
    [[nodiscard]] std::unique_ptr<ESqlTable> OpenTable(const Chaine& codeOrName, ESqlError& error) {
        return OpenTable(codeOrName, ESqlTableOptions{}, error);
    }
    /// The number of rows; -1 with `error`.
    [[nodiscard]] std::int64_t CountRows(const Chaine& codeOrName, ESqlError& error);
    /// The number of distinct values of a column, by code or name; NULL isn't counted. -1 with
    /// `error`.
    [[nodiscard]] std::int64_t CountDistinct(const Chaine& codeOrName, const Chaine& column,
                                             ESqlError& error);

    /// The columns behind links of which a value had another type and was read as missing, since
    /// the last ForgetMisreadLinks: "'column' of table 'table'", separated by commas.
    [[nodiscard]] Chaine MisreadLinks() const;
    /// Those of which a lookup cut a time or timestamp to milliseconds.
    [[nodiscard]] Chaine CutLinks() const;
    /// Empties both lists.
    void ForgetMisreadLinks();

    /// A new connection to the same database in the same mode; null with `error`.
    [[nodiscard]] virtual std::unique_ptr<ISqlConnection> Connect(ESqlError& error) = 0;
    /// What this source shares with its tables.
    [[nodiscard]] const std::shared_ptr<detail::SqlSourceCore>& Core() const noexcept {
        return core_;
    }

protected:
    ESqlSource(const Chaine& location, ESqlOpenMode mode);
    /// Makes the dictionary of the schema: codes, keys, links, link sources. CountRows and
    /// CountDistinct use the connection.
    void BuildDictionary(std::vector<ESqlTableInfo> tables,
                         std::unique_ptr<ISqlConnection> connection);

private:
    void GiveCodes();
    void AddRubrics();
    void AddLinks();
    [[nodiscard]] std::int64_t AskNumber(const std::string& statement, ESqlError& error);

    std::shared_ptr<detail::SqlSourceCore> core_;
    std::mutex lock_;
    std::unique_ptr<ISqlConnection> connection_;  // guarded by lock_
};

}  // namespace etabulon
