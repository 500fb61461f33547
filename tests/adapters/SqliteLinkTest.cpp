#include "SqliteFixture.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "support/FaultVfs.h"

#include <chrono>

namespace etabulon::test {
namespace {

/// Table t, each record of which links to a named one of p.
class SqliteLinks : public SqliteTest {
protected:
    /// `count` records, `each` after one another with the same name of `size` bytes.
    void Make(int count, int each, int size, const std::string& pragma = "") {
        const std::string rows = std::to_string(count);
        const std::string numbers =
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<" + rows + ")";
        Run(pragma +
            "; CREATE TABLE p(id INTEGER PRIMARY KEY, name TEXT NOT NULL);"
            "CREATE TABLE t(id INTEGER PRIMARY KEY, p INTEGER NOT NULL REFERENCES p, n INTEGER,"
            "  pad TEXT);" +
            numbers + "INSERT INTO p SELECT i,'name'||i||hex(zeroblob(" + std::to_string(size / 2) +
            ")) FROM n;" + numbers + "INSERT INTO t SELECT i,1+(i-1)/" + std::to_string(each) +
            ",i,hex(zeroblob(60)) FROM n;");
    }
    /// Walks t, as a program that was just started, by the names. What is seen of them ends with
    /// "!status text" where the walk fails.
    std::string WalkNames(ESqlOpenMode mode = ESqlOpenMode::ReadOnly) {
        if (!TryOpen(mode)) {
            return "!" + std::to_string(error.status);
        }
        SqlCursor cursor(table, {"p>name"});
        return Walked(cursor);
    }
    /// In one session: n becomes -5, and what has no name goes.
    [[nodiscard]] ESqlOutcome Save() {
        if (!TryOpen(ESqlOpenMode::ReadWrite) || table->BeginAtomic() != DataOk) {
            return ESqlOutcome::RolledBack;
        }
        ETabulonPendingChanges changes;
        changes.AppendUpdate(ETabulonTag(), "n", -5);
        changes.AppendDelete(Tag({{0, EVariant()}}));
        SqlCursor cursor(table, {"p>name"});
        const ERef<WalkTrace> trace = MakeRef<WalkTrace>("id");
        const ECursorListening listening(cursor, *trace);
        const CursorStatus status = cursor.SaveAll(changes);
        const bool isWhole = status == StatusOk && table->Session().failures == 0 &&
                             trace->Take().find("error") == std::string::npos;
        return isWhole ? table->Commit() : table->Rollback();
    }
    /// Overwrites the first page of table p.
    void Damage() {
        const auto page = std::stoll(Ask("SELECT rootpage FROM sqlite_schema WHERE name='p'"));
        const auto size = std::stoll(Ask("PRAGMA page_size"));
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp((page - 1) * size);
        file << std::string(static_cast<std::size_t>(size), '\xFF');
    }
};

TEST_F(SqliteLinks, OfASaveAreReadInItsTransactionWhenItHoldsTheFileAlone) {
    // More pages than the cache holds are changed before the second name is met.
    Make(20000, 2500, 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Save(), ESqlOutcome::Committed);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(Ask("SELECT count(*)||' '||sum(n=-5) FROM t"), "20000 20000");
}

TEST_F(SqliteLinks, FailAtEachCallOfAWalkThatFailsOrAreWhole) {
    for (const char* const mode : {"PRAGMA journal_mode=delete", "PRAGMA journal_mode=wal"}) {
        std::filesystem::remove(path);
        Make(40, 1, 3000, mode);
        const std::string whole = WalkNames();
        ASSERT_EQ(whole.find('!'), std::string::npos);
        for (const unsigned int calls : {static_cast<unsigned int>(FaultVfs::kRead),
                                         static_cast<unsigned int>(FaultVfs::kAnyCall)}) {
            Close();
            FaultVfs vfs;
            int throughLinks = 0;
            std::uint64_t count = 1;
            for (std::uint64_t at = 0; at <= count; ++at) {
                vfs.Arm({calls, at});
                const std::string seen =
                    WalkNames(at % 2 == 0 ? ESqlOpenMode::ReadWrite : ESqlOpenMode::ReadOnly);
                vfs.Disarm();
                count = at == 0 ? vfs.Count() : count;
                EXPECT_TRUE(seen == whole || (at != 0 && seen.find('!') != std::string::npos))
                    << mode << calls << ' ' << at;
                throughLinks += seen.find("!1099 linked table p can't") != std::string::npos;
                Close();
            }
            EXPECT_GE(throughLinks, 20);
        }
    }
}

TEST_F(SqliteLinks, FailAtEachReadOfASaveThatSavesNothing) {
    for (const char* const mode : {"PRAGMA journal_mode=delete", "PRAGMA journal_mode=wal"}) {
        std::filesystem::remove(path);
        Make(40, 1, 3000, mode);
        FaultVfs vfs;
        std::uint64_t reads = 1;
        for (std::uint64_t at = 0; at <= reads; ++at) {
            vfs.Arm({FaultVfs::kRead, at});
            const ESqlOutcome outcome = Save();
            vfs.Disarm();
            Close();
            reads = at == 0 ? vfs.Count() : reads;
            const bool isSaved = outcome == ESqlOutcome::Committed;
            EXPECT_TRUE(isSaved || at != 0);
            EXPECT_EQ(Ask("SELECT count(*)||' '||sum(n=-5) FROM t"), isSaved ? "40 40" : "40 0")
                << mode << at;
            Run("UPDATE t SET n=id");
        }
        EXPECT_GT(reads, 40U);
    }
}

TEST_F(SqliteLinks, ThatEndTheSessionAreTheCauseOfLaterRefusals) {
    Make(4, 1, 3000);  // each name is on a page of its own
    FaultVfs vfs;
    OpenTable("t");
    SqlCursor cursor(table, {"p>name"});
    ASSERT_EQ(table->BeginAtomic(), DataOk);
    ASSERT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    vfs.Arm({FaultVfs::kRead, 1});
    EXPECT_EQ(cursor.CallGetNext(), static_cast<CursorStatus>(DataOther));
    vfs.Disarm();
    const std::string cause = table->LastErrorText().c_str();
    EXPECT_EQ(cause.find("linked table p can't be read"), 0U) << cause;
    EXPECT_FALSE(table->DeleteOne(4));
    EXPECT_NE(table->LastErrorText().View().find(cause), std::string_view::npos)
        << table->LastErrorText().c_str();
    EXPECT_EQ(table->Commit(), ESqlOutcome::RolledBack);
    Close();
}

TEST_F(SqliteLinks, AreCancelledWithinOneRead) {
    // Nothing orders p by its codes: the linked record is the last one that is looked at.
    Run("CREATE TABLE p(id INTEGER PRIMARY KEY, code TEXT, name TEXT);"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, p TEXT REFERENCES p(code));"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<20000)"
        "INSERT INTO p SELECT i,'c'||i,hex(zeroblob(60)) FROM n;"
        "UPDATE p SET name='last' WHERE id=20000; INSERT INTO t VALUES(1,'c20000')");
    FaultVfs vfs;
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    SqlCursor cursor(table, {"p>name"});
    FaultVfs::Fault cancel{FaultVfs::kRead, 10, SQLITE_OK};
    cancel.onHit = [&cursor] { cursor.Cancel(); };
    vfs.Arm(cancel);
    EXPECT_EQ(Walked(cursor).find("reset [] | cancel!-2 linked table p can't be read: "), 0U);
    EXPECT_LT(vfs.Count(), 200U);
    vfs.Disarm();
    EXPECT_EQ(Walked(cursor), "reset [] | last");
    Close();
}

