#include "SqliteFixture.h"
#include "etabulon/sql/ESqlText.h"
#include "etabulon/sql/UseColumns.h"
#include "etabulon/sqlite/LoadCsv.h"
#include "support/FaultVfs.h"

namespace etabulon {
namespace {
TEST(SqlCodes, AreAsciiAndGiveTheNameBack) {
    const std::pair<std::string, const char*> cases[] = {
        {"plain_1", "plain_1"}, {"août", "ao%C3%BBt"}, {"12", "%312"},    {"", "%00"},
        {"a b", "a%20b"},       {"%41", "%2541"},      {"x\"y", "x%22y"}, {"3;--", "%33%3B%2D%2D"},
        {"A.b>c", "A%2Eb%3Ec"}};
    for (const auto& [name, code] : cases) {
        EXPECT_STREQ(SqlCode(name).c_str(), code);
        std::string back = "?";
        EXPECT_TRUE(SqlNameOfCode(code, back)) << code;
        EXPECT_EQ(back, name);
    }
    std::string name;
    for (const char* const bad : {"%4", "%zz", "a-b", "1", "%61"}) {
        EXPECT_FALSE(SqlNameOfCode(bad, name)) << bad;
    }
    std::string statement;
    EXPECT_FALSE(SqlQuote(statement, std::string_view("a\0b", 3)));
}

class SqliteSchema : public SqliteTest {
protected:
    [[nodiscard]] const ESqlTableInfo& Info(const char* name) {
        const ESqlTableInfo* const info = source->FindTable(name);
        EXPECT_NE(info, nullptr) << name;
        return *info;
    }
};

TEST_F(SqliteSchema, GivesEachDeclaredTypeItsVariable) {
    std::vector<std::pair<const char*, int>> cases;
    const auto add = [&cases](int type, std::initializer_list<const char*> declared) {
        for (const char* const text : declared) {
            cases.emplace_back(text, type);
        }
    };
    add(TYPE_INT64, {"INTEGER", "bigint", "NUMERIC(9)"});
    add(TYPE_DOUBLE, {"REAL", "double precision", "NUMERIC", "NUMERIC(18,1)", "NUMERIC(30,2)",
                      "NUMERIC(10,6)", "whatever"});
    add(TYPE_DECIMAL64, {"NUMERIC(10,2)", "NUMERIC(18,2)"});
    add(TYPE_CURRENCY, {"decimal(12, 4)"});
    add(TYPE_BOOL, {"BOOLEAN"});
    add(TYPE_DATE, {"DATE"});
    add(TYPE_TIME, {"TIME"});
    add(TYPE_TIMESTAMP, {"TIMESTAMP", "datetime"});
    add(TYPE_CHAINE, {"VARCHAR(20)", ""});
    add(TYPE_BLOB, {"BLOB"});
    std::string columns;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        columns += (i > 0 ? ",c" : "c") + std::to_string(i) + ' ' + cases[i].first;
    }
    Run("CREATE TABLE t(" + columns + ")");
    Open();
    const ESqlTableInfo& info = Info("t");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(info.columns[i].type, cases[i].second) << cases[i].first;
        EXPECT_EQ(source->Rubric(info)->At(i)->Accelerator(), i + 1);
    }
}

TEST_F(SqliteSchema, TellsHowRowsAreAddressed) {
    Run("CREATE TABLE whole(id INTEGER PRIMARY KEY, a);"
        "CREATE TABLE quirk(id INTEGER PRIMARY KEY DESC, a);"
        "CREATE TABLE text(a, k TEXT PRIMARY KEY);"
        "CREATE TABLE pair(a INT, b INT, c, PRIMARY KEY(b, a)) WITHOUT ROWID;"
        "CREATE TABLE bare(a);"
        "CREATE TABLE hidden(rowid, _rowid_ TEXT);"
        "CREATE TABLE walled(rowid, _rowid_, oid);"
        "CREATE VIEW seen AS SELECT a FROM whole; CREATE VIEW broken AS SELECT x FROM gone;"
        "CREATE TABLE made(a INT, b INT AS (a * 2) STORED, c INT AS (a + 1))");
    Open();
    EXPECT_EQ(Info("whole").keyKind, ESqlKeyKind::Integer);
    EXPECT_EQ(Info("quirk").keyKind, ESqlKeyKind::Columns);
    EXPECT_EQ(Info("text").keyKind, ESqlKeyKind::Columns);
    EXPECT_EQ(Info("pair").keyKind, ESqlKeyKind::Columns);
    EXPECT_EQ(Info("pair").key, (std::vector<unsigned int>{1, 0}));
    EXPECT_EQ(Info("bare").keyKind, ESqlKeyKind::RowId);
    EXPECT_EQ(Info("hidden").rowIdName, "oid");
    EXPECT_EQ(Info("walled").keyKind, ESqlKeyKind::None);
    EXPECT_TRUE(Info("seen").isView);
    EXPECT_EQ(source->FindTable("broken"), nullptr);
    EXPECT_FALSE(Info("made").columns[0].generated);
    EXPECT_TRUE(Info("made").columns[1].generated);
    EXPECT_TRUE(Info("made").columns[2].generated);
}

