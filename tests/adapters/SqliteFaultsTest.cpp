#include "SqliteFixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <limits>
#include <random>
#include <set>
#include <thread>

namespace etabulon {
namespace {
class SqliteFaults : public SqliteTest {
protected:
    /// What another program sees of this one's locks.
    [[nodiscard]] bool IsLockedForOthers() const {
        const pid_t child = ::fork();
        if (child == 0) {
            const int file = ::open(path.c_str(), O_RDWR);
            struct flock lock {};
            lock.l_type = F_WRLCK;
            lock.l_whence = SEEK_SET;
            ::_exit(file >= 0 && ::fcntl(file, F_GETLK, &lock) == 0 && lock.l_type == F_UNLCK ? 0
                                                                                              : 1);
        }
        int answer = 0;
        return ::waitpid(child, &answer, 0) == child && WEXITSTATUS(answer) == 1;
    }
    /// Runs a statement by SQLite itself, without waiting for locks; the code.
    int Try(const char* statement) { return Database(path).Try(statement); }
};

TEST_F(SqliteFaults, OpeningAnotherTableKeepsTheLocksOfAnOpenTransaction) {
    RunAndOpen("CREATE TABLE t(id INTEGER PRIMARY KEY)");
    ASSERT_EQ(table->BeginAtomic(), DataOk);
    ASSERT_TRUE(IsLockedForOthers());
    for (const ESqlOpenMode mode : {ESqlOpenMode::ReadOnly, ESqlOpenMode::ReadWrite}) {
        const auto second = ESqliteSource::Open(path.c_str(), mode, error);
        ASSERT_NE(second, nullptr) << error.text.c_str();
        EXPECT_NE(second->OpenTable("t", error), nullptr);
        EXPECT_TRUE(IsLockedForOthers());
    }
    EXPECT_EQ(table->Commit(), ESqlOutcome::Committed);
    EXPECT_FALSE(IsLockedForOthers());
}

TEST_F(SqliteFaults, PathsThatAreNoPlainFilesAreTold) {
    Run("CREATE TABLE t(a); INSERT INTO t VALUES(1)");
    path = '/' + path.string();  // two slashes don't name a host
    OpenTable("t");
    EXPECT_EQ(Walk("a"), "1");
    const std::filesystem::path pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ESqliteSource::Open(pipe.c_str(), ESqlOpenMode::ReadOnly, error), nullptr);
    EXPECT_EQ(error.status, DataConnectionLost);
    // An empty file is an empty database.
    std::ofstream(folder / "empty.db").close();
    source = ESqliteSource::Open((folder / "empty.db").c_str(), ESqlOpenMode::ReadOnly, error);
    ASSERT_NE(source, nullptr);
    EXPECT_TRUE(source->Tables().empty());
}

TEST_F(SqliteFaults, ADamagedFileNeverLooksLikeItsEndNorEndsTheProgram) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b REAL);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<3000)"
        " INSERT INTO t SELECT i, 'text number '||i, i/7.0 FROM s");
    const auto size = std::filesystem::file_size(path);
    // Cut off unknown to an open table, and before it is opened.
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    ASSERT_EQ(table->GetFirst(), 1);
    const std::string whole = Bytes(path);
    std::filesystem::resize_file(path, size / 2);
    while (table->GetNext() != kNoPosition) {
    }
    EXPECT_NE(table->status, DataEnd);
    if (TryOpen(ESqlOpenMode::ReadOnly)) {
        while (table->GetFirst() != kNoPosition && table->GetNext() != kNoPosition) {
        }
        EXPECT_NE(table->status, DataEnd);
    }
    std::mt19937 random(11);
    for (int turn = 0; turn < 60; ++turn) {
        std::string bytes = whole;
        for (int i = 0; i < 20; ++i) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        Close();
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        for (EPosition at = TryOpen(ESqlOpenMode::ReadWrite) ? table->GetFirst() : kNoPosition;
             at != kNoPosition; at = table->GetNext()) {
            ASSERT_EQ(table->status, DataOk);
        }
    }
}

