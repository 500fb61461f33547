#include "SqliteFixture.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "support/TableCursorSuite.h"

#include <algorithm>
#include <random>
#include <string_view>
#include <thread>

namespace etabulon::test {
namespace {
/// The cursor without a range: its filters alone.
class Unfiltered final : public ETabulonCursorSql {
public:
    CursorStatus SetKeyRange(const ETabulonTag&, EData* table) const override {
        static_cast<ESqlTable*>(table)->ClearRange();
        return StatusOk;
    }
    void PushFilter(const EFilter&, EData* table) const override {
        static_cast<ESqlTable*>(table)->ClearTests();
    }
};

class SqliteRange : public SqliteTest {
protected:
    template <class Cursor>
    std::string Browse(const ETabulonLevels& levels, const ETabulonTag& tag,
                       const EFilter& filter = {}) {
        Cursor cursor;
        cursor.Init(levels, table.get(), false);
        cursor.SetFilter(filter);
        const std::string walked = Walked(cursor, tag, "id");
        return walked.substr(0, walked.find(" | done"));  // which tells of no record at all
    }
    /// Every kind of value in every kind of column: SQLite takes them all.
    void MakeOddTable() {
        const char* const columns[] = {
            "i INTEGER", "r REAL",    "n NUMERIC",       "t TEXT", "c TEXT COLLATE NOCASE",
            "d DATE",    "b BOOLEAN", "m NUMERIC(10,2)", "f",      "s TIMESTAMP"};
        const char* const values[] = {"NULL",
                                      "0",
                                      "1",
                                      "-1",
                                      "1.0",
                                      "1.5",
                                      "12.34",
                                      "''",
                                      "'a'",
                                      "'A'",
                                      "'1'",
                                      "'1.0'",
                                      "x'61'",
                                      "2024",
                                      "'a '",
                                      "1e300",
                                      "255",
                                      "256",
                                      "9007199254740993",
                                      "9007199254740992",
                                      "9007199254740992.0",
                                      "'2024-01-02'",
                                      "'2024-01-02 00:00:00'",
                                      "'2024-01-02T00:00:00'"};
        std::string statements = "CREATE TABLE t(id INTEGER PRIMARY KEY";
        for (const char* const column : columns) {
            statements += std::string(",") + column;
        }
        statements += ");BEGIN;";
        for (int row = 1; row <= 600; ++row) {
            statements += "INSERT INTO t VALUES(" + std::to_string(row);
            for (std::size_t i = 0; i < std::size(columns); ++i) {
                statements += std::string(",") + values[random() % std::size(values)];
            }
            statements += ");";
        }
        Run(statements +
            "COMMIT; CREATE INDEX t_i ON t(i); CREATE INDEX t_t ON t(t);"
            "CREATE VIEW v AS SELECT * FROM t");
    }
    std::mt19937 random{7};
};

TEST_F(SqliteRange, IsNeverNarrowerThanTheFilter) {
    MakeOddTable();
    for (const char* const name : {"t", "v"}) {
        OpenTable(name, {}, ESqlOpenMode::ReadOnly);
        const DRubric& rubric = table->Rubric();
        ETabulonLevels levels;
        for (std::size_t i = 0; i < rubric.Size(); ++i) {
            Chaine code(rubric.Name());
            code.Append('.');
            code += rubric.At(i)->Name();
            levels.AddLevel(code, code, nullptr, false);
        }
        std::vector<ETabulonTag> tags;
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            for (unsigned int level = 1; level < levels.Size() && tags.size() < 400; ++level) {
                const auto value = [&](unsigned int of) {
                    return ValueOf(table->Fields().At(static_cast<std::uint16_t>(of)));
                };
                ETabulonTag tag;
                tag.SetValue(level, value(level));
                tags.push_back(tag);
                // And values of other types than the column's, and pairs.
                ETabulonTag cross;
                cross.SetValue(level, value(1 + random() % (levels.Size() - 1)));
                tags.push_back(cross);
                tag.SetValue(1, value(1));
                tags.push_back(tag);
            }
        }
        std::size_t met = 0;
        std::size_t pushed = 0;
        for (const ETabulonTag& tag : tags) {
            const std::string all = Browse<Unfiltered>(levels, tag);
            ASSERT_EQ(Browse<ETabulonCursorSql>(levels, tag), all)
                << name << tag.DisplayID().c_str() << ' ' << table->WalkStatement().c_str();
            met += static_cast<std::size_t>(std::count(all.begin(), all.end(), '|'));
            pushed += table->WalkStatement().View().find("WHERE") != std::string_view::npos ? 1 : 0;
        }
        EXPECT_GT(met, tags.size());
        EXPECT_GT(pushed, tags.size() / 4);
    }
}

TEST_F(SqliteRange, OfAFilterIsNeverNarrower) {
    MakeOddTable();
    for (const char* const name : {"t", "v"}) {
        OpenTable(name, {}, ESqlOpenMode::ReadOnly);
        const EFieldSet& fields = table->Fields();
        std::vector<EVariant> values = {EVariant::FromDouble(0.5), "a\x7F", "\xC3\xA9"};
        EXPECT_NE(table->GetFirst(), kNoPosition);
        for (int row = 0; row < 30; ++row, static_cast<void>(table->GetNext())) {
            for (std::uint16_t field = 0; field < fields.Size(); ++field) {
                values.emplace_back(fields.At(field));
            }
        }
        const auto value = [&]() -> const EVariant& { return values[random() % values.size()]; };
        const auto make = [&](const ETabulonVariableID& id) {
            switch (random() % 5) {
                case 0:
                    return EFilter::In(id, {value(), value(), value()});
                case 1:
                    return EFilter::IsMissing(id);
                case 2:
                    return EFilter::BeginsWith(id, value().AsChaine());
                default:
                    return EFilter::Compare(id, static_cast<EFilter::Test>(2 + random() % 6),
                                            value());
            }
        };
        std::size_t met = 0;
        std::size_t pushed = 0;
        constexpr std::size_t kTurns = 600;
        for (std::size_t turn = 0; turn < kTurns; ++turn) {
            const auto field = static_cast<std::uint16_t>(random() % fields.Size());
            EFilter filter = make(ETabulonVariableID(fields.At(field).Desc().Name()));
            filter = turn % 3 == 0 ? EFilter::Not(filter) : filter;
            const std::string all = Browse<Unfiltered>({}, {}, filter);
            ASSERT_EQ(Browse<ETabulonCursorSql>({}, {}, filter), all)
                << name << field << ' ' << table->WalkStatement().c_str();
            met += static_cast<std::size_t>(std::count(all.begin(), all.end(), '|'));
            pushed += table->WalkStatement().View().find("WHERE") != std::string_view::npos ? 1 : 0;
        }
        EXPECT_GT(met, kTurns);
        EXPECT_EQ(pushed > kTurns / 5, table->Info().keyKind != ESqlKeyKind::None);
    }
}

TEST_F(SqliteRange, TakesWhatTheEngineDecidesAlikeFromAFilter) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER, t TEXT, c TEXT COLLATE NOCASE, d DATE)");
    struct Case {
        EFilter filter;
        const char* where;
    };
    const EFilter above = EFilter::Compare("n", EFilter::Test::Above, 5);
    for (const auto& [filter, where] : {
             Case{above, " WHERE \"t\".\"n\" > ?1 "},
             {EFilter::All({above, EFilter::In("t", {"a", "b"})}),
              " WHERE \"t\".\"n\" > ?1 AND \"t\".\"t\" IN (?2,?3) "},
             {EFilter::Any({above, EFilter::In("t", {"a", "b"})}), " FROM \"main\".\"t\" ORDER"},
             {EFilter::Not(EFilter::Any({above, EFilter::IsMissing("t")})),
              " WHERE \"t\".\"n\" <= ?1 AND \"t\".\"t\" IS NOT NULL "},
             {EFilter::Compare("c", EFilter::Test::Below, "b"), "\"c\" COLLATE BINARY < ?1 "},
             {EFilter::BeginsWith("t", "ab"), "\"t\" BETWEEN ?1 AND ?2 "},
             {EFilter::Contains("t", "ab"), " FROM \"main\".\"t\" ORDER"},
         }) {
        static_cast<void>(Browse<ETabulonCursorSql>({}, {}, filter));
        const Chaine statement = table->WalkStatement();
        EXPECT_NE(statement.View().find(where), std::string_view::npos) << statement.c_str();
    }
    // Edits may bring records in: an overlay keeps its filter to itself.
    ETabulonCursorSql cursor;
    cursor.Init({}, table.get(), false);
    const ETabulonPendingChanges changes;
    ETabulonCursorPending overlay(&cursor, &changes);
    overlay.Init({});
    overlay.SetFilter(above);
    EXPECT_EQ(overlay.Browse({}), StatusOk);
    EXPECT_EQ(table->WalkStatement().View().find("WHERE"), std::string_view::npos);
}

