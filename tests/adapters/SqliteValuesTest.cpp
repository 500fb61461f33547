#include "SqliteFixture.h"
#include "etabulon/foundation/EExtract.h"
#include "support/AllocationCount.h"

#include <cmath>
#include <limits>

namespace etabulon {
namespace {

class SqliteValues : public SqliteTest {};

TEST_F(SqliteValues, HostileNamesAndTextsPassUnchanged) {
    const std::string names[] = {
        "a\"b", ";--", "û", "123", "select", "it's", " ", "", std::string(10'000, 'n')};
    for (const std::string& name : names) {
        std::filesystem::remove(path);
        std::string quoted = "\"";
        for (const char c : name) {
            quoted += c == '"' ? "\"\"" : std::string(1, c);
        }
        quoted += '"';
        Run("CREATE TABLE " + quoted + "(" + quoted + " TEXT, k INTEGER PRIMARY KEY);");
        Open();
        ASSERT_EQ(source->Tables().size(), 1U) << name;
        EXPECT_EQ(source->Tables()[0].name.View(), name);
        table = source->OpenTable(source->Tables()[0].code, error);
        ASSERT_NE(table, nullptr) << error.text.c_str();
        const Chaine column = source->Tables()[0].columns[0].code;
        const std::string texts[] = {
            "", "'; DROP TABLE x;--", std::string("a\0b", 3), "\xFF\xC3", name, "août"};
        for (const std::string& text : texts) {
            table->Fields().SetNull();
            SetText(column.c_str(), text);
            ASSERT_NE(table->Insert(), kNoPosition) << table->LastErrorText().c_str();
            EXPECT_EQ(Text(column.c_str()), text);
            ASSERT_NE(table->RePos(table->position, false), kNoPosition);
            EXPECT_EQ(Text(column.c_str()), text);
            SetText(column.c_str(), text + text);
            ASSERT_NE(table->Update(kNoPosition), kNoPosition);
            EXPECT_EQ(Text(column.c_str()), text + text);
        }
        EXPECT_EQ(source->CountRows(source->Tables()[0].code, error), 6);
        EXPECT_EQ(Ask("PRAGMA integrity_check"), "ok");
    }
}

TEST_F(SqliteValues, NumbersKeepTheirExtremesAndMissingIsNotZero) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, n BIGINT, d DOUBLE, c NUMERIC(10,2), b BOOLEAN, "
        "day DATE, at TIMESTAMP, tm TIME, x TEXT, bytes BLOB);"
        "INSERT INTO t VALUES(1,9223372036854775807,1e308,12.34,1,'2024-02-29',"
        "'2024-02-29T23:59:58.5Z','01:02','',x'00FF');"
        "INSERT INTO t "
        "VALUES(2,-9223372036854775808,-0.0,-5,0,'0001-01-01','9999-12-31','23:59:59.999',"
        "NULL,NULL);"
        "INSERT INTO t(id) VALUES(3)");
    OpenTable("t");
    EXPECT_EQ(Walk("n"), "9223372036854775807|-9223372036854775808|NULL");
    EXPECT_EQ(Walk("c"), "12.34|-5.00|NULL");
    EXPECT_EQ(Walk("day"), "2024-02-29|0001-01-01|NULL");
    EXPECT_EQ(Walk("x"), "|NULL|NULL");
    EXPECT_EQ(Walk("b"), "1|0|NULL");
    table->RePos(1, false);
    EXPECT_EQ(Field("at").ByteCount(), 8U);
    EXPECT_EQ(Field("bytes").ByteCount(), 2U);
    EXPECT_TRUE(Field("d") == EVariant::FromDouble(1e308));

    // Every cell to the next row, by way of the record.
    const EExtract first(table->Fields());
    table->RePos(3, false);
    table->Fields() <<= first;
    Field("id") <<= EVariant::FromInt64(3);
    ASSERT_EQ(table->Update(kNoPosition), 3) << table->LastErrorText().c_str();
    EXPECT_EQ(
        Ask("SELECT group_concat(n||d||c||b||day||at||tm||x||hex(bytes), ';') FROM t WHERE id=3"),
        "92233720368547758071.0e+30812.3412024-02-292024-02-29 23:59:58.50001:02:0000FF");
    Field("d").SetMissing();
    Field("n").SetMissing();
    ASSERT_EQ(table->Update(kNoPosition), 3);
    EXPECT_EQ(Ask("SELECT typeof(d)||typeof(n) FROM t WHERE id=3"), "nullnull");
}

TEST_F(SqliteValues, DatesWithoutATextAreRefusedAndNotLost) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, day DATE, at TIMESTAMP, tm TIME);"
        "INSERT INTO t VALUES(1,'2024-02-29','2024-02-29 01:02:03','01:02:03')");
    OpenTable("t");
    const std::pair<const char*, EVariant> kRefused[] = {
        {"day", EVariant(100000101)},
        {"at", EVariant::FromText(TYPE_TIMESTAMP, 0, "10000-01-01 00:00:00")},
        {"at", EVariant::FromText(TYPE_TIMESTAMP, 0, "0000-12-31 23:59:59")},
        {"tm", EVariant::FromText(TYPE_TIME, 0, "24:00:00")},
    };
    for (const auto& [field, value] : kRefused) {
        for (const bool inserts : {false, true}) {
            table->RePos(1, false);
            Field("id") <<= EVariant(inserts ? 2 : 1);
            Field(field) <<= value;
            ASSERT_FALSE(Field(field).IsMissing()) << field;
            EXPECT_EQ(inserts ? table->Insert() : table->Update(kNoPosition), kNoPosition);
            EXPECT_EQ(table->status, DataConstraint);
            EXPECT_NE(std::string(table->LastErrorText().c_str()).find(field), std::string::npos)
                << table->LastErrorText().c_str();
        }
    }
    EXPECT_EQ(Ask("SELECT count(*)||day||at||tm FROM t"), "12024-02-292024-02-29 01:02:0301:02:03");
}