TEST_F(SqliteLinks, OfADamagedTableNameIt) {
    Make(3, 1, 0);
    Damage();
    for (const ESqlOpenMode mode : {ESqlOpenMode::ReadOnly, ESqlOpenMode::ReadWrite}) {
        EXPECT_EQ(WalkNames(mode), "reset [] | error(1099)!1099 linked table p can't be read: " +
                                       path.string() + ": the database is corrupt");
        // The walk holds no lock any more, and goes on failing.
        Run("BEGIN EXCLUSIVE; COMMIT");
        EXPECT_TRUE(Refused(table->GetNext(), DataOther));
        EXPECT_NE(table->LastErrorCode(), 0);
    }
    EXPECT_EQ(Save(), ESqlOutcome::RolledBack);
    EXPECT_EQ(Ask("SELECT count(*)||' '||sum(n=-5) FROM t"), "3 0");
}

TEST_F(SqliteLinks, ByMomentsFindTheirRecord) {
    const std::pair<const char*, const char*> moments[] = {
        {"DATE", "2024-02-29"}, {"TIME", "01:02:03"}, {"TIMESTAMP", "2024-02-29 01:02:03"}};
    for (const auto& [type, text] : moments) {
        std::filesystem::remove(path);
        const std::string column = std::string(" ") + type;
        const std::string value = std::string("('") + text + "','";
        Run("CREATE TABLE p(id" + column + " PRIMARY KEY, name TEXT); CREATE TABLE t(p" + column +
            " REFERENCES p, x TEXT); INSERT INTO p VALUES" + value + "met'); INSERT INTO t VALUES" +
            value + "')");
        EXPECT_EQ(WalkNames(), "reset [] | met") << type;
    }
}

