#include "SqliteFixture.h"
#include "pending/SaveFixture.h"
#include "support/Storm.h"

#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>

namespace etabulon::test {
namespace {

using Changes = ETabulonPendingChanges;

/// Tells of each write that has succeeded.
class TellingCursor : public SqlCursor {
public:
    using SqlCursor::SqlCursor;
    std::function<void()> onWritten = [] {};

protected:
    CursorStatus Save() override { return Told(ETabulonCursorSql::Save()); }
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override {
        return Told(ETabulonCursorSql::Delete(key, tag));
    }

private:
    CursorStatus Told(CursorStatus status) {
        if (status == StatusOk) {
            onWritten();
        }
        return status;
    }
};

enum class Way : std::uint8_t { EachByItself = 0, AllOrNothing = 1 };

class SqliteSave : public SqliteTest {
protected:
    /// What applications do: all stands only if nothing failed.
    static CursorStatus Save(TellingCursor& cursor, const Changes& changes, Way way) {
        ESqlTable& saved = *cursor.Table();
        if (way == Way::AllOrNothing && saved.BeginAtomic() != DataOk) {
            return static_cast<CursorStatus>(saved.status);
        }
        CursorStatus status = cursor.SaveAll(changes);
        if (status == StatusOk && saved.Session().failures != 0) {
            status = static_cast<CursorStatus>(saved.Session().first.status);
        }
        if (way == Way::AllOrNothing) {
            const ESqlOutcome outcome = status == StatusOk ? saved.Commit() : saved.Rollback();
            EXPECT_EQ(outcome == ESqlOutcome::Committed, status == StatusOk);
        }
        return status;
    }
    std::string Rows() { return Ask("SELECT quote(id)||quote(a)||quote(n) FROM t ORDER BY id"); }
};

// ------------------------------------------------------------------------ a process that is killed

/// A process that saves, and tells by a byte of each write that has succeeded.
class SavingProcess {
public:
    explicit SavingProcess(const std::function<void(int acknowledged)>& save) {
        EXPECT_EQ(pipe(pipe_), 0);
        process_ = fork();
        if (process_ == 0) {
            save(pipe_[1]);
            pause();
        }
        close(pipe_[1]);
    }
    /// Waits for so many writes, and a moment more; the number of those that it has told of.
    std::size_t Kill(std::size_t writes, std::chrono::microseconds moment) {
        std::size_t told = 0;
        char byte = 0;
        while (told < writes && read(pipe_[0], &byte, 1) == 1) {
            ++told;
        }
        std::this_thread::sleep_for(moment);
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        while (read(pipe_[0], &byte, 1) == 1) {
            ++told;
        }
        close(pipe_[0]);
        return told;
    }

private:
    int pipe_[2] = {-1, -1};
    pid_t process_ = -1;
};

class KilledSave : public SqliteSave,
                   public ::testing::WithParamInterface<std::tuple<const char*, Way>> {
protected:
    static constexpr std::size_t kWrites = 17;
    /// Ten updates, four deletes, three inserts.
    KilledSave() {
        Run(std::string("PRAGMA journal_mode=") + std::get<0>(GetParam()) +
            "; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT); CREATE INDEX t_a ON t(a);"
            "WITH RECURSIVE r(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM r WHERE i < 14)"
            "INSERT INTO t(a, n) SELECT 'x', i FROM r");
        changes_.AppendUpdate(Tag({{0, Str("x")}}), "n", Whole(-1));
        changes_.AppendUpdate(Tag({{0, Str("x")}}), "a", Str(std::string(3000, 'y')));
        for (const int id : {2, 5, 6, 14}) {
            changes_.AppendDelete(Tag({{1, Whole(id)}}));
        }
        for (const int id : {3, 20, 21}) {
            changes_.AppendInsert(Tag({{0, Str("new")}, {1, Whole(id + 100)}}));
        }
    }
    void SaveTelling(const std::function<void()>& onWritten) {
        OpenTable("t");
        TellingCursor cursor(table, {"a", "id"});
        cursor.onWritten = onWritten;
        ASSERT_EQ(Save(cursor, changes_, way), StatusOk);
    }
    const Way way = std::get<1>(GetParam());
    Changes changes_;
};

TEST_P(KilledSave, LeavesWhatItHasToldOfAndAtMostOneWriteMore) {
    const std::filesystem::path original = folder / "original.db";
    std::filesystem::copy_file(path, original);
    // What the table is after each write. Inside an atomic session others see it only at its end.
    std::vector<std::string> states{Rows()};
    SaveTelling([&] { states.push_back(Rows()); });
    ASSERT_EQ(states.size(), kWrites + 1);
    states.back() = Rows();
    ASSERT_NE(states.front(), states.back());

    std::mt19937 random(way == Way::EachByItself ? 1 : 2);
    for (int turn = 0; turn < 50; ++turn) {
        CopyFiles(original, path);
        source.reset();
        SavingProcess process([this](int acknowledged) {
            SaveTelling([acknowledged] {
                while (write(acknowledged, "w", 1) != 1) {
                }
            });
        });
        const std::size_t told =
            process.Kill(random() % (kWrites + 1), std::chrono::microseconds(random() % 3000));
        ASSERT_EQ(Ask("PRAGMA integrity_check"), "ok");
        const std::string left = Rows();
        const bool isOneOfTwo =
            way == Way::EachByItself
                ? left == states[told] || (told < kWrites && left == states[told + 1])
                : left == states.front() || (told == kWrites && left == states.back());
        ASSERT_TRUE(isOneOfTwo) << "after " << told << " writes: " << left;
    }
}

INSTANTIATE_TEST_SUITE_P(InBothJournals, KilledSave,
                         ::testing::Combine(::testing::Values("delete", "wal"),
                                            ::testing::Values(Way::EachByItself,
                                                              Way::AllOrNothing)));

// ------------------------------------------------------------------------------ a table that moves

struct MovingCase {
    const char* what;
    const char* key;  // after the columns
    const char* afterColumns;
};

constexpr MovingCase kMovingTables[] = {
    {"a number as key", ", id INTEGER PRIMARY KEY", ""},
    {"no key", "", ""},
    {"two keys", ", PRIMARY KEY(p, q)", ""},
    {"two keys, one falling, without row number", ", PRIMARY KEY(q DESC, p)", " WITHOUT ROWID"},
    {"a text as key, without row number", ", PRIMARY KEY(other)", " WITHOUT ROWID"}};

class MovingTable : public SqliteSave {
protected:
    /// Columns p and q tell the rows apart, v goes with them; `other` is never written. Of each
    /// update the trigger keeps whose it was, inserts a row, and after that of row 10 it deletes
    /// row 46. Table was says what is to become of the rows.
    void Make(const MovingCase& each) {
        Remake(
            "CREATE TABLE log(other);"
            "CREATE TABLE t(p INTEGER NOT NULL, q INTEGER NOT NULL, v TEXT, other TEXT" +
            std::string(each.key) + ")" + each.afterColumns +
            "; CREATE INDEX t_v ON t(v); CREATE TABLE was AS"
            " WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 59),"
            "  d(i, isDeleted) AS (SELECT i, i % 7 = 3 AND i != 10 FROM n) SELECT *,"
            "  NOT isDeleted AND i % 3 != 0 AS isUpdated, i / 8 AS p, i % 8 AS q,"
            "  printf('%03d', i) AS v, printf('%03d', i) || '\x01\xC3\xA9' AS other FROM d;"
            "INSERT INTO t(p, q, v, other) SELECT p, q, v, other FROM was;"
            "CREATE TRIGGER again AFTER UPDATE ON t BEGIN "
            "INSERT INTO log VALUES(old.other);"
            "INSERT INTO t(p, q, v, other) VALUES(old.p + 1000, old.q, 'zz', old.other || 'z');"
            "DELETE FROM t WHERE old.other LIKE '010%' AND other LIKE '046__'; END");
    }
    static ETabulonTag Of(int row) { return Tag({{0, Whole(row / 8)}, {1, Whole(row % 8)}}); }
    /// The changes of table was, its updates in this column.
    void AppendChanges(Changes& changes, const std::string& column, const EVariant& longText) {
        for (const Database::Row& row :
             Database(path).Rows("SELECT i, isDeleted, isUpdated FROM was")) {
            const int i = std::stoi(row[0]);
            if (row[1] == "1") {
                changes.AppendDelete(Of(i));
            } else if (row[2] == "1") {
                changes.AppendUpdate(Of(i), column.c_str(),
                                     column == "v" ? longText : Whole(i + 100));
            }
        }
    }
};

TEST_F(MovingTable, HasEachChangeOnceAndNothingElse) {
    const std::string longText(5000, 'z');
    const std::vector<std::string> columns = {"p", "q", "v"};
    for (const MovingCase& each : kMovingTables) {
        for (unsigned int column = 0; column < columns.size(); ++column) {
            for (const bool isOrdered : {true, false}) {
                const std::string name = columns[column];
                SCOPED_TRACE(each.what + (" " + name) + (isOrdered ? " in its order" : ""));
                Make(each);
                Changes changes;
                AppendChanges(changes, name, Str(longText));
                OpenTable("t");
                table->SetOrder(isOrdered ? std::vector{column} : std::vector<unsigned int>());
                TellingCursor cursor(table, {"p", "q"});
                std::size_t written = 0;
                cursor.onWritten = [&written] { ++written; };
                // Row 10 comes before row 46 in all these orders.
                ASSERT_EQ(Save(cursor, changes, Way::AllOrNothing), StatusOk);
                EXPECT_EQ(std::to_string(written),
                          Ask("SELECT sum(isDeleted OR isUpdated) FROM was WHERE i != 46"));
                const auto after = [&](const std::string& of, const std::string& updated) {
                    return of == name ? "iif(isUpdated, " + updated + ", " + of + ")||','||"
                                      : of + "||','||";
                };
                EXPECT_EQ(Ask("SELECT p||','||q||','||v||','||other FROM t WHERE v != 'zz' "
                              "ORDER BY other"),
                          Ask("SELECT " + after("p", "i + 100") + after("q", "i + 100") +
                              after("v", "'" + longText + "'") +
                              "other FROM was WHERE NOT isDeleted AND i != 46 ORDER BY other"));
                EXPECT_EQ(Ask("SELECT other FROM log ORDER BY other"),
                          Ask("SELECT other FROM was WHERE isUpdated AND i != 46 ORDER BY other"));
                EXPECT_EQ(Ask("SELECT count(*) FROM t WHERE v = 'zz'"),
                          Ask("SELECT count(*) FROM log"));
            }
        }
    }
}

// -------------------------------------------------------------------------------- random sequences

class RandomSaves : public SqliteSave, protected Storm {
protected:
    RandomSaves() : Storm(20240229) {}

