#include "SqliteFixture.h"

#include <random>
#include <set>
#include <thread>

namespace etabulon {
namespace {
using SqliteWrite = SqliteTest;

TEST_F(SqliteWrite, AnUpdateOfTheOrderedColumnInMidWalkMeetsEachRecordOnce) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, n INT); CREATE INDEX t_n ON t(n);"
        "INSERT INTO t VALUES(1,1),(2,2),(3,3),(4,4)");
    for (const bool inSession : {true, false}) {
        OpenTable("t");
        table->SetOrder({1});
        if (inSession) {
            table->BeginDelete();
        }
        std::string met;
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            met += std::to_string(at);
            Field("n") <<= Whole(Field("n").AsInt64() + 100);  // after all others
            ASSERT_EQ(table->Update(kNoPosition), at) << table->LastErrorText().c_str();
        }
        EXPECT_EQ(met, "1234");
        EXPECT_EQ(table->status, DataEnd);
    }
    EXPECT_EQ(Ask("SELECT n FROM t"), "201|202|203|204");
}

TEST_F(SqliteWrite, AWalkOfAWriteSessionPassesOverWhatVanished) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t "
        "VALUES(1,'a'),(2,'b'),(3,'c'),(4,'d')");
    ASSERT_EQ(table->GetFirst(), 1);
    table->BeginDelete();  // in mid-walk
    EXPECT_TRUE(table->DeleteOne(3));
    EXPECT_EQ(table->GetNext(), 2);
    EXPECT_TRUE(table->DeleteOne(kNoPosition));
    EXPECT_EQ(table->position, kNoPosition);
    EXPECT_EQ(Text("a"), "NULL");
    EXPECT_TRUE(Refused(table->DeleteOne(kNoPosition), DataNoCurrent));
    EXPECT_EQ(Steps("next next previous previous"), "4 !9 4 1");
    table->EndDelete();
    EXPECT_EQ(table->Session().attempts, 3U);
    EXPECT_EQ(table->Session().first.status, DataNoCurrent);
}

TEST_F(SqliteWrite, ARecordThatTakesTheKeyOfAnotherIsNotMetThereAgain) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "INSERT INTO t VALUES(1,'a'),(2,'b'),(3,'c'),(4,'d')");
    table->BeginDelete();
    std::string met;
    for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
        met += Text("a");
        if (at == 1) {
            ASSERT_TRUE(table->DeleteOne(2));
            ASSERT_TRUE(table->DeleteOne(4));
            Field("id") <<= Whole(2);
            ASSERT_EQ(table->Update(1), 2) << table->LastErrorText().c_str();
            Field("id") <<= Whole(4);
            ASSERT_EQ(table->Insert(), 4) << table->LastErrorText().c_str();
        }
    }
    EXPECT_EQ(met, "ac");
}

TEST_F(SqliteWrite, WritesOnlyWhatDiffersFromTheLoadedRecord) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b TEXT); INSERT INTO t VALUES(1,'a','b')");
    for (const bool streaming : {true, false}) {
        OpenTable("t");
        streaming ? table->GetFirst() : table->RePos(1, false);
        table->EndWalk();
        Run("UPDATE t SET b = 'theirs'");
        SetText("a", streaming ? "mine" : "mine too");
        ASSERT_EQ(table->Update(kNoPosition), 1) << table->LastErrorText().c_str();
        EXPECT_EQ(Text("b"), "theirs");  // read again after the write
        EXPECT_EQ(Ask("SELECT a||b FROM t"), streaming ? "minetheirs" : "mine tootheirs");
        Run("UPDATE t SET b = 'b'");
    }
}