TEST_F(SqliteRange, OrdersByLevelsWithMissingFirstAndBytesThenByKey) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, c TEXT COLLATE NOCASE);"
        "INSERT INTO t VALUES(1,'b'),(2,'B'),(3,NULL),(4,'a'),(5,'b')");
    table->SetOrder({1});
    EXPECT_EQ(Walk("id"), "3|2|4|1|5");
    ETabulonTag tag;
    EXPECT_TRUE(table->AddRange(1, ValueOf(EVariant("b"))));
    EXPECT_EQ(Walk("id"), "2|1|5");  // as wide as the column's own equality
    table->ClearRange();
    table->SetOrder({});
    EXPECT_EQ(Walk("id"), "1|2|3|4|5");
}

TEST_F(SqliteRange, CancelFromAnotherThreadEndsALongSort) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<3000)"
        " INSERT INTO t SELECT i, i FROM s;"
        "CREATE VIEW endless AS SELECT x.a AS a FROM t x, t y, t z ORDER BY x.a || y.a || z.a",
        "endless", ESqlOpenMode::ReadOnly);
    SqlCursor cursor(table, {"endless.a"});
    std::atomic<bool> ended{false};
    std::thread canceller([&] {
        // Again and again: the first may come before the walk has begun, which forgets it.
        while (!ended.load()) {
            cursor.Cancel();
            std::this_thread::yield();
        }
    });
    EXPECT_NE(Walked(cursor).find("cancel!-2 "), std::string::npos);
    ended = true;
    canceller.join();
}