TEST_F(SqliteFaults, ADamagedPageEndsTheListOfKeysOfASave) {
    Run("PRAGMA page_size=512; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<300)"
        " INSERT INTO t SELECT i, 'text number '||i FROM s");
    const std::string whole = Bytes(path);
    const std::size_t cells = whole.size() - 512 + 8;  // where those of the last page begin
    for (const std::string& damage :
         {std::string("\x7F\xFF"), whole.substr(cells + 2, 2) + whole.substr(cells, 2)}) {
        std::string bytes = whole;
        bytes.replace(cells, damage.size(), damage);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        OpenTable("t");
        table->BeginDelete();
        EXPECT_NE(Walk("id").find('!'), std::string::npos);
        table->EndDelete();
    }
}

TEST_F(SqliteFaults, AKeyThatFindsNoRecordOrComesTwiceEndsAnAtomicSession) {
    const std::pair<const char*, bool> cases[] = {
        {"TEXT PRIMARY KEY, a TEXT) WITHOUT ROWID", false},
        {"TEXT COLLATE NOCASE PRIMARY KEY, a TEXT)", false},
        {"TEXT PRIMARY KEY, a TEXT) WITHOUT ROWID", true},
        {"TEXT COLLATE NOCASE PRIMARY KEY, a TEXT)", true}};
    for (const auto& [key, isPageTwice] : cases) {
        Remake(std::string("PRAGMA page_size=512; CREATE TABLE t(id ") + key +
               ";WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<300)"
               " INSERT INTO t SELECT printf('key number %04d', i), 'a' FROM s");
        std::string bytes = Bytes(path);
        std::vector<std::size_t> pages;
        for (std::size_t page = 512; page < bytes.size(); page += 512) {
            if (bytes[page] == '\x0A') {  // a leaf of an index
                pages.push_back(page);
            }
        }
        if (isPageTwice) {
            bytes.replace(pages[4], 512, bytes.substr(pages[2], 512));
        } else {
            char* const cells = &bytes[pages.back() + 8];
            std::swap_ranges(cells, cells + 2, cells + 2);
        }
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        OpenTable("t");
        ASSERT_EQ(table->BeginAtomic(), DataOk);
        EXPECT_NE(Walk("id").find('!'), std::string::npos);
        EXPECT_NE(table->LastErrorText().View().find("corrupt"), std::string_view::npos);
        EXPECT_EQ(table->Rollback(), ESqlOutcome::RolledBack);
    }
}

TEST_F(SqliteFaults, ATableThatOutlivesItsSourceFailsAndNamesIt) {
    Run("CREATE TABLE p(k INTEGER PRIMARY KEY, n TEXT);"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, p INT REFERENCES p);"
        "INSERT INTO p VALUES(7,'seven'); INSERT INTO t VALUES(1,'x',7),(2,'y',7)");
    const auto fails = [&](EPosition at) {
        EXPECT_EQ(at, kNoPosition);
        EXPECT_EQ(table->status, DataConnectionLost);
        EXPECT_NE(table->LastErrorText().View().find(path.string() + ": the source was closed"),
                  std::string_view::npos);
    };
    for (const bool isAtomic : {false, true}) {
        OpenTable("t");
        ASSERT_EQ(isAtomic ? table->BeginAtomic() : std::int32_t{DataOk}, DataOk);
        ASSERT_EQ(table->GetFirst(), 1);
        const DRubric* const rubric = source->Dico()->Find("t");
        source.reset();
        fails(table->GetNext());
        fails(table->GetFirst());
        fails(table->GetLast());
        fails(table->RePos(1, false));
        SetText("a", "z");
        fails(table->Insert());
        EXPECT_EQ(&table->Rubric(), rubric);
        EDataError failure;
        IRecordSource* const links = rubric->Source();
        EXPECT_EQ(links->OpenLookup(*rubric, {}, {}, nullptr, failure), nullptr);
        EXPECT_EQ(failure.status, DataConnectionLost);
        table.reset();
        EXPECT_EQ(Ask("SELECT group_concat(a) FROM t"), "x,y");
    }
}

