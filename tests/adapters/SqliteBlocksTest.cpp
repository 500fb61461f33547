#include "adapters/SqliteFixture.h"
#include "blocks/RandomWalk.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/foundation/EReadAhead.h"

namespace etabulon::test {
namespace {

/// A value that SQLite stores in a column of this declared type, often of another type.
std::string Literal(RandomWalk& walk, const std::string& type) {
    static const char* const kOdd[] = {"NULL", "'odd'", "x'00ff'", "7", "2.5", "-1e300", "''"};
    static const char* const kTexts[] = {"'a'",        "'A'",
                                         "'Ab'",       "'a' || char(0) || 'b'",
                                         "'\xC3\x89'", "'a text of more than twenty-four bytes'"};
    if (walk.OneIn(8)) {
        return kOdd[walk.Below(std::size(kOdd))];
    }
    if (type == "DATE") {
        return "'2021-03-0" + std::to_string(1 + walk.Below(4)) + "'";
    }
    if (type == "TIME") {
        return "'05:06:0" + std::to_string(walk.Below(4)) + "'";
    }
    if (type == "TIMESTAMP") {
        return "'2021-03-04 05:06:0" + std::to_string(walk.Below(4)) + "'";
    }
    if (type == "TEXT" || type == "TEXT COLLATE NOCASE") {
        return walk.OneIn(2) ? kTexts[walk.Below(std::size(kTexts))]
                             : "'text " + std::to_string(walk.Below(900)) + "'";
    }
    if (type == "BLOB") {
        return walk.OneIn(2) ? "x'0102'" : "zeroblob(" + std::to_string(walk.Below(3)) + ")";
    }
    return walk.OneIn(3) ? std::to_string(walk.Below(4)) + ".1" : std::to_string(walk.Below(6));
}

class SqliteBlocks : public SqliteTest {
protected:
    SqliteBlocks() = default;
    ~SqliteBlocks() override {
        EReadAhead::SetThreads(threads_);
        EReadAhead::SetLeastRecords(EReadAhead::kLeastRecords);
    }
    /// A table `t` with random values, and a view `v` of it.
    void Make(RandomWalk& walk, unsigned int count) {
        static const char* const kTypes[] = {"INTEGER",
                                             "REAL",
                                             "BOOLEAN",
                                             "DECIMAL(10,2)",
                                             "DATE",
                                             "TIME",
                                             "TIMESTAMP",
                                             "TEXT",
                                             "TEXT COLLATE NOCASE",
                                             "BLOB",
                                             "INTEGER REFERENCES p"};
        static const char* const kKeys[] = {"k INTEGER PRIMARY KEY", "k TEXT PRIMARY KEY", "k",
                                            "k REAL PRIMARY KEY"};
        std::filesystem::remove(path);
        std::string script = std::string("CREATE TABLE t (") + kKeys[walk.Below(std::size(kKeys))];
        for (std::size_t column = 0; column < std::size(kTypes); ++column) {
            script += ", c" + std::to_string(column) + ' ' + kTypes[column];
        }
        script +=
            "); CREATE VIEW v AS SELECT * FROM t; BEGIN;"
            "CREATE TABLE p (id INTEGER PRIMARY KEY, name TEXT, n REAL);"
            "INSERT INTO p VALUES (0, 'zero', 0.5), (1, NULL, 'odd'), (2, 'two', NULL),"
            " (5, 'zero', 3);";
        for (unsigned int row = 0; row < count; ++row) {
            script += "INSERT INTO t VALUES (" + std::to_string(static_cast<int>(row) - 3);
            for (const char* const type : kTypes) {
                script += ", " + Literal(walk, type);
            }
            script += ");";
        }
        Run(script + "COMMIT");
    }

private:
    unsigned int threads_ = EReadAhead::Threads();
};

TEST_F(SqliteBlocks, GiveWhatSingleStepsGive) {
    static constexpr unsigned int kCounts[] = {0, 1, 3, 1024, 1025, 2050};
    std::size_t blocks = 0;
    for (unsigned int seed = 1; seed <= 32; ++seed) {
        SCOPED_TRACE(seed);
        RandomWalk walk(seed);
        EReadAhead::SetThreads(walk.OneIn(3) ? 0 : walk.OneIn(2) ? 2 : 5);
        EReadAhead::SetLeastRecords(1 + walk.Below(400));
        Make(walk, kCounts[seed % std::size(kCounts)]);
        const bool isView = walk.OneIn(4);
        const bool hasLinks = !isView && walk.OneIn(2);
        ESqlTableOptions options;
        if (walk.OneIn(3)) {
            options.columns = {11, 3, 0, 8, 9};
        }
        OpenTable(isView ? "v" : "t", options,
                  walk.OneIn(2) ? ESqlOpenMode::ReadOnly : ESqlOpenMode::ReadWrite);
        static constexpr const char* kLinks[] = {"c10>name", "c10>n"};
        ETabulonCursorSql cursor;
        cursor.Init(hasLinks ? walk.Levels(table->Fields(), kLinks) : walk.Levels(table->Fields()),
                    table.get(), /*ownsTable=*/false);
        ETabulonPendingChanges changes;
        ETabulonCursorPending overlay(&cursor, &changes);
        overlay.Init(cursor.Levels());
        for (int question = 0; question < 3; ++question) {
            blocks += walk.Compare(cursor);
            walk.Change(cursor, changes);
            blocks += walk.Compare(overlay);
        }
        // The records of a view have another position in each walk, which leaves keep.
        blocks += isView ? 0 : walk.CompareTrees(cursor, [] {});
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_GT(blocks, 120U);
}

/// The walk of a grid and of a trace of all records, in one way.
struct Heard {
    CursorStatus status;
    std::string trace;
    std::string error;
    std::uint64_t mismatches;
    std::size_t blocks;
};

class SqliteBlockFailures : public SqliteBlocks {
protected:
    unsigned int orderColumn = 0;

    Heard WalkOnce(bool byBlocks) {
        const BlocksEnabled enabled(byBlocks);
        OpenTable("t", {}, ESqlOpenMode::ReadOnly);
        table->SetOrder({orderColumn});
        ETabulonCursorSql cursor;
        cursor.Init(LevelsBy({"c"}), table.get(), /*ownsTable=*/false);
        const auto trace = MakeRef<RecordTrace>(/*wantsBlocks=*/true, static_cast<std::size_t>(-1));
        const ECursorListening listening(cursor, *trace);
        const CursorStatus status = cursor.Browse(ETabulonTag::Null);
        return {status, trace->trace, table->LastErrorText().c_str(), table->Misreads(1).mismatches,
                trace->blocks};
    }
    void ExpectSame(bool fails, std::size_t leastBlocks) {
        const Heard blocks = WalkOnce(true);
        const Heard steps = WalkOnce(false);
        EXPECT_EQ(steps.status != StatusOk, fails);
        EXPECT_EQ(blocks.status, steps.status);
        EXPECT_EQ(blocks.trace, steps.trace);
        EXPECT_EQ(blocks.error, steps.error);
        EXPECT_EQ(blocks.mismatches, steps.mismatches);
        EXPECT_GE(blocks.blocks, leastBlocks);
    }
};

constexpr const char* kNumbers =
    "CREATE TABLE n (k INTEGER PRIMARY KEY, c DATE);"
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
    "INSERT INTO n SELECT i, CASE WHEN i % 3 = 0 THEN 'bad' ELSE '2021-03-04' END FROM n;";

TEST_F(SqliteBlockFailures, ComeBehindTheRecordsBeforeThem) {
    Run(kNumbers);
    Run("CREATE VIEW t AS SELECT k, CASE k WHEN 1500 THEN abs(-9223372036854775807 - 1) ELSE c END"
        " AS c FROM n");
    ExpectSame(/*fails=*/true, 2);
}

TEST_F(SqliteBlockFailures, CountValuesOfAnotherTypeAndRefuseTheLowestKey) {
    Run(kNumbers);
    Run("ALTER TABLE n RENAME TO t");
    ExpectSame(/*fails=*/false, 2);
    Run("INSERT INTO t VALUES (-9223372036854775808, '2022-01-01')");
    orderColumn = 1;  // it comes last
    ExpectSame(/*fails=*/true, 2);
    orderColumn = 0;  // it comes first
    ExpectSame(/*fails=*/true, 0);
}

}  // namespace
}  // namespace etabulon::test
