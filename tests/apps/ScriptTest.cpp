#include "apps/CommandRun.h"

#include <random>
#include <set>

namespace etabulon::test {
namespace {

/// Names that have to be written with care, and a column of each type.
constexpr const char* kParts = R"(
    CREATE TABLE makers(id INTEGER PRIMARY KEY, "na me" TEXT, "x.y" TEXT, born DATE,
        home INTEGER REFERENCES towns);
    CREATE TABLE towns(id INTEGER PRIMARY KEY, "a=b" TEXT);
    CREATE TABLE parts(
        shelf TEXT, slot INTEGER, "a,b" TEXT, "c:d" REAL, "e>f" BLOB, "g=h" BOOLEAN, "q""uote" DATE,
        " blank " TIME, "»" TIMESTAMP, "new
line" DECIMAL(8,2), "#hash" DECIMAL(12,4), "NULL" TEXT, "x.y" TEXT, "set x" INTEGER, "" TEXT,
        any, twice REAL GENERATED ALWAYS AS (slot * 2), maker INTEGER REFERENCES makers,
        PRIMARY KEY(shelf, slot)) WITHOUT ROWID;
    INSERT INTO towns VALUES(1, 'Graz'), (2, NULL), (3, '');
    INSERT INTO makers VALUES(1, 'Ames', 'a', '2024-02-29', 1), (2, '', 'a,b', NULL, 2),
        (3, NULL, NULL, NULL, 3), (4, 'NULL', '"', '1999-12-31', NULL);
    WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 40)
    INSERT INTO parts(shelf, slot, "a,b", "c:d", "e>f", "g=h", "q""uote", maker)
        SELECT substr('ab"', 1 + x % 3, 1), x, CASE x % 4 WHEN 0 THEN NULL WHEN 1 THEN '' WHEN 2
            THEN 'NULL' ELSE ' x ' END, CASE x % 3 WHEN 0 THEN 1e300 WHEN 1 THEN -0.1 END,
            CASE x % 3 WHEN 0 THEN x'' WHEN 1 THEN x'00ff' END, x % 3,
            CASE x % 2 WHEN 0 THEN '2024-02-29' END, nullif(x % 5, 0) FROM c;
)";

struct Column {
    const char* name;
    std::vector<const char*> values;  // as the command line takes them, but for quotes
};

const std::vector<const char*> kTexts = {"",      "a",   "b",        "\"",          " x ", "NULL",
                                         "a,b",   "c:d", "e>f",      "g=h",         "»",   "û\"",
                                         "#",     "\n",  "x\r\ny\r", "set a=b:c=d", "\t",  "\\",
                                         "\xC3(", ".",   "say \"\"", "été 東",      "1e5"};
const std::vector<Column> kColumns = {
    {"shelf", kTexts},
    {"slot", {"1", "2", "7", "-9223372036854775808", "40"}},
    {"a,b", kTexts},
    {"c:d", {"0", "-0.1", "1e300", "1e+300", "0.30000000000000004", "-0", "5e-324", "inf", "12"}},
    {"e>f", {"", "00ff", "00FF", "0a"}},
    {"g=h", {"true", "false", "1", "0", "2"}},
    {"q\"uote", {"2024-02-29", "0999-01-01", "9999-12-31"}},
    {" blank ", {"12:30:00", "00:00:00", "23:59:59.999"}},
    {"»", {"2024-02-29 12:30:00", "2024-02-29 12:30:00.123"}},
    {"new\nline", {"1.5", "-0.25", "0", "7.10"}},
    {"#hash", {"1.5", "-0.0001", "0"}},
    {"NULL", kTexts},
    {"x.y", kTexts},
    {"set x", {"1", "0"}},
    {"", kTexts},
    {"any", {"00", "0aff"}}};
/// Places only.
const std::vector<Column> kBehind = {{"maker>\"na me\"", {"Ames", "", "NULL"}},
                                     {"maker > \"makers\".\"x.y\"", {"a", "a,b", "\""}},
                                     {"maker>born", {"2024-02-29"}},
                                     {"maker>home>\"a=b\"", {"Graz", ""}},
                                     {"twice", {"2", "4"}}};

