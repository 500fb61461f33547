#pragma once

#include "apps/etabulon/request/CliFailure.h"
#include "apps/etabulon/request/CliNames.h"
#include "apps/etabulon/request/CliPath.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/sql/fwd.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace etabulon {

class DRubric;
class DVariable;
struct DLink;
struct ESqlColumn;

/// A variable that a path leads to.
struct CliVariable {
    std::string shown;  // a column's name, or the path as it was written
    Chaine code;        // of a column, or a link path
    const DVariable* variable = nullptr;
    std::string written;  // the path as it is to be written; of what FindVariable has found
};

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
    /// An empty name means the only table. Null with `failure`.
    [[nodiscard]] const ESqlTableInfo* FindTable(const std::string& name,
                                                 CliFailure& failure) const;
    [[nodiscard]] bool FindVariable(const ESqlTableInfo& table, const CliPath& path,
                                    CliVariable& variable, CliFailure& failure) const;
    [[nodiscard]] bool FindVariables(const ESqlTableInfo& table, const std::vector<CliPath>& paths,
                                     std::vector<CliVariable>& variables,
                                     CliFailure& failure) const;
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
    [[nodiscard]] bool EnterStep(Way& way, CliPathStep& step, bool isBehindBackward,
                                 CliFailure& failure) const;
    [[nodiscard]] bool GoForward(Way& way, const CliPathStep& step, CliFailure& failure) const;
    [[nodiscard]] bool GoBackward(Way& way, const CliPathStep& step, const CliPathStep& next,
                                  CliFailure& failure) const;
    [[nodiscard]] bool CheckLink(const DLink& link, const ESqlTableInfo& from,
                                 CliFailure& failure) const;
    bool NoSuchColumn(const ESqlTableInfo& table, const std::string& name,
                      CliFailure& failure) const;

    ESqlSource& source_;
    CliNames tables_;
    mutable std::unordered_map<const ESqlTableInfo*, Names> names_;
};

}  // namespace etabulon
