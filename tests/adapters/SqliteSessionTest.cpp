#include "SqliteFixture.h"
#include "support/FaultVfs.h"

#include <chrono>

namespace etabulon::test {
namespace {

using std::chrono::milliseconds;

/// How long this takes.
template <class Work>
milliseconds TimeOf(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

/// The two seconds that a session waits for others.
bool IsPatience(milliseconds time) {
    return time > milliseconds(1900) && time < milliseconds(4000);
}

class SqliteSession : public SqliteTest {
protected:
    EPosition UpdateTo(EPosition where, const char* text) {
        if (table->RePos(where, false) == kNoPosition) {
            return kNoPosition;
        }
        SetText("a", text);
        return table->Update(kNoPosition);
    }
    EPosition Insert(const char* text) {
        table->Fields().SetNull();
        SetText("a", text);
        return table->Insert();
    }
    std::string Rows() { return Ask("SELECT id||a FROM t ORDER BY id"); }
};

// ---------------------------------------------------------------------------- the end of a session

/// Calls back when it comes to a record.
class CallingCursor final : public SqlCursor {
public:
    using SqlCursor::SqlCursor;
    std::function<void(EPosition)> onDelete = [](EPosition) {};

protected:
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override {
        const CursorStatus status = ETabulonCursorSql::Delete(key, tag);
        onDelete(key.Position());
        return status;
    }
};

constexpr const char* kFiveRows =
    "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
    "INSERT INTO t VALUES(1,'a'),(2,'a'),(3,'a'),(4,'a'),(5,'a');";

TEST_F(SqliteSession, TakesNoFurtherWriteOnceItHasEnded) {
    Run(kFiveRows);
    Run("CREATE TRIGGER r BEFORE DELETE ON t WHEN old.id = 2 AND old.a = 'b' BEGIN SELECT "
        "RAISE(ROLLBACK, 'taken back by the table'); END");
    enum class By : std::uint8_t { Table = 0, Rollback = 1, Commit = 2 };
    for (const By by : {By::Table, By::Rollback, By::Commit}) {
        SCOPED_TRACE(static_cast<int>(by));
        Run(by == By::Table ? "UPDATE t SET a = 'b'" : "UPDATE t SET a = 'c'");
        const std::string before = Rows();
        OpenTable("t");
        CallingCursor cursor(table, {"a"});
        cursor.onDelete = [&](EPosition where) {
            if (where == 2 && by != By::Table) {
                by == By::Commit ? table->Commit() : table->Rollback();
            }
        };
        ETabulonPendingChanges changes;
        changes.AppendDelete(ETabulonTag::Null);
        changes.AppendInsert(Tag({{0, EVariant("new")}}));
        ASSERT_EQ(table->BeginAtomic(), DataOk);
        {
            ETabulonSavePending saving(&cursor, cursor.Levels());
            EXPECT_NE(saving.Run(&changes, ETabulonTag::Null), StatusOk);
            // Whatever is tried: neither by itself, nor by a savepoint outside of a transaction.
            EXPECT_TRUE(Refused(UpdateTo(4, "z"), DataOther, "session"));
            EXPECT_EQ(UpdateTo(4, by == By::Table ? "b" : "c"), kNoPosition);  // nothing to write
            EXPECT_EQ(Insert("z"), kNoPosition);
            EXPECT_FALSE(table->DeleteOne(5));
        }
        EXPECT_EQ(table->IsInAtomic(), by == By::Table);
        EXPECT_EQ(Rows(), by == By::Commit ? "3c|4c|5c" : before);
        if (by == By::Table) {
            EXPECT_NE(table->Session().first.text.View().find("by the table"),
                      std::string_view::npos);
            EXPECT_EQ(Insert("z"), kNoPosition);  // until its outcome was asked for
            EXPECT_EQ(table->Commit(), ESqlOutcome::RolledBack);
            EXPECT_NE(table->LastErrorText().View().find("by the table"), std::string_view::npos);
        }
        EXPECT_EQ(table->Rollback(), ESqlOutcome::RolledBack);
        // The next writes are as any others.
        EXPECT_NE(Insert("z"), kNoPosition) << table->LastErrorText().c_str();
        EXPECT_EQ(table->BeginAtomic(), DataOk);
        EXPECT_NE(Insert("z"), kNoPosition);
        EXPECT_EQ(table->Commit(), ESqlOutcome::Committed);
        EXPECT_EQ(Ask("SELECT count(*) FROM t WHERE a = 'z'"), "2");
        table.reset();
        Run(std::string("DROP TABLE t;") + kFiveRows);
    }
}

TEST_F(SqliteSession, BeginsWhateverStatementsAreKept) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a, b, c, d, e, f, g); INSERT INTO t(id) VALUES(1)");
    // Of each set of columns there is a statement of its own, and 64 are kept.
    unsigned int kept = 58;
    const auto update = [&](unsigned int columns) {
        EXPECT_EQ(table->RePos(1, false), 1);
        for (unsigned int column = 0; column < 7; ++column) {
            if ((columns >> column & 1U) != 0) {
                SetText(std::string(1, static_cast<char>('a' + column)).c_str(),
                        std::to_string(100 * kept + columns));
            }
        }
        return table->Update(kNoPosition);
    };
    for (; kept <= 66; ++kept) {
        OpenTable("t");
        for (unsigned int columns = 1; columns <= kept; ++columns) {
            ASSERT_EQ(update(columns), 1);
        }
        ASSERT_EQ(table->BeginAtomic(), DataOk);
        EXPECT_EQ(update(kept + 1), 1) << table->LastErrorText().c_str();
        EXPECT_EQ(table->Commit(), ESqlOutcome::Committed);
    }
}

// ------------------------------------------------------------------------------------ walks by key

TEST_F(SqliteSession, AWalkByKeySeesOneStateUntilItsEnd) {
    for (const char* const journal : {"wal", "delete"}) {
        SCOPED_TRACE(journal);
        Remake("PRAGMA journal_mode=" + std::string(journal) + ';' + kFiveRows);
        OpenTable("t", {}, ESqlOpenMode::ReadOnly);
        const bool isWal = journal == std::string("wal");
        const auto write = [&](const char* statement) {
            // With a rollback journal the walk keeps writers waiting instead.
            return Database(path).Try(statement);
        };
        const int met = isWal ? SQLITE_OK : SQLITE_BUSY;
        const auto rest = [&](bool forward) {
            std::string seen;
            while ((forward ? table->GetNext() : table->GetPrevious()) != kNoPosition) {
                seen += Text("id") + Text("a");
            }
            EXPECT_EQ(table->status, DataEnd);
            return seen;
        };
        ASSERT_EQ(table->GetLast(), 5);
        EXPECT_EQ(write("UPDATE t SET a = 'b'; DELETE FROM t WHERE id = 2"), met);
        EXPECT_EQ(rest(false), "4a3a2a1a");
        // A walk that turns keeps its state; the end gives it up.
        ASSERT_EQ(table->GetFirst(), 1);
        ASSERT_NE(table->GetNext(), kNoPosition);
        EXPECT_EQ(write("UPDATE t SET a = 'c'"), met);
        EXPECT_EQ(rest(false), isWal ? "1b" : "1a");
        EXPECT_EQ(write("UPDATE t SET a = 'd'"), SQLITE_OK);
        EXPECT_EQ(rest(true), isWal ? "1d3d4d5d" : "1d2d3d4d5d");
        EXPECT_EQ(write("UPDATE t SET a = 'e'"), SQLITE_OK);
        // So does a walk from a place.
        ASSERT_EQ(table->RePos(3, false), 3);
        ASSERT_EQ(table->GetNext(), 4);
        EXPECT_EQ(write("UPDATE t SET a = 'f'"), met);
        EXPECT_EQ(rest(true), "5e");
        table->EndWalk();
        EXPECT_EQ(write("UPDATE t SET a = 'g'"), SQLITE_OK);
        table.reset();
    }
}

// ----------------------------------------------------------------------------------- missed writes

TEST_F(SqliteSession, WhatATriggerSkipsIsNotGone) {
    // What becomes of an update, of an insert and of a delete.
    const Table<std::string, std::int32_t, std::int32_t, std::int32_t> cases = {
        {"BEFORE UPDATE", DataConstraint, DataOk, DataOk},
        {"BEFORE INSERT", DataOk, DataConstraint, DataOk},
        {"AFTER UPDATE", DataOk, DataOk, DataOk},
        {"BEFORE DELETE", DataOk, DataOk, DataConstraint}};
    for (const auto& [trigger, update, insert, remove] : cases) {
        for (const bool isAtomic : {false, true}) {
            SCOPED_TRACE(trigger + (isAtomic ? " in a session" : ""));
            Remake(kFiveRows + ("CREATE TRIGGER s " + trigger) +
                   " ON t BEGIN SELECT RAISE(IGNORE); END");
            OpenTable("t");
            ASSERT_EQ(isAtomic ? table->BeginAtomic() : std::int32_t{DataOk}, DataOk);
            const auto expectStatus = [&](std::int32_t wanted) {
                EXPECT_EQ(table->status, wanted) << table->LastErrorText().c_str();
                EXPECT_EQ(table->LastErrorText().View().find("trigger") != std::string_view::npos,
                          wanted != DataOk);
            };
            UpdateTo(2, "b");
            expectStatus(update);
            Insert("new");
            expectStatus(insert);
            EXPECT_EQ(table->DeleteOne(5), remove == DataOk);
            expectStatus(remove);
            if (isAtomic) {
                EXPECT_EQ(table->Commit(), ESqlOutcome::Committed);
            }
            EXPECT_EQ(Rows(), std::string("1a|") + (update == DataOk ? "2b" : "2a") + "|3a|4a" +
                                  (remove == DataOk ? "" : "|5a") +
                                  (insert == DataOk ? "|6new" : ""));
            Run("DROP TRIGGER s; DELETE FROM t WHERE id = 3");
            EXPECT_EQ(table->RePos(4, false), 4);
            EXPECT_TRUE(Refused(table->DeleteOne(3), DataGone));
        }
    }
    Remake(kFiveRows +
           std::string("CREATE TRIGGER s BEFORE UPDATE ON t BEGIN DELETE FROM t WHERE id=2; END"));
    OpenTable("t");
    UpdateTo(2, "b");
    EXPECT_EQ(table->status, DataConstraint);
    EXPECT_NE(table->LastErrorText().View().find("deletes the record"), std::string_view::npos);
}

// ----------------------------------------------------------------------------------------- waiting

TEST_F(SqliteSession, WaitsTwoSecondsInAllForAReader) {
    RunAndOpen(
        "PRAGMA page_size=512; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s WHERE i < 200) INSERT "
        "INTO t SELECT i, hex(zeroblob(100)) FROM s");
    Hold("BEGIN; SELECT count(*) FROM t");
    // Each of these pages is to be written ahead of the commit, which needs the file alone.
    const sqlite3_int64 former = sqlite3_soft_heap_limit64(1);
    EXPECT_TRUE(IsPatience(TimeOf([this] {
        ASSERT_EQ(table->BeginAtomic(), DataOk);
        for (EPosition at = 1; at <= 200; ++at) {
            ASSERT_EQ(UpdateTo(at, "b"), at) << table->LastErrorText().c_str();
        }
        EXPECT_EQ(table->Commit(), ESqlOutcome::RolledBack);
        EXPECT_EQ(table->status, DataLocked);
    })));
    sqlite3_soft_heap_limit64(former);

    // A session of single writes waits once too, until one succeeds.
    table->BeginDelete();
    EXPECT_TRUE(IsPatience(TimeOf([this] {
        for (EPosition at = 1; at <= 5; ++at) {
            EXPECT_TRUE(Refused(UpdateTo(at, "c"), DataLocked));
        }
    })));
    holder->Do("COMMIT");
    EXPECT_EQ(UpdateTo(1, "c"), 1);
    holder->Do("BEGIN; SELECT count(*) FROM t");
    EXPECT_TRUE(IsPatience(TimeOf([this] { EXPECT_EQ(UpdateTo(2, "c"), kNoPosition); })));
    table->EndDelete();
}

TEST_F(SqliteSession, ReadingTriesAgainWhereAStatePasses) {
    const Table<const char*, unsigned int, int, int> cases = {
        {"the log has just gone", FaultVfs::kOpen, SQLITE_OPEN_WAL, SQLITE_CANTOPEN},
        {"the file is being replaced", FaultVfs::kOpen, SQLITE_OPEN_MAIN_DB, SQLITE_CANTOPEN},
        {"others come and go", FaultVfs::kShmMap, 0, SQLITE_PROTOCOL},
        {"the log is to be recovered", FaultVfs::kShmMap, 0, SQLITE_READONLY_RECOVERY}};
    FaultVfs vfs;
    int hits = 0;
    const auto arm = [&](FaultVfs::Fault fault) {
        hits = 0;
        fault.onHit = [&] { ++hits == 3 ? vfs.Disarm() : void(); };
        vfs.Arm(std::move(fault));
    };
    Run(std::string("PRAGMA journal_mode=wal;") + kFiveRows);
    Hold("SELECT count(*) FROM t");  // keeps the log
    for (const auto& [what, calls, files, code] : cases) {
        SCOPED_TRACE(what);
        arm({calls, 1, code, FaultVfs::Moment::Before, true, files});
        OpenTable("t", {}, ESqlOpenMode::ReadOnly);
        EXPECT_EQ(hits, 3);
        Close();
    }
    vfs.Arm({FaultVfs::kShmMap, 1, SQLITE_PROTOCOL, FaultVfs::Moment::Before, true});
    EXPECT_TRUE(IsPatience(TimeOf([this] { EXPECT_FALSE(TryOpen(ESqlOpenMode::ReadOnly)); })));
    EXPECT_EQ(error.status, DataLocked);
    vfs.Disarm();
    // The same for each read of a file that is open.
    holder.reset();
    RunAndOpen("PRAGMA journal_mode=delete", "t", ESqlOpenMode::ReadOnly);
    arm({FaultVfs::kLock, 1, SQLITE_PROTOCOL, FaultVfs::Moment::Before, true});
    EXPECT_EQ(Walk("a"), "a|a|a|a|a");
    EXPECT_EQ(hits, 3);
    table.reset();  // before the file system that it reads through
    source.reset();
}

TEST_F(SqliteSession, ALogThatEndsBehindItsHeaderIsReadAtOnce) {
    Run(std::string("PRAGMA journal_mode=wal;") + kFiveRows);
    Hold("SELECT count(*) FROM t; PRAGMA wal_checkpoint(TRUNCATE); UPDATE t SET a = 'lost'");
    // As of a writer that was killed before it could write the first page.
    const std::filesystem::path killed = folder / "killed.db";
    CopyFiles(path, killed, /*withIndex=*/true);
    std::filesystem::resize_file(killed.string() + "-wal", 32);
    path = killed;
    EXPECT_LT(TimeOf([this] {
                  OpenTable("t", {}, ESqlOpenMode::ReadOnly);
                  EXPECT_EQ(Walk("a"), "a|a|a|a|a");
              }),
              milliseconds(2000));
}

}  // namespace
}  // namespace etabulon::test
