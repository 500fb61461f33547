#include "apps/etabulon/request/CliTable.h"

#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliTables.h"

namespace etabulon {

CliTables& CliTable::Source() const noexcept { return dictionary_->Source(); }

const DRubric& CliTable::Rubric() const { return Source().Rubric(*info_); }

CliResult<CliVariable> CliTable::FindVariable(const CliPath& path) const {
    return dictionary_->FindVariable(*info_, path);
}

CliResult<std::vector<CliVariable>> CliTable::FindVariables(
    const std::vector<CliPath>& paths) const {
    std::vector<CliVariable> variables;
    for (const CliPath& path : paths) {
        CliResult<CliVariable> variable = FindVariable(path);
        if (!variable) {
            return variable.Failure();
        }
        variables.push_back(std::move(*variable));
    }
    return variables;
}

CliVariable CliTable::VariableOf(const ESqlColumn& column) const {
    return dictionary_->VariableOf(*info_, column);
}

}  // namespace etabulon