TEST_F(SqliteLinks, ToATableThatWentFailTheReset) {
    Make(3, 1, 0);
    OpenTable("t");
    SqlCursor cursor(table, {"p>name"});
    Run("ALTER TABLE p RENAME TO q");
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(Walked(cursor).find("reset [] | error(1005)!1005 linked table p can't be read: "),
                  0U);
    }
    Run("ALTER TABLE q RENAME TO p");
    EXPECT_EQ(Walked(cursor), "reset [] | name1 | name2 | name3");
}

TEST_F(SqliteLinks, SeeWhatTheSessionHasWritten) {
    for (const char* const mode : {"PRAGMA journal_mode=delete", "PRAGMA journal_mode=wal"}) {
        Remake(std::string(mode) +
               "; CREATE TABLE t(id INTEGER PRIMARY KEY, boss INTEGER REFERENCES t, p REFERENCES p,"
               "  name TEXT);"
               "CREATE TABLE p(id INTEGER PRIMARY KEY, name TEXT);"
               "CREATE TRIGGER follows AFTER UPDATE ON t WHEN new.name = 'z' BEGIN"
               "  UPDATE p SET name = new.name WHERE id = new.p; END;"
               "INSERT INTO p VALUES(1,'a'); INSERT INTO t VALUES(1,1,1,'a'),(2,1,1,'b')");
        OpenTable("t");
        SqlCursor bosses(table, {"boss>name"});
        SqlCursor parts(table, {"p>name"});
        const auto walked = [&] { return Walked(bosses) + ' ' + Walked(parts); };
        EXPECT_EQ(walked(), "reset [] | a | a reset [] | a | a");
        ASSERT_EQ(table->BeginAtomic(), DataOk);
        for (const char* const name : {"y", "z"}) {
            ASSERT_EQ(bosses.CallReset(ETabulonTag::Null), StatusOk);
            SetText("name", name);
            ASSERT_EQ(table->Update(kNoPosition), 1);
            ASSERT_EQ(bosses.CallGetNext(), StatusOk);
            EXPECT_EQ(bosses.CurrentTag().DisplayID(), Chaine::Format("[%s]", name));
        }
        EXPECT_EQ(walked(), "reset [] | z | z reset [] | z | z");
        EXPECT_EQ(table->Rollback(), ESqlOutcome::RolledBack);
        EXPECT_EQ(walked(), "reset [] | a | a reset [] | a | a");
        table.reset();
    }
}

TEST_F(SqliteLinks, OfAWalkThatASessionCameIntoAreReadFromItsState) {
    Make(3, 3, 0, "PRAGMA journal_mode=wal");
    OpenTable("t");
    SqlCursor cursor(table, {"p>name"});
    ASSERT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[name1]"));
    Run("UPDATE p SET name='other' WHERE id=1");
    ASSERT_EQ(table->BeginAtomic(), DataOk);
    ASSERT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[other]"));
    EXPECT_EQ(table->Commit(), ESqlOutcome::Committed);
}

}  // namespace
}  // namespace etabulon::test