TEST_F(SqliteWrite, FailuresHaveTheirStatusAndChangeNothing) {
    RunAndOpen(
        "CREATE TABLE p(id INTEGER PRIMARY KEY); INSERT INTO p VALUES(1);"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, u TEXT UNIQUE, p INT REFERENCES p, c INT CHECK(c > "
        "0),"
        " nn TEXT NOT NULL DEFAULT 'd'); INSERT INTO t VALUES(1,'a',1,1,'x'),(2,'b',1,1,'x')");
    const std::string before = Ask("SELECT id||u||p||c||nn FROM t");
    const test::Table<const char*, EVariant, std::int32_t> cases = {
        {"id", Whole(1), DataDuplicate},
        {"u", EVariant("a"), DataDuplicate},
        {"p", Whole(5), DataConstraint},
        {"c", Whole(0), DataConstraint},
        {"nn", EVariant::Missing(TYPE_CHAINE, 4), DataConstraint}};
    table->BeginDelete();
    for (const auto& [field, value, status] : cases) {
        ASSERT_EQ(table->RePos(2, false), 2);
        Field(field) <<= value;
        EXPECT_TRUE(Refused(table->Update(kNoPosition), status));
        EXPECT_NE(table->LastErrorCode(), 0);
        EXPECT_FALSE(table->LastErrorText().IsEmpty());
        EXPECT_EQ(table->position, 2);  // the buffer stays to be mended
    }
    table->RePos(2, false);
    EXPECT_TRUE(table->LastErrorText().IsEmpty());
    SetText("u", "new");
    EXPECT_TRUE(Refused(table->Insert(), DataDuplicate));  // its key, loaded with the rest
    table->RePos(1, false);
    Run("DELETE FROM t WHERE id = 2");
    SetText("u", "c");
    EXPECT_TRUE(Refused(table->Update(2), DataGone));
    EXPECT_TRUE(Refused(table->DeleteOne(2), DataGone));
    EXPECT_EQ(table->Session().failures, 8U);
    EXPECT_EQ(table->Session().successes, 0U);
    EXPECT_EQ(table->Session().first.status, DataDuplicate);
    Run("INSERT INTO t VALUES(2,'b',1,1,'x')");
    EXPECT_EQ(Ask("SELECT id||u||p||c||nn FROM t"), before);
}

TEST_F(SqliteWrite, ALockOfAnotherProgramIsLocked) {
    RunAndOpen("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a')");
    ASSERT_EQ(table->RePos(1, false), 1);
    Hold("BEGIN EXCLUSIVE");
    SetText("a", "b");
    EXPECT_TRUE(Refused(table->Update(kNoPosition), DataLocked));
    holder->Do("COMMIT");
    EXPECT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(Ask("SELECT a FROM t"), "b");
}

TEST_F(SqliteWrite, EachWriteOfAnAtomicSessionFailsAloneAndTheWholeStandsOrFalls) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, u TEXT UNIQUE); INSERT INTO t "
        "VALUES(1,'a'),(2,'b')");
    for (const bool commit : {false, true}) {
        OpenTable("t");
        ASSERT_EQ(table->BeginAtomic(), DataOk);
        EXPECT_EQ(table->BeginAtomic(), DataOther);
        table->RePos(1, false);
        SetText("u", "b");
        EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
        SetText("u", "c");
        EXPECT_EQ(table->Update(kNoPosition), 1);
        table->Fields().SetNull();
        SetText("u", "d");
        EXPECT_EQ(table->Insert(), 3);
        EXPECT_EQ(Walk("u"), "c|b|d");
        EXPECT_EQ(Ask("SELECT u FROM t ORDER BY id"), "a|b");
        EXPECT_EQ(commit ? table->Commit() : table->Rollback(),
                  commit ? ESqlOutcome::Committed : ESqlOutcome::RolledBack);
        EXPECT_FALSE(table->IsInAtomic());
        EXPECT_EQ(Ask("SELECT u FROM t ORDER BY id"), commit ? "c|b|d" : "a|b");
    }
}

TEST_F(SqliteWrite, AnAtomicSessionThatCannotCommitIsRolledBack) {
    RunAndOpen(
        "CREATE TABLE p(id INTEGER PRIMARY KEY); CREATE TABLE t(id INTEGER PRIMARY KEY,"
        " p INT REFERENCES p DEFERRABLE INITIALLY DEFERRED); INSERT INTO t VALUES(1,NULL)");
    ASSERT_EQ(table->BeginAtomic(), DataOk);
    table->RePos(1, false);
    Field("p") <<= Whole(9);
    EXPECT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(table->Commit(), ESqlOutcome::RolledBack);
    EXPECT_EQ(table->status, DataConstraint);
    EXPECT_EQ(Ask("SELECT p FROM t"), "NULL");
    // Without a session the same failure is one of the write.
    table->RePos(1, false);
    Field("p") <<= Whole(9);
    EXPECT_TRUE(Refused(table->Update(kNoPosition), DataConstraint));
    table->Fields().SetNull();
    EXPECT_EQ(table->Insert(), 2);  // the line is free again
}