TEST_F(SqliteRange, ACancelledCursorStillReadsAndWritesByKey) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t "
        "VALUES(1,'x'),(2,'y'),(3,'z')");
    SqlCursor cursor(table, {"t.a"});
    EXPECT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
    const ECursorExclusive exclusive(cursor);
    ETabulonCursor::IUpdater* const updater = cursor.Updater();
    const auto key = [](EPosition id) {
        EFieldKey fields;
        fields.Add(Whole(id));
        return ETabulonPrimaryKey(fields, id);
    };
    EXPECT_EQ(updater->StartUpdate(key(2), ETabulonTag()), StatusOk);
    EXPECT_EQ(updater->SetValue("t.a", ValueOf(EVariant("w"))), StatusOk);
    EXPECT_EQ(updater->Save(), StatusOk) << table->LastErrorText().c_str();
    EXPECT_EQ(updater->Delete(key(3), ETabulonTag()), StatusOk);
    updater->Release();
    EXPECT_EQ(Ask("SELECT id||a FROM t"), "1x|2w");
    EXPECT_EQ(table->Session().attempts, 2U);
}

TEST_F(SqliteRange, AnInterruptedTableSaysSoUntilItIsReset) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<20000)"
        " INSERT INTO t SELECT i FROM s");
    table->GetFirst();
    table->Interrupt();
    while (table->GetNext() != kNoPosition) {
    }
    EXPECT_EQ(table->status, kDataInterrupted);
    EXPECT_TRUE(Refused(table->GetNext(), kDataInterrupted));  // not the end of the data
    EXPECT_EQ(table->RePos(7, false), 7);
    table->ResetInterrupt();
    EXPECT_EQ(table->GetFirst(), 1);
}

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

