#include "SqliteFixture.h"
#include "etabulon/foundation/EExtract.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "etabulon/sql/ESqlDates.h"
#include "support/AllocationCount.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace etabulon {
namespace {
using SqliteValues = SqliteTest;

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
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, n BIGINT, d DOUBLE, c NUMERIC(10,2), b BOOLEAN, "
        "day DATE, at TIMESTAMP, tm TIME, x TEXT, bytes BLOB);"
        "INSERT INTO t VALUES(1,9223372036854775807,1e308,12.34,1,'2024-02-29',"
        "'2024-02-29T23:59:58.5Z','01:02','',x'00FF');"
        "INSERT INTO t "
        "VALUES(2,-9223372036854775808,-0.0,-5,0,'0001-01-01','9999-12-31','23:59:59.999',"
        "NULL,NULL);"
        "INSERT INTO t(id) VALUES(3)");
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
    Field("id") <<= Whole(3);
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
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, day DATE, at TIMESTAMP, tm TIME);"
        "INSERT INTO t VALUES(1,'2024-02-29','2024-02-29 01:02:03','01:02:03')");
    const std::pair<const char*, EVariant> kRefused[] = {
        {"day", EVariant(100000101)},
        {"at", EVariant::FromText(TYPE_TIMESTAMP, 0, "10000-01-01 00:00:00")},
        {"at", EVariant::FromText(TYPE_TIMESTAMP, 0, "0000-12-31 23:59:59")},
        {"tm", EVariant::FromText(TYPE_TIME, 0, "24:00:00")}};
    for (const auto& [field, value] : kRefused) {
        for (const bool inserts : {false, true}) {
            table->RePos(1, false);
            Field("id") <<= EVariant(inserts ? 2 : 1);
            Field(field) <<= value;
            ASSERT_FALSE(Field(field).IsMissing()) << field;
            EXPECT_TRUE(
                Refused(inserts ? table->Insert() : table->Update(kNoPosition), DataConstraint));
            EXPECT_NE(std::string(table->LastErrorText().c_str()).find(field), std::string::npos)
                << table->LastErrorText().c_str();
            table->RePos(1, false);
            EXPECT_TRUE(table->LastErrorText().IsEmpty());
        }
    }
    EXPECT_EQ(Ask("SELECT count(*)||day||at||tm FROM t"), "12024-02-292024-02-29 01:02:0301:02:03");
}

TEST(IsoTexts, OtherFormsAreNoMoment) {
    std::int32_t number = 0;
    std::int64_t wide = 0;
    for (const char* const text :
         {"", "1:02", "01.02", "01-02", "01:0", "01:02:", "01:02.03", "01:02:03,5", "01:02:03.",
          "01:02:03.1234567890", "24:00", "00:60", "00:00:60", "ab:cd", "01:02ZZ"}) {
        EXPECT_FALSE(ParseIsoTime(text, number)) << text;
        EXPECT_FALSE(ParseIsoTimestamp(std::string("2024-02-29 ") + text, wide)) << text;
    }
    for (const char* const text : {"", "2024-02-2", "2024.02-29", "2024-02.29", "2023-02-29",
                                   "2024-00-01", "2024-13-01", "2024-01-00", "0000-01-01"}) {
        EXPECT_FALSE(ParseIsoDate(text, number)) << text;
        EXPECT_FALSE(ParseIsoTimestamp(std::string(text) + " 01:02", wide)) << text;
    }
    EXPECT_FALSE(ParseIsoTimestamp("2024-02-29_01:02", wide));
    EXPECT_TRUE(ParseIsoTime("23:59:59.123456789Z", number));
    EXPECT_EQ(number, 86'399'123);
}

TEST_F(SqliteValues, OtherTypesReadAsMissingAreCountedAndStay) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER, day DATE, x TEXT, free);"
        "INSERT INTO t VALUES(1,'seven','2023-02-29',x'41',5),(2,7,'2023-02-28','A',1.5),"
        "(3,7.5,'28.2.2023',3,'t')");
    EXPECT_EQ(Walk("n"), "NULL|7|NULL");
    EXPECT_EQ(Walk("free"), "5|1.5|t");
    EXPECT_EQ(Walk("x"), "NULL|A|3");
    EXPECT_EQ(Walk("day"), "NULL|2023-02-28|NULL");
    EXPECT_EQ(table->Misreads(1).mismatches, 8U);  // two in each of four walks
    EXPECT_EQ(table->Misreads(4).mismatches, 0U);
    table->RePos(2, false);
    table->SetField(1, EVariant());  // forgotten with the record
    table->RePos(1, false);
    SetText("free", "set");
    ASSERT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(Ask("SELECT n||day||hex(x)||free FROM t WHERE id=1"), "seven2023-02-2941set");
}

