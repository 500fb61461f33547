#include "adapters/SqliteFixture.h"
#include "blocks/RandomWalk.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/EReadAhead.h"
#include "support/FaultVfs.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

namespace etabulon::test {
namespace {

std::size_t CountThreads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

/// Follows the keys and another column of a walk by blocks; ends or cancels it at a record.
class Summing : public EBlockListener {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        field_ = &cursor.Field("v");
        records = blocks = 0;
        lowest = std::numeric_limits<std::int64_t>::max();
        highest = last = std::numeric_limits<std::int64_t>::min();
        mostThreads = before;
        areInOrder = true;
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        return Add(cursor, cursor.PrimaryKey().Position(), field_->AsInt64());
    }
    bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override {
        column_ = request.AddValues(cursor.Field("v"));
        if (readsPad) {
            static_cast<void>(request.AddValues(cursor.Field("pad")));
        }
        request.keys = true;
        return true;
    }
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> selected) override {
        ++blocks;
        mostInBlock = std::max(mostInBlock, selected.size());
        mostThreads = std::max(mostThreads, CountThreads());
        CursorStatus answer = StatusOk;
        for (const EBlockIndex record : selected) {
            const CursorStatus each =
                Add(cursor, block.Position(record), block.Value(column_, record).AsInt64());
            answer = each != StatusOk ? each : answer;
        }
        return answer;
    }
    /// Threads that read for the walk.
    [[nodiscard]] std::size_t Readers() const { return mostThreads - before; }
    /// Those that remain. The kernel shows a joined thread for a moment longer.
    [[nodiscard]] std::size_t Left() const {
        for (int tries = 0; tries < 1000 && CountThreads() != before; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return CountThreads() - before;
    }

    std::size_t before = CountThreads();  // threads
    std::size_t records = 0, blocks = 0, mostThreads = 0, mostInBlock = 0;
    bool readsPad = false;
    std::int64_t lowest = 0, highest = 0, last = 0;
    bool areInOrder = true;
    std::size_t endAt = static_cast<std::size_t>(-1);
    std::size_t cancelAt = static_cast<std::size_t>(-1);

private:
    CursorStatus Add(const ETabulonCursor& cursor, std::int64_t key, std::int64_t value) {
        areInOrder = areInOrder && key > last;
        last = key;
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
        ++records;
        if (records == cancelAt) {
            const_cast<ETabulonCursor&>(cursor).Cancel();
        }
        return records == endAt ? StatusEnd : StatusOk;
    }
    const EField* field_ = nullptr;
    unsigned int column_ = 0;
};

/// A kind of table, or of walk.
struct AheadCase {
    const char* name;
    const char* columns;
    const char* key;         // of row i
    bool hasOthers = false;  // rows that the walk's condition leaves out
    bool isMissing = false;  // the value of all others in the condition's column
};
constexpr AheadCase kClusters{"Clusters",
                              "k INTEGER PRIMARY KEY, v INTEGER, pad TEXT, half INTEGER)",
                              "CASE WHEN i < 5000 THEN i - 9000000000000000000 WHEN i < 15000"
                              " THEN i * 7 ELSE i + 9000000000000000000 END"};

class SqliteReadAhead : public SqliteTest {
protected:
    static constexpr std::int64_t kRows = 20000;

    SqliteReadAhead() {
        std::thread([] {}).join();  // a sanitizer has its own thread from the first one on
        EReadAhead::SetThreads(2);
        EReadAhead::SetLeastRecords(1000);
    }
    ~SqliteReadAhead() override {
        EReadAhead::SetThreads(threads_);
        EReadAhead::SetLeastRecords(EReadAhead::kLeastRecords);
    }
    /// Table t with the same value in each row; in `others` there is another one.
    void Make(const std::string& pragma = "", const AheadCase& kind = kClusters) {
        const std::string rows =
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000)"
            "INSERT INTO t SELECT ";
        Run(pragma + ";CREATE TABLE t (" + kind.columns + ";" + rows + kind.key +
            ", 0, 'text ' || (i % 900), " + (kind.isMissing ? "NULL" : "1") + " FROM n;");
        if (kind.hasOthers) {
            Run(rows + "i * 7 + 3, 5, 'out', 0 FROM n WHERE i BETWEEN 4000 AND 16000");
        }
        place = kind.hasOthers ? ETabulonTag{{0, kind.isMissing ? EVariant() : EVariant(1)}}
                               : ETabulonTag();
    }
    CursorStatus Walk(const ERef<Summing>& listener) {
        ETabulonCursorSql cursor;
        cursor.Init(LevelsBy({"half"}), table.get(), /*ownsTable=*/false);
        listener->before = CountThreads();
        const ECursorListening listening(cursor, *listener);
        return cursor.Browse(place);
    }
    static void ExpectWhole(const Summing& sums) {
        EXPECT_EQ(sums.records, static_cast<std::size_t>(kRows));
        EXPECT_TRUE(sums.areInOrder);
        EXPECT_EQ(sums.lowest, sums.highest) << "of two states";
        EXPECT_EQ(sums.Left(), 0U);
    }

