#include "SqliteFixture.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "support/FaultVfs.h"
#include "support/Tags.h"

#include <map>
#include <sstream>
#include <system_error>

namespace etabulon {
namespace {

using test::FaultVfs;
using test::Tag;

using Moment = FaultVfs::Moment;

struct FaultKind {
    const char* what;
    FaultVfs::Fault fault;
    bool mayBeUnknown;  // it may come where nobody can tell whether the commit stands
};

constexpr unsigned kLocks = FaultVfs::kLock | FaultVfs::kShmLock;

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
    {"nothing works", {FaultVfs::kAnyCall, 1, SQLITE_IOERR, Moment::Before, true}, true},
};

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

class FailingWalk final : public ETabulonCursor::INotifier {
public:
    void AddRef() override {}
    std::int32_t Release() override { return 1; }
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override { return StatusOk; }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {
        hasFailed = true;
    }
    bool hasFailed = false;
};

class FaultySave : public SqliteTest, public ::testing::WithParamInterface<const char*> {
protected:
    using Rows = std::map<std::string, std::string>;  // what there is, by key

    FaultySave() {
        std::string pattern = "/dev/shm/etabulon-XXXXXX";  // in memory, where there is room
        if (::mkdtemp(pattern.data()) != nullptr) {
            std::filesystem::remove(folder);
            folder = pattern;
            path = folder / "test.db";
        }
        // Deletes shorten the file, behind the commit.
        Run("PRAGMA page_size=512; PRAGMA auto_vacuum=full; PRAGMA journal_mode=" +
            std::string(GetParam()) +
            "; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT); CREATE INDEX t_a ON t(a);"
            "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s WHERE i < 8) INSERT "
            "INTO t SELECT i, iif(i % 3, 'x', 'y'), i FROM s; INSERT INTO t SELECT 9, "
            "hex(zeroblob(900)), 9");
        original = folder / "original.db";
        std::filesystem::copy_file(path, original);
    }
    /// Copies a database as a kill would leave it.
    static void CopyFiles(const std::filesystem::path& from, const std::filesystem::path& to) {
        for (const char* const end : {"", "-journal", "-wal", "-shm"}) {
            std::error_code none;
            std::filesystem::remove(to.string() + end, none);
            if (std::string_view(end) != "-shm") {
                std::filesystem::copy_file(from.string() + end, to.string() + end, none);
            }
        }
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
    /// A save of an update of six records, deletes and inserts, as applications do it; what is
    /// told of it.
    ESqlOutcome Save() {
        ETabulonPendingChanges changes;
        const ETabulonTag place = Tag({{0, EVariant("x")}});
        changes.AppendUpdate(place, "n", EVariant::FromInt64(-1));
        changes.AppendUpdate(place, "a", EVariant(Chaine(std::string(300, 'z'))));
        for (const int id : {3, 9}) {
            changes.AppendDelete(Tag({{1, EVariant::FromInt64(id)}}));
        }
        for (const int id : {20, 21}) {
            changes.AppendInsert(
                Tag({{0, EVariant(Chaine(std::string(400, 'n')))}, {1, EVariant::FromInt64(id)}}));
        }
        ETabulonLevels levels;
        levels.AddLevel("a", "a", nullptr, /*addRef=*/false);
        levels.AddLevel("id", "id", nullptr, /*addRef=*/false);
        FailingWalk walk;
        ETabulonCursorSql cursor;
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
        cursor.AddNotifier(&walk);
        if (table->BeginAtomic() != DataOk) {
            return ESqlOutcome::RolledBack;
        }
        CursorStatus status = StatusOk;
        {
            ETabulonSavePending save(&cursor, levels);
            status = save.Run(&changes, ETabulonTag::Null);
        }
        const bool isGood = status == StatusOk && table->Session().failures == 0 && !walk.hasFailed;
        const ESqlOutcome outcome = isGood ? table->Commit() : table->Rollback();
        EXPECT_EQ(outcome == ESqlOutcome::Unknown, table->status == kDataUnknown);
        return outcome;
    }

    /// Three writes, each by itself; what is told of each, by its key.
    std::map<std::string, ESqlOutcome> SaveEach() {
        std::map<std::string, ESqlOutcome> told;
        const auto tell = [&](const char* key, bool isDone) {
            told[key] = isDone                          ? ESqlOutcome::Committed
                        : table->status == kDataUnknown ? ESqlOutcome::Unknown
                                                        : ESqlOutcome::RolledBack;
        };
        const bool isThere = table->RePos(1, false) != kNoPosition;
        SetText("a", std::string(700, 'z'));
        tell("1", isThere && table->Update(kNoPosition) != kNoPosition);
        tell("9", table->DeleteOne(9));
        table->Fields().SetNull();
        Field("id") <<= EVariant::FromInt64(20);
        SetText("a", "n");
        tell("20", table->Insert() != kNoPosition);
        return told;
    }

    std::filesystem::path original;
};

TEST_P(FaultySave, TellsWhatTheFileHolds) {
    FaultVfs vfs;
    const SmallCaches caches;
    const Rows before = RowsOf(path);
    OpenTable("t");
    ASSERT_EQ(Save(), ESqlOutcome::Committed);
    table.reset();
    source.reset();
    const Rows after = RowsOf(path);
    ASSERT_NE(before, after);
    const std::filesystem::path image = folder / "image.db";
    for (const FaultKind& kind : kKinds) {
        std::map<ESqlOutcome, int> told;
        FaultVfs::Fault fault = kind.fault;
        for (bool isHit = true; isHit; ++fault.at) {
            SCOPED_TRACE(kind.what + (", call " + std::to_string(fault.at)));
            CopyFiles(original, path);
            OpenTable("t");
            vfs.Arm(fault);
            const ESqlOutcome outcome = Save();
            isHit = vfs.Hits() != 0;
            ++told[outcome];
            // As a kill would leave it, and after an orderly end.
            CopyFiles(path, image);
            table.reset();
            source.reset();
            vfs.Disarm();
            for (const auto& file : {image, path}) {
                const Rows rows = RowsOf(file);
                ASSERT_TRUE((rows == after && outcome != ESqlOutcome::RolledBack) ||
                            (rows == before && outcome != ESqlOutcome::Committed))
                    << "told " << static_cast<int>(outcome)
                    << (rows == after    ? " after"
                        : rows == before ? " before"
                                         : " half")
                    << (file == image ? " when killed" : "");
            }
        }
        EXPECT_TRUE(kind.mayBeUnknown || told[ESqlOutcome::Unknown] == 0) << kind.what;
    }
}

TEST_P(FaultySave, TellsOfEachWriteByItself) {
    FaultVfs vfs;
    const Rows before = RowsOf(path);
    OpenTable("t");
    SaveEach();
    table.reset();
    source.reset();
    const Rows after = RowsOf(path);
    const std::filesystem::path image = folder / "image.db";
    const auto rowOf = [](const Rows& rows, const std::string& key) {
        const auto row = rows.find(key);
        return row != rows.end() ? row->second : "none";
    };
    for (const FaultKind& kind : kKinds) {
        FaultVfs::Fault fault = kind.fault;
        for (bool isHit = true; isHit; ++fault.at) {
            SCOPED_TRACE(kind.what + (", call " + std::to_string(fault.at)));
            CopyFiles(original, path);
            OpenTable("t");
            vfs.Arm(fault);
            const auto told = SaveEach();
            isHit = vfs.Hits() != 0;
            CopyFiles(path, image);
            table.reset();
            source.reset();
            vfs.Disarm();
            for (const auto& file : {image, path}) {
                const Rows rows = RowsOf(file);
                for (const auto& [key, outcome] : told) {
                    const std::string row = rowOf(rows, key);
                    ASSERT_NE(rowOf(before, key), rowOf(after, key));
                    ASSERT_TRUE((row == rowOf(after, key) && outcome != ESqlOutcome::RolledBack) ||
                                (row == rowOf(before, key) && outcome != ESqlOutcome::Committed))
                        << "record " << key << " told " << static_cast<int>(outcome) << " has "
                        << row << (file == image ? " when killed" : "");
                    ASSERT_TRUE(kind.mayBeUnknown || outcome != ESqlOutcome::Unknown);
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InBothJournals, FaultySave, ::testing::Values("delete", "wal"));

}  // namespace
}  // namespace etabulon
