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

/// Edits of a table as they were asked for, and the script that they make.
///
/// Ownership  the table's dictionary isn't owned and must outlive this.
class CliEdits {
public:
    explicit CliEdits(const CliTable& table) : levels_(table) {}

    /// Adds levels, as --levels lists them.
    [[nodiscard]] CliResult<> AddLevels(std::string_view text) { return levels_.Add(text); }
    /// Levels that only the place names are levels too.
    [[nodiscard]] CliResult<> AddLevelsOf(const CliEditChoice& edit) {
        return levels_.AddPlaces(edit.places);
    }
    /// Appends the edit to the script. Requires all levels: an insert is at one value of each, NULL
    /// where its place doesn't tell.
    [[nodiscard]] CliResult<> Append(const CliEditChoice& edit);

    [[nodiscard]] const CliLevels& Levels() const noexcept { return levels_; }
    [[nodiscard]] const ETabulonPendingChanges& Changes() const noexcept { return changes_; }
    /// What the updates change.
    [[nodiscard]] const std::vector<CliVariable>& Columns() const noexcept { return columns_; }

    /// The lines of the script in normal form, as ParseScript reads them: an edit each.
    [[nodiscard]] std::vector<std::string> ScriptLines() const;
    /// The levels as --levels reads them.
    [[nodiscard]] std::string WrittenLevels() const;
    /// A place as edits have it: `level=value`, separated by commas.
    [[nodiscard]] std::string WrittenPlace(const ETabulonTag& place) const;
    /// What shows that a level or a value of an edited record comes from another table: that is
    /// read for the record as it is in the table.
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
    /// The save writes it: it is of the table, and not calculated.
    [[nodiscard]] bool IsWritten(const CliVariable& variable) const;
    [[nodiscard]] CliResult<> CheckWritten(const CliVariable& variable,
                                           std::string_view what) const;

    CliLevels levels_;
    std::vector<CliVariable> columns_;
    ETabulonPendingChanges changes_;
};

}  // namespace etabulon