    EVariant RandomText() {
        const unsigned int which = Any(7);
        return which == 6 ? EVariant() : Str(std::string(1, static_cast<char>('p' + which)));
    }
    ETabulonTag RandomKey() { return Tag({{0, RandomText()}, {1, RandomText()}}); }
    ETabulonTag RandomPlace() {
        const unsigned int which = Any(5);
        return which < 2 ? Tag({{which, RandomText()}}) : RandomKey();
    }
    void AddRandomChange(Changes& changes) {
        DoOne(
            6, [&] { changes.AppendDelete(RandomKey()); },
            [&] { changes.AppendInsert(RandomKey()); },
            [&] { changes.AppendUpdate(RandomPlace(), "a", RandomText()); },
            [&] { changes.AppendUpdate(RandomPlace(), "b", RandomText()); },
            [&] {  // one in thirty is more than the table takes
                changes.AppendUpdate(RandomPlace(), "n",
                                     Whole(Any(30) == 0 ? -1 : static_cast<int>(Any(50))));
            });
    }
    /// The rows as a whole save leaves them.
    static std::vector<ItemRow> Saved(const std::vector<ItemRow>& rows, const Changes& changes) {
        LiteralSave saved(rows, changes.ScriptCopy(), {{"id", "a", "b", "n"}, {1, 2}});
        EXPECT_EQ(saved.Run(), StatusOk);
        std::int64_t last = 0;
        for (ItemRow& row : saved.rows) {
            last = row[0].IsMissing() ? last + 1 : row[0].AsInt64();
            row[0] = Whole(last);
        }
        return saved.rows;
    }
    static bool HasBad(const std::vector<ItemRow>& rows) {
        return std::any_of(rows.begin(), rows.end(),
                           [](const ItemRow& row) { return row[3] == Whole(-1); });
    }
    /// Fills the table with 200 rows, which it returns.
    std::vector<ItemRow> Fill() {
        Run("DELETE FROM t; WITH RECURSIVE m(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM m WHERE "
            "i < 200) INSERT INTO t(a, b, n) SELECT char(112 + i % 6), "
            "iif(i % 9, char(112 + i / 6 % 6), NULL), i FROM m");
        const auto letter = [](int number) {
            return Str(std::string(1, static_cast<char>(112 + number)));
        };
        std::vector<ItemRow> rows;
        for (int id = 1; id <= 200; ++id) {
            rows.push_back({Whole(id), letter(id % 6),
                            id % 9 != 0 ? letter(id / 6 % 6) : EVariant(), Whole(id)});
        }
        return rows;
    }
    std::string Rows() {
        return Ask(
            "SELECT ifnull(group_concat(row, ' | '), '') FROM (SELECT "
            "id||' '||ifnull(a,'-')||' '||ifnull(b,'-')||' '||ifnull(n,'-') AS row FROM t "
            "ORDER BY id)");
    }
};

TEST_F(RandomSaves, LeaveNoWrongRow) {
    Run("PRAGMA journal_mode=wal; PRAGMA synchronous=off;"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b TEXT, n INT CHECK(n >= 0));"
        "CREATE INDEX t_a ON t(a, b)");
    OpenTable("t");
    table->SetOrder({1});
    TellingCursor cursor(table, {"a", "b"});
    std::size_t compared = 0;
    std::size_t cancelled = 0;
    std::size_t refused = 0;
    for (int sequence = 0; sequence < 200; ++sequence) {
        std::vector<ItemRow> rows = Fill();
        Changes changes;
        for (int turn = 0; turn < 3; ++turn) {
            for (unsigned int edits = 1 + Any(8); edits != 0; --edits) {
                AddRandomChange(changes);
            }
            std::vector<ItemRow> saved = Saved(rows, changes);
            // Cancelled after some writes: nothing stays, and the next one starts anew.
            unsigned int left = Any(3) == 0 ? 1 + Any(10) : 0;
            cursor.onWritten = [&] {
                if (left != 0 && --left == 0) {
                    cursor.Cancel();
                }
            };
            CursorStatus status = Save(cursor, changes, Way::AllOrNothing);
            if (status == StatusCancelled) {
                ASSERT_EQ(Rows(), test::Text(rows)) << "cancelled in sequence " << sequence;
                ++cancelled;
                status = Save(cursor, changes, Way::AllOrNothing);
            }
            ASSERT_EQ(status, HasBad(saved) ? static_cast<CursorStatus>(DataConstraint) : StatusOk);
            if (status == StatusOk) {
                rows = std::move(saved);
            } else {
                ++refused;
            }
            ASSERT_EQ(Rows(), test::Text(rows)) << "sequence " << sequence;
            compared += rows.size();
            changes.Reset();
        }
    }
    EXPECT_GT(compared, 10000U);
    EXPECT_GT(cancelled, 20U);
    EXPECT_GT(refused, 5U);
}

}  // namespace
}  // namespace etabulon::test
