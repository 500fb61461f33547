#include "SqliteFixture.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "support/Storm.h"
#include "support/Tags.h"

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <thread>

namespace etabulon::test {
namespace {

using Changes = ETabulonPendingChanges;

EVariant Str(const std::string& text) { return EVariant(Chaine(text)); }
EVariant Whole(std::int64_t number) { return EVariant::FromInt64(number); }

/// Tells of each write that has succeeded.
class TellingCursor : public ETabulonCursorSql {
public:
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
    SqliteSave() { MoveToMemory(); }
    /// A cursor on table t with these levels, in the order of these columns.
    struct Saving {
        ETabulonLevels levels;
        TellingCursor cursor;
    };
    void OpenSaving(Saving& saving, const std::vector<const char*>& names,
                    std::vector<unsigned> order = {}) {
        for (const char* const name : names) {
            saving.levels.AddLevel(name, name, name, nullptr, /*addRef=*/false);
        }
        OpenTable("t");
        table->SetOrder(std::move(order));
        saving.cursor.Init(saving.levels, table.release(), /*ownsTable=*/true);
    }
    /// What applications do: all stands only if nothing failed.
    static CursorStatus Save(Saving& saving, const Changes& changes, Way way) {
        ESqlTable& saved = *saving.cursor.Table();
        if (way == Way::AllOrNothing && saved.BeginAtomic() != DataOk) {
            return static_cast<CursorStatus>(saved.status);
        }
        CursorStatus status = StatusOk;
        {
            ETabulonSavePending save(&saving.cursor, saving.levels);
            status = save.Run(&changes, ETabulonTag::Null);
        }
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

struct KillCase {
    const char* journal;
    Way way;
};

void PrintTo(const KillCase& each, std::ostream* out) {
    *out << each.journal << (each.way == Way::EachByItself ? " each" : " all");
}

class KilledSave : public SqliteSave, public ::testing::WithParamInterface<KillCase> {
protected:
    static constexpr std::size_t kWrites = 17;
    /// Ten updates, four deletes, three inserts.
    KilledSave() {
        Run(std::string("PRAGMA journal_mode=") + GetParam().journal +
            "; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT); CREATE INDEX t_a ON t(a)");
        for (int id = 1; id <= 14; ++id) {
            Run("INSERT INTO t(a, n) VALUES('x', " + std::to_string(id) + ")");
        }
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
        Saving saving;
        OpenSaving(saving, {"a", "id"});
        saving.cursor.onWritten = onWritten;
        ASSERT_EQ(Save(saving, changes_, GetParam().way), StatusOk);
    }
    void CopyFrom(const std::filesystem::path& original) {
        for (const char* const end : {"", "-journal", "-wal", "-shm"}) {
            std::filesystem::remove(path.string() + end);
        }
        std::filesystem::copy_file(original, path);
    }

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

    std::mt19937 random(GetParam().way == Way::EachByItself ? 1 : 2);
    for (int turn = 0; turn < 50; ++turn) {
        CopyFrom(original);
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
        if (GetParam().way == Way::EachByItself) {
            ASSERT_TRUE(left == states[told] || (told < kWrites && left == states[told + 1]))
                << "after " << told << " writes: " << left;
        } else {
            ASSERT_TRUE(left == states.front() || (told == kWrites && left == states.back()))
                << "after " << told << " writes: " << left;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InBothJournals, KilledSave,
                         ::testing::Values(KillCase{"delete", Way::EachByItself},
                                           KillCase{"wal", Way::EachByItself},
                                           KillCase{"delete", Way::AllOrNothing},
                                           KillCase{"wal", Way::AllOrNothing}));

// ------------------------------------------------------------------------- a table that moves

struct MovingCase {
    const char* what;
    const char* key;  // behind the columns
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
    static constexpr int kRows = 60;
    /// Columns p and q tell the rows apart, v goes with them; `other` is never written. Of each
    /// update the trigger keeps whose it was, inserts a row, and after that of row 10 it deletes
    /// row 46.
    void Make(const MovingCase& each) {
        Run("DROP TABLE IF EXISTS t; DROP TABLE IF EXISTS log; CREATE TABLE log(other);"
            "CREATE TABLE t(p INTEGER NOT NULL, q INTEGER NOT NULL, v TEXT, other TEXT" +
            std::string(each.key) + ")" + each.afterColumns +
            "; CREATE INDEX t_v ON t(v);"
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 59) "
            "INSERT INTO t(p, q, v, other) "
            "SELECT i / 8, i % 8, printf('%03d', i), printf('%03d', i) || '\x01\xC3\xA9' FROM n;"
            "CREATE TRIGGER again AFTER UPDATE ON t BEGIN "
            "INSERT INTO log VALUES(old.other);"
            "INSERT INTO t(p, q, v, other) VALUES(old.p + 1000, old.q, 'zz', old.other || 'z');"
            "DELETE FROM t WHERE old.other LIKE '010%' AND other LIKE '046__'; END");
    }
    static ETabulonTag Of(int row) { return Tag({{0, Whole(row / 8)}, {1, Whole(row % 8)}}); }
};

TEST_F(MovingTable, HasEachChangeOnceAndNothingElse) {
    const std::string longText(5000, 'z');
    for (const MovingCase& each : kMovingTables) {
        for (const std::string column : {"v", "p", "q"}) {
            for (const bool isOrdered : {true, false}) {
                SCOPED_TRACE(each.what + (" " + column) + (isOrdered ? " in its order" : ""));
                Make(each);
                Changes changes;
                std::string rows;
                std::string log;
                std::size_t writes = 0;
                for (int row = 0; row < kRows; ++row) {
                    const bool isDeleted = row % 7 == 3 && row != 10;
                    const bool isUpdated = !isDeleted && row % 3 != 0;
                    if (isDeleted) {
                        changes.AppendDelete(Of(row));
                        ++writes;
                    } else if (isUpdated) {
                        changes.AppendUpdate(Of(row), column.c_str(),
                                             column == "v" ? Str(longText) : Whole(row + 100));
                    }
                    if (isDeleted || row == 46) {
                        continue;
                    }
                    writes += isUpdated ? 1 : 0;
                    const auto now = [&](const char* name, int value) {
                        return std::to_string(isUpdated && column == name ? row + 100 : value);
                    };
                    char number[8];
                    std::snprintf(number, sizeof number, "%03d", row);
                    rows += (rows.empty() ? "" : "|") + now("p", row / 8) + "," +
                            now("q", row % 8) + "," + (isUpdated && column == "v" ? "5000" : "3") +
                            "," + number + "\x01\xC3\xA9";
                    if (isUpdated) {
                        log += (log.empty() ? "" : "|") + std::string(number) + "\x01\xC3\xA9";
                    }
                }
                Saving saving;
                OpenSaving(saving, {"p", "q"},
                           isOrdered ? std::vector<unsigned>{column == "v"   ? 2U
                                                             : column == "p" ? 0U
                                                                             : 1U}
                                     : std::vector<unsigned>{});
                std::size_t written = 0;
                saving.cursor.onWritten = [&written] { ++written; };
                // Row 10 comes before row 46 in all these orders.
                ASSERT_EQ(Save(saving, changes, Way::AllOrNothing), StatusOk);
                EXPECT_EQ(written, writes);
                EXPECT_EQ(Ask("SELECT p||','||q||','||length(v)||','||other FROM t "
                              "WHERE v != 'zz' ORDER BY other"),
                          rows);
                EXPECT_EQ(Ask("SELECT other FROM log ORDER BY other"), log);
                EXPECT_EQ(Ask("SELECT count(*) FROM t WHERE v = 'zz'"),
                          Ask("SELECT count(*) FROM log"));
            }
        }
    }
}

// ------------------------------------------------------------------------- random sequences

/// The rows as they ought to be, by key: levels a and b, and n.
struct Model {
    struct Row {
        std::string a;
        std::string b;
        std::string n;
    };
    std::map<int, Row> rows;

    [[nodiscard]] std::string Text() const {
        std::string text;
        for (const auto& [id, row] : rows) {
            text += (text.empty() ? "" : "|") + std::to_string(id) + "," + row.a + "," + row.b +
                    "," + row.n;
        }
        return text;
    }
    /// What a whole save makes.
    void Save(const Changes& changes) {
        for (auto row = rows.begin(); row != rows.end();) {
            const Row before = row->second;
            bool isDeleted = false;
            for (const Changes::Change& change : changes.Script()) {
                const bool isMet = IsAt(change.Selection(), before);
                isDeleted = isDeleted || (isMet && change.Type() == Changes::Delete);
                if (isMet && change.Type() == Changes::Update) {
                    Set(row->second, change);
                }
            }
            row = isDeleted ? rows.erase(row) : std::next(row);
        }
        for (const Changes::Change& insert : changes.Script()) {
            if (insert.Type() != Changes::Insert) {
                continue;
            }
            Row row{ValueAt(insert.Selection(), 0), ValueAt(insert.Selection(), 1), "NULL"};
            const Row before = row;
            for (const Changes::Change& change : changes.Script()) {
                if (change.Type() == Changes::Update && IsAt(change.Selection(), before)) {
                    Set(row, change);
                }
            }
            rows[rows.empty() ? 1 : rows.rbegin()->first + 1] = row;
        }
    }

private:
    static std::string Shown(const EVariant& value) {
        return value.IsMissing() ? "NULL" : std::string(value.AsChaine().View());
    }
    static std::string ValueAt(const ETabulonTag& tag, unsigned level) {
        const ETabulonValue* const value = tag.Find(level);
        return value == nullptr ? "*" : Shown(value->Data());
    }
    static bool IsAt(const ETabulonTag& selection, const Row& row) {
        const std::string a = ValueAt(selection, 0);
        const std::string b = ValueAt(selection, 1);
        return (a == "*" || a == row.a) && (b == "*" || b == row.b);
    }
    static void Set(Row& row, const Changes::Change& change) {
        const std::string_view column = change.VarDataID().Code().View();
        (column == "a" ? row.a : column == "b" ? row.b : row.n) = Shown(change.Value());
    }
};

class RandomSaves : public SqliteSave, protected Storm {
protected:
    RandomSaves() : Storm(20240229) {}

    EVariant RandomText() {
        const unsigned which = Any(7);
        return which == 6 ? EVariant() : Str(std::string(1, static_cast<char>('p' + which)));
    }
    ETabulonTag RandomPlace() {
        switch (Any(5)) {
            case 0:
                return Tag({{0, RandomText()}});
            case 1:
                return Tag({{1, RandomText()}});
            default:
                return Tag({{0, RandomText()}, {1, RandomText()}});
        }
    }
    void AddRandomChange(Changes& changes) {
        DoOne(
            6,
            [&] {
                changes.AppendDelete(Tag({{0, RandomText()}, {1, RandomText()}}));
            },
            [&] {
                changes.AppendInsert(Tag({{0, RandomText()}, {1, RandomText()}}));
            },
            [&] { changes.AppendUpdate(RandomPlace(), "a", RandomText()); },
            [&] { changes.AppendUpdate(RandomPlace(), "b", RandomText()); },
            [&] {  // one in thirty is more than the table takes
                changes.AppendUpdate(RandomPlace(), "n",
                                     Whole(Any(30) == 0 ? -1 : static_cast<int>(Any(50))));
            });
    }
    static bool HasBad(const Model& saved) {
        return std::any_of(saved.rows.begin(), saved.rows.end(),
                           [](const auto& row) { return row.second.n == "-1"; });
    }
    std::string Rows() {
        return Ask(
            "SELECT id||','||ifnull(a,'NULL')||','||ifnull(b,'NULL')||','||"
            "ifnull(n,'NULL') FROM t ORDER BY id");
    }
};

TEST_F(RandomSaves, LeaveNoWrongRow) {
    Run("PRAGMA journal_mode=wal; PRAGMA synchronous=off;"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b TEXT, n INT CHECK(n >= 0));"
        "CREATE INDEX t_a ON t(a, b)");
    Saving saving;
    OpenSaving(saving, {"a", "b"}, {1});
    std::size_t compared = 0;
    std::size_t cancelled = 0;
    std::size_t refused = 0;
    for (int sequence = 0; sequence < 200; ++sequence) {
        Model model;
        Run("DELETE FROM t; WITH RECURSIVE m(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM m WHERE "
            "i < 200) INSERT INTO t(a, b, n) SELECT char(112 + i % 6), "
            "iif(i % 9, char(112 + i / 6 % 6), NULL), i FROM m");
        for (int id = 1; id <= 200; ++id) {
            const auto letter = [](int number) {
                return std::string(1, static_cast<char>(112 + number));
            };
            model.rows[id] = {letter(id % 6), id % 9 != 0 ? letter(id / 6 % 6) : "NULL",
                              std::to_string(id)};
        }
        Changes changes;
        for (int turn = 0; turn < 3; ++turn) {
            for (unsigned edits = 1 + Any(8); edits != 0; --edits) {
                AddRandomChange(changes);
            }
            Model saved = model;
            saved.Save(changes);
            // Cancelled after some writes: nothing stays, and the next one starts anew.
            unsigned left = Any(3) == 0 ? 1 + Any(10) : 0;
            saving.cursor.onWritten = [&] {
                if (left != 0 && --left == 0) {
                    saving.cursor.Cancel();
                }
            };
            CursorStatus status = Save(saving, changes, Way::AllOrNothing);
            if (status == StatusCancelled) {
                ASSERT_EQ(Rows(), model.Text()) << "cancelled in sequence " << sequence;
                ++cancelled;
                status = Save(saving, changes, Way::AllOrNothing);
            }
            ASSERT_EQ(status, HasBad(saved) ? static_cast<CursorStatus>(DataConstraint) : StatusOk);
            if (status == StatusOk) {
                model = std::move(saved);
            } else {
                ++refused;
            }
            ASSERT_EQ(Rows(), model.Text()) << "sequence " << sequence;
            compared += model.rows.size();
            changes.Reset();
        }
    }
    EXPECT_GT(compared, 10000U);
    EXPECT_GT(cancelled, 20U);
    EXPECT_GT(refused, 5U);
}

}  // namespace
}  // namespace etabulon::test