TEST_F(SqliteWrite, AViewCanBeWalkedAndNotWritten) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a'),(2,'b');"
        "CREATE VIEW v AS SELECT a FROM t",
        "v");
    EXPECT_EQ(Walk("a"), "a|b");
    EXPECT_TRUE(Refused(table->Insert(), DataReadOnly));
}

TEST_F(SqliteWrite, RecordLocksAreBetweenTheTablesOfTheProcess) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a'),(2,'b')");
    const auto second = source->OpenTable("t", error);
    ASSERT_EQ(table->GetFirst(), 1);
    ASSERT_EQ(second->GetFirst(), 1);
    table->EndWalk();  // which would hold the file's own lock
    EXPECT_EQ(table->Lock(kNoPosition, false), DataOk);
    EXPECT_EQ(table->LockRecord(kNoPosition, false), DataOk);
    EXPECT_EQ(second->LockRecord(1, false), DataLocked);
    EXPECT_EQ(second->LockRecord(1, true), DataLocked);  // the same thread would wait for ever
    EXPECT_FALSE(second->DeleteOne(1));
    EXPECT_EQ(second->status, DataLocked);
    table->Unlock();
    EXPECT_EQ(second->LockRecord(1, false), DataLocked);  // the record's own lock is still held
    std::thread waiter([&second] { EXPECT_EQ(second->LockRecord(1, true), DataOk); });
    EXPECT_EQ(table->UnlockRecord(1), DataOk);
    waiter.join();
    EXPECT_EQ(table->Lock(1, false), DataLocked);
    std::thread stopped([this] { EXPECT_EQ(table->LockRecord(1, true), kDataInterrupted); });
    table->Interrupt();
    stopped.join();
}

TEST_F(SqliteWrite, StepsFromARecordMovedToGoOnFromThere) {
    RunAndOpen("CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(1),(2),(3),(4)");
    EXPECT_TRUE(Refused(table->GetNext(), DataNoCurrent));
    EXPECT_EQ(table->RePos(3, false), 3);
    EXPECT_EQ(Steps("next"), "4");
    EXPECT_EQ(Steps("first next previous previous"), "1 2 1 !9");
    EXPECT_EQ(Steps("last next previous"), "4 !9 4");
    EXPECT_EQ(table->RePos(2, false), 2);
    EXPECT_EQ(Steps("previous first next"), "1 1 2");
    EXPECT_EQ(table->Update(kNoPosition), 2);  // keeps the keys of the rest alone
    EXPECT_EQ(Steps("previous last"), "1 4");
    table->Interrupt();
    EXPECT_EQ(table->GetPrevious(), kNoPosition);
    table->ResetInterrupt();
    EXPECT_EQ(table->GetPrevious(), kNoPosition);  // of a walk that was cancelled
    EXPECT_TRUE(table->DeleteLoop());
    EXPECT_EQ(Steps("first"), "!9");
}

