#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataTable.h"
#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/ESqlSchema.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

class ECsvTable;
class EJsonTable;
class ESqlSource;

/// The tables of an opened SOURCE: those of a database, or the one of a file of text.
///
/// Ownership  outlives the tables that it opens, which use its dictionary.
/// Threads    OpenTable and the counts may be called from any thread.
class CliTables {
public:
    virtual ~CliTables() = default;

    [[nodiscard]] virtual std::span<const ESqlTableInfo> Tables() const noexcept = 0;
    [[nodiscard]] virtual DDico& Dico() noexcept = 0;
    /// Null for a file of text, which has no links.
    [[nodiscard]] virtual ESqlSource* Database() noexcept = 0;
    /// For messages.
    [[nodiscard]] virtual const Chaine& Location() const noexcept = 0;
    /// A table with these variables, by index, as its fields; null with `error`.
    [[nodiscard]] virtual std::unique_ptr<EDataTable> OpenTable(
        const ESqlTableInfo& table, const std::vector<unsigned int>& variables,
        ESqlError& error) = 0;
    /// -1 with `error`.
    [[nodiscard]] virtual std::int64_t CountRows(const ESqlTableInfo& table, ESqlError& error) = 0;
    /// The number of distinct values of a variable without NULL; -1 with `error`.
    [[nodiscard]] virtual std::int64_t CountDistinct(const ESqlTableInfo& table,
                                                     unsigned int variable, ESqlError& error) = 0;

    /// How many times or timestamps of a variable were cut to milliseconds when the source was read
    /// into memory. A database tells of them at each walk (ESqlTable::Misreads).
    [[nodiscard]] virtual std::uint64_t CutCount(unsigned int /*variable*/) const { return 0; }

    [[nodiscard]] const DRubric& Rubric(const ESqlTableInfo& table) {
        return *Dico().Find(table.code);
    }
};

[[nodiscard]] std::unique_ptr<CliTables> TablesOf(std::unique_ptr<ESqlSource> source);
[[nodiscard]] std::unique_ptr<CliTables> TablesOf(std::unique_ptr<ECsvTable> file);
[[nodiscard]] std::unique_ptr<CliTables> TablesOf(std::unique_ptr<EJsonTable> file);

}  // namespace etabulon
