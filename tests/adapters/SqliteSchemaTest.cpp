#include "SqliteFixture.h"
#include "etabulon/sql/ESqlText.h"
#include "etabulon/sql/UseColumns.h"

namespace etabulon {
namespace {

TEST(SqlCodes, AreAsciiAndGiveTheNameBack) {
    const std::pair<std::string, const char*> cases[] = {
        {"plain_1", "plain_1"}, {"août", "ao%C3%BBt"}, {"12", "%312"},    {"", "%00"},
        {"a b", "a%20b"},       {"%41", "%2541"},      {"x\"y", "x%22y"}, {"3;--", "%33%3B%2D%2D"},
        {"A.b>c", "A%2Eb%3Ec"},
    };
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
    const std::pair<const char*, int> cases[] = {
        {"INTEGER", TYPE_INT64},
        {"bigint", TYPE_INT64},
        {"REAL", TYPE_DOUBLE},
        {"double precision", TYPE_DOUBLE},
        {"NUMERIC", TYPE_DOUBLE},
        {"NUMERIC(10,2)", TYPE_DECIMAL64},
        {"decimal(12, 4)", TYPE_CURRENCY},
        {"NUMERIC(18,2)", TYPE_DECIMAL64},
        {"NUMERIC(18,1)", TYPE_DOUBLE},
        {"NUMERIC(9)", TYPE_INT64},
        {"NUMERIC(30,2)", TYPE_DOUBLE},
        {"NUMERIC(10,6)", TYPE_DOUBLE},
        {"BOOLEAN", TYPE_BOOL},
        {"DATE", TYPE_DATE},
        {"TIME", TYPE_TIME},
        {"TIMESTAMP", TYPE_TIMESTAMP},
        {"datetime", TYPE_TIMESTAMP},
        {"VARCHAR(20)", TYPE_CHAINE},
        {"BLOB", TYPE_BLOB},
        {"", TYPE_CHAINE},
        {"whatever", TYPE_DOUBLE},
    };
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
    EXPECT_EQ(Info("pair").key, (std::vector<unsigned>{1, 0}));
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
        " FOREIGN KEY(y) REFERENCES nowhere(z))");
    Open();
    const DRubric* const rubric = source->Rubric(Info("t"));
    for (const char* const name : {"h1", "second%2C%20%28home%29", "x", "both"}) {
        EXPECT_NE(rubric->FindLink(name), nullptr) << name;
    }
    ASSERT_EQ(rubric->Links().size(), 4U);  // not the one to nowhere
    EXPECT_EQ(rubric->FindLink("both")->target, source->Rubric(Info("pair")));
    EXPECT_EQ(rubric->FindLink("both")->variables, (std::vector<unsigned>{3, 4}));
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
    const unsigned state = levels.AddLevel("State", "city.state_id>name", nullptr, false);
    const DRubric* const rubric = source->Rubric(Info("city"));
    ESqlTableOptions options;
    const ETabulonVariableID others[] = {"city.name"};
    options.columns = UseColumns(levels, others, *rubric);
    EXPECT_EQ(options.columns, (std::vector<unsigned>{0, 2, 3}));  // not the padding
    table = source->OpenTable("city", options, error);
    ASSERT_NE(table, nullptr);

    struct Names final : ETabulonCursor::INotifier, virtual ECountedUnknown {
        explicit Names(unsigned ofLevel) : level(ofLevel) {}
        CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
            return StatusOk;
        }
        CursorStatus OnMove(const ETabulonCursor& cursor) override {
            seen += cursor.CurrentTag().Value(level).DisplayValue().c_str();
            seen += '.';
            return StatusOk;
        }
        void OnDone(const ETabulonCursor&) override {}
        void OnCancel(const ETabulonCursor&) override {}
        void OnError(const ETabulonCursor&, CursorStatus) override {}
        unsigned level;
        std::string seen;
    };
    const auto names = MakeRef<Names>(state);
    ETabulonCursorSql cursor;
    cursor.Init(levels, table.get(), false);
    cursor.AddNotifier(names.Get());
    EXPECT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
    EXPECT_EQ(names->seen, "Texas.Ohio..Texas.");

    // A write of this process is seen at once, not after the rows that are kept have gone.
    const auto states = source->OpenTable("state", error);
    states->RePos(1, false);
    states->Fields()[Chaine("name")] <<= EVariant("Utah");
    ASSERT_EQ(states->Update(kNoPosition), 1);
    names->seen.clear();
    EXPECT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
    EXPECT_EQ(names->seen, "Utah.Ohio..Utah.");
}

}  // namespace
}  // namespace etabulon
