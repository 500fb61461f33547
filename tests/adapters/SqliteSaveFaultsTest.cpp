#include "SqliteFixture.h"
#include "support/FaultVfs.h"

#include <sstream>
#include <system_error>

namespace etabulon::test {
namespace {

using Moment = FaultVfs::Moment;

struct FaultKind {
    const char* what;
    FaultVfs::Fault fault;
    bool mayBeUnknown;  // it may hit the commit at a point of no return
};

constexpr unsigned int kLocks = FaultVfs::kLock | FaultVfs::kShmLock;

const FaultKind kKinds[] = {
    {"a read fails", {FaultVfs::kRead, 1, SQLITE_IOERR_READ}, false},
    {"a write fails", {FaultVfs::kWrite, 1, SQLITE_IOERR_WRITE, Moment::Half}, false},
    {"no write succeeds", {FaultVfs::kWrite, 1, SQLITE_IOERR_WRITE, Moment::Before, true}, false},
    {"the disk is full once", {FaultVfs::kWrite, 1, SQLITE_FULL, Moment::Half}, false},
    {"the disk stays full", {FaultVfs::kWrite, 1, SQLITE_FULL, Moment::Half, true}, false},
    {"a sync fails", {FaultVfs::kSync, 1, SQLITE_IOERR_FSYNC}, true},
    {"no sync succeeds", {FaultVfs::kSync, 1, SQLITE_IOERR_FSYNC, Moment::Before, true}, true},
    {"the file isn't cut", {FaultVfs::kTruncate, 1, SQLITE_IOERR_TRUNCATE, Moment::Half}, true},
    {"the journal stays", {FaultVfs::kDelete, 1, SQLITE_IOERR_DELETE}, false},
    {"no journal goes", {FaultVfs::kDelete, 1, SQLITE_IOERR_DELETE, Moment::Before, true}, true},
    {"the folder isn't synced", {FaultVfs::kDelete, 1, SQLITE_IOERR_DELETE, Moment::After}, true},
    {"a file can't be opened", {FaultVfs::kOpen, 1, SQLITE_CANTOPEN}, false},
    {"a size is unknown", {FaultVfs::kFileSize, 1, SQLITE_IOERR_FSTAT}, true},
    {"shared memory fails", {FaultVfs::kShmMap, 1, SQLITE_IOERR_SHMMAP}, true},
    {"a lock fails", {kLocks, 1, SQLITE_IOERR_LOCK}, true},
    {"a lock is taken", {kLocks, 1, SQLITE_BUSY}, false},
    {"a lock isn't given up", {FaultVfs::kUnlock, 1, SQLITE_IOERR_UNLOCK}, true},
    {"memory runs out", {FaultVfs::kAnyCall, 1, SQLITE_IOERR_NOMEM}, true},
    {"nothing works", {FaultVfs::kAnyCall, 1, SQLITE_IOERR, Moment::Before, true}, true}};

/// Keeps SQLite's page caches so small that pages are written ahead of the commit.
class SmallCaches {
public:
    SmallCaches() : former_(sqlite3_soft_heap_limit64(1)) {}
    ~SmallCaches() { sqlite3_soft_heap_limit64(former_); }
    SmallCaches(const SmallCaches&) = delete;
    SmallCaches& operator=(const SmallCaches&) = delete;

private:
    sqlite3_int64 former_;
};

class FaultySave : public SqliteTest, public ::testing::WithParamInterface<const char*> {
protected:
    using Rows = std::map<std::string, std::string>;      // what there is, by key
    using Outcomes = std::map<std::string, ESqlOutcome>;  // what the save has learnt, by key

