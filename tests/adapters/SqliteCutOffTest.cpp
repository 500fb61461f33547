#include "SqliteFixture.h"

#include <limits>

namespace etabulon {
namespace {

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
        table.reset();
        source = ESqliteSource::Open(path.c_str(), ESqlOpenMode::ReadWrite, error);
        table = source != nullptr ? source->OpenTable("t", error) : nullptr;
        if (table == nullptr) {
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
        table.reset();
        source.reset();
        const HeapLimit limit(more);
        const std::string seen = read();
        ASSERT_TRUE(seen == whole || seen.find('!') != std::string::npos)
            << more << ' ' << seen.size();
        ++(seen == whole ? successes : failures);
    }
    EXPECT_GT(failures, 100);
}

TEST_F(SqliteCutOff, AValueThatCanNotBeBoundIsNotWrittenAsMissing) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT); INSERT INTO t VALUES(1,'a')");
    OpenTable("t");
    ASSERT_EQ(table->RePos(1, false), 1);
    const std::string text(std::size_t{4} << 20, 'z');
    SetText("a", text);
    for (const bool isInsert : {false, true}) {
        {
            const HeapLimit limit(std::int64_t{2} << 20);
            EXPECT_EQ(isInsert ? table->Insert() : table->Update(kNoPosition), kNoPosition);
            EXPECT_EQ(table->status, DataNoMemory);
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
            Field("n") <<= EVariant::FromInt64(stored + 1);
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
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER)");
    OpenTable("t");
    Field("id") <<= EVariant::FromInt64(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(table->Insert(), kNoPosition);
    EXPECT_EQ(table->status, DataOther);
    EXPECT_EQ(Ask("SELECT count(*) FROM t"), "0");
}

}  // namespace
}  // namespace etabulon
