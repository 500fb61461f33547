#include "adapters/SqliteFixture.h"
#include "etabulon/csv/ECsvTable.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/sqlite/LoadCsv.h"
#include "support/AllocationCount.h"
#include "support/ResultTrace.h"

#include <sys/resource.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>

namespace etabulon::test {
namespace {

std::int64_t PeakKilobytes() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
}

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
                                           "+1234567890",
                                           "-.5e2",
                                           "\"1,5\"",
                                           "\"-,5\"",
                                           "\"1.5,0\"",
                                           "\"NA\"",
                                           "31.12.2024",
                                           "30.2.2024",
                                           "2024-2/1",
                                           "1/2/24 9:05 PM",
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
            case 8:
                return std::to_string(1 + Below(12)) + "/0" + std::to_string(1 + Below(9)) + "/20" +
                       std::to_string(10 + Below(9)) + (OneIn(oddity) ? "" : " 7:05");
            case 9:
                return OneIn(3) ? "NA" : "\"" + std::to_string(Below(90)) + ",25\"";
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
            kinds.push_back(Below(11));
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
    std::string InDatabase(const ECsvFormat& asked) {
        ECsvOptions options;
        static_cast<ECsvFormat&>(options) = asked;
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
        if (OneIn(2)) {
            options.notation = {OneIn(2) ? ',' : '.', static_cast<ECsvDates>(Below(4))};
            options.nulls = {"NA", "-", "true"};
        }
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

TEST_F(CsvInColumns, AreOfTheFileAsItWasOpened) {
    std::string text = "a\n";
    while (text.size() < (3U << 18U)) {
        text += "12345678\n";
    }
    struct Case {
        const char* what;
        std::function<void()> change;  // between the two passes
        const char* said;
    };
    const Case cases[] = {
        {"other values in as many rows", [&] { std::fstream(file) << "a\n87654321\n"; },
         "changed it"},
        {"more columns", [&] { std::fstream(file) << "a,b,c,d,e,f\n"; }, "changed it"},
        {"rows behind the last", [&] { std::ofstream(file, std::ios::app) << "1\n"; },
         "changed it"},
        {"another file in its place",
         [&] {
             std::ofstream(file + ".new") << "a\n1\n";
             std::filesystem::rename(file + ".new", file);
         },
         nullptr}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::ofstream(file, std::ios::binary) << text + "x\n";
        ECsvReadOptions options;
        bool isChanged = false;
        options.goesOn = [&](std::uint64_t read, std::uint64_t of) {
            if (read == of && !isChanged) {
                isChanged = true;
                c.change();
            }
            return true;
        };
        const auto read = ECsvTable::Read(file.c_str(), options, error);
        if (c.said == nullptr) {
            ASSERT_NE(read, nullptr) << error.text.c_str();
            EXPECT_EQ(read->Open()->Count(), (text.size() - 2) / 9 + 1);
        } else {
            EXPECT_EQ(read, nullptr);
            EXPECT_NE(error.text.View().find(c.said), std::string_view::npos) << error.text.c_str();
        }
    }
}

TEST_F(CsvInColumns, AreTheSamePackedAndWholeOrNotAtAll) {
    std::string text;
    for (int row = 0; row < 3000; ++row) {
        text += std::to_string(row * 7919 % 100000) + ",t" + std::to_string(row * row) + "\n";
    }
    const std::string packedFile = file + ".gz";
    std::ofstream(file) << text + "x,y\n";
    ASSERT_EQ(std::system(("gzip -k '" + file + "'").c_str()), 0);
    std::stringstream bytes;
    bytes << std::ifstream(packedFile, std::ios::binary).rdbuf();
    const std::string packed = bytes.str();
    const auto become = [&](const std::string& content) {
        std::ofstream(packedFile, std::ios::binary) << content;
        ECsvReadOptions options;
        options.header = false;
        const auto read = ECsvTable::Read(packedFile.c_str(), options, error);
        return read != nullptr ? Shown(read->Info()) + Shown(*read->Open()) : error.text.c_str();
    };
    if (become(packed).find("this build can't read") != std::string::npos) {
        GTEST_SKIP() << "built without zlib";
    }
    ECsvReadOptions options;
    options.header = false;
    EXPECT_EQ(become(packed), InColumns(options));
    Compare(text + "x,y\n", options);
    EXPECT_EQ(become(packed + std::string(700, '\0')), InColumns(options));
    std::ofstream(file, std::ios::app) << text + "x,y\n";
    EXPECT_EQ(become(packed + packed), InColumns(options));
    for (const auto& [content, said] : std::map<std::string, const char*>{
             {packed + "more", "other bytes follow"}, {packed + packed.substr(0, 5), "cut off"}}) {
        EXPECT_NE(become(content).find(said), std::string::npos) << become(content);
    }
    for (std::size_t size = 2; size < packed.size(); size += 1 + size / 50) {
        EXPECT_NE(become(packed.substr(0, size)).find("cut off"), std::string::npos) << size;
        std::string damaged = packed;
        damaged[size] = static_cast<char>(damaged[size] ^ 0x55);
        // The name, the time and the system of the packed file mean nothing.
        const bool isChecked = size > 9 + file.size();
        EXPECT_TRUE(!isChecked || become(damaged).find("its gzip data are") != std::string::npos ||
                    become(damaged).find("other bytes") != std::string::npos)
            << size << become(damaged).substr(0, 200);
    }
}

TEST_F(CsvInColumns, AreNotBlamedForDamageOfTheirFile) {
    // Several pieces: rows are read before the checksum.
    std::ofstream large(file, std::ios::binary);
    for (int row = 0; row < 100000; ++row) {
        large << row * 7919LL % 100003 << ",t" << row << '\n';
    }
    large.close();
    ASSERT_EQ(std::system(("gzip '" + file + "'").c_str()), 0);
    const std::string packedFile = file + ".gz";
    std::stringstream packed;
    packed << std::ifstream(packedFile, std::ios::binary).rdbuf();
    if (ECsvTable::Read(packedFile.c_str(), {}, error) == nullptr) {
        GTEST_SKIP() << "built without zlib";
    }
    for (std::size_t at = 1000; at < packed.str().size(); at += packed.str().size() / 10) {
        std::string damaged = packed.str();
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        std::ofstream(packedFile, std::ios::binary) << damaged;
        EXPECT_EQ(ECsvTable::Read(packedFile.c_str(), {}, error), nullptr);
        EXPECT_NE(error.text.View().find("its gzip data are"), std::string_view::npos)
            << at << error.text.c_str();
        EXPECT_EQ(LoadCsv(packedFile.c_str(), {}, error), nullptr);
        EXPECT_NE(error.text.View().find("its gzip data are"), std::string_view::npos)
            << at << error.text.c_str();
    }
}

TEST_F(CsvInColumns, TakeNotManyTimesTheirLongestRow) {
    std::ofstream(file) << "a,b\n1,\"" << std::string(40U << 20U, 'y') << "\"\n";
    const std::int64_t before = PeakKilobytes();
    ASSERT_NE(ECsvTable::Read(file.c_str(), {}, error), nullptr);
    EXPECT_TRUE(!kAllocationsAreCounted || PeakKilobytes() - before < (200 << 10));
}

TEST(CsvNotation, TellsWhatACellIs) {
    using enum ECsvDates;
    struct Case {
        const char* text;
        ECsvNotation notation;
        ECsvType type;
        const char* iso;
    };
    for (const Case& c :
         {Case{"31.12.2024", {'.', DayFirst}, ECsvType::Date, "2024-12-31"},
          Case{"1.2.03", {'.', DayFirst}, ECsvType::Date, "2003-02-01"},
          Case{"1.2.69", {'.', DayFirst}, ECsvType::Date, "1969-02-01"},
          Case{"1-2-2003", {'.', MonthFirst}, ECsvType::Date, "2003-01-02"},
          Case{"03/1/2", {'.', YearFirst}, ECsvType::Date, "2003-01-02"},
          Case{"31/12/2024 10:15", {'.', DayFirst}, ECsvType::Timestamp, "2024-12-31 10:15"},
          Case{"12/31/2024 9:05:07.25",
               {'.', MonthFirst},
               ECsvType::Timestamp,
               "2024-12-31 09:05:07.25"},
          Case{"1/2/2003 12:00 am", {'.', MonthFirst}, ECsvType::Timestamp, "2003-01-02 00:00"},
          Case{
              "1/2/2003 12:30:00PM", {'.', MonthFirst}, ECsvType::Timestamp, "2003-01-02 12:30:00"},
          Case{"1/2/2003 9:05 PM", {'.', MonthFirst}, ECsvType::Timestamp, "2003-01-02 21:05"},
          Case{"2024-12-31", {'.', DayFirst}, ECsvType::Date, ""},
          // None of these is one.
          Case{"31.12.2024", {}, ECsvType::Text, ""},
          Case{"12/31/2024", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"29.2.2023", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2/2003", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.203", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.2003 13:00 PM", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.2003 0:00 AM", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.2003 24:00", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.2003 ", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.2003x10:00", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1.2.2003 9:00:00.123456789123456789", {'.', DayFirst}, ECsvType::Text, ""},
          Case{"1,5", {',', Iso}, ECsvType::Real, ""}, Case{",5", {',', Iso}, ECsvType::Real, ""},
          Case{"1.5", {',', Iso}, ECsvType::Text, ""},
          Case{"1.234,5", {',', Iso}, ECsvType::Text, ""}, Case{"1,5", {}, ECsvType::Text, ""},
          Case{"007,5", {',', Iso}, ECsvType::Text, ""}}) {
        SCOPED_TRACE(c.text);
        std::array<char, kCsvIsoCapacity> iso;
        EXPECT_EQ(CsvTypeOf(c.text, c.notation), c.type);
        if (c.type == ECsvType::Date || c.type == ECsvType::Timestamp || *c.iso != 0) {
            const bool isIso = *c.iso == 0;
            EXPECT_EQ(CsvIsoSpelling(c.text, c.notation.dates, iso.data()), isIso ? "" : c.iso);
        }
    }
}

TEST(CsvNotation, KeepsPhoneNumbers) {
    EXPECT_EQ(CsvTypeOf("+491234567890"), ECsvType::Text);
    EXPECT_EQ(CsvTypeOf("+123456789"), ECsvType::Whole);
    EXPECT_EQ(CsvTypeOf("+1234567890.5"), ECsvType::Real);
}

TEST_F(CsvInColumns, HintAtWhatTheirTextsWouldBe) {
    struct Case {
        const char* cells;  // one a row
        ECsvNotation notation;
        const char* hint;  // example, decimal character, T for thousands, order of dates
    };
    for (const Case& c :
         {Case{"1|12,50", {}, "12,50 ,"}, Case{"12.5|7", {',', ECsvDates::Iso}, "12.5 ."},
          Case{"1,234|5", {}, "1,234 ,T"}, Case{"1,234|5,5", {}, "1,234 ,"},
          Case{"999|1.234,56|12,00|-1'234", {}, "1.234,56 T,"}, Case{"1,234|5.5", {}, "1,234 T"},
          Case{"1.234.567,89|1,5", {}, "1.234.567,89 T,"},
          Case{"1.234.567|12.000", {}, "1.234.567 T"},
          Case{"1.234,5|12,00", {',', ECsvDates::Iso}, "1.234,5 T"},
          Case{"1\xC2\xA0"
               "234|1 234 567",
               {},
               "1\xC2\xA0"
               "234 T"},
          Case{"2.1.2024|31.12.2024", {}, "2.1.2024 1"}, Case{"1/2/2024", {}, "1/2/2024 12"},
          Case{"1/2/2024 9:00|2024-03-04 05:06", {}, "1/2/2024 9:00 12t"},
          Case{"12/31/2024", {'.', ECsvDates::DayFirst}, "12/31/2024 2"},
          // Another notation would read none of these columns.
          Case{"x|1,5", {}, ""}, Case{"007|1,5", {}, ""}, Case{"12,3456|1.5", {}, ""},
          Case{"1/2/2024|1/2/2024 9:00", {}, ""}, Case{"1,234|1,23,4", {}, ""},
          Case{"1,234,567|12,34", {}, ""}, Case{"1.234,5|1,234.5", {}, ""}, Case{"0,123.5", {}, ""},
          Case{"9007199254740993|1.5", {}, ""}, Case{"true|1", {}, ""}}) {
        SCOPED_TRACE(c.cells);
        std::string text = "\"" + std::string(c.cells) + "\"";
        for (std::size_t at = 0; (at = text.find('|')) != std::string::npos;) {
            text.replace(at, 1, "\"\n\n\"");
        }
        std::ofstream(file, std::ios::binary) << "a\n" << text << "\n";
        ECsvReadOptions options;
        options.notation = c.notation;
        const auto read = ECsvTable::Read(file.c_str(), options, error);
        ASSERT_NE(read, nullptr);
        std::string hints;
        for (const ECsvHint& hint : read->Hints()) {
            hints += hint.example + ' ' + (hint.decimal != 0 ? std::string(1, hint.decimal) : "") +
                     (hint.hasThousands ? "T" : "") +
                     (hint.groupedDecimal != 0 ? std::string(1, hint.groupedDecimal) : "");
            for (const ECsvDates order : hint.dates) {
                hints += std::to_string(static_cast<int>(order));
            }
            hints += hint.haveTimes ? "t" : "";
        }
        EXPECT_EQ(hints, c.hint);
    }
}

TEST_F(CsvInColumns, NameTheLineWhicheverWayLinesEnd) {
    struct Case {
        std::string text;
        int line;
    };
    const std::string some(1U << 18U, 'x');  // to the end of the first piece
    for (const Case& c :
         {Case{"a,b\r1,2\r3\r", 3}, Case{"a,b\r\n1,2\r\n\r\n3\r\n", 4},
          Case{"a,b\n\r1,\"2\r3\r\n4\"\r\n5\r", 6}, Case{"a,b\r1,\"2\r", 2},
          Case{"sep=,\ra,b\r1,x\"\r", 3}, Case{some.substr(5) + ",b\r\n\r\n\r\n1\n", 4},
          Case{some.substr(4) + ",b\r\n\r\n\r\n1\n", 4},
          Case{some.substr(3) + ",b\r\n\r\n\r\n1\n", 4}}) {
        Compare(c.text);
        const std::string said = ", line " + std::to_string(c.line) + ": ";
        EXPECT_NE(error.text.View().find(said), std::string_view::npos)
            << said << error.text.c_str();
    }
}

TEST_F(CsvInColumns, RefuseWhatCantBeReadAtAll) {
    ECsvReadOptions options;
    EXPECT_EQ(ECsvTable::Read(folder.c_str(), options, error), nullptr);
    EXPECT_EQ(error.text, Chaine((folder.string() + ": it is a folder").c_str()));
    options.separator = '"';
    EXPECT_EQ(ECsvTable::Read(file.c_str(), options, error), nullptr);
    EXPECT_NE(error.status, DataOk);
    Compare("\xEF\xBB\xBF");
    Compare("\n\r\n");
    Compare("a,b");
    Compare("sep=;");
}

}  // namespace
}  // namespace etabulon::test
