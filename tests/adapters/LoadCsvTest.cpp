#include "SqliteFixture.h"
#include "etabulon/sqlite/LoadCsv.h"

namespace etabulon {
namespace {

class CsvFile : public SqliteTest {
protected:
    CsvFile() : file(folder / "some cities.csv") {}
    bool Load(std::string_view text, const ECsvOptions& options = {}) {
        std::ofstream(file, std::ios::binary) << text;
        table.reset();
        source = LoadCsv(file.c_str(), options, error);
        if (source != nullptr) {
            table = source->OpenTable(source->Tables()[0].name, error);
        }
        return table != nullptr;
    }
    [[nodiscard]] const ESqlColumn& Column(std::size_t index) const {
        return source->Tables()[0].columns[index];
    }
    std::filesystem::path file;
};

TEST_F(CsvFile, GivesEachColumnTheTypeOfAllItsCells) {
    const std::pair<const char*, int> cases[] = {
        {"1\n-20\n\n", TYPE_INT64},
        {"1\n2.5\n", TYPE_DOUBLE},
        {"1e3\n-0.5\n", TYPE_DOUBLE},
        {"007\n1\n", TYPE_CHAINE},
        {"-01\n", TYPE_CHAINE},
        {"0\n0.5\n", TYPE_DOUBLE},
        {"9223372036854775808\n", TYPE_CHAINE},
        {"nan\n", TYPE_CHAINE},
        {"1,5\n", TYPE_INT64},
        {"+1\n", TYPE_CHAINE},
        {"2024-02-29\n", TYPE_DATE},
        {"2023-02-29\n", TYPE_CHAINE},
        {"2024-01-01 10:00\n", TYPE_TIMESTAMP},
        {"10:00:59\n", TYPE_TIME},
        {"2024-01-01\n10:00\n", TYPE_CHAINE},
        {"true\nFALSE\n", TYPE_BOOL},
        {"true\n1\n", TYPE_CHAINE},
        {"\"\"\n\"5\"\n", TYPE_INT64},
        {" 1\n", TYPE_CHAINE},
        {"1.\n.5\n", TYPE_CHAINE},
        {".097\n", TYPE_CHAINE},
        {"0.097\n1.50\n", TYPE_DOUBLE},
        {"9007199254740992\n1.5\n", TYPE_DOUBLE},
        {"1\n-9007199254740993\n2\n", TYPE_INT64},
        {"9007199254740993\n1.5\n", TYPE_CHAINE},
        {"1.5\n1\n9007199254740993\n", TYPE_CHAINE},
    };
    for (const auto& [cells, type] : cases) {
        const bool isTwo = std::string_view(cells).find(',') != std::string_view::npos;
        ASSERT_TRUE(Load(std::string(isTwo ? "a,b\n" : "a\n") + cells)) << error.text.c_str();
        EXPECT_EQ(Column(0).type, type) << cells;
    }
}

TEST_F(CsvFile, KeepsTextsAsTheyAreAndTellsEmptyFromMissing) {
    ASSERT_TRUE(
        Load("\xEF\xBB\xBFname,n,name,,Name\r\n"
             "\"a \"\"b\"\", c\r\nd\",1,,x,y\r\n"
             " \xC3\xBB ,,\"\",\xFF,z\r\n"
             "x,\"\",u,v,w"))
        << error.text.c_str();
    EXPECT_EQ(source->Tables()[0].name, Chaine("some cities"));
    EXPECT_EQ(Column(0).name, Chaine("name"));
    EXPECT_EQ(Column(2).name, Chaine("name_2"));
    EXPECT_EQ(Column(3).name, Chaine("column4"));
    EXPECT_EQ(Column(4).name, Chaine("Name_3"));
    EXPECT_EQ(Walk("name"), "a \"b\", c\r\nd| \xC3\xBB |x");
    EXPECT_EQ(Walk("n"), "1|NULL|NULL");
    EXPECT_EQ(Walk("name_2"), "NULL||u");
    EXPECT_EQ(Walk("column4"), "x|\xFF|v");
    EXPECT_EQ(FilesInFolder(), 1U);
}

TEST_F(CsvFile, ErrorsNameTheLineAndLeaveNothingBehind) {
    const std::pair<std::string, const char*> cases[] = {
        {"a,b\n1,2\n\n\"x\ny\",2\n3\n", "line 6: 1 cells where the first row has 2"},
        {"a,b\n1,\"2\n3\n4,5,6\n7\",8,9\n", "line 2: 4 cells"},
        {"a,b\n1,x\"y\n", "line 2: a quote"},
        {"a\n\"open\nend", "ends within quotes"},
        {"", "single row"},
    };
    for (const bool inMemory : {true, false}) {
        for (const auto& [text, sentence] : cases) {
            ECsvOptions options;
            options.database = inMemory ? "" : path.c_str();
            EXPECT_FALSE(Load(text, options)) << text;
            EXPECT_NE(error.text.View().find(sentence), std::string_view::npos)
                << error.text.c_str();
            EXPECT_FALSE(std::filesystem::exists(path));
        }
    }
    EXPECT_EQ(LoadCsv((folder / "none.csv").c_str(), {}, error), nullptr);
    EXPECT_NE(error.text.View().find("none.csv"), std::string_view::npos);
}

TEST_F(CsvFile, GoesIntoADatabaseFileBesideItsOtherTables) {
    Run("CREATE TABLE kept(a)");
    ECsvOptions options;
    options.database = path.c_str();
    options.table = "t\"x";
    options.separator = ';';
    options.header = false;
    ASSERT_TRUE(Load("1;a\n2;b\n", options)) << error.text.c_str();
    EXPECT_EQ(Ask("SELECT column1||column2 FROM \"t\"\"x\""), "1a|2b");
    EXPECT_FALSE(Load("1;a\n", options));  // there is one already
    options.replace = true;
    EXPECT_TRUE(Load("9;z\n", options));
    EXPECT_EQ(Ask("SELECT column1||column2 FROM \"t\"\"x\""), "9z");
    EXPECT_EQ(Ask("SELECT count(*) FROM kept"), "0");
}

TEST_F(CsvFile, InMemorySeveralTablesReadAndWriteTheSame) {
    ASSERT_TRUE(Load("id,a\n1,x\n2,y\n"));
    const auto second = source->OpenTable(source->Tables()[0].name, error);
    ASSERT_NE(second, nullptr);
    ASSERT_NE(second->GetFirst(), kNoPosition);
    ASSERT_NE(table->GetFirst(), kNoPosition);  // both at once
    second->EndWalk();
    SetText("a", "changed");
    ASSERT_NE(table->Update(kNoPosition), kNoPosition) << table->LastErrorText().c_str();
    second->RePos(second->position, false);
    EXPECT_EQ(second->Fields()[Chaine("a")].AsChaine(), Chaine("changed"));
    // Another load is another database.
    const auto other = LoadCsv(file.c_str(), {}, error);
    EXPECT_EQ(other->CountRows("some cities", error), 2);
}

}  // namespace
}  // namespace etabulon