/// Tables whose keys hardly tell rows apart: NULLs, collations of their own, values of all storage
/// classes, texts that aren't Unicode.
class SqliteKeys : public SqliteTest {
protected:
    struct Key {
        std::string columns;     // the declarations
        std::string constraint;  // with the table's options
        std::string list;        // "a COLLATE x,b": what SQL orders and groups by
        std::string shown;       // an expression that shows the key
        std::size_t parts = 1;
        bool isHidden = false;  // no name of the row number is left
    };
    static constexpr const char* kRowIds[] = {"rowid", "oid", "_rowid_"};
    std::size_t Roll(std::size_t sides) { return random() % sides; }
    template <std::size_t count>
    std::string One(const char* const (&of)[count]) {
        return of[Roll(count)];
    }
    Key RandomKey() {
        if (Roll(8) == 0) {
            // Not the row number: that is what DESC does to it.
            return {"a INTEGER PRIMARY KEY DESC, ", "CHECK(1))", "a", "quote(a)"};
        }
        const bool isShadowed = Roll(4) == 0;
        const bool withoutRowId = Roll(4) == 0;
        Key key;
        key.parts = isShadowed ? 3 : 1 + Roll(3);
        key.isHidden = isShadowed && !withoutRowId;
        for (std::size_t part = 0; part < key.parts; ++part) {
            const std::string comma = part == 0 ? "" : ",";
            const std::string name = isShadowed ? kRowIds[part] : std::string(1, "abc"[part]);
            const std::string collation =
                One({"", "", "", " COLLATE BINARY", " COLLATE NOCASE", " COLLATE RTRIM"});
            key.columns += name + ' ' +
                           One({"TEXT", "TEXT COLLATE NOCASE", "INT", "REAL", "BLOB", "", "NUMERIC",
                                "COLLATE RTRIM"}) +
                           (Roll(4) == 0 ? " NOT NULL, " : ", ");
            key.list += comma + name + collation;
            key.constraint += comma + name + collation + (Roll(3) == 0 ? " DESC" : "");
            key.shown += (part == 0 ? "quote(" : "||','||quote(") + name + ")";
        }
        key.constraint =
            "PRIMARY KEY(" + key.constraint + "))" + (withoutRowId ? " WITHOUT ROWID" : "");
        return key;
    }
    std::string RandomValue(bool isWide) {
        if (Roll(2) == 0) {
            return One({"NULL", "'a'", "'A'"});
        }
        if (Roll(4) == 0) {
            return isWide ? One({"CAST(x'00D86100' AS TEXT)", "CAST(x'61D8' AS TEXT)",
                                 "CAST(x'00DC00D8' AS TEXT)", "CAST(x'FEFF6100' AS TEXT)",
                                 "CAST(x'62D83DDC' AS TEXT)", "char(0xFEFF)||'a'", "char(0x1F600)"})
                          : One({"CAST(x'ff' AS TEXT)", "CAST(x'fe' AS TEXT)",
                                 "CAST(x'eda080' AS TEXT)", "char(0xFEFF)||'a'", "char(0x1F600)"});
        }
        return One({"'a '", "'a'||char(0)||'b'", "'a'||char(0)", "''", "1", "'1'", "1.0", "'1.0'",
                    "1.5", "x'61'", "x''", "-0.0", "0", "9007199254740993", "9007199254740992.0",
                    "9e999", "'9007199254740993'"});
    }
    /// Table t with rows of the numbers n, and table shown with their keys.
    void Fill(const Key& key, const std::string& encoding) {
        std::string script = "PRAGMA encoding='" + encoding + "'; BEGIN; CREATE TABLE t(" +
                             key.columns + "n INT, v TEXT, " + key.constraint + ';';
        for (int row = 0; row < 40; ++row) {
            script += "INSERT OR IGNORE INTO t VALUES(";
            for (std::size_t part = 0; part < key.parts; ++part) {
                script += (key.columns.find("INTEGER") < 3 ? One({"NULL", "1", "2", "3"})
                                                           : RandomValue(encoding != "UTF-8")) +
                          ',';
            }
            script += std::to_string(row) + ",'old');";
        }
        Remake(script + "CREATE TABLE shown AS SELECT n AS number, " + key.shown +
               " AS k FROM t; COMMIT");
    }

    std::mt19937 random{20240910};
};