TEST_F(SqliteValues, OtherTypesReadAsMissingAreCountedAndStay) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER, day DATE, x TEXT, free);"
        "INSERT INTO t VALUES(1,'seven','2023-02-29',x'41',5),(2,7,'2023-02-28','A',1.5),"
        "(3,7.5,'28.2.2023',3,'t')");
    OpenTable("t");
    EXPECT_EQ(Walk("n"), "NULL|7|NULL");
    EXPECT_EQ(Walk("free"), "5|1.5|t");
    EXPECT_EQ(Walk("x"), "NULL|A|3");
    EXPECT_EQ(Walk("day"), "NULL|2023-02-28|NULL");
    EXPECT_EQ(table->MismatchCount(1), 8U);  // two in each of four walks
    EXPECT_EQ(table->MismatchCount(4), 0U);
    table->RePos(1, false);
    SetText("free", "set");
    ASSERT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(Ask("SELECT n||day||hex(x)||free FROM t WHERE id=1"), "seven2023-02-2941set");
}

TEST_F(SqliteValues, IntegerKeysArePositionsAroundNone) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(-2),(-1),(0),(1),"
        "(9223372036854775807),(-9223372036854775807)");
    OpenTable("t");
    EXPECT_EQ(Walk("id"), "-9223372036854775807|-2|-1|0|1|9223372036854775807");
    EXPECT_EQ(table->RePos(-2, false), -2);
    EXPECT_EQ(Text("id"), "-1");
    EXPECT_EQ(table->CurKey().At(0).AsInt64(), -1);
    EXPECT_EQ(table->RePos(std::numeric_limits<EPosition>::max(), false),
              std::numeric_limits<EPosition>::max());
    EXPECT_EQ(table->RePos(5, false), kNoPosition);
    EXPECT_EQ(table->status, DataGone);
    EXPECT_EQ(Text("id"), "NULL");
    Run("INSERT INTO t VALUES(-9223372036854775808)");
    EXPECT_EQ(Walk("id"), "!1099");  // the one key without a position is said, not skipped
}

TEST_F(SqliteValues, CompositeKeysWithNullAreAddressedOneByOne) {
    Run("CREATE TABLE t(a TEXT, b INT, v TEXT, PRIMARY KEY(a, b));"
        "INSERT INTO t VALUES('x',1,'one'),('x',2,'two'),('y',NULL,'n')");
    OpenTable("t");
    EXPECT_EQ(Walk("v"), "one|two|n");
    const EPosition last = table->GetLast();
    EXPECT_EQ(table->CurKey().Size(), 2);
    EXPECT_TRUE(table->CurKey().At(1).IsMissing());
    SetText("v", "changed");
    EXPECT_EQ(table->Update(kNoPosition), last);
    EXPECT_EQ(Ask("SELECT v FROM t"), "one|two|changed");
    ASSERT_NE(table->RePos(1, false), kNoPosition);
    Field("b") <<= EVariant::FromInt64(9);
    const EPosition moved = table->Update(kNoPosition);
    EXPECT_GT(moved, last);  // a new key is a new number
    EXPECT_EQ(table->RePos(1, false), kNoPosition);
    EXPECT_EQ(table->status, DataGone);
    EXPECT_EQ(table->RePos(99, false), kNoPosition);
    EXPECT_EQ(table->status, DataNoSuchPosition);
}

TEST_F(SqliteValues, TextsShareBodiesUnlessTheColumnIsUnique) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, few TEXT, own TEXT);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<12000)"
        " INSERT INTO t SELECT i, 'group '||(i%7), 'own text '||(100000+i) FROM s");
    OpenTable("t", {}, ESqlOpenMode::ReadOnly);
    std::vector<Chaine> groups(7);
    std::uint64_t allocations = 0;
    for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
        const Chaine few = Field("few").AsChaine();
        Chaine& group = groups[static_cast<std::size_t>(at % 7)];
        ASSERT_TRUE(group.IsEmpty() || group.IsSameBody(few)) << at;
        group = few;
        ASSERT_EQ(Text("own"), "own text " + std::to_string(100'000 + at));
        if (at == 10000) {  // warm, and the column judged
            const test::AllocationCount count;
            for (int i = 0; i < 1000; ++i) {
                table->GetNext();
            }
            allocations = count.Taken();
            table->EndWalk();
            break;
        }
    }
    EXPECT_EQ(allocations, 0U);
}

TEST_F(SqliteValues, AGeneratedColumnIsReadAndNeverWritten) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, a INT, twice INT AS (a * 2) STORED, "
        "def TEXT DEFAULT 'standard')");
    OpenTable("t");
    table->Fields().SetNull();
    Field("a") <<= EVariant::FromInt64(4);
    Field("twice") <<= EVariant::FromInt64(99);
    EXPECT_EQ(table->Insert(), 1);
    EXPECT_EQ(Text("twice"), "8");
    EXPECT_EQ(Text("def"), "standard");
    table->Fields().SetNull();
    EXPECT_EQ(table->Insert(), 2);
    EXPECT_EQ(Text("def"), "standard");
}

}  // namespace
}  // namespace etabulon