TEST_F(SqliteSchema, NamesLinksByConstraintElseByColumn) {
    Run("CREATE TABLE home(id INTEGER PRIMARY KEY, name TEXT);"
        "CREATE TABLE pair(a INT, b INT, name TEXT, PRIMARY KEY(a, b));"
        "CREATE TABLE t(id INTEGER PRIMARY KEY,\n"
        " h1 INT REFERENCES home, -- CONSTRAINT no FOREIGN KEY\n"
        " h2 INT CONSTRAINT \"second, (home)\" REFERENCES home(id) ON DELETE CASCADE,\n"
        " x INT CONSTRAINT nn NOT NULL DEFAULT 0 REFERENCES home, y INT,\n"
        " CONSTRAINT both FOREIGN KEY(x, y) REFERENCES pair(a, b),\n"
        " FOREIGN KEY(x, y) REFERENCES pair(gone, b),\n"
        " FOREIGN KEY(y) REFERENCES nowhere(z))");
    Open();
    const DRubric* const rubric = source->Rubric(Info("t"));
    for (const char* const name : {"h1", "second%2C%20%28home%29", "x", "both"}) {
        EXPECT_NE(rubric->FindLink(name), nullptr) << name;
    }
    ASSERT_EQ(rubric->Links().size(), 4U);  // not those to nowhere
    EXPECT_EQ(rubric->FindLink("both")->target, source->Rubric(Info("pair")));
    EXPECT_EQ(rubric->FindLink("both")->variables, (std::vector<unsigned int>{3, 4}));
}

TEST_F(SqliteSchema, CountsRowsAndDistinctValues) {
    Run("CREATE TABLE t(a); INSERT INTO t VALUES(1),(1),(2),(NULL)");
    Open(ESqlOpenMode::ReadOnly);
    EXPECT_EQ(source->CountRows("t", error), 4);
    EXPECT_EQ(source->CountDistinct("t", "a", error), 2);
    EXPECT_EQ(source->CountDistinct("t", "b", error), -1);
    EXPECT_NE(error.text.Find('b'), Chaine::npos);
}

TEST_F(SqliteSchema, ReadsThroughLinksFromASubsetOfColumns) {
    Run("CREATE TABLE state(id INTEGER PRIMARY KEY, name TEXT);"
        "CREATE TABLE city(id INTEGER PRIMARY KEY, pad TEXT, name TEXT, state_id INT REFERENCES "
        "state);"
        "INSERT INTO state VALUES(1,'Texas'),(2,'Ohio');"
        "INSERT INTO city VALUES(1,'..','Dallas',1),(2,'..','Akron',2),(3,'..','Nowhere',NULL),"
        "(4,'..','Austin',1)");
    Open();
    ETabulonLevels levels;
    levels.AddLevel("State", "city.state_id>name", nullptr, false);
    const DRubric* const rubric = source->Rubric(Info("city"));
    ESqlTableOptions options;
    const ETabulonVariableID others[] = {"city.name[0]"};
    options.columns = UseColumns(levels, others, *rubric);
    EXPECT_EQ(options.columns, (std::vector<unsigned int>{0, 2, 3}));  // not the padding
    table = source->OpenTable("city", options, error);
    ASSERT_NE(table, nullptr);

    ETabulonCursorSql cursor;
    cursor.Init(levels, table.get(), false);
    EXPECT_EQ(Walked(cursor), "reset [] | Texas | Ohio |  | Texas");
}

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
    const std::pair<int, std::vector<const char*>> cases[] = {
        {TYPE_INT64,
         {"1\n-20\n\n", "+5\n", "1,5\n", "\"\"\n\"5\"\n", "1\n-9007199254740993\n2\n", "-0\n1\n"}},
        {TYPE_DOUBLE,
         {"1\n2.5\n", "1e3\n-0.5\n", "0\n0.5\n", ".097\n1.50\n", "9007199254740992\n+1.5\n",
          "1.\n-.5\n", "-0\n1.5\n"}},
        {TYPE_CHAINE,
         {"007\n1\n", "-01\n", "9223372036854775808\n", "nan\n", ".\n", "2023-02-29\n",
          "2024-01-01\n10:00\n", "true\n1\n", " 1\n", "+-1\n", "+01\n", "9007199254740993\n1.5\n",
          "1.5\n1\n9007199254740993\n"}},
        {TYPE_DATE, {"2024-02-29\n"}},
        {TYPE_TIMESTAMP, {"2024-01-01 10:00\n"}},
        {TYPE_TIME, {"10:00:59\n"}},
        {TYPE_BOOL, {"true\nFALSE\n"}}};
    for (const auto& [type, files] : cases) {
        for (const char* const cells : files) {
            const bool isTwo = std::string_view(cells).find(',') != std::string_view::npos;
            ASSERT_TRUE(Load(std::string(isTwo ? "a,b\n" : "a\n") + cells)) << error.text.c_str();
            EXPECT_EQ(Column(0).type, type) << cells;
        }
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
        {"", "single row"}};
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
    EXPECT_FALSE(Load("1;a\n", options));
    EXPECT_NE(error.text.View().find("already exists"), std::string_view::npos);
    options.replace = true;
    EXPECT_TRUE(Load("9;z\n", options));
    test::FaultVfs vfs;
    test::FaultVfs::Fault full{test::FaultVfs::kWrite, 1, SQLITE_FULL};
    full.files = SQLITE_OPEN_MAIN_DB;  // written to as soon as the rows overflow the cache
    vfs.Arm(full);
    std::string rows;
    for (int row = 0; row < 100000; ++row) {
        rows += "1;" + std::string(40, 'x') + '\n';
    }
    EXPECT_FALSE(Load(rows, options));
    vfs.Disarm();
    EXPECT_NE(error.text.View().find("is full"), std::string_view::npos) << error.text.c_str();
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
