#pragma once

#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/sql/fwd.h"

#include <string>
#include <vector>

namespace etabulon {

class CliDictionary;
class CliTables;
class DRubric;
class DVariable;
struct ESqlColumn;

/// A variable that a path leads to.
struct CliVariable {
    std::string shown;  // a column's name, or the path as the user wrote it
    Chaine code;        // of a column, or a link path
    const DVariable* variable = nullptr;
    std::string written;     // the path in the form in which edits are printed; set by FindVariable
    bool isDerived = false;  // made from another variable: never written
};

/// A table of an opened source, together with the dictionary that knows the names in it.
///
/// Ownership  the dictionary isn't owned and must outlive this.
class CliTable {
public:
    CliTable(const CliDictionary& dictionary, const ESqlTableInfo& info) noexcept
        : dictionary_(&dictionary), info_(&info) {}

    [[nodiscard]] const CliDictionary& Dictionary() const noexcept { return *dictionary_; }
    [[nodiscard]] const ESqlTableInfo& Info() const noexcept { return *info_; }
    [[nodiscard]] CliTables& Source() const noexcept;
    [[nodiscard]] const DRubric& Rubric() const;

    /// The variable that a path leads to from this table.
    [[nodiscard]] CliResult<CliVariable> FindVariable(const CliPath& path) const;
    [[nodiscard]] CliResult<std::vector<CliVariable>> FindVariables(
        const std::vector<CliPath>& paths) const;
    /// A column of the table itself.
    [[nodiscard]] CliVariable VariableOf(const ESqlColumn& column) const;

private:
    const CliDictionary* dictionary_;
    const ESqlTableInfo* info_;
};

}  // namespace etabulon
