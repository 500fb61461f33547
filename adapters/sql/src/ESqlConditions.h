#pragma once

#include "etabulon/cursors/EFilter.h"
#include "etabulon/sql/ESqlEngine.h"
#include "etabulon/sql/ESqlSchema.h"

#include <span>
#include <string>
#include <vector>

namespace etabulon {

class ETabulonValue;

/// A value to bind.
struct ESqlBound {
    ESqlValue value;  // its bytes are in `bytes`
    std::string bytes;
};

/// A condition of a walk: `start`, parameters for the values with `between` between them, `end`.
struct ESqlCondition {
    std::string start;
    std::vector<ESqlBound> values;
    std::string between = ",";
    std::string end;
    bool isTest = false;  // of a filter
};

/// " WHERE" all conditions, or nothing. The parameters count from ?1.
[[nodiscard]] std::string SqlWhere(std::span<const ESqlCondition> conditions);
[[nodiscard]] int CountSqlParameters(std::span<const ESqlCondition> conditions) noexcept;
void BindSqlConditions(std::span<const ESqlCondition> conditions, ISqlStatement& statement);

// False if SQL might decide more strictly than variants do.
/// The condition that a column equals `value`; a null value means missing.
[[nodiscard]] bool MakeSqlCondition(const ESqlTableInfo& info, unsigned int column,
                                    const ETabulonValue& value, ESqlCondition& condition);
/// The condition that a column passes a test of a filter.
[[nodiscard]] bool MakeSqlTest(const ESqlTableInfo& info, unsigned int column,
                               const EFilter::Node& test, ESqlCondition& condition);

}  // namespace etabulon