TEST_F(SqliteKeys, AWriteSessionMeetsEachRecordOnceOrFails) {
    std::size_t met = 0;
    std::size_t refused = 0;
    for (const char* const encoding : {"UTF-8", "UTF-16le", "UTF-16be"}) {
        for (int turn = 0; turn < 60; ++turn) {
            const Key key = RandomKey();
            SCOPED_TRACE(key.columns + key.constraint + ' ' + encoding);
            Fill(key, encoding);
            const std::string order = Ask("SELECT " + key.shown + " FROM t ORDER BY " + key.list);
            const std::string twins =
                Ask("SELECT 1 FROM t GROUP BY " + key.list + " HAVING count(*) > 1");
            const bool isRefused = key.isHidden && !twins.empty();
            const std::string count = Ask("SELECT count(*) FROM t");
            const std::string changed = Ask("SELECT n||'u'||n FROM t WHERE n % 3 <> 0 ORDER BY n");

            OpenTable("t");
            const bool isLate = Roll(2) == 0;  // the session begins in mid-walk
            if (isLate) {
                table->GetFirst();
            }
            table->BeginDelete();
            std::set<std::int64_t> numbers;
            std::string walk;
            for (EPosition at = isLate ? table->position : table->GetFirst(); at != kNoPosition;
                 at = table->GetNext()) {
                const std::int64_t number = Field("n").AsInt64();
                ASSERT_TRUE(numbers.insert(number).second) << "record " << number << " twice";
                ASSERT_EQ(table->CurKey().Size(), key.parts);
                walk += (walk.empty() ? "(" : "),(") + std::to_string(numbers.size()) + ',' +
                        std::to_string(number);
                SetText("v", "u" + std::to_string(number));
                if (!isRefused) {
                    ASSERT_TRUE(number % 3 == 0 ? table->DeleteOne(kNoPosition)
                                                : table->Update(kNoPosition) != kNoPosition)
                        << table->LastErrorText().c_str();
                }
            }
            ASSERT_EQ(table->status, isRefused ? std::int32_t{DataOther} : std::int32_t{DataEnd})
                << table->LastErrorText().c_str();
            if (isRefused) {
                ++refused;
                continue;
            }
            met += numbers.size();
            EXPECT_EQ(std::to_string(numbers.size()), count);
            EXPECT_EQ(Ask("WITH walk(i, n) AS (VALUES" + walk +
                          ")) SELECT k FROM walk JOIN shown ON number = n ORDER BY i"),
                      order);
            EXPECT_EQ(Ask("SELECT n||v FROM t ORDER BY n"), changed);
        }
    }
    EXPECT_GT(met, 3000U);
    EXPECT_GT(refused, 5U);
}

TEST_F(SqliteKeys, ATableOfAsManyColumnsAsSqliteTakesHasKeysToo) {
    std::string columns;
    std::string values;
    for (int column = 2; column <= 2000; ++column) {
        columns += ", c" + std::to_string(column);
        values += "," + std::to_string(column);
    }
    const std::pair<const char*, const char*> cases[] = {
        {"a", ")"},
        {"a INTEGER PRIMARY KEY", ")"},
        {"a TEXT", ", PRIMARY KEY(a COLLATE NOCASE, c2))"},
        {"a TEXT", ", PRIMARY KEY(a, c2)) WITHOUT ROWID"}};
    for (const char* const encoding : {"UTF-8", "UTF-16"}) {
        for (const auto& [first, end] : cases) {
            SCOPED_TRACE(std::string(first) + end + encoding);
            std::filesystem::remove(path);
            const bool hasTwins = std::string_view(end).find("NOCASE") != std::string_view::npos;
            Run(std::string("PRAGMA encoding='") + encoding + "'; CREATE TABLE t(" + first +
                columns + end + "; INSERT INTO t VALUES(" + (hasTwins ? "NULL" : "1") + values +
                "),(" + (hasTwins ? "NULL" : "2") + values + "),(3" + values + ")");
            if (hasTwins) {
                Run("UPDATE t SET c2 = NULL");
            }
            OpenTable("t");
            table->SetOrder({3});
            EXPECT_EQ(Walk("a"), hasTwins ? "NULL|NULL|3" : "1|2|3");
            std::string met;
            std::set<EPosition> positions;
            for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
                met += Text("a") + '-' + Text("c2000") + ' ';
                EXPECT_TRUE(positions.insert(at).second);
                SetText("c2000", "new" + std::to_string(positions.size()));
                EXPECT_NE(table->Update(kNoPosition), kNoPosition)
                    << table->LastErrorText().c_str();
            }
            EXPECT_EQ(table->status, DataEnd) << table->LastErrorText().c_str();
            EXPECT_EQ(met, hasTwins ? "NULL-2000 NULL-2000 3-2000 " : "1-2000 2-2000 3-2000 ");
            EXPECT_EQ(Ask("SELECT c2000 FROM t ORDER BY 1"), "new1|new2|new3");
        }
    }
}

}  // namespace
}  // namespace etabulon
