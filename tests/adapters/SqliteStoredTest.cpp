#include "SqliteFixture.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace etabulon {
namespace {

constexpr const char* kRefused = "refused";

EVariant Str(std::string_view text) { return EVariant(Chaine(text)); }
EVariant Whole(std::int64_t number) { return EVariant::FromInt64(number); }
EVariant Real(double number) { return EVariant::FromDouble(number); }
/// A day as a record has it, which need not be one.
EVariant Day(std::int32_t yyyymmdd) {
    EVariant day;
    EXPECT_TRUE(day.Init(TYPE_DATE, sizeof yyyymmdd, &yyyymmdd));
    return day;
}

/// What is told as written is what was set.
class SqliteStored : public SqliteTest {
protected:
    SqliteStored() { MoveToMemory(); }
};

struct StoredCase {
    const char* declared;
    const char* before;  // as SQL writes it
    EVariant set;
    std::string after;  // likewise, or kRefused
    int hint = 0;
};

TEST_F(SqliteStored, IsWhatWasSetOrTheWriteFails) {
    const EVariant missing = EVariant::Missing(TYPE_INT64, 8);
    const StoredCase utf8[] = {
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
    };
    const StoredCase utf16[] = {
        {"TEXT", "'a'", Str(std::string_view("a\0b", 3)), "'a'"},
        {"TEXT", "'a'", Str("\xC3("), kRefused},
        {"TEXT", "'a'", Str("\xED\xA0\x80"), kRefused},
        {"TEXT", "'a'", Str("\xEF\xBF\xBF"), kRefused},
        {"TEXT", "'a'", Str("\xF0\x9F\x98\x80"), "'\xF0\x9F\x98\x80'"},
    };
    const auto test = [this](const StoredCase& each, const char* encoding) {
        SCOPED_TRACE(std::string(each.declared) + ' ' + each.before +
                     " := " + each.set.AsChaine().c_str() + ' ' + encoding);
        std::filesystem::remove(path);
        Run(std::string("PRAGMA encoding='") + encoding +
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
    };
    for (const StoredCase& each : utf8) {
        test(each, "UTF-8");
    }
    for (const StoredCase& each : utf16) {
        test(each, "UTF-16");
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
    EXPECT_EQ(insert("007"), kNoPosition);
    EXPECT_EQ(table->status, DataConstraint);
    EXPECT_NE(table->LastErrorText().View().find("column c2000"), std::string_view::npos);
    EXPECT_EQ(insert("7"), 1) << table->LastErrorText().c_str();
    EXPECT_EQ(Ask("SELECT c1 + c1999 + c2000 FROM t"), "2005");
}

TEST_F(SqliteStored, ATriggerMayMakeSomethingElseOfIt) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, v TEXT); INSERT INTO t VALUES(1,'a');"
        "CREATE TRIGGER u AFTER UPDATE ON t BEGIN UPDATE t SET v = upper(v); END");
    OpenTable("t");
    table->RePos(1, false);
    table->SetField(1, Str("b"));
    EXPECT_EQ(table->Update(kNoPosition), 1) << table->LastErrorText().c_str();
    EXPECT_EQ(Text("v"), "B");
}

TEST_F(SqliteStored, ASaveWritesNullOverWhatReadsAsMissingAndSkipsNothing) {
    Run("CREATE TABLE t(id INTEGER PRIMARY KEY, n INT, a TEXT); CREATE TABLE log(id);"
        "INSERT INTO t VALUES(1,'seven','x'),(2,NULL,'x'),(3,7,'x');"
        "CREATE TRIGGER u AFTER UPDATE ON t BEGIN INSERT INTO log VALUES(new.id); END");
    ETabulonLevels levels;
    levels.AddLevel("a", "a", "a", nullptr, /*addRef=*/false);
    ETabulonCursorSql cursor;
    OpenTable("t");
    cursor.Init(levels, table.get(), /*ownsTable=*/false);
    const auto save = [&](const EVariant& value) {
        ETabulonPendingChanges changes;
        changes.AppendUpdate(ETabulonTag(), "n", value);
        return ETabulonSavePending(&cursor, levels).Run(&changes, ETabulonTag());
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
