#include "bench/OrdersCursor.h"

#include "bench/Orders.h"
#include "bench/RatioBench.h"
#include "etabulon/cursors/LoadColumns.h"
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sql/UseColumns.h"

#include <map>
#include <string>
#include <string_view>

namespace etabulon::bench {

namespace {

std::unique_ptr<ETabulonCursorSql> OpenFile(ESqliteSource& source, const char* table,
                                            const ETabulonLevels& levels,
                                            std::vector<unsigned int> columns) {
    ESqlError error;
    std::unique_ptr<ESqlTable> opened = source.OpenTable(table, {std::move(columns)}, error);
    Require(opened != nullptr, error.text.c_str());
    auto cursor = std::make_unique<ETabulonCursorSql>();
    cursor->Init(levels, opened.release(), /*ownsTable=*/true);
    return cursor;
}

std::unique_ptr<ESqliteSource> OpenSource(const std::string& file) {
    ESqlError error;
    auto source = ESqliteSource::Open(Chaine(file.c_str()), ESqlOpenMode::ReadOnly, error);
    Require(source != nullptr, error.text.c_str());
    return source;
}

/// Loaded once for all benchmarks.
EDataColumns& Orders(std::int64_t rows) {
    static std::map<std::int64_t, std::unique_ptr<EDataColumns>> loaded;
    std::unique_ptr<EDataColumns>& columns = loaded[rows];
    if (columns == nullptr) {
        columns = LoadOrders(rows);
    }
    return *columns;
}

}  // namespace

OrdersCursor::OrdersCursor(std::int64_t rows, const char* table,
                           const std::vector<const char*>& levels,
                           const std::vector<const char*>& others, Held held) {
    ETabulonLevels available;
    for (const char* level : levels) {
        available.AddLevel(level, level, nullptr, /*addRef=*/false);
    }
    if (held == Held::InColumns) {
        auto cursor = std::make_unique<ETabulonCursorEData>();
        EDataColumns& orders = Orders(rows);
        std::vector<unsigned int> fields;
        for (const auto& names : {levels, others}) {
            for (const char* const name : names) {
                fields.push_back(static_cast<unsigned int>(orders.Fields().IndexOf(name)));
            }
        }
        cursor->Init(available, new EDataColumns(orders, fields), /*ownsTable=*/true);
        cursor_ = std::move(cursor);
        return;
    }
    const bool isDelivery = std::string_view(table) == "deliveries";
    source_ = OpenSource(isDelivery ? DeliveriesFile(rows) : OrdersFile(rows));
    std::vector<ETabulonVariableID> variables(others.begin(), others.end());
    const DRubric& rubric = *source_->Rubric(*source_->FindTable(table));
    cursor_ = OpenFile(*source_, table, available, UseColumns(available, variables, rubric));
}

std::unique_ptr<EDataColumns> LoadOrders(std::int64_t rows) {
    const auto source = OpenSource(OrdersFile(rows));
    ETabulonLevels levels;
    levels.AddLevel("country", "country", nullptr, /*addRef=*/false);
    const auto cursor = OpenFile(*source, "orders", levels, {});
    CursorStatus status = StatusOk;
    auto columns = LoadColumns(*cursor, ETabulonTag::Null, nullptr, status);
    Require(columns != nullptr && status == StatusOk, "loading the columns");
    return columns;
}

}  // namespace etabulon::bench