class RandomEdits {
public:
    explicit RandomEdits(unsigned int seed) : random_(seed) {}

    /// Options that make edits; the last one is an insert.
    Arguments Options() {
        Arguments options;
        if (Any(3) == 0) {
            std::string levels;
            for (std::set<std::string> met; met.size() < 3;) {
                if (const std::string name = AnyLevel().first; met.insert(name).second) {
                    levels += (levels.empty() ? "" : ",") + name;
                }
            }
            options = {"--levels", levels};
        }
        for (unsigned int count = 1 + Any(5); count != 0; --count) {
            const unsigned int what = Any(4);
            options.emplace_back(what == 0 ? "--delete" : what == 1 ? "--insert" : "--set");
            options.push_back(what == 0   ? Place(1 + Any(2), /*all=*/true)
                              : what == 1 ? Place(1 + Any(3), /*all=*/false)
                                          : Place(Any(3), /*all=*/true) + ':' + Pair());
        }
        options.insert(options.end(), {"--insert", "shelf=new,slot=77"});
        return options;
    }

private:
    unsigned int Any(std::size_t count) { return static_cast<unsigned int>(random_() % count); }
    static std::string InQuotes(const std::string& text) {
        std::string quoted = "\"";
        for (const char c : text) {
            quoted.append(c == '"' ? 2 : 1, c);
        }
        return quoted + '"';
    }
    std::string Value(const Column& column) {
        return Any(6) == 0 ? "NULL" : InQuotes(column.values[Any(column.values.size())]);
    }
    std::pair<std::string, const Column*> AnyColumn() {
        const Column& column = kColumns[Any(2) == 0 ? Any(3) : Any(kColumns.size())];
        return {InQuotes(column.name), &column};
    }
    std::pair<std::string, const Column*> AnyLevel() {
        if (Any(3) != 0) {
            return AnyColumn();
        }
        const Column& column = kBehind[Any(kBehind.size())];
        return {column.name, &column};
    }
    std::string Pair() {
        const auto [name, column] = AnyColumn();
        return name + '=' + Value(*column);
    }
    std::string Place(unsigned int count, bool all) {
        std::string place;
        for (std::set<std::string> met; met.size() < count;) {
            const auto [name, column] = all ? AnyLevel() : AnyColumn();
            if (met.insert(name).second) {
                place += (place.empty() ? "" : " , ") + name + '=' + Value(*column);
            }
        }
        return place;
    }

    std::mt19937 random_;
};

