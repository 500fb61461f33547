#include "SqliteFixture.h"

#include <thread>

namespace etabulon {
namespace {

class SqliteWrite : public SqliteTest {
protected:
    void Hold(const char* statement) {
        sqlite3_open(path.c_str(), &other);
        sqlite3_busy_timeout(other, 0);
        ASSERT_EQ(sqlite3_exec(other, statement, nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~SqliteWrite() override { sqlite3_close(other); }
    sqlite3* other = nullptr;
};

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
            Field("n") <<= EVariant::FromInt64(Field("n").AsInt64() + 100);  // behind all others
            ASSERT_EQ(table->Update(kNoPosition), at) << table->LastErrorText().c_str();
        }
        EXPECT_EQ(met, "1234");
        EXPECT_EQ(table->status, DataEnd);
    }
    EXPECT_EQ(Ask("SELECT n FROM t"), "201|202|203|204");
}

TEST_F(SqliteWrite, AWalkOfAWriteSessionPassesOverWhatVanished) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t "
        "VALUES(1,'a'),(2,'b'),(3,'c'),(4,'d')");
    OpenTable("t");
    ASSERT_EQ(table->GetFirst(), 1);
    table->BeginDelete();  // in mid-walk
    EXPECT_TRUE(table->DeleteOne(3));
    EXPECT_EQ(table->GetNext(), 2);
    EXPECT_TRUE(table->DeleteOne(kNoPosition));
    EXPECT_EQ(table->position, kNoPosition);
    EXPECT_EQ(Text("a"), "NULL");
    EXPECT_FALSE(table->DeleteOne(kNoPosition));
    EXPECT_EQ(table->status, DataNoCurrent);
    EXPECT_EQ(table->GetNext(), 4);
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
    EXPECT_EQ(table->GetPrevious(), 4);
    EXPECT_EQ(table->GetPrevious(), 1);
    table->EndDelete();
    EXPECT_EQ(table->Session().attempts, 3U);
    EXPECT_EQ(table->Session().first.status, DataNoCurrent);
}

