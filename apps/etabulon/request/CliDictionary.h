#pragma once

#include "apps/etabulon/request/CliNames.h"
#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/sql/fwd.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace etabulon {

class DRubric;
struct DLink;
struct ESqlColumn;

/// Finds tables, columns and links by the names that they have in the database, and gives the codes
/// that the library knows them by. A name is looked for exactly, then with the case of ASCII
/// letters ignored, then as a code. A path that the library doesn't follow is refused.
///
/// Ownership  the source isn't owned and must outlive this and what it gives.
/// Threads    one at a time: the names of a table are gathered at the first look.
class CliDictionary {
public:
    explicit CliDictionary(ESqlSource& source);

    [[nodiscard]] ESqlSource& Source() const noexcept { return source_; }
    /// An empty name means the only table.
    [[nodiscard]] CliResult<CliTable> FindTable(const std::string& name) const;
    [[nodiscard]] CliResult<CliVariable> FindVariable(const ESqlTableInfo& table,
                                                      const CliPath& path) const;
    /// A column of the table itself.
    [[nodiscard]] CliVariable VariableOf(const ESqlTableInfo& table,
                                         const ESqlColumn& column) const;
    /// The table that a rubric stands for.
    [[nodiscard]] const ESqlTableInfo& TableOf(const DRubric& rubric) const;
    /// The name that paths call a link by.
    [[nodiscard]] static std::string NameOf(const DLink& link);

private:
    /// The way of a path, as far as it has been followed.
    struct Way {
        const ESqlTableInfo* here = nullptr;
        std::string code;
    };
    /// What the steps of a path may name in a table.
    struct Names {
        CliNames columns;
        CliNames links;  // by their place in the rubric
    };
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

    ESqlSource& source_;
    CliNames tables_;
    mutable std::unordered_map<const ESqlTableInfo*, Names> names_;
};

}  // namespace etabulon