    FaultySave() {
        // Deletes shorten the file, after the commit.
        Run("PRAGMA page_size=512; PRAGMA auto_vacuum=full; PRAGMA journal_mode=" +
            std::string(GetParam()) +
            "; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT); CREATE INDEX t_a ON t(a);"
            "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s WHERE i < 8) INSERT "
            "INTO t SELECT i, iif(i % 3, 'x', 'y'), i FROM s; INSERT INTO t SELECT 9, "
            "hex(zeroblob(900)), 9");
        original = folder / "original.db";
        std::filesystem::copy_file(path, original);
    }
    /// What a database holds, opened without faults.
    Rows RowsOf(std::filesystem::path database) {
        path.swap(database);
        EXPECT_EQ(Ask("PRAGMA integrity_check"), "ok");
        const std::string all =
            Ask("SELECT id||','||length(a)||substr(a,1,1)||ifnull(n,'') FROM t");
        path.swap(database);
        Rows rows;
        std::istringstream lines(all);
        for (std::string row; std::getline(lines, row, '|');) {
            rows[row.substr(0, row.find(','))] = row;
        }
        return rows;
    }
    /// An update of six records, two deletes and two inserts, saved as applications do it.
    Outcomes SaveAll() {
        ETabulonPendingChanges changes;
        const ETabulonTag place = Tag({{0, EVariant("x")}});
        changes.AppendUpdate(place, "n", Whole(-1));
        changes.AppendUpdate(place, "a", EVariant(Chaine(std::string(300, 'z'))));
        for (const int id : {3, 9}) {
            changes.AppendDelete(Tag({{1, Whole(id)}}));
        }
        for (const int id : {20, 21}) {
            changes.AppendInsert(
                Tag({{0, EVariant(Chaine(std::string(400, 'n')))}, {1, Whole(id)}}));
        }
        SqlCursor cursor(table, {"a", "id"});
        const auto walk = MakeRef<WalkTrace>();
        cursor.AddNotifier(walk.Get());
        CursorStatus status = static_cast<CursorStatus>(table->BeginAtomic());
        status = status == StatusOk ? cursor.SaveAll(changes) : status;
        const bool isGood = status == StatusOk && table->Session().failures == 0 &&
                            walk->Take().find("error") == std::string::npos;
        const ESqlOutcome outcome = isGood ? table->Commit() : table->Rollback();
        EXPECT_EQ(outcome == ESqlOutcome::Unknown, table->status == kDataUnknown);
        return {{"1", outcome}, {"3", outcome}, {"9", outcome}, {"20", outcome}};
    }
    /// Three writes, each by itself.
    Outcomes SaveEach() {
        Outcomes outcomes;
        const auto note = [&](const char* key, bool isDone) {
            outcomes[key] = isDone                          ? ESqlOutcome::Committed
                            : table->status == kDataUnknown ? ESqlOutcome::Unknown
                                                            : ESqlOutcome::RolledBack;
        };
        const bool isThere = table->RePos(1, false) != kNoPosition;
        SetText("a", std::string(700, 'z'));
        note("1", isThere && table->Update(kNoPosition) != kNoPosition);
        note("9", table->DeleteOne(9));
        table->Fields().SetNull();
        Field("id") <<= Whole(20);
        SetText("a", "n");
        note("20", table->Insert() != kNoPosition);
        return outcomes;
    }
    /// Saves under each fault at each call, and compares.
    void TryFaults(const std::function<Outcomes()>& save, bool isAllOrNothing) {
        FaultVfs vfs;
        const Rows before = RowsOf(path);
        OpenTable("t");
        save();
        Close();
        const Rows after = RowsOf(path);
        const std::filesystem::path image = folder / "image.db";
        for (const FaultKind& kind : kKinds) {
            FaultVfs::Fault fault = kind.fault;
            for (bool isHit = true; isHit; ++fault.at) {
                SCOPED_TRACE(kind.what + (", call " + std::to_string(fault.at)));
                CopyFiles(original, path);
                OpenTable("t");
                vfs.Arm(fault);
                const Outcomes outcomes = save();
                isHit = vfs.Hits() != 0;
                CopyFiles(path, image);
                Close();
                vfs.Disarm();
                for (const auto& file : {image, path}) {  // when killed, and after an orderly end
                    const Rows present = RowsOf(file);
                    ExpectTruth(kind, outcomes, {before, after, present});
                    EXPECT_TRUE(!isAllOrNothing || present == before || present == after);
                    ASSERT_FALSE(HasFailure());
                }
            }
        }
    }
    struct States {
        const Rows& before;
        const Rows& after;
        const Rows& present;
    };
    static std::string RowOf(const Rows& rows, const std::string& key) {
        const auto row = rows.find(key);
        return row != rows.end() ? row->second : "none";
    }
    /// Each write that is reported as done is there, and none that is reported as taken back.
    static void ExpectTruth(const FaultKind& kind, const Outcomes& outcomes, const States& states) {
        for (const auto& [key, outcome] : outcomes) {
            const std::string row = RowOf(states.present, key);
            const bool isSaved = row == RowOf(states.after, key);
            ASSERT_NE(isSaved, row == RowOf(states.before, key)) << row;
            EXPECT_NE(outcome, isSaved ? ESqlOutcome::RolledBack : ESqlOutcome::Committed) << row;
            EXPECT_TRUE(outcome != ESqlOutcome::Unknown || kind.mayBeUnknown);
        }
    }

    std::filesystem::path original;
};

TEST_P(FaultySave, ReportsWhatTheFileHolds) {
    const SmallCaches caches;
    TryFaults([this] { return SaveAll(); }, /*isAllOrNothing=*/true);
}

TEST_P(FaultySave, ReportsEachWriteByItself) {
    TryFaults([this] { return SaveEach(); }, /*isAllOrNothing=*/false);
}

TEST_P(FaultySave, LeavesAFileThatCanBeReadWithoutRoomForTheJournal) {
    const SmallCaches caches;
    FaultVfs vfs;
    FaultVfs::Fault full{FaultVfs::kWrite, 1, SQLITE_FULL, Moment::Half, true};
    full.files = SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
    for (bool isHit = true; isHit && !HasFailure(); ++full.at) {
        SCOPED_TRACE(full.at);
        isHit = false;
        for (const bool isWhole : {true, false}) {
            CopyFiles(original, path);
            OpenTable("t");
            vfs.Arm(full);
            isWhole ? SaveAll() : SaveEach();
            isHit = isHit || vfs.Hits() != 0;
            Close();
            vfs.Disarm();
            ASSERT_NO_FATAL_FAILURE(OpenTable("t", {}, ESqlOpenMode::ReadOnly));
            EXPECT_EQ(Walk("n").find('!'), std::string::npos);
            Close();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InBothJournals, FaultySave, ::testing::Values("delete", "wal"));

}  // namespace
}  // namespace etabulon::test
