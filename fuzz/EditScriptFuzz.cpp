// Level paths and edit scripts: what the command line's options are given, on a database with odd
// names. The first line of the input is read as each option, the rest as a script. What is refused
// says why; what is accepted is printed as text that is accepted again and means the same.

#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliEdits.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/sqlite/ESqliteSource.h"
#include "fuzz/Choices.h"

#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace etabulon::fuzz {
namespace {

constexpr const char* kSchema =
    "CREATE TABLE \"to\"(id INTEGER PRIMARY KEY, name TEXT, \"odd,name\" TEXT,"
    "  up INTEGER REFERENCES \"to\"(id), code INTEGER UNIQUE);"
    "CREATE TABLE \"from.x\"(a INTEGER REFERENCES t(id), \"b=c\" TEXT);"
    "CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER, r REAL, s TEXT, \"a,b\" TEXT,"
    "  \"x=y\" INTEGER, \"q\"\"q\" INTEGER, \"NULL\" TEXT, \" lead\" TEXT, \"#h\" INTEGER,"
    "  \"a.b\" INTEGER, \"\xC2\xBB\" INTEGER, \"l\nf\" TEXT, \"p>q\" INTEGER, \":\" INTEGER,"
    "  d DATE, ti TIME, ts TIMESTAMP, ok BOOLEAN, dec DECIMAL(10,2), cur NUMERIC(12,4),"
    "  data BLOB, g INTEGER GENERATED ALWAYS AS (n + 1), p INTEGER REFERENCES \"to\"(id),"
    "  \"o p\" INTEGER CONSTRAINT \"other>way\" REFERENCES \"to\"(code));";

/// A database without records; it lives as long as the process.
class Database {
public:
    Database() {
        constexpr const char* kLocation = "file:/etabulon-fuzz-scripts?vfs=memdb";
        Require(sqlite3_open_v2(kLocation, &keeper_,
                                SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI,
                                nullptr) == SQLITE_OK &&
                    sqlite3_exec(keeper_, kSchema, nullptr, nullptr, nullptr) == SQLITE_OK,
                "the database can be made");
        ESqlError error;
        auto source = ESqliteSource::Open(kLocation, ESqlOpenMode::ReadOnly, error);
        Require(source != nullptr, "the database can be opened");
        tables_ = TablesOf(std::move(source));
        dictionary_ = std::make_unique<CliDictionary>(*tables_);
        const CliResult<CliTable> table = dictionary_->FindTable("t");
        Require(static_cast<bool>(table), "the table is there");
        table_ = std::make_unique<CliTable>(*table);
    }
    [[nodiscard]] const CliTable& Table() const { return *table_; }

private:
    sqlite3* keeper_ = nullptr;
    std::unique_ptr<CliTables> tables_;
    std::unique_ptr<CliDictionary> dictionary_;
    std::unique_ptr<const CliTable> table_;
};

/// A refusal says why.
template <class T>
bool IsAccepted(const CliResult<T>& result) {
    Require(result || (!result.Failure().text.empty() && result.Failure().exit != CliExit::Done),
            "a refusal has a text");
    return static_cast<bool>(result);
}

template <class T>
void RequireAccepted(const CliResult<T>& result, std::string_view what, std::string_view text) {
    if (!result) {
        Fail(std::string(what) + ": " + result.Failure().text + "\n" + std::string(text));
    }
}

std::string ScriptOf(const CliEdits& edits) {
    std::string script;
    for (const std::string& line : edits.ScriptLines()) {
        script += line + '\n';
    }
    return script;
}

class Reading {
public:
    Reading(const Database& database, std::string_view option)
        : table_(database.Table()), option_(option) {}

    void CheckOptions() const {
        const auto paths = ParsePaths(option_);
        if (IsAccepted(paths)) {
            IsAccepted(table_.FindVariables(*paths));
        }
        const auto words = ParseWords(option_);
        if (IsAccepted(words)) {
            CheckWords(*words);
        }
        IsAccepted(MakeCalculations(table_, option_));
        CheckPlace();
    }