    const ERef<Summing> sums = MakeRef<Summing>();
    ETabulonTag place;  // of all walks

private:
    BlocksEnabled blocks_{true};  // readers deliver blocks only
    unsigned int threads_ = EReadAhead::Threads();
};

class SqliteReadAheadOf : public SqliteReadAhead, public testing::WithParamInterface<AheadCase> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds, SqliteReadAheadOf,
    testing::Values(kClusters,
                    AheadCase{"Condition", kClusters.columns, kClusters.key, /*hasOthers=*/true},
                    AheadCase{"Missing", kClusters.columns, kClusters.key, /*hasOthers=*/true,
                              /*isMissing=*/true}),
    [](const auto& kind) { return kind.param.name; });

TEST_F(SqliteReadAhead, IsDoneOnlyWhereItPaysAndAllReadersSeeOneState) {
    Make();
    const auto readers = [this] {
        EXPECT_EQ(Walk(sums), StatusOk);
        ExpectWhole(*sums);
        return sums->Readers();
    };
    for (const ESqlOpenMode mode : {ESqlOpenMode::ReadOnly, ESqlOpenMode::ReadWrite}) {
        OpenTable("t", {}, mode);
        EXPECT_EQ(readers(), 2U);
        EXPECT_EQ(readers(), 2U) << "again";
        EReadAhead::SetThreads(0);
        EXPECT_EQ(readers(), 0U) << "switched off";
        EReadAhead::SetThreads(2);
        table->SetOrder({1});
        EXPECT_EQ(readers(), 0U) << "another order";
        table->SetOrder({});
    }
    EXPECT_EQ(table->BeginAtomic(), DataOk);
    EXPECT_EQ(readers(), 0U) << "in a transaction";
    EXPECT_EQ(table->Rollback(), ESqlOutcome::RolledBack);
    Run("DELETE FROM t WHERE k > 0 OR k % 5 <> 0");
    OpenTable("t");
    EXPECT_EQ(Walk(sums), StatusOk);
    EXPECT_EQ(sums->Readers(), 0U) << "few records";
}

// All of the slots of the two readers would have 1 GB of texts.
TEST_F(SqliteReadAhead, KeepsFewLongTexts) {
    constexpr std::size_t kLength = 30000;
    Make();
    Run("DELETE FROM t WHERE k % 10 <> 0;"
        "UPDATE t SET pad = substr(printf('%030000d', k), 1)");
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    sums->readsPad = true;
    for (const unsigned int threads : {0U, 2U}) {
        EReadAhead::SetThreads(threads);
        EXPECT_EQ(Walk(sums), StatusOk);
        EXPECT_EQ(sums->Readers(), threads);
        EXPECT_GT(sums->records, 1500U);
        EXPECT_TRUE(sums->areInOrder);
        EXPECT_LE(sums->mostInBlock, (std::size_t{1} << 20U) / kLength + 1);
    }
}

TEST_F(SqliteReadAhead, GoesOnWithoutWhereThereIsNoThread) {
    Make();
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    pthread_attr_t usual;
    pthread_attr_t huge;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    pthread_attr_init(&huge);
    ASSERT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 46), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    EXPECT_EQ(Walk(sums), StatusOk);
    pthread_setattr_default_np(&usual);
    ExpectWhole(*sums);
    EXPECT_EQ(sums->Readers(), 0U);
    EXPECT_GT(sums->blocks, 0U);
}

TEST_F(SqliteReadAhead, IsLeftToPlacesThatNoIndexFinds) {
    Make("", {.name = "", .columns = kClusters.columns, .key = kClusters.key, .hasOthers = true});
    OpenTable("t");
    EXPECT_EQ(Walk(sums), StatusOk);
    EXPECT_EQ(sums->Readers(), 2U);
    Run("CREATE INDEX i ON t (half)");
    EXPECT_EQ(Walk(sums), StatusOk);
    ExpectWhole(*sums);
    EXPECT_EQ(sums->Readers(), 0U);
    // The first step, which readers repeat, would take as long as the walk.
    Run("DROP INDEX i; UPDATE t SET half = 0 WHERE k < 1000000000000");
    EXPECT_EQ(Walk(sums), StatusOk);
    EXPECT_EQ(sums->Readers(), 0U);
    EXPECT_EQ(sums->records, 5001U);
}

TEST_P(SqliteReadAheadOf, SeesOneStateWhileOthersCommit) {
    for (const char* const mode : {"PRAGMA journal_mode=wal", "PRAGMA journal_mode=delete"}) {
        std::filesystem::remove(path);
        Make(mode, GetParam());
        OpenTable("t", {}, ESqlOpenMode::ReadOnly);
        std::atomic<bool> isOver{false};
        std::thread writer([this, &isOver] {
            Database other(path);
            other.Do("PRAGMA busy_timeout=5000");
            while (!isOver) {
                other.Do("UPDATE t SET v = v + 1");
            }
        });
        std::size_t walks = 0;
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(500)) {
            const CursorStatus status = Walk(sums);
            if (status == static_cast<CursorStatus>(DataLocked)) {
                continue;
            }
            EXPECT_EQ(status, StatusOk);
            ExpectWhole(*sums);
            ++walks;
        }
        isOver = true;
        writer.join();
        EXPECT_GT(walks, 0U);
        Close();
    }
}

