#pragma once

#include "apps/etabulon/request/CliDerivation.h"
#include "apps/etabulon/request/CliNames.h"
#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/fwd.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace etabulon {

class CliTables;
struct DLink;
struct ESqlColumn;

/// Translates the database's names of tables, columns and links to the codes that the library knows
/// them by. A lookup compares the name exactly, then without the case of ASCII letters, then as a
/// code. A path that the library can't follow is refused.
///
/// Ownership  the source isn't owned and must outlive the dictionary and all that it returns.
/// Threads    one at a time: the first lookup in a table indexes the table's names.
class CliDictionary {
public:
    explicit CliDictionary(CliTables& source);

    [[nodiscard]] CliTables& Source() const noexcept { return source_; }
    /// An empty name means the only table.
    [[nodiscard]] CliResult<CliTable> FindTable(const std::string& name) const;
    [[nodiscard]] CliResult<CliVariable> FindVariable(const ESqlTableInfo& table,
                                                      const CliPath& path) const;
    /// What a variable that FindVariable has returned is made from, by its code; null for any
    /// other.
    [[nodiscard]] const CliDerived* FindDerived(const Chaine& code) const;
    /// A column of the table itself.
    [[nodiscard]] CliVariable VariableOf(const ESqlTableInfo& table,
                                         const ESqlColumn& column) const;
    /// The table that a rubric stands for.
    [[nodiscard]] const ESqlTableInfo& TableOf(const DRubric& rubric) const;
    /// The name that paths call a link by.
    [[nodiscard]] static std::string NameOf(const DLink& link);

private:
    /// The followed part of a path: the table that it has reached, and its code.
    struct Way {
        const ESqlTableInfo* here = nullptr;
        std::string code;
    };
    /// The names in a table that steps of a path can use.
    struct Names {
        CliNames columns;
        CliNames links;  // by their index in the rubric
    };
    [[nodiscard]] CliResult<CliVariable> FindStored(const ESqlTableInfo& table,
                                                    const CliPath& path) const;
    /// The path means a variable that is made from a column.
    [[nodiscard]] bool IsDerived(const ESqlTableInfo& table, CliPath path) const;
    [[nodiscard]] CliResult<CliVariable> Derive(CliVariable base, const CliDerivation& derivation,
                                                const CliPath& path) const;
    [[nodiscard]] const Names& NamesIn(const ESqlTableInfo& table) const;
    [[nodiscard]] const ESqlTableInfo* LookUpTable(std::string_view name) const;
    [[nodiscard]] const ESqlColumn* LookUpColumn(const ESqlTableInfo& table,
                                                 std::string_view name) const;
    [[nodiscard]] const DLink* LookUpLink(const ESqlTableInfo& table, std::string_view name) const;
    [[nodiscard]] const DLink* LookUpLinkBack(const ESqlTableInfo& table, const ESqlTableInfo& from,
                                              std::string_view name) const;
    [[nodiscard]] CliResult<> TakeSteps(Way& way, std::vector<CliPathStep>& steps) const;
    [[nodiscard]] CliResult<> EnterStep(Way& way, CliPathStep& step, bool isBehindBackward) const;
    [[nodiscard]] CliResult<> GoForward(Way& way, const CliPathStep& step) const;
    [[nodiscard]] CliResult<> GoBackward(Way& way, const CliPathStep& step,
                                         const CliPathStep& next) const;
    [[nodiscard]] CliResult<> CheckLink(const DLink& link, const ESqlTableInfo& from) const;
    [[nodiscard]] CliFailure NoSuchColumn(const ESqlTableInfo& table,
                                          const std::string& name) const;

    CliTables& source_;
    CliNames tables_;
    mutable std::unordered_map<const ESqlTableInfo*, Names> names_;
    mutable std::unordered_map<std::string, CliDerived> derived_;  // by code
    mutable DDico derivedTypes_;  // one rubric, of the variables of derived_
};

}  // namespace etabulon
