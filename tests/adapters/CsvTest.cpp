#include "adapters/SqliteFixture.h"
#include "etabulon/csv/ECsvTable.h"
#include "etabulon/sqlite/LoadCsv.h"
#include "support/ResultTrace.h"

#include <random>

namespace etabulon::test {
namespace {

/// Reads random texts in both ways: into columns, and into a database by another parser.
class CsvInColumns : public SqliteTest {
protected:
    CsvInColumns() : file((folder / "some table.csv").string()) {}

    unsigned int Below(unsigned int bound) { return static_cast<unsigned int>(random() % bound); }
    bool OneIn(unsigned int many) { return Below(many) == 0; }
    template <std::size_t count>
    const char* Any(const char* const (&some)[count]) {
        return some[Below(count)];
    }

    /// A cell that a column of this kind may have, mostly.
    std::string Cell(unsigned int kind) {
        static const char* const kOdd[] = {"",
                                           "\"\"",
                                           "-0",
                                           "007",
                                           "+5",
                                           ".5",
                                           "5.",
                                           "-0.0",
                                           "1e5",
                                           "1e999",
                                           "-",
                                           "true",
                                           "FALSE",
                                           " 1",
                                           "1 ",
                                           "\"7\"",
                                           "\"a\"\"b\"",
                                           "\"\"\"\"",
                                           "\"x,y\"",
                                           "\"l\nm\"",
                                           "\"r\rs\"",
                                           "99999999999999999999",
                                           "9007199254740993",
                                           "-9223372036854775808",
                                           "nan",
                                           "0x10",
                                           "12:30",
                                           "2021-02-29",
                                           "2021-02-28",
                                           "2021-03-04T05:06Z",
                                           "0.1234567890123456789",
                                           "123456789012345.6",
                                           "\xC3\xA9"};
        if (OneIn(oddity)) {
            return Any(kOdd);
        }
        switch (kind) {
            case 0:
                return std::to_string(static_cast<int>(Below(2000)) - 1000);
            case 1:
                return std::to_string(Below(3000)) + '.' + std::to_string(Below(100000));
            case 2:
                return "2021-0" + std::to_string(1 + Below(9)) + "-1" + std::to_string(Below(10));
            case 3:
                return "1" + std::to_string(Below(10)) + ":05:0" + std::to_string(Below(10));
            case 4:
                return "2021-03-04 05:06:0" + std::to_string(Below(10)) + ".25";
            case 5:
                return OneIn(2) ? "true" : "False";
            case 6:
                return OneIn(2) ? "" : "\"\"";
            case 7:
                return std::to_string(std::uint64_t{random()} << Below(33));
            default:
                return "text " + std::to_string(Below(50));
        }
    }
    std::string Text() {
        static const char* const kBreaks[] = {"\n", "\n", "\n", "\r\n", "\r", "\n\n"};
        static const char* const kBad[] = {"\"", "a\"b", "\"a\"b", ",", "\n,\n", "\"open"};
        static const char* const kNames[] = {"a", "A", "b", "", "a_2", "\"q\"\"d\"", "RowId"};
        const char* const lineBreak = Any(kBreaks);
        const unsigned int width = 1 + Below(9);
        oddity = OneIn(2) ? 3000 : 5 + Below(60);
        std::string text = OneIn(3) ? "\xEF\xBB\xBF" : "";
        std::vector<unsigned int> kinds;
        for (unsigned int column = 0; column < width; ++column) {
            kinds.push_back(Below(10));
            text += (column != 0 ? "," : "") + std::string(Any(kNames));
        }
        text += lineBreak;
        for (unsigned int left = OneIn(4) ? Below(3000) : Below(40); left != 0; --left) {
            for (unsigned int column = 0; column < width; ++column) {
                text += (column != 0 ? "," : "") + Cell(kinds[column]);
            }
            text += OneIn(400) ? Any(kBad) : "";
            text += left == 1 && OneIn(2) ? "" : lineBreak;
        }
        return text;
    }

