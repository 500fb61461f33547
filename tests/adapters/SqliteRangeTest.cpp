#include "SqliteFixture.h"

#include <random>
#include <thread>

namespace etabulon {
namespace {

/// Gathers the first field, the key, of the records that a walk accepts.
class Keys final : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override { return StatusOk; }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        seen.push_back(cursor.Fields().At(0).AsInt64());
        return StatusOk;
    }
    void OnDone(const ETabulonCursor&) override {}
    void OnCancel(const ETabulonCursor&) override { cancelled = true; }
    void OnError(const ETabulonCursor&, CursorStatus) override {}
    std::vector<EPosition> seen;
    bool cancelled = false;
};

/// The cursor without a range: its filter alone.
class Unfiltered final : public ETabulonCursorSql {
public:
    CursorStatus SetKeyRange(const ETabulonTag&, EData* table) const override {
        static_cast<ESqlTable*>(table)->ClearRange();
        return StatusOk;
    }
};

class SqliteRange : public SqliteTest {
protected:
    template <class Cursor>
    std::vector<EPosition> Browse(const ETabulonLevels& levels, const ETabulonTag& tag) {
        const auto keys = MakeRef<Keys>();
        Cursor cursor;
        cursor.Init(levels, table.get(), false);
        cursor.AddNotifier(keys.Get());
        EXPECT_EQ(cursor.Browse(tag), StatusOk) << table->LastErrorText().c_str();
        return keys->seen;
    }
};

TEST_F(SqliteRange, IsNeverNarrowerThanTheFilter) {
    // Every kind of value in every kind of column: SQLite takes them all.
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
                                  "9007199254740993",
                                  "9007199254740992",
                                  "9007199254740992.0",
                                  "'2024-01-02'",
                                  "'2024-01-02 00:00:00'",
                                  "'2024-01-02T00:00:00'",
                                  "2024",
                                  "'a '",
                                  "1e300",
                                  "255",
                                  "256"};
    std::mt19937 random(7);
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
            for (unsigned level = 1; level < levels.Size() && tags.size() < 400; ++level) {
                const auto value = [&](unsigned of) {
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
            const auto all = Browse<Unfiltered>(levels, tag);
            const auto narrowed = Browse<ETabulonCursorSql>(levels, tag);
            ASSERT_EQ(narrowed, all)
                << name << tag.DisplayID().c_str() << ' ' << table->WalkStatement().c_str();
            met += all.size();
            pushed += table->WalkStatement().View().find("WHERE") != std::string_view::npos ? 1 : 0;
        }
        EXPECT_GT(met, tags.size());
        EXPECT_GT(pushed, tags.size() / 4);
    }
}

TEST_F(SqliteRange, OrdersByLevelsWithMissingFirstAndBytesThenByKey) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, c TEXT COLLATE NOCASE);"
        "INSERT INTO t VALUES(1,'b'),(2,'B'),(3,NULL),(4,'a'),(5,'b')");
    OpenTable("t");
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
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<3000)"
        " INSERT INTO t SELECT i, i FROM s;"
        "CREATE VIEW endless AS SELECT x.a AS a FROM t x, t y, t z ORDER BY x.a || y.a || z.a");
    OpenTable("endless", {}, ESqlOpenMode::ReadOnly);
    ETabulonLevels levels;
    levels.AddLevel("A", "endless.a", nullptr, false);
    ETabulonCursorSql cursor;
    cursor.Init(levels, table.get(), false);
    const auto keys = MakeRef<Keys>();
    cursor.AddNotifier(keys.Get());
    std::atomic<bool> ended{false};
    std::thread canceller([&] {
        // Again and again: the first may come before the walk has begun, which forgets it.
        while (!ended.load()) {
            cursor.Cancel();
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(cursor.Browse(ETabulonTag()), StatusCancelled);
    ended = true;
    canceller.join();
    EXPECT_TRUE(keys->cancelled);
    EXPECT_TRUE(keys->seen.empty());
}

TEST_F(SqliteRange, ACancelledCursorStillReadsAndWritesByKey) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t "
        "VALUES(1,'x'),(2,'y'),(3,'z')");
    OpenTable("t");
    ETabulonLevels levels;
    levels.AddLevel("A", "t.a", nullptr, false);
    ETabulonCursorSql cursor;
    cursor.Init(levels, table.get(), false);
    EXPECT_EQ(cursor.Browse(ETabulonTag()), StatusOk);
    const ECursorExclusive exclusive(cursor);
    ETabulonCursor::IUpdater* const updater = cursor.Updater();
    EFieldKey fields;
    fields.Add(EVariant::FromInt64(2));
    const ETabulonPrimaryKey key(fields, 2);
    EXPECT_EQ(updater->StartUpdate(key, ETabulonTag()), StatusOk);
    EXPECT_EQ(updater->SetValue("t.a", ValueOf(EVariant("w"))), StatusOk);
    EXPECT_EQ(updater->Save(), StatusOk) << table->LastErrorText().c_str();
    EFieldKey thirdFields;
    thirdFields.Add(EVariant::FromInt64(3));
    EXPECT_EQ(updater->Delete(ETabulonPrimaryKey(thirdFields, 3), ETabulonTag()), StatusOk);
    updater->Release();
    EXPECT_EQ(Ask("SELECT id||a FROM t"), "1x|2w");
    EXPECT_EQ(table->Session().attempts, 2U);
}

TEST_F(SqliteRange, AnInterruptedTableSaysSoUntilItIsReset) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<20000)"
        " INSERT INTO t SELECT i FROM s");
    OpenTable("t");
    table->GetFirst();
    table->Interrupt();
    while (table->GetNext() != kNoPosition) {
    }
    EXPECT_EQ(table->status, kDataInterrupted);
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(table->status, kDataInterrupted);  // not the end of the data
    EXPECT_EQ(table->RePos(7, false), 7);
    table->ResetInterrupt();
    EXPECT_EQ(table->GetFirst(), 1);
}

}  // namespace
}  // namespace etabulon