TEST_P(SqliteReadAheadOf, EndsAllReadersWithTheWalk) {
    Make("", GetParam());
    OpenTable("t", {}, ESqlOpenMode::ReadWrite);
    for (const std::size_t at : {2, 1024, 1025, 5000, 12345, 19999, 20000}) {
        SCOPED_TRACE(at);
        sums->cancelAt = at;
        EXPECT_EQ(Walk(sums), StatusCancelled);
        EXPECT_EQ(sums->Left(), 0U);
        EXPECT_GE(sums->records, at);
        sums->cancelAt = static_cast<std::size_t>(-1);

        sums->endAt = at;
        EXPECT_EQ(Walk(sums), StatusOk);
        EXPECT_EQ(sums->Left(), 0U);
        // The table stands on the last record, and the walk can go on.
        EXPECT_EQ(table->position, sums->last);
        EXPECT_EQ(Text("v"), "0");
        std::size_t rest = 0;
        while (table->GetNext() != kNoPosition) {
            ++rest;
        }
        EXPECT_EQ(table->status, DataEnd);
        EXPECT_EQ(sums->records + rest, static_cast<std::size_t>(kRows));
        if (at == 5000) {
            sums->endAt = at;
            EXPECT_EQ(Walk(sums), StatusOk);
            Field("v") <<= EVariant(0);
            SetText("pad", "other");
            EXPECT_NE(table->UpdateRecord(), kNoPosition);
            EXPECT_NE(table->GetNext(), kNoPosition);
            EXPECT_EQ(Ask("SELECT count(*) FROM t WHERE pad='other'"), "1");
        }
        sums->endAt = static_cast<std::size_t>(-1);
    }
    EXPECT_EQ(Walk(sums), StatusOk);
    ExpectWhole(*sums);
    EXPECT_EQ(sums->Readers(), 2U);
}

TEST_P(SqliteReadAheadOf, IsCancelledFromAnotherThreadAtOnce) {
    Make("", GetParam());
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    sums->before = CountThreads();
    for (int turn = 0; turn < 40; ++turn) {
        ETabulonCursorSql cursor;
        cursor.Init(LevelsBy({"half"}), table.get(), /*ownsTable=*/false);
        const ECursorListening listening(cursor, *sums);
        std::chrono::steady_clock::time_point asked;
        std::thread other([&cursor, &asked, turn] {
            std::this_thread::sleep_for(std::chrono::microseconds(150 * turn));
            asked = std::chrono::steady_clock::now();
            cursor.Cancel();
        });
        const CursorStatus status = cursor.Browse(place);
        const auto ended = std::chrono::steady_clock::now();
        other.join();
        EXPECT_TRUE(status == StatusCancelled || status == StatusOk) << status;
        EXPECT_LT(ended - asked, std::chrono::seconds(1));
        if (status == StatusOk) {
            ExpectWhole(*sums);
        }
        EXPECT_EQ(sums->Left(), 0U);
    }
}

TEST_P(SqliteReadAheadOf, FailsOrIsWholeAtEachCallThatFails) {
    Make("", GetParam());
    FaultVfs vfs;
    std::size_t failures = 0;
    std::uint64_t count = 1;
    for (std::uint64_t at = 0; at <= count; at += 1 + count / 60) {
        Close();
        OpenTable("t", {}, ESqlOpenMode::ReadOnly);
        vfs.Arm({.calls = FaultVfs::kRead | FaultVfs::kLock | FaultVfs::kOpen, .at = at});
        const CursorStatus status = Walk(sums);
        const std::uint64_t hits = vfs.Hits();
        count = at == 0 ? vfs.Count() : count;
        vfs.Disarm();
        if (status == StatusOk) {
            ExpectWhole(*sums);
        } else {
            EXPECT_GT(hits, 0U);
            EXPECT_FALSE(table->LastErrorText().IsEmpty());
            ++failures;
        }
        EXPECT_EQ(sums->Left(), 0U);
        EXPECT_EQ(Walk(sums), StatusOk);
        ExpectWhole(*sums);
    }
    Close();  // before the file system
    EXPECT_GT(count, 50U);
    EXPECT_GT(failures, 20U);
}

TEST_P(SqliteReadAheadOf, LeavesAFileThatAnotherHasReplaced) {
    Make("", GetParam());
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    const std::filesystem::path opened = path;
    path = folder / "other.db";
    Make("", GetParam());
    Run("UPDATE t SET v = 1");
    std::filesystem::rename(path, opened);
    EXPECT_EQ(Walk(sums), StatusOk);
    ExpectWhole(*sums);
    EXPECT_EQ(sums->Readers(), 0U);
    EXPECT_EQ(sums->highest, 0);
}

}  // namespace
}  // namespace etabulon::test