    static std::string Shown(const ESqlTableInfo& info) {
        std::string text = info.name.c_str() + info.rowIdName + info.code.c_str() +
                           std::to_string(static_cast<int>(info.keyKind));
        for (const ESqlColumn& column : info.columns) {
            text += std::string(" ") + column.name.c_str() + '=' + column.code.c_str() + ' ' +
                    column.declared.c_str() + std::to_string(column.type);
        }
        return text;
    }
    static std::string Shown(EData& table) {
        std::string text;
        for (std::uint16_t field = 0; field < table.Fields().Size(); ++field) {
            const EField& shown = table.Fields().At(field);
            text += std::string(shown.Name().c_str()) + '|' + shown.Infos().Header().c_str() + '|' +
                    std::to_string(shown.Infos().Accelerator()) + ' ';
        }
        for (EPosition at = table.GetFirst(); at != kNoPosition; at = table.GetNext()) {
            text += '\n' + std::to_string(at) + ' ' + ExactText(table.CurKey().At(0));
            for (std::uint16_t field = 0; field < table.Fields().Size(); ++field) {
                text += ' ' + ExactText(table.Fields().At(field));
            }
        }
        return text + '\n' + std::to_string(table.status);
    }
    /// What becomes of the file in one way and in the other.
    std::string InColumns(const ECsvReadOptions& options) {
        const auto read = ECsvTable::Read(file.c_str(), options, error);
        EXPECT_EQ(read == nullptr, error.status != DataOk);
        if (read == nullptr) {
            return error.text.c_str();
        }
        return Shown(read->Info()) + Shown(*read->Open());
    }
    std::string InDatabase(const ECsvReadOptions& asked) {
        ECsvOptions options;
        options.header = asked.header;
        options.separator = asked.separator;
        const auto loaded = LoadCsv(file.c_str(), options, error);
        if (loaded == nullptr) {
            return error.text.c_str();
        }
        const ESqlTableInfo& info = loaded->Tables()[0];
        return Shown(info) + Shown(*loaded->OpenTable(info.code, error));
    }
    void Compare(const std::string& text, const ECsvReadOptions& options = {}) {
        std::ofstream(file, std::ios::binary) << text;
        EXPECT_EQ(InColumns(options), InDatabase(options));
    }

