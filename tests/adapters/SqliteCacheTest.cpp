#include "SqliteFixture.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

namespace etabulon {
namespace {

using test::Tag;

/// A cache on a table, whose own walk has stopped on the second of four records since.
class SqliteCache : public SqliteTest {
protected:
    SqliteCache() {
        Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT);"
            "INSERT INTO t VALUES(1,'a',1),(2,'b',1),(3,NULL,1),(4,'d',1);");
        OpenTable("t");
        levels.AddLevel("a", "a", "a", nullptr, /*addRef=*/false);
        cursor.Init(levels, table.release(), /*ownsTable=*/true);
        EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
        const auto stopping = MakeRef<test::WalkTrace>();
        const ECursorListening listening(cursor, *stopping);
        stopping->AnswerAt("move", 2, StatusEnd);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    }
    std::string Rows() { return Ask("SELECT id||quote(a)||quote(n) FROM t ORDER BY id"); }

    ETabulonLevels levels;
    ETabulonCursorSql cursor;
    ETabulonCursorCache cache{&cursor};
};

TEST_F(SqliteCache, SavesAScriptToTheRecordsOfItsLines) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(Tag({{0, "b"}}), "n", 2);
    changes.AppendUpdate(Tag({{0, EVariant()}}), "n", 3);
    changes.AppendDelete(Tag({{0, "d"}}));
    ETabulonSavePending save(&cache, levels);
    EXPECT_EQ(save.Run(&changes, ETabulonTag::Null), StatusOk);
    EXPECT_EQ(Rows(), "1'a'1|2'b'2|3NULL3");
}

TEST_F(SqliteCache, SavesItsLinesToTheirRecords) {
    EXPECT_EQ(cache.Update(Tag({{0, "b"}}), "n", 2), StatusOk);
    EXPECT_EQ(cache.Update(Tag({{0, EVariant()}}), "n", 3), StatusOk);
    EXPECT_EQ(cache.Delete(Tag({{0, "d"}})), StatusOk);
    EXPECT_EQ(cache.Save(), StatusOk);
    EXPECT_EQ(Rows(), "1'a'1|2'b'2|3NULL3");
}

}  // namespace
}  // namespace etabulon