class Scripts : public testing::Test {
protected:
    [[nodiscard]] static CommandResult Edit(const std::string& database, const Arguments& options,
                                            bool saves = false) {
        Arguments arguments{"edit", database, "parts"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        if (saves) {
            arguments.emplace_back("--save");
        }
        return RunCommand(arguments);
    }
    [[nodiscard]] std::string Copy(const std::string& name) const {
        std::filesystem::copy_file(path, folder.Path(name),
                                   std::filesystem::copy_options::overwrite_existing);
        return folder.Path(name);
    }
    [[nodiscard]] static std::string Content(const std::string& database) {
        return RunCommand({"walk", database, "parts", "--format", "ndjson"}).out;
    }

    TestFolder folder;
    std::string path = folder.MakeDatabase("parts.db", kParts);
    std::string refusing = folder.MakeDatabase(
        "refusing.db", std::string(kParts) +
                           "CREATE TRIGGER no BEFORE INSERT ON parts BEGIN SELECT RAISE(ABORT, "
                           "'no'); END;");
};

/// What a save that fails prints is read back, prints itself, and does what was asked for.
TEST_F(Scripts, OfFailedSavesMeanWhatWasAskedFor) {
    int read = 0;
    int saved = 0;
    for (unsigned int seed = 0; seed < 150; ++seed) {
        const Arguments options = RandomEdits(seed).Options();
        const std::string shown = testing::PrintToString(options);
        const CommandResult printed = Edit(refusing, options);
        if (printed.status == 2) {  // one of them may or may not supersede another
            EXPECT_NE(printed.err.find("would take the place of"), std::string::npos)
                << shown << printed.err;
            continue;
        }
        ASSERT_EQ(printed.status, 0) << shown << printed.err;
        const CommandResult failed = Edit(refusing, options, /*saves=*/true);
        EXPECT_EQ(failed.status, 1) << shown << failed.err;
        EXPECT_EQ(failed.out, printed.out) << shown;
        const Arguments script = {"--script", folder.MakeFile("script", failed.out)};
        const CommandResult again = Edit(refusing, script);
        EXPECT_EQ(again.status, 0) << shown << failed.out << again.err;
        EXPECT_EQ(again.out, failed.out) << shown;
        ++read;

        if (seed % 3 != 0) {
            continue;
        }
        const std::string first = Copy("first.db");
        const std::string second = Copy("second.db");
        const CommandResult asked = Edit(first, options, /*saves=*/true);
        const CommandResult scripted = Edit(second, script, /*saves=*/true);
        EXPECT_EQ(scripted.status, asked.status) << shown << asked.err << scripted.err;
        EXPECT_EQ(Content(second), Content(first)) << shown << failed.out;
        saved += asked.status == 0 ? 1 : 0;
    }
    EXPECT_GT(read, 75);
    EXPECT_GT(saved, 5);
}

/// Where not even the columns can be read, the edits are printed as they were given.
TEST_F(Scripts, OfADatabaseThatCanNotBeReadAreTheEditsAsGiven) {
    Arguments options = {"--levels", "maker>home>\"a=b\"",
                         "--set",    "slot=1:\"a,b\"=x",
                         "--set",    "\"a,b\"=NULL : \"a,b\"=\"NULL\""};
    const Arguments more = RandomEdits(3).Options();
    options.insert(options.end(), more.begin(), more.end());
    auto other = std::make_unique<Database>(path);
    other->Do("BEGIN EXCLUSIVE");
    const CommandResult locked = Edit(path, options, /*saves=*/true);
    other.reset();
    EXPECT_EQ(locked.status, 1);
    EXPECT_EQ(locked.out.find("set slot=1:\"a,b\"=x\nset \"a,b\"=NULL:\"a,b\"=\"NULL\"\n"), 0U)
        << locked.out;
    EXPECT_EQ(locked.err.find("etabulon: nothing was saved, and the edits are printed as they were "
                              "given: "),
              0U)
        << locked.err;
    EXPECT_NE(locked.err.find("locked"), std::string::npos) << locked.err;
    const CommandResult printed = Edit(path, options);
    EXPECT_EQ(printed.status, 0) << printed.err;
    EXPECT_EQ(
        Edit(path, {"--levels", options[1], "--script", folder.MakeFile("s", locked.out)}).out,
        printed.out);
    EXPECT_EQ(Edit(folder.Path("none.db"), {"--delete", "a=1"}, /*saves=*/true).out,
              "delete a=1\n");
    EXPECT_EQ(Edit(folder.Path("none.db"), {"--delete", "a=1"}).out, "");
}

/// Quotes open a text only where one may begin.
TEST_F(Scripts, AreSplitWhereTheirEditsEnd) {
    const std::string script =
        folder.MakeFile("loose",
                        "set shelf=men\xC3\xBB\":slot=1\nset shelf=5>\"x:slot=2\r\n\n  # \"\r\n"
                        "delete \"shelf\" = \"a\nb\" , slot=3  \r\ninsert shelf=a.\"b");
    EXPECT_EQ(Edit(path, {"--script", script}).out,
              "set shelf=\"men\xC3\xBB\"\"\":slot=1\nset shelf=\"5>\"\"x\":slot=2\n"
              "delete shelf=\"a\nb\",slot=3\ninsert shelf=\"a.\"\"b\",slot=NULL\n");
    const std::string bad = folder.MakeFile("bad", "set shelf=\"a\n\nb\":slot=1\n\nset shelf=\"a");
    EXPECT_NE(Edit(path, {"--script", bad})
                  .err.find("line 5: a double quote isn't closed in "
                            "'shelf=\"a'"),
              std::string::npos);
}

}  // namespace
}  // namespace etabulon::test
