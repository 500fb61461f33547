#include "SqliteFixture.h"
#include "support/TableCursorSuite.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon::test {
namespace {

std::string Literal(const EVariant& value) {
    if (value.IsMissing()) {
        return "NULL";
    }
    const std::string text(value.AsChaine().View());
    return TypeInfo(value.Type()).valueClass == EValueClass::Text ? '\'' + text + '\'' : text;
}

std::string Joined(const std::vector<Chaine>& names) {
    std::string list;
    for (const Chaine& name : names) {
        list += list.empty() ? "" : ",";
        list += name.View();
    }
    return list;
}

/// Tables in a database file with a write-ahead log: with a rollback journal nobody could write
/// while a walk stands in mid-table. `options` stands behind each CREATE TABLE.
class SqliteFactory : public TableFactory {
public:
    explicit SqliteFactory(const char* options) : options_(options) {
        std::string pattern = (std::filesystem::temp_directory_path() / "etabulon-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
    }
    ~SqliteFactory() override {
        sources_.clear();
        std::error_code failure;
        std::filesystem::remove_all(folder_, failure);
    }
    void Make(const TableSchema& schema, const TableRows& rows) override {
        std::string text =
            std::string("PRAGMA journal_mode=WAL; CREATE TABLE \"") + schema.name + "\"(";
        for (const TableSchema::Column& column : schema.columns) {
            text +=
                std::string(column.name) + (column.type == TYPE_CHAINE ? " TEXT," : " INTEGER,");
        }
        for (const TableSchema::Link& link : schema.links) {
            text += std::string("CONSTRAINT ") + link.name + " FOREIGN KEY(" +
                    Joined(link.variables) + ") REFERENCES " + link.target + ',';
        }
        text += "PRIMARY KEY(" + Joined(schema.key) + "))" + options_ + ';';
        for (const std::vector<EVariant>& row : rows) {
            std::string values;
            for (const EVariant& value : row) {
                values += (values.empty() ? "" : ",") + Literal(value);
            }
            text += std::string("INSERT INTO \"") + schema.name + "\" VALUES(" + values + ");";
        }
        sqlite3* database = nullptr;
        sqlite3_open(Path().c_str(), &database);
        EXPECT_EQ(sqlite3_exec(database, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
        isRead_ = false;
    }
    std::unique_ptr<EDataTable> Open(const char* name) override {
        ESqlError error;
        if (!isRead_) {  // tables of the schema before stay open
            sources_.push_back(ESqliteSource::Open(Path().c_str(), ESqlOpenMode::ReadWrite, error));
            isRead_ = true;
        }
        auto table = sources_.back()->OpenTable(name, error);
        EXPECT_NE(table, nullptr) << error.text.c_str();
        return table;
    }

private:
    [[nodiscard]] std::string Path() const { return folder_ / "suite.db"; }

    const char* options_;
    std::filesystem::path folder_;
    bool isRead_ = false;
    std::vector<std::unique_ptr<ESqliteSource>> sources_;
};

INSTANTIATE_TEST_SUITE_P(Sqlite, TableCursorSuite, ::testing::Values(TableMaker([] {
                             return std::make_unique<SqliteFactory>("");
                         })));
INSTANTIATE_TEST_SUITE_P(SqliteWithoutRowId, TableCursorSuite, ::testing::Values(TableMaker([] {
                             return std::make_unique<SqliteFactory>("WITHOUT ROWID");
                         })));

}  // namespace
}  // namespace etabulon::test