/// Tables in a database file with a write-ahead log: with a rollback journal no connection could
/// write while a walk stands in mid-table. `options` stands after each CREATE TABLE.
class SqliteFactory : public TableFactory {
public:
    explicit SqliteFactory(const char* options) : options_(options) {}
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
        folder_.MakeDatabase("suite.db", text);
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
    [[nodiscard]] std::string Path() const { return folder_.Path("suite.db"); }

    const char* options_;
    const TestFolder folder_;
    bool isRead_ = false;
    std::vector<std::unique_ptr<ESqliteSource>> sources_;
};

const auto kMakeSqlite =
    ::testing::Values(TableMaker([] { return std::make_unique<SqliteFactory>(""); }));
INSTANTIATE_TEST_SUITE_P(Sqlite, TableCursorSuite, kMakeSqlite);
INSTANTIATE_TEST_SUITE_P(Sqlite, WritableTableSuite, kMakeSqlite);
const auto kMakeSqliteWithoutRowId =
    ::testing::Values(TableMaker([] { return std::make_unique<SqliteFactory>("WITHOUT ROWID"); }));
INSTANTIATE_TEST_SUITE_P(SqliteWithoutRowId, TableCursorSuite, kMakeSqliteWithoutRowId);
INSTANTIATE_TEST_SUITE_P(SqliteWithoutRowId, WritableTableSuite, kMakeSqliteWithoutRowId);

/// A cache on a table, whose own walk has stopped on the second of four records since.
class SqliteCache : public SqliteTest {
protected:
    SqliteCache() {
        RunAndOpen(
            "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT);"
            "INSERT INTO t VALUES(1,'a',1),(2,'b',1),(3,NULL,1),(4,'d',1);");
        levels.AddLevel("a", "a", "a", nullptr, /*addRef=*/false);
        cursor.Init(levels, table.release(), /*ownsTable=*/true);
        EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
        const auto stopping = MakeRef<WalkTrace>();
        const ECursorListening listening(cursor, *stopping);
        stopping->AnswerAt("move", 2, StatusEnd);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    }
    std::string Rows() { return Ask("SELECT id||quote(a)||quote(n) FROM t ORDER BY id"); }

    ETabulonLevels levels;
    ETabulonCursorSql cursor;
    ETabulonCursorCache cache{&cursor};
};

TEST_F(SqliteCache, SavesAScriptToTheRecordsOfItsLines) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(Tag({{0, "b"}}), "n", 2);
    changes.AppendUpdate(Tag({{0, EVariant()}}), "n", 3);
    changes.AppendDelete(Tag({{0, "d"}}));
    ETabulonSavePending save(&cache, levels);
    EXPECT_EQ(save.Run(&changes, ETabulonTag::Null), StatusOk);
    EXPECT_EQ(Rows(), "1'a'1|2'b'2|3NULL3");
}

TEST_F(SqliteCache, SavesItsLinesToTheirRecords) {
    EXPECT_EQ(cache.Update(Tag({{0, "b"}}), "n", 2), StatusOk);
    EXPECT_EQ(cache.Update(Tag({{0, EVariant()}}), "n", 3), StatusOk);
    EXPECT_EQ(cache.Delete(Tag({{0, "d"}})), StatusOk);
    EXPECT_EQ(cache.Save(), StatusOk);
    EXPECT_EQ(Rows(), "1'a'1|2'b'2|3NULL3");
}

}  // namespace
}  // namespace etabulon::test
