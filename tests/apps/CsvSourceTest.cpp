#include "apps/CommandRun.h"
#include "apps/TerminalRun.h"

#include <algorithm>

namespace etabulon::test {
namespace {

/// As banks and spreadsheets write it.
constexpr const char* kBank =
    "\xEF\xBB\xBF\"Datum\";\"Betrag\";\"Text\";\"Saldo\"\r\n"
    "\"31.12.2024\";\"-12,50\";\"Miete; warm\";\"1.234,56\"\r\n"
    "\"01.01.2025\";\"+5\";\"n/a\";\"999,00\"\r\n";

class CsvAsItComes : public testing::Test {
protected:
    /// Runs a line in the folder, in which a word @ stands for these options.
    CommandResult InFolder(std::string line, const std::string& options) const {
        if (const std::size_t at = line.find('@'); at != std::string::npos) {
            line.replace(at, 1, options);
        }
        return RunShell("cd '" + folder.Path("") + "'; " + line);
    }
    const TestFolder folder;
    const std::string bank = folder.MakeFile("bank.csv", kBank);
};

TEST_F(CsvAsItComes, IsReadAsTheOptionsSayFromAFileOrStandardInput) {
    folder.MakeFile("two.csv", "first\n" + std::string(kBank));
    for (const std::string line :
         {"$ETABULON walk bank.csv @", "cat bank.csv | $ETABULON walk - @",
          "$ETABULON walk - stdin @ < bank.csv", "gzip -c bank.csv | $ETABULON walk - @",
          "gzip -k bank.csv; $ETABULON walk bank.csv.gz bank @", "$ETABULON walk - @ < bank.csv.gz",
          "{ read first; $ETABULON walk - @; } < two.csv",
          "cat bank.csv | TMPDIR=. $ETABULON walk - @; ls *XXX* .XXX* 2>/dev/null"}) {
        SCOPED_TRACE(line);
        const CommandResult result =
            InFolder(line,
                     "--decimal , --dates dmy --null n/a,x --null '\"a,b\"' --columns "
                     "Datum,Betrag,Text,Saldo --format ndjson");
        EXPECT_NE(result.out.find("\"Datum\":\"2024-12-31\",\"Betrag\":-12.5,\"Text\":\"Miete; "
                                  "warm\",\"Saldo\":\"1.234,56\"}\n"),
                  std::string::npos)
            << result.out;
        EXPECT_TRUE(
            result.out.ends_with("\"Datum\":\"2025-01-01\",\"Betrag\":5,\"Text\":null,"
                                 "\"Saldo\":\"999,00\"}\n"))
            << result.out;
        ExpectHas(result.err, {"column 'Saldo' of ",
                               " stays text: '1.234,56' would be a number without the separators "
                               "between thousands\n"});
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    }
}

TEST_F(CsvAsItComes, OnStandardInputServesEachCommand) {
    const std::string given = "cat bank.csv | $ETABULON ";
    struct Case {
        const char* line;
        int status;
        const char* out;  // has this
    };
    for (const Case& c :
         {Case{"levels - @ --format csv", 0, "stdin,table,2\n"},
          Case{"levels - stdin @ --format csv", 0, "Betrag,real,2,"},
          Case{"tree - @ --levels Datum.year,Betrag --format csv", 0, "2024,-12.5,1\n"},
          Case{"grid - @ --axes Datum.year --calc SUM:Betrag --format csv", 0, "2025,5"},
          Case{"grid - @ --axes Betrag.bins(2) --calc COUNT:Text --drill -12.5 --format csv", 0,
               "Miete; warm"},
          Case{"score - @ --level Text --calc SUM:Betrag --format csv", 0, "total,-7.5"},
          Case{"edit - @ --delete Betrag=5 --show walk --columns Text --format csv", 0,
               "Miete; warm\n"},
          Case{"edit - @ --delete Betrag=5", 0, "delete Betrag=5\n"},
          Case{"edit - @ --delete Betrag=5 --save", 1, "delete Betrag=5\n"}}) {
        SCOPED_TRACE(c.line);
        std::string line = c.line;
        for (std::size_t at = line.find('('); at != std::string::npos; at = std::string::npos) {
            line.replace(at, 3, "'(2)'");
        }
        const CommandResult result = InFolder(given + line, "--decimal , --dates dmy");
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_NE(result.out.find(c.out), std::string::npos) << result.out;
        EXPECT_EQ(result.err.find("nothing was saved: standard input is a table of text") !=
                      std::string::npos,
                  c.status == 1)
            << result.err;
    }
}

TEST_F(CsvAsItComes, HasTheSeparatorThatItsFirstLineHasMostOf) {
    struct Case {
        const char* content;
        const char* options;
        const char* header;
    };
    for (const Case& c :
         {Case{"a,b,c;d\n1,2,3;4\n", "", "a\tb\tc;d\n"},
          Case{"a,b,c;d\n1,2;4\n", "--decimal ,", "a,b,c\td\n"},
          Case{"a,b\n\"1,5\",2\n", "--decimal ,", "a\tb\n"}, Case{"a\n1,5\n", "--decimal ,", "a\n"},
          Case{"a\tb,c\n1\t2,5\n", "--decimal ,", "a\tb,c\n"},
          Case{"a;b|c\n1;2|3\n", "--delimiter '|'", "a;b\tc\n"},
          Case{"a;b\tc\n1;2\t3\n", "--separator tab", "a;b\tc\n"},
          Case{"\n\r\na;b\n1;2\n", "", "a\tb\n"},
          // As often as another one: the rows below decide.
          Case{"Net, EUR;Day\n15;1\n1,5;2\n", "", "Net, EUR\tDay\n"},
          Case{"a;b,c\n1;2,3\n\"4;\",5", "", "a;b\tc\n"},
          Case{"Net, EUR;Day\n1,5;2\n", "", "Net, EUR\tDay\n"},
          // The line that names the separator is no row.
          Case{"\xEF\xBB\xBFsep=;\r\na,b,c;d\r\n1;2\r\n", "", "a,b,c\td\n"},
          Case{"sep=;\na,b\n1,2\n", "--separator ,", "a\tb\n"},
          Case{"sep=a\n1\n", "", "sep=a\n"}}) {
        folder.MakeFile("t.csv", c.content);
        const CommandResult result = InFolder("$ETABULON walk t.csv --format tsv @", c.options);
        EXPECT_EQ(result.out.substr(0, result.out.find('\n') + 1), c.header)
            << c.content << result.err;
    }
}

TEST_F(CsvAsItComes, FailsClearlyWhereItCanNotBeRead) {
    folder.MakeDatabase("t.db", "CREATE TABLE t(a)");
    folder.MakeFile("wide.csv", "\xFF\xFE" + std::string("a\0", 2));
    struct Case {
        const char* line;
        int status;
        std::vector<std::string> said;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"$ETABULON walk t.db --null NA", 2, {"--null belongs to", "'t.db' is an SQLite"}},
             {"$ETABULON walk t.db --delimiter tab", 2, {"--separator belongs to"}},
             {"$ETABULON walk t.db --decimal .", 2, {"--decimal belongs to"}},
             {"$ETABULON walk t.db --dates ymd", 2, {"--dates belongs to"}},
             {"$ETABULON walk bank.csv --null ''", 2, {"--null", "empty cell is one"}},
             {"$ETABULON walk bank.csv --null a,,b", 2, {"--null"}},
             {"$ETABULON walk bank.csv --null '\"'", 2, {"--null"}},
             {"$ETABULON walk bank.csv --decimal ';'", 2, {"--decimal", ". or ,"}},
             {"$ETABULON walk bank.csv --dates iso", 2, {"'iso'", "dmy, mdy, ymd"}},
             {"$ETABULON walk bank.csv --separator '\"'", 2, {"--separator", "no quote"}},
             {"$ETABULON walk bank.csv --separator \xC3\xA9", 2, {"--separator", "ASCII"}},
             {"$ETABULON walk - < t.db", 1, {"standard input holds an SQLite database", "name"}},
             {"gzip -c t.db > t.gz; $ETABULON walk t.gz", 1, {"'t.gz' holds", "unpack"}},
             {"gzip -c bank.csv | head -c 50 | $ETABULON walk -",
              1,
              {"standard input", "its gzip data are cut off"}},
             {"$ETABULON walk wide.csv", 1, {"'wide.csv' is text in UTF-16", "iconv"}},
             {"$ETABULON walk - --output bank.csv < bank.csv", 2, {"would replace the file"}},
             {"$ETABULON walk - < /dev/null", 1, {"standard input is empty"}},
             {"$ETABULON walk - < .", 1, {"standard input", "folder"}},
             {"$ETABULON walk - <&-", 1, {"standard input"}},
             {"cat bank.csv | TMPDIR=./none $ETABULON walk -",
              1,
              {"standard input", "./none (TMPDIR names another folder)"}},
             {"mkfifo pipe; $ETABULON walk pipe", 1, {"'pipe' is a device or pipe", "SOURCE -"}},
             {"printf 'a\\n1\\n1,2\\n' | $ETABULON walk -",
              1,
              {"standard input, line 3: 2 cells where", "stands in quotes"}}}) {
        SCOPED_TRACE(c.line);
        const CommandResult result = InFolder(c.line, "");
        EXPECT_EQ(result.status, c.status);
        EXPECT_EQ(result.out, "");
        ExpectHas(result.err, c.said);
    }
}