TEST_F(SqliteValues, NumbersWithTooManyDigitsReadAsMissing) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, n NUMERIC, price DECIMAL(10,2));"
        "INSERT INTO t VALUES(1,9007199254740993,1.239),(2,9007199254740994,0.1+0.2),"
        "(3,9223372036854775807,99999999.99),(4,-9007199254740993,-7),(5,1,1e-5)");
    EXPECT_EQ(Walk("n"), "NULL|9007199254740994|NULL|NULL|1");
    EXPECT_EQ(Walk("price"), "NULL|0.30|99999999.99|-7.00|NULL");
    EXPECT_EQ(table->Misreads(1).mismatches, 6U);  // three in each of two walks
}

TEST_F(SqliteValues, IntegerKeysArePositionsAroundNone) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(-2),(-1),(0),(1),"
        "(9223372036854775807),(-9223372036854775807)");
    EXPECT_EQ(Walk("id"), "-9223372036854775807|-2|-1|0|1|9223372036854775807");
    EXPECT_EQ(table->RePos(-2, false), -2);
    EXPECT_EQ(Text("id"), "-1");
    EXPECT_EQ(table->CurKey().At(0).AsInt64(), -1);
    EXPECT_EQ(table->RePos(std::numeric_limits<EPosition>::max(), false),
              std::numeric_limits<EPosition>::max());
    EXPECT_TRUE(Refused(table->RePos(5, false), DataGone));
    EXPECT_EQ(Text("id"), "NULL");
    Run("INSERT INTO t VALUES(-9223372036854775808)");
    EXPECT_EQ(Walk("id"), "!1099");  // the one key without a position is said, not skipped
}

TEST_F(SqliteValues, CompositeKeysWithNullAreAddressedOneByOne) {
    RunAndOpen(
        "CREATE TABLE t(a TEXT, b INT, v TEXT, PRIMARY KEY(a, b));"
        "INSERT INTO t VALUES('x',1,'one'),('x',2,'two'),('y',NULL,'n')");
    EXPECT_EQ(Walk("v"), "one|two|n");
    const EPosition last = table->GetLast();
    EXPECT_EQ(table->CurKey().Size(), 2);
    EXPECT_TRUE(table->CurKey().At(1).IsMissing());
    SetText("v", "changed");
    EXPECT_EQ(table->Update(kNoPosition), last);
    EXPECT_EQ(Ask("SELECT v FROM t"), "one|two|changed");
    ASSERT_NE(table->RePos(1, false), kNoPosition);
    Field("b") <<= Whole(9);
    const EPosition moved = table->Update(kNoPosition);
    EXPECT_GT(moved, last);  // a new key is a new number
    EXPECT_TRUE(Refused(table->RePos(1, false), DataGone));
    EXPECT_TRUE(Refused(table->RePos(99, false), DataNoSuchPosition));
}

TEST_F(SqliteValues, TextsShareBodiesUnlessTheColumnIsUnique) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, few TEXT, own TEXT);"
        "WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM s WHERE i<12000)"
        " INSERT INTO t SELECT i, 'group '||(i%7), 'own text '||(100000+i) FROM s",
        "t", ESqlOpenMode::ReadOnly);
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
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a INT, twice INT AS (a * 2) STORED, "
        "def TEXT DEFAULT 'standard')");
    table->Fields().SetNull();
    Field("a") <<= Whole(4);
    Field("twice") <<= Whole(99);
    EXPECT_EQ(table->Insert(), 1);
    EXPECT_EQ(Text("twice"), "8");
    EXPECT_EQ(Text("def"), "standard");
    table->Fields().SetNull();
    EXPECT_EQ(table->Insert(), 2);
    EXPECT_EQ(Text("def"), "standard");
}

constexpr const char* kRefused = "refused";