TEST_F(SqliteFaults, AConflictNeverTakesAnotherRowAway) {
    for (const char* const what : {"REPLACE", "IGNORE", "FAIL", "ROLLBACK", "ABORT"}) {
        Remake(std::string("CREATE TABLE t(id INTEGER PRIMARY KEY, u TEXT UNIQUE ON CONFLICT ") +
               what + "); INSERT INTO t VALUES(1,'a'),(2,'b')");
        for (const bool isAtomic : {false, true}) {
            OpenTable("t");
            ASSERT_EQ(isAtomic ? table->BeginAtomic() : std::int32_t{DataOk}, DataOk);
            table->RePos(1, false);
            SetText("u", "b");
            EXPECT_TRUE(Refused(table->Update(kNoPosition), DataDuplicate));
            table->Fields().SetNull();
            SetText("u", "a");
            EXPECT_TRUE(Refused(table->Insert(), DataDuplicate));
            EXPECT_EQ(isAtomic ? table->Commit() : ESqlOutcome::Committed, ESqlOutcome::Committed);
            EXPECT_EQ(Ask("SELECT id||u FROM t"), "1a|2b") << what;
        }
    }
}

TEST_F(SqliteFaults, AColumnThatWentFailsAndIsNotReadAsItsName) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, k TEXT); INSERT INTO t VALUES(1,'x','y')");
    Run("ALTER TABLE t DROP COLUMN k");
    EXPECT_EQ(Walk("k"), "!1005");
    EXPECT_EQ(source->CountDistinct("t", "k", error), -1);
}

TEST_F(SqliteFaults, RecordsOfAViewDifferAndAreWalkedInAWriteSessionToo) {
    RunAndOpen(
        "CREATE TABLE t(a TEXT); INSERT INTO t VALUES('x'),('y'),('z');"
        "CREATE VIEW v AS SELECT a FROM t",
        "v");
    std::set<EPosition> positions;
    for (int walk = 0; walk < 2; ++walk) {
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            EXPECT_TRUE(positions.insert(at).second);
        }
    }
    EXPECT_EQ(positions.size(), 6U);
    ASSERT_NE(table->GetFirst(), kNoPosition);
    table->BeginDelete();
    EXPECT_NE(table->GetNext(), kNoPosition);
    EXPECT_EQ(Walk("a"), "x|y|z");
    table->EndDelete();
    // Backward it can't be walked, which isn't its end.
    ASSERT_NE(table->GetFirst(), kNoPosition);
    EXPECT_TRUE(Refused(table->GetPrevious(), DataBadStatement));
    EXPECT_TRUE(Refused(table->GetLast(), DataBadStatement));
}

TEST_F(SqliteFaults, AnUnknownOrderOfTextsIsReadAndFoundByKey) {
    sqlite3* other = nullptr;
    sqlite3_open(path.c_str(), &other);
    const auto backward = [](void*, int aSize, const void* a, int bSize, const void* b) {
        return std::string_view(static_cast<const char*>(b), static_cast<std::size_t>(bSize))
            .compare({static_cast<const char*>(a), static_cast<std::size_t>(aSize)});
    };
    sqlite3_create_collation(other, "mine", SQLITE_UTF8, nullptr, backward);
    ASSERT_EQ(sqlite3_exec(other,
                           "CREATE TABLE t(k TEXT COLLATE mine PRIMARY KEY, a TEXT COLLATE mine);"
                           "INSERT INTO t VALUES('a','x'),('c','x'),('b','y')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(other);
    OpenTable("t");
    EXPECT_EQ(Walk("k"), "a|b|c");
    EXPECT_FALSE(table->AddRange(1, ValueOf(EVariant("x"))));
    ASSERT_EQ(table->GetFirst(), 1);
    EXPECT_EQ(table->RePos(2, false), 2);
    EXPECT_EQ(Text("k"), "b");
    SetText("k", "d");
    EXPECT_TRUE(Refused(table->Update(kNoPosition), DataBadStatement));
}

TEST_F(SqliteFaults, ADatabaseInAnotherEncodingKeepsItsTexts) {
    RunAndOpen(
        "PRAGMA encoding='UTF-16'; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT);"
        "INSERT INTO t VALUES(1,'août'),(2,'')");
    EXPECT_FALSE(table->AddRange(1, ValueOf(EVariant("août"))));
    EXPECT_EQ(Walk("a"), "août|");
    ASSERT_EQ(table->RePos(2, false), 2);
    SetText("a", "\xF0\x9F\x98\x80");
    EXPECT_EQ(table->Update(kNoPosition), 2);
    EXPECT_EQ(Text("a"), "\xF0\x9F\x98\x80");
}

TEST_F(SqliteFaults, BytesAreKeysLikeAnyOther) {
    RunAndOpen(
        "CREATE TABLE p(k BLOB PRIMARY KEY, name TEXT); INSERT INTO p VALUES(x'00ff','zero'),"
        "(x'','none'),(x'61','a');"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, p BLOB REFERENCES p);"
        "INSERT INTO t VALUES(1,x'00ff'),(2,NULL),(3,x'61'),(4,x'62'),(5,x'')");
    SqlCursor cursor(table, {"t.p>p.name"});
    EXPECT_EQ(Walked(cursor), "reset [] | zero |  | a |  | none");
    OpenTable("p");
    for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
        EXPECT_EQ(table->CurKey().At(0), Field("k"));
    }
    EXPECT_EQ(table->status, DataEnd);
}