TEST_F(CsvAsItComes, HintsOnlyAtColumnsThatTheCommandReads) {
    std::string names = "n";
    std::string cells = "1";
    for (int column = 1; column <= 12; ++column) {
        names += ";c" + std::to_string(column);
        cells += ";1,5";
    }
    folder.MakeFile("wide.csv", names + '\n' + cells + '\n');
    struct Case {
        const char* line;
        std::ptrdiff_t hints;
        const char* said;
    };
    for (const Case& c :
         {Case{"walk wide.csv --columns n", 0, ""},
          Case{"walk wide.csv --columns c2 --where n=1", 1, "'c2'"},
          Case{"walk wide.csv", 9, "4 more columns of wide.csv stay text"},
          Case{"levels wide.csv wide", 9, "'c8' of wide.csv stays text: '1,5' "},
          // The option would mend what fails.
          Case{"score wide.csv --level c1 --calc SUM:c9", 10, "by --decimal ','\n"}}) {
        const CommandResult result = InFolder("$ETABULON @", c.line);
        EXPECT_EQ(std::ranges::count(result.err, '\n'), c.hints) << c.line << result.err;
        EXPECT_NE(result.err.find(c.said), std::string::npos) << result.err;
    }
}

TEST_F(CsvAsItComes, OnStandardInputIsBrowsedByKeysOfTheTerminal) {
    TerminalRun run({"browse", "-", "--levels", "Text", "--decimal", ","}, "xterm-256color", 64, 14,
                    bank.c_str());
    run.AwaitText("Miete; warm");
    run.Type("q");
    run.Finish();
    EXPECT_EQ(run.status, 0);
    // Without a terminal there are no keys.
    ExpectHas(InFolder("setsid $ETABULON browse - --levels Text < bank.csv", "").err,
              {"browse needs a terminal"});
}

}  // namespace
}  // namespace etabulon::test