    const std::string file;
    std::mt19937 random{1};
    unsigned int oddity = 10;
};

TEST_F(CsvInColumns, AreWhatADatabaseGives) {
    unsigned int failures = 0;
    for (unsigned int seed = 1; seed <= 250 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        random.seed(seed);
        ECsvReadOptions options;
        options.header = !OneIn(3);
        Compare(Text(), options);
        failures += error.status != DataOk ? 1 : 0;
    }
    EXPECT_GT(failures, 20U);
    EXPECT_LT(failures, 150U);
}

TEST_F(CsvInColumns, DoNotDependOnWhereAPieceOfTheFileEnds) {
    // A piece has 256 KiB; each row crosses its end at another place.
    const std::string row = "12,\"a \"\"quoted\"\"\ntext\",2021-03-04\r\n";
    for (std::size_t shift = 0; shift < row.size() && !HasFailure(); ++shift) {
        SCOPED_TRACE(shift);
        std::string text = std::string((1U << 18U) - row.size() - 3 + shift, 'x') + ",t,d\n";
        for (int count = 0; count < 20; ++count) {
            text += row;
        }
        Compare(text, {});
    }
    // A row of several pieces, and a failure after them.
    const std::string wide(3U << 18U, 'y');
    Compare("a,b\n1,\"" + wide + "\"\"\"\n2,c\n");
    Compare("a,b\n1,\"" + wide + "\n\"\n2,c\n3\n");
    Compare("a,b\n1,\"" + wide + "\n\n");
}

TEST_F(CsvInColumns, FindTheTypeOfAllCellsWhereverTheOddOneStands) {
    struct Case {
        const char* usual;
        const char* odd;
    };
    for (const Case& c :
         {Case{"12", "1.5"}, Case{"12", "x"}, Case{"1.5", "007"}, Case{"", "7"}, Case{"", "x"},
          Case{"\"\"", "x"}, Case{"\"\"", "7"}, Case{"12", "9007199254740993"},
          Case{"1.5", "9007199254740993"}, Case{"2021-03-04", "2021-03-04 05:06"},
          Case{"true", "1"}, Case{"05:06", "2021-03-04"}, Case{"12", "-0"}, Case{"0.5", "-0.0"},
          Case{"0.5", "-0e1"}}) {
        for (const int place : {0, 1023, 1024, 70000}) {
            SCOPED_TRACE(std::string(c.usual) + " and " + c.odd + " at " + std::to_string(place));
            std::string text = "a,b\n";
            for (int row = 0; row < place; ++row) {
                text += c.usual + std::string(",t\n");
            }
            text += c.odd + std::string(",t\n") + c.usual + ",t\n";
            Compare(text);
        }
    }
}

TEST_F(CsvInColumns, OpenSomeFieldsInAnOrderOfTheirOwn) {
    std::ofstream(file) << "a,b,c\n1,x,2021-03-04\n,y,\n";
    const auto read = ECsvTable::Read(file.c_str(), {}, error);
    ASSERT_NE(read, nullptr);
    const unsigned int fields[] = {2, 0};
    const auto some = read->Open(fields);
    ASSERT_EQ(some->GetLast(), 2);
    EXPECT_TRUE(some->Fields()["a"].IsMissing());
    ASSERT_EQ(some->GetPrevious(), 1);
    EXPECT_EQ(some->Fields()["c"].AsChaine(), Chaine("2021-03-04"));
    EXPECT_EQ(some->Fields()["some%20table.a"].AsInt64(), 1);
    EXPECT_EQ(some->Fields().IndexOf("b"), -1);
    EXPECT_EQ(some->Insert(), kNoPosition);
    EXPECT_EQ(some->status, DataReadOnly);
}

TEST_F(CsvInColumns, TellHowFarTheyAreAndEndWhenTheyAreTo) {
    std::string text = "a\n";
    while (text.size() < (5U << 18U)) {
        text += "12345678\n";
    }
    text += "x\n";
    std::ofstream(file) << text;
    std::vector<std::uint64_t> asked;
    std::size_t endAt = 0;  // never
    ECsvReadOptions options;
    options.goesOn = [&](std::uint64_t read, std::uint64_t of) {
        EXPECT_EQ(of, text.size());
        asked.push_back(read);
        return asked.size() != endAt;
    };
    EXPECT_NE(ECsvTable::Read(file.c_str(), options, error), nullptr);
    EXPECT_EQ(asked.front(), 1U << 18U);
    EXPECT_EQ(asked.back(), text.size());
    for (const std::size_t count = asked.size(); endAt < count;) {
        ++endAt;
        asked.clear();
        EXPECT_EQ(ECsvTable::Read(file.c_str(), options, error), nullptr);
        EXPECT_EQ(error.status, kDataInterrupted);
        EXPECT_EQ(asked.size(), endAt);
    }
    EXPECT_GE(endAt, 6U);
}

TEST_F(CsvInColumns, RefuseWhatCantBeReadAtAll) {
    ECsvReadOptions options;
    EXPECT_EQ(ECsvTable::Read(folder.c_str(), options, error), nullptr);
    EXPECT_EQ(error.text,
              Chaine((folder.string() + ": there is no such file, or it can't be read").c_str()));
    options.separator = '"';
    EXPECT_EQ(ECsvTable::Read(file.c_str(), options, error), nullptr);
    EXPECT_NE(error.status, DataOk);
    Compare("\xEF\xBB\xBF");
    Compare("\n\r\n");
    Compare("a,b");
}

}  // namespace
}  // namespace etabulon::test