    /// The levels of the option, if it is such a list, and the script that was read with them.
    void CheckScript(std::string_view script) const {
        CliEdits withLevels(table_);
        const bool isLevels = IsAccepted(withLevels.AddLevels(option_));
        const std::string levels = isLevels ? withLevels.WrittenLevels() : std::string();
        if (isLevels) {
            CheckLevels(withLevels.Levels(), levels);
        }
        CliEdits edits(table_);
        if (!IsAccepted(Take(edits, levels, script))) {
            return;
        }
        const std::string printed = ScriptOf(edits);
        CliEdits again(table_);
        RequireAccepted(Take(again, edits.WrittenLevels(), printed), "a printed script is accepted",
                        printed);
        RequireEqual(ScriptOf(again), printed, "a printed script read again");
        RequireEqual(again.WrittenLevels(), edits.WrittenLevels(), "the levels of a script");
        RequireSame(again.Changes(), edits.Changes());
        CheckAlone(printed);
    }

private:
    static CliResult<> Take(CliEdits& edits, std::string_view levels, std::string_view script) {
        if (CliResult<> added = edits.AddLevels(levels); !added) {
            return added;
        }
        const auto lines = ParseScript(script);
        if (!lines) {
            const auto count = std::count(script.begin(), script.end(), '\n') + 1;
            const std::size_t line = lines.Failure().line;
            Require(line >= 1 && line <= static_cast<std::size_t>(count), "the line of a refusal");
            return lines.Failure();
        }
        for (const CliScriptEdit& each : *lines) {
            if (CliResult<> added = edits.AddLevelsOf(each.edit); !added) {
                return added;
            }
        }
        for (const CliScriptEdit& each : *lines) {
            if (CliResult<> appended = edits.Append(each.edit); !appended) {
                return appended;
            }
        }
        return {};
    }
    /// Without the levels a script finds them by itself, in an order that may be another one.
    void CheckAlone(const std::string& printed) const {
        CliEdits alone(table_);
        RequireAccepted(Take(alone, {}, printed), "a printed script is accepted without its levels",
                        printed);
        const std::string printedAlone = ScriptOf(alone);
        CliEdits again(table_);
        RequireAccepted(Take(again, {}, printedAlone), "a script printed twice is accepted",
                        printedAlone);
        RequireEqual(ScriptOf(again), printedAlone, "a script printed twice, read again");
        RequireSame(again.Changes(), alone.Changes());
    }
    void CheckLevels(const CliLevels& levels, const std::string& written) const {
        CliLevels again(table_);
        RequireAccepted(again.Add(written), "printed levels are accepted", written);
        Require(again.all.size() == levels.all.size(), "the number of levels");
        for (std::size_t level = 0; level < levels.all.size(); ++level) {
            RequireEqual(again.all[level].data.code.View(), levels.all[level].data.code.View(),
                         "a level's data");
            RequireEqual(again.all[level].label.code.View(), levels.all[level].label.code.View(),
                         "a level's label");
        }
        const auto found = levels.FindAll(written, "--hide");
        RequireAccepted(found, "printed levels are found", written);
        Require(found->size() == levels.all.size(), "the number of levels found");
    }
    /// The option as --at, with the levels that it names.
    void CheckPlace() const {
        CliEdits edits(table_);
        const auto choice = ParseEdit(CliEditKind::Delete, option_);
        if (!IsAccepted(choice) || !IsAccepted(edits.AddLevelsOf(*choice))) {
            return;
        }
        const auto place = edits.Levels().ReadTag(option_);
        if (!IsAccepted(place)) {
            return;
        }
        const std::string written = edits.WrittenPlace(*place);
        const auto again = edits.Levels().ReadTag(written);
        RequireAccepted(again, "a printed place is accepted", written);
        RequireEqual(edits.WrittenPlace(*again), written, "a printed place");
        RequireSame(*again, *place);
    }
    static void CheckWords(const std::vector<CliWordChoice>& words) {
        std::string written;
        for (const CliWordChoice& word : words) {
            written += written.empty() ? "" : ",";
            written += word.text.empty() ? "\"\"" : WrittenWord(word.text);
        }
        const auto again = ParseWords(written);
        RequireAccepted(again, "printed words", written);
        Require(again->size() == words.size(), "the number of words");
        for (std::size_t word = 0; word < words.size(); ++word) {
            RequireEqual((*again)[word].text, words[word].text, "a word");
        }
    }
    static void RequireSame(const ETabulonTag& a, const ETabulonTag& b) {
        Require(a.KnownLevelsCount() == b.KnownLevelsCount(), "the levels of a place");
        for (unsigned int place = 0; place < a.KnownLevelsCount(); ++place) {
            Require(a.LevelAt(place) == b.LevelAt(place) &&
                        a.ValueAt(place).Data().IsIdenticalTo(b.ValueAt(place).Data()),
                    "a value of a place");
        }
    }
    static void RequireSame(const ETabulonPendingChanges& a, const ETabulonPendingChanges& b) {
        Require(a.Size() == b.Size(), "the number of edits");
        for (std::uint32_t index = 0; index < a.Size(); ++index) {
            const ETabulonPendingChanges::Change& left = a.Script()[index];
            const ETabulonPendingChanges::Change& right = b.Script()[index];
            Require(left.Type() == right.Type(), "the kind of an edit");
            RequireSame(left.Selection(), right.Selection());
            RequireEqual(left.VarDataID().Code().View(), right.VarDataID().Code().View(),
                         "the column of an edit");
            Require(left.Value().IsIdenticalTo(right.Value()), "the value of an edit");
        }
    }

    const CliTable& table_;
    std::string_view option_;
};

}  // namespace
}  // namespace etabulon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace etabulon::fuzz;
    static const Database database;
    Choices choices(bytes, size);
    const Reading reading(database, choices.Until('\n'));
    reading.CheckOptions();
    reading.CheckScript(choices.Rest());
    return 0;
}
