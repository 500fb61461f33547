#pragma once

#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/pending/ETabulonPendingChanges.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// The edits of a table that the user asked for, and the script of changes made from them.
///
/// Ownership  the table's dictionary isn't owned and must outlive this.
class CliEdits {
public:
    explicit CliEdits(const CliTable& table) : levels_(table) {}

    /// Adds levels, as --levels lists them.
    [[nodiscard]] CliResult<> AddLevels(std::string_view text) { return levels_.Add(text); }
    /// Adds the levels that only the edit's place names.
    [[nodiscard]] CliResult<> AddLevelsOf(const CliEditChoice& edit) {
        return levels_.AddPlaces(edit.places);
    }
    /// Appends the edit to the script. Requires that all levels are added: an insert takes a value
    /// for each, NULL for a level that its place doesn't name.
    [[nodiscard]] CliResult<> Append(const CliEditChoice& edit);

    [[nodiscard]] const CliLevels& Levels() const noexcept { return levels_; }
    [[nodiscard]] const ETabulonPendingChanges& Changes() const noexcept { return changes_; }
    /// The columns that the updates change.
    [[nodiscard]] const std::vector<CliVariable>& Columns() const noexcept { return columns_; }

    /// The script in normal form, an edit a line, as ParseScript reads it.
    [[nodiscard]] std::vector<std::string> ScriptLines() const;
    /// The levels in the form that --levels reads.
    [[nodiscard]] std::string WrittenLevels() const;
    /// A place in the form that edits use: `level=value`, separated by commas.
    [[nodiscard]] std::string WrittenPlace(const ETabulonTag& place) const;
    /// An edit changes a column that a link starts at. A view reads linked values for the record as
    /// the table has it.
    [[nodiscard]] bool ChangesLinks() const;

private:
    [[nodiscard]] const CliTable& Table() const noexcept { return levels_.Table(); }
    [[nodiscard]] CliResult<ETabulonTag> MakePlace(const CliEditChoice& edit) const;
    [[nodiscard]] CliResult<> AppendSet(const CliEditChoice& edit, const ETabulonTag& place);
    [[nodiscard]] CliResult<> AppendInsert(ETabulonTag& place);
    [[nodiscard]] CliResult<> CheckSuperseded(CliEditKind kind, const ETabulonTag& place,
                                              const CliVariable* column) const;
    [[nodiscard]] std::vector<unsigned int> LevelsOf(
        const ETabulonPendingChanges::Change& change) const;
    [[nodiscard]] std::string Written(const ETabulonPendingChanges::Change& change) const;
    [[nodiscard]] std::string Written(const ETabulonPendingChanges::Change& change,
                                      const std::vector<unsigned int>& levels) const;
    [[nodiscard]] std::string WrittenPlace(const ETabulonTag& place,
                                           const std::vector<unsigned int>& levels) const;
    /// A save can write the variable: a column of the table that the database doesn't calculate.
    [[nodiscard]] bool IsWritten(const CliVariable& variable) const;
    [[nodiscard]] CliResult<> CheckWritten(const CliVariable& variable,
                                           std::string_view what) const;

    CliLevels levels_;
    std::vector<CliVariable> columns_;
    ETabulonPendingChanges changes_;
};

}  // namespace etabulon