EVariant Real(double number) { return EVariant::FromDouble(number); }
/// A day as a record has it, which need not be one.
EVariant Day(std::int32_t yyyymmdd) {
    EVariant day;
    EXPECT_TRUE(day.Init(TYPE_DATE, sizeof yyyymmdd, &yyyymmdd));
    return day;
}

/// A write that succeeds has stored the values that were set.
using SqliteStored = SqliteTest;

struct StoredCase {
    const char* declared;
    const char* before;  // as SQL writes it
    EVariant set;
    std::string after;  // likewise, or kRefused
    int hint = 0;
    const char* encoding = "UTF-8";
};

TEST_F(SqliteStored, IsWhatWasSetOrTheWriteFails) {
    const EVariant missing = EVariant::Missing(TYPE_INT64, 8);
    const StoredCase cases[] = {
        {"INT", "'seven'", missing, "NULL"},
        {"TEXT", "x'41'", missing, "NULL"},
        {"BLOB", "5", missing, "NULL"},
        {"DATE", "'2023-02-29'", missing, "NULL"},
        {"INT", "7", missing, "NULL"},
        {"INT", "'seven'", Whole(7), "7"},
        {"REAL", "1.5", Real(std::nan("")), kRefused},
        {"REAL", "NULL", Real(std::nan("")), kRefused},
        {"REAL", "1.5", Real(std::numeric_limits<double>::infinity()), "Inf"},
        {"REAL", "1.5", Real(-0.0), "0.0"},
        {"REAL", "1.5", Whole((std::int64_t{1} << 53) + 1), kRefused},
        {"REAL", "1.5", Whole((std::int64_t{1} << 53) + 2), "9.00719925474099400008e+15"},
        {"INT", "1", Str("seven"), kRefused},
        {"INT", "1", Str(" 007"), "7"},
        {"INT", "1", Str("9007199254740993"), "9007199254740993"},
        {"INT", "1", Real(1.5), kRefused},
        {"INT", "1", Real(2), "2"},
        {"BOOLEAN", "1", Whole(300), kRefused},
        {"NUMERIC(10,2)", "1", Real(0.1 + 0.2), "0.3"},
        {"NUMERIC(10,2)", "1", Real(1e300), kRefused},
        {"NUMERIC(10,2)", "1", Str("1.5"), "1.5"},
        {"NUMERIC TEXT", "1", Real(2.5), kRefused},  // would be a text, which reads as missing
        {"DATE", "'2024-02-29'", Day(20230229), kRefused},
        {"DATE", "'2024-02-29'", Day(20230228), "'2023-02-28'"},
        {"INTEGER", "1", Str("007"), kRefused, TYPE_CHAINE},
        {"INTEGER", "1", Str("7x"), "'7x'", TYPE_CHAINE},
        {"TEXT", "'a'", Str(std::string_view("a\0b", 3)), "'a'"},
        {"TEXT", "'a'", Str("\xC3(\xED\xA0\x80"), "'\xC3(\xED\xA0\x80'"},
        {"TEXT", "'a'", Whole(5), "'5'"},
        {"TEXT", "'a'", Str(std::string_view("a\0b", 3)), "'a'", 0, "UTF-16"},
        {"TEXT", "'a'", Str("\xC3("), kRefused, 0, "UTF-16"},
        {"TEXT", "'a'", Str("\xED\xA0\x80"), kRefused, 0, "UTF-16"},
        {"TEXT", "'a'", Str("\xEF\xBF\xBF"), kRefused, 0, "UTF-16"},
        {"TEXT", "'a'", Str("\xF0\x9F\x98\x80"), "'\xF0\x9F\x98\x80'", 0, "UTF-16"}};
    for (const StoredCase& each : cases) {
        const std::string encoding = each.encoding;
        SCOPED_TRACE(std::string(each.declared) + ' ' + each.before +
                     " := " + each.set.AsChaine().c_str() + ' ' + encoding);
        Remake(std::string("PRAGMA encoding='") + encoding +
               "'; CREATE TABLE t(id INTEGER PRIMARY KEY, v " + each.declared +
               "); INSERT INTO t VALUES(1," + each.before + ")");
        const std::string before = Ask("SELECT quote(v) FROM t");
        ESqliteTypeHints hints;
        if (each.hint != 0) {
            hints["t.v"] = each.hint;
        }
        const bool isRefused = each.after == kRefused;
        for (const bool isInsert : {false, true}) {
            source = ESqliteSource::Open(path.c_str(), ESqlOpenMode::ReadWrite, error, hints);
            table = source->OpenTable("t", error);
            isInsert ? table->ClearFields() : static_cast<void>(table->RePos(1, false));
            table->SetField(1, each.set);
            const EPosition written = isInsert ? table->Insert() : table->Update(kNoPosition);
            EXPECT_EQ(written, isRefused  ? kNoPosition
                               : isInsert ? 2
                                          : 1)
                << table->LastErrorText().c_str();
            const std::string stored = Ask("SELECT quote(v) FROM t");
            if (isRefused) {
                EXPECT_EQ(table->status, DataConstraint);
                EXPECT_NE(table->LastErrorText().View().find("column v"), std::string_view::npos);
                EXPECT_EQ(stored, before);
            } else {
                EXPECT_EQ(stored, isInsert ? each.after + '|' + each.after : each.after);
            }
        }
    }
}