TEST_F(SqliteFaults, ACancelEndsAWaitForAnothersLock) {
    RunAndOpen("CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(1)");
    Hold("BEGIN EXCLUSIVE");
    std::thread canceller([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        table->Interrupt();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(table->GetFirst(), kNoPosition);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    canceller.join();
    EXPECT_EQ(table->status, kDataInterrupted);
    holder.reset();
    // And the next step, however short; in a write session as well.
    EXPECT_TRUE(Refused(table->GetFirst(), kDataInterrupted));
    table->BeginDelete();
    EXPECT_TRUE(Refused(table->GetFirst(), kDataInterrupted));
    table->ResetInterrupt();
    EXPECT_EQ(table->GetFirst(), 1);
}

TEST_F(SqliteFaults, AWalkThatEndedBadlyHoldsNoLock) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'x'),(2,'y')");
    SqlCursor cursor(table, {"t.a"});
    ASSERT_EQ(cursor.CallReset(ETabulonTag()), StatusOk);
    EXPECT_EQ(Try("BEGIN EXCLUSIVE"), SQLITE_BUSY);
    cursor.Cancel();
    EXPECT_EQ(cursor.CallGetNext(), StatusCancelled);
    EXPECT_EQ(Try("BEGIN EXCLUSIVE"), SQLITE_OK);
    EXPECT_EQ(cursor.CallGetNext(), StatusCancelled);

    table->ResetInterrupt();
    ASSERT_EQ(table->GetFirst(), 1);
    table->Interrupt();
    EXPECT_EQ(table->GetNext(), kNoPosition);
    EXPECT_EQ(Try("BEGIN EXCLUSIVE"), SQLITE_OK);
}

/// SQLite gets only so many bytes more for a scope.
class HeapLimit {
public:
    explicit HeapLimit(std::int64_t more) {
        sqlite3_hard_heap_limit64(sqlite3_memory_used() + more);
    }
    ~HeapLimit() {
        sqlite3_hard_heap_limit64(0);
        sqlite3_soft_heap_limit64(0);
    }
    HeapLimit(const HeapLimit&) = delete;
    HeapLimit& operator=(const HeapLimit&) = delete;
};

using SqliteCutOff = SqliteTest;