TEST_F(SqliteWrite, ARecordThatTakesTheKeyOfAnotherIsNotMetThereAgain) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "INSERT INTO t VALUES(1,'a'),(2,'b'),(3,'c'),(4,'d')");
    OpenTable("t");
    table->BeginDelete();
    std::string met;
    for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
        met += Text("a");
        if (at == 1) {
            ASSERT_TRUE(table->DeleteOne(2));
            ASSERT_TRUE(table->DeleteOne(4));
            Field("id") <<= EVariant::FromInt64(2);
            ASSERT_EQ(table->Update(1), 2) << table->LastErrorText().c_str();
            Field("id") <<= EVariant::FromInt64(4);
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
    Run("CREATE TABLE p(id INTEGER PRIMARY KEY); INSERT INTO p VALUES(1);"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, u TEXT UNIQUE, p INT REFERENCES p, c INT CHECK(c > "
        "0),"
        " nn TEXT NOT NULL DEFAULT 'd'); INSERT INTO t VALUES(1,'a',1,1,'x'),(2,'b',1,1,'x')");
    OpenTable("t");
    const std::string before = Ask("SELECT id||u||p||c||nn FROM t");
    struct Case {
        const char* field;
        EVariant value;
        std::int32_t status;
    };
    const Case cases[] = {
        {"id", EVariant::FromInt64(1), DataDuplicate},
        {"u", EVariant("a"), DataDuplicate},
        {"p", EVariant::FromInt64(5), DataConstraint},
        {"c", EVariant::FromInt64(0), DataConstraint},
        {"nn", EVariant::Missing(TYPE_CHAINE, 4), DataConstraint},
    };
    table->BeginDelete();
    for (const Case& test : cases) {
        ASSERT_EQ(table->RePos(2, false), 2);
        Field(test.field) <<= test.value;
        EXPECT_EQ(table->Update(kNoPosition), kNoPosition) << test.field;
        EXPECT_EQ(table->status, test.status) << test.field;
        EXPECT_NE(table->LastErrorCode(), 0);
        EXPECT_FALSE(table->LastErrorText().IsEmpty());
        EXPECT_EQ(table->position, 2);  // the buffer stays to be mended
    }
    table->RePos(2, false);
    EXPECT_TRUE(table->LastErrorText().IsEmpty());
    SetText("u", "new");
    EXPECT_EQ(table->Insert(), kNoPosition);
    EXPECT_EQ(table->status, DataDuplicate);  // its key, loaded with the rest
    table->RePos(1, false);
    Run("DELETE FROM t WHERE id = 2");
    SetText("u", "c");
    EXPECT_EQ(table->Update(2), kNoPosition);
    EXPECT_EQ(table->status, DataGone);
    EXPECT_FALSE(table->DeleteOne(2));
    EXPECT_EQ(table->status, DataGone);
    EXPECT_EQ(table->Session().failures, 8U);
    EXPECT_EQ(table->Session().successes, 0U);
    EXPECT_EQ(table->Session().first.status, DataDuplicate);
    Run("INSERT INTO t VALUES(2,'b',1,1,'x')");
    EXPECT_EQ(Ask("SELECT id||u||p||c||nn FROM t"), before);
}

TEST_F(SqliteWrite, ALockOfAnotherProgramIsLocked) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a')");
    OpenTable("t");
    ASSERT_EQ(table->RePos(1, false), 1);
    Hold("BEGIN EXCLUSIVE");
    SetText("a", "b");
    EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table->status, DataLocked);
    sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
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
    Run("CREATE TABLE p(id INTEGER PRIMARY KEY); CREATE TABLE t(id INTEGER PRIMARY KEY,"
        " p INT REFERENCES p DEFERRABLE INITIALLY DEFERRED); INSERT INTO t VALUES(1,NULL)");
    OpenTable("t");
    ASSERT_EQ(table->BeginAtomic(), DataOk);
    table->RePos(1, false);
    Field("p") <<= EVariant::FromInt64(9);
    EXPECT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(table->Commit(), ESqlOutcome::RolledBack);
    EXPECT_EQ(table->status, DataConstraint);
    EXPECT_EQ(Ask("SELECT p FROM t"), "NULL");
    // Without a session the same failure is one of the write.
    table->RePos(1, false);
    Field("p") <<= EVariant::FromInt64(9);
    EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table->status, DataConstraint);
    table->Fields().SetNull();
    EXPECT_EQ(table->Insert(), 2);  // the line is free again
}

TEST_F(SqliteWrite, AViewCanBeWalkedAndNotWritten) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a'),(2,'b');"
        "CREATE VIEW v AS SELECT a FROM t");
    OpenTable("v");
    EXPECT_EQ(Walk("a"), "a|b");
    EXPECT_EQ(table->Insert(), kNoPosition);
    EXPECT_EQ(table->status, DataReadOnly);
}

TEST_F(SqliteWrite, RecordLocksAreBetweenTheTablesOfTheProcess) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a'),(2,'b')");
    OpenTable("t");
    const auto second = source->OpenTable("t", error);
    ASSERT_EQ(table->GetFirst(), 1);
    ASSERT_EQ(second->GetFirst(), 1);
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
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(1),(2),(3),(4)");
    OpenTable("t");
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(table->status, DataNoCurrent);
    EXPECT_EQ(table->RePos(3, false), 3);
    EXPECT_EQ(table->GetNext(), 4);
    EXPECT_EQ(table->GetFirst(), 1);
    EXPECT_EQ(table->GetNext(), 2);
    EXPECT_EQ(table->GetPrevious(), 1);
    EXPECT_EQ(table->GetPrevious(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
    EXPECT_EQ(table->GetLast(), 4);
    EXPECT_EQ(table->RePos(2, false), 2);
    EXPECT_EQ(table->GetPrevious(), 1);
    EXPECT_TRUE(table->DeleteLoop());
    EXPECT_EQ(table->GetFirst(), kNoPosition);
    EXPECT_EQ(table->status, DataEnd);
}

}  // namespace
}  // namespace etabulon