/// As many columns as a table can have: a result has no room for all of them and the row number.
TEST_F(SqliteStored, IsComparedInEachOfTwoThousandColumns) {
    std::string columns;
    for (int column = 1; column <= 2000; ++column) {
        columns += (column == 1 ? "c" : ", c") + std::to_string(column) + " INTEGER";
    }
    Run("CREATE TABLE t(" + columns + ")");
    const ESqliteTypeHints hints{{"t.c2000", TYPE_CHAINE}};
    source = ESqliteSource::Open(path.c_str(), ESqlOpenMode::ReadWrite, error, hints);
    table = source->OpenTable("t", error);
    const auto insert = [this](const char* last) {
        table->ClearFields();
        for (std::uint16_t field = 0; field < 1999; ++field) {
            table->SetField(field, Whole(field));
        }
        table->SetField(1999, Str(last));
        return table->Insert();
    };
    EXPECT_TRUE(Refused(insert("007"), DataConstraint, "column c2000"));
    EXPECT_EQ(insert("7"), 1) << table->LastErrorText().c_str();
    EXPECT_EQ(Ask("SELECT c1 + c1999 + c2000 FROM t"), "2005");
}

TEST_F(SqliteStored, ATriggerMayMakeSomethingElseOfIt) {
    RunAndOpen(
        "CREATE TABLE t(id INTEGER PRIMARY KEY, v TEXT); INSERT INTO t VALUES(1,'a');"
        "CREATE TRIGGER u AFTER UPDATE ON t BEGIN UPDATE t SET v = upper(v); END");
    table->RePos(1, false);
    table->SetField(1, Str("b"));
    EXPECT_EQ(table->Update(kNoPosition), 1) << table->LastErrorText().c_str();
    EXPECT_EQ(Text("v"), "B");
}

TEST_F(SqliteStored, ASaveWritesNullOverWhatReadsAsMissingAndSkipsNothing) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, n INT, a TEXT); CREATE TABLE log(id);"
        "INSERT INTO t VALUES(1,'seven','x'),(2,NULL,'x'),(3,7,'x');"
        "CREATE TRIGGER u AFTER UPDATE ON t BEGIN INSERT INTO log VALUES(new.id); END");
    OpenTable("t");
    SqlCursor cursor(table, {"a"});
    const auto save = [&](const EVariant& value) {
        ETabulonPendingChanges changes;
        changes.AppendUpdate(ETabulonTag(), "n", value);
        return cursor.SaveAll(changes);
    };
    EXPECT_EQ(save(Str("eight")), static_cast<CursorStatus>(DataConstraint));
    EXPECT_EQ(Ask("SELECT id FROM log"), "");
    EXPECT_EQ(save(EVariant()), StatusOk);
    EXPECT_EQ(Ask("SELECT typeof(n) FROM t"), "null|null|null");
    EXPECT_EQ(Ask("SELECT id FROM log"), "1|3");  // what is NULL isn't written again
    // A record that is taken over as a whole leaves what reads as missing alone.
    Run("UPDATE t SET n = 'seven'");
    table->RePos(1, false);
    table->Fields()[Chaine("n")].SetMissing();
    SetText("a", "y");
    EXPECT_EQ(table->Update(kNoPosition), 1);
    EXPECT_EQ(Ask("SELECT n||a FROM t WHERE id = 1"), "seveny");
}

}  // namespace
}  // namespace etabulon