TEST_F(SqliteCutOff, SchemaAndRecordsAreReadWholeOrNotWhereMemoryIsShort) {
    // Each text is converted as it is read, which takes memory of its own.
    const std::string longName(3000, 'x');
    Run("PRAGMA encoding='UTF-16'; CREATE TABLE t(k TEXT PRIMARY KEY, a TEXT, " + longName +
        " TEXT) WITHOUT ROWID;"
        "INSERT INTO t VALUES(hex(zeroblob(20000)),hex(zeroblob(30000)),'b'),"
        "  ('1'||hex(zeroblob(9000)),hex(zeroblob(40000)),'c')");
    const auto read = [this, &longName] {
        if (!TryOpen(ESqlOpenMode::ReadWrite)) {
            EXPECT_NE(error.status, DataOk);
            return std::string("!");
        }
        std::string seen;
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            seen += table->RePos(at, false) == at ? Text("k") + Text("a") : "!";
            seen += Text(longName.c_str());
        }
        return table->status == DataEnd ? seen : "!";
    };
    const std::string whole = read();
    ASSERT_GT(whole.size(), 190'000U);
    int failures = 0;
    int successes = 0;
    for (std::int64_t more = 0; successes < 10; more += 1999) {
        Close();
        const HeapLimit limit(more);
        const std::string seen = read();
        ASSERT_TRUE(seen == whole || seen.find('!') != std::string::npos)
            << more << ' ' << seen.size();
        ++(seen == whole ? successes : failures);
    }
    EXPECT_GT(failures, 100);
}

TEST_F(SqliteCutOff, AValueThatCanNotBeBoundIsNotWrittenAsMissing) {
    RunAndOpen("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a')");
    ASSERT_EQ(table->RePos(1, false), 1);
    const std::string text(std::size_t{4} << 20, 'z');
    SetText("a", text);
    for (const bool isInsert : {false, true}) {
        {
            const HeapLimit limit(std::int64_t{2} << 20);
            EXPECT_TRUE(
                Refused(isInsert ? table->Insert() : table->Update(kNoPosition), DataNoMemory));
        }
        EXPECT_EQ(Text("a"), text);
        EXPECT_EQ(Ask("SELECT a FROM t"), "a");
    }
    EXPECT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(Ask("SELECT length(a) FROM t"), std::to_string(text.size()));
}

TEST_F(SqliteCutOff, AWriteWhoseRecordCanNotBeReadAgainIsTakenBack) {
    Run("PRAGMA encoding='UTF-16'; CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER, a TEXT);"
        "CREATE TRIGGER made AFTER UPDATE OF n ON t BEGIN"
        "  UPDATE t SET a = hex(zeroblob(40000+new.n)) WHERE id = new.id; END;"
        "INSERT INTO t(id,n,a) VALUES(1,0,'')");
    for (const bool isAtomic : {false, true}) {
        int failures = 0;
        std::int64_t stored = 0;
        for (std::int64_t more = 0; stored < 2; more += 12000) {
            OpenTable("t");
            ASSERT_EQ(isAtomic ? table->BeginAtomic() : std::int32_t{DataOk}, DataOk);
            ASSERT_EQ(table->RePos(1, false), 1);
            const std::string before = Text("a");
            Field("n") <<= Whole(stored + 1);
            EPosition written = kNoPosition;
            {
                const HeapLimit limit(more);
                written = table->Update(kNoPosition);
            }
            if (written != kNoPosition) {
                ++stored;
                ASSERT_EQ(Text("a").size(), static_cast<std::size_t>(80000 + 2 * stored));
            } else {
                ++failures;
                ASSERT_EQ(table->status, DataNoMemory);
                ASSERT_EQ(Text("a"), before);
                ASSERT_EQ(Text("n"), std::to_string(stored + 1));
            }
            ASSERT_EQ(table->Session().successes, written != kNoPosition ? 1U : 0U);
            if (isAtomic) {
                static_cast<void>(table->Commit());
            }
            ASSERT_EQ(Ask("SELECT n FROM t"), std::to_string(stored)) << more;
        }
        EXPECT_GT(failures, 10);
        Run("UPDATE t SET n=0");
    }
}

TEST_F(SqliteCutOff, ARecordThatCanNotHaveAPositionIsNotInserted) {
    RunAndOpen("CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER)");
    Field("id") <<= Whole(std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(Refused(table->Insert(), DataOther));
    EXPECT_EQ(Ask("SELECT count(*) FROM t"), "0");
}

}  // namespace
}  // namespace etabulon
