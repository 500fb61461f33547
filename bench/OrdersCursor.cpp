#include "bench/OrdersCursor.h"

#include "bench/Orders.h"
#include "bench/RatioBench.h"
#include "etabulon/sql/UseColumns.h"

namespace etabulon::bench {

OrdersCursor::OrdersCursor(std::int64_t rows, const char* table,
                           const std::vector<const char*>& levels,
                           const std::vector<const char*>& others) {
    ESqlError error;
    source_ = ESqliteSource::Open(Chaine(OrdersFile(rows).c_str()), ESqlOpenMode::ReadOnly, error);
    Require(source_ != nullptr, error.text.c_str());
    ETabulonLevels available;
    for (const char* level : levels) {
        available.AddLevel(level, level, nullptr, /*addRef=*/false);
    }
    std::vector<ETabulonVariableID> variables;
    for (const char* other : others) {
        variables.emplace_back(other);
    }
    const DRubric& rubric = *source_->Rubric(*source_->FindTable(table));
    std::unique_ptr<ESqlTable> opened =
        source_->OpenTable(table, {UseColumns(available, variables, rubric)}, error);
    Require(opened != nullptr, error.text.c_str());
    cursor_.Init(available, opened.release(), /*ownsTable=*/true);
}

}  // namespace etabulon::bench
