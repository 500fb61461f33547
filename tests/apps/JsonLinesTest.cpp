#include "apps/CommandRun.h"

#include <random>

namespace etabulon::test {
namespace {

class JsonLines : public testing::Test {
protected:
    /// The types of the columns, and the records.
    std::string Shown(const std::string& name, const std::string& content) const {
        const std::string path = folder_.MakeFile(name, content);
        std::string types = RunLine("levels @ t --format csv", path).out;
        std::string shown;
        for (std::size_t at = types.find('\n') + 1; at < types.size();
             at = types.find('\n', at) + 1) {
            const std::size_t comma = types.find(',', at);
            shown += types.substr(at, types.find(',', comma + 1) - at) + ' ';
        }
        const CommandResult run = RunLine("walk @ t", path);
        return shown + '\n' + run.out + run.err;
    }

    const TestFolder folder_;
};

TEST_F(JsonLines, AreATableOfTheirKeysWithTheTypesOfTheirValues) {
    const std::pair<std::string, std::string> cases[] = {
        {"\xEF\xBB\xBF {\"b\":1,\"a\":\"x\"}\r\n\n \t\n{\"c\":true,\"a\":null}",
         "b,integer a,text c,boolean \nb\ta\tc\n1\tx\t\\N\n\\N\t\\N\ttrue\n"},
        {"{\"n\":1}\n{\"n\":-2.5e1}\n{\"n\":-0}\n{\"n\":-0.0}\n", "n,real \nn\n1\n-25\n0\n0\n"},
        {"{\"n\":9007199254740993}\n{\"n\":2}\n", "n,integer \nn\n9007199254740993\n2\n"},
        {"{\"n\":9007199254740993}\n{\"n\":0.5}\n", "n,text \nn\n9007199254740993\n0.5\n"},
        {"{\"n\":12345678901234567890}\n{\"n\":7}\n", "n,text \nn\n12345678901234567890\n7\n"},
        {"{\"n\":-1e999}\n{\"n\":1.50}\n", "n,text \nn\n-1e999\n1.50\n"},
        {"{\"d\":\"2024-02-29\",\"t\":\"12:30\",\"s\":\"2024-02-29T12:30:00.5\"}\n",
         "d,date t,time s,timestamp \nd\tt\ts\n2024-02-29\t12:30:00\t2024-02-29 "
         "12:30:00.500\n"},
        {"{\"d\":\"2024-02-29\"}\n{\"d\":\"\"}\n", "d,text \nd\n2024-02-29\n\n"},
        {"{\"d\":\"2023-02-29\",\"n\":\"12\",\"b\":\"true\"}\n",
         "d,text n,text b,text \nd\tn\tb\n2023-02-29\t12\ttrue\n"},
        {"{\"x\":true}\n{\"x\":7}\n{\"x\":\"2024-02-29\"}\n", "x,text \nx\ntrue\n7\n2024-02-29\n"},
        {"{\"x\": [1, {\"y\" : \"]}\"}] ,\"z\":{}}\n{\"x\":{\"q\":null}}\n",
         "x,text z,text \nx\tz\n[1, {\"y\" : \"]}\"}]\t{}\n{\"q\":null}\t\\N\n"},
        {"{\"x\":\"\\u00e9\\ud83d\\ude00\\\\\\\"\\/\\t\"}\n{\"x\":\"\\\\\"}\n{\"x\":\"\\u0000\"}\n",
         "x,text \nx\n\xC3\xA9\xF0\x9F\x98\x80\\\\\"/\\t\n\\\\\n\\0\n"},
        {"{\"a\":1,\"A\":2,\"\":3,\"\\u0061b\":4}\n",
         "a,integer A_2,integer column3,integer ab,integer \na\tA_2\tcolumn3\tab\n1\t2\t3\t4\n"},
        {"{\"a\":null}\n{}\n", "a,text \na\n\\N\n\\N\n"}};
    for (const auto& [content, shown] : cases) {
        EXPECT_EQ(Shown("t.jsonl", content), shown) << content;
        // Its beginning tells what it is, except where the first object has no key.
        EXPECT_EQ(Shown("t.data", content), shown) << content;
    }
    // From standard input, packed, and with its record numbers.
    folder_.MakeFile("t.jsonl", "{\"a\":1}\n{\"a\":2}\n");
    EXPECT_EQ(RunShell("cd " + folder_.Path("") +
                       " && gzip t.jsonl && $ETABULON walk t.jsonl.gz t && gzip -dc t.jsonl.gz | "
                       "$ETABULON walk - stdin --columns rowid,a")
                  .out,
              "a\n1\n2\nrowid\ta\n1\t1\n2\t2\n");
}

TEST_F(JsonLines, TellTheLineThatIsNone) {
    const std::pair<const char*, const char*> cases[] = {
        {"{\"a\":1", "no"},
        {"{\"a\":}", ""},
        {"[{\"a\":1}]", ""},
        {"7", ""},
        {"{\"a\":1} {\"a\":2}", ""},
        {"{\"a\":1}x", ""},
        {"{\"a\":1,}", ""},
        {"{\"a\":1 \"b\":2}", ""},
        {"{a:1}", ""},
        {"{\"a\":nul}", ""},
        {"{\"a\":tru}", ""},
        {"{\"a\":007}", ""},
        {"{\"a\":+5}", ""},
        {"{\"a\":1.}", ""},
        {"{\"a\":\"\\q\"}", ""},
        {"{\"a\":\"\x01\"}", ""},
        {"{\"a\":[1,,2]}", ""},
        {"{\"a\":{\"b\":nul}}", ""},
        {"{\"a\":[1}]}", ""},
        {"{\"a\":\"\xFF\"}", "UTF-8"},
        {"{\"b\":1,\"\\u0062\":2}", "the key 'b' is there twice"}};
    for (const auto& [line, said] : cases) {
        // It stands behind more than one piece of the file.
        std::string content;
        for (int count = 0; count < 5000; ++count) {
            content +=
                "{\"a\":" + std::to_string(count) + ",\"b\":\"" + std::string(90, 'x') + "\"}\n";
        }
        ExpectFailures({{"walk @", 1, {"t.jsonl", "line 5001: ", *said == 'n' ? "" : said}}},
                       folder_.MakeFile("t.jsonl", content + line + "\n{\"a\":1}\n"));
    }
    ExpectFailures({{"walk @", 1, {"isn't a single object"}}}, folder_.MakeFile("t.jsonl", "{}\n"));
    ExpectFailures({{"walk @ --null x", 2, {"--null", "JSON lines"}},
                    {"edit @ --set b=1:a=2 --show walk", 1, {"no column 'b'"}}},
                   folder_.MakeFile("t.jsonl", "{\"a\":1}\n"));
}

/// The same values as JSON lines and as CSV.
struct SameValues {
    static constexpr unsigned int kColumns = 6;

    SameValues(std::mt19937& by, unsigned int nth) : random(by), round(nth) {
        const unsigned int rows = 1 + Below(6000);
        for (unsigned int column = 0; column < kColumns; ++column) {
            oddities.push_back(Below(2 * rows));
        }
        for (unsigned int row = 0; row < rows; ++row) {
            json += '{';
            for (unsigned int column = 0; column < kColumns; ++column) {
                Add(row, column);
            }
            csv += '\n';
            json += "}\n";
        }
    }
    unsigned int Below(unsigned int end) { return static_cast<unsigned int>(random() % end); }
    void Add(unsigned int row, unsigned int column) {
        const std::string number = std::to_string(Below(1000));
        const std::string texts[] = {number,
                                     number + ".25",
                                     "2021-03-" + std::to_string(10 + Below(20)),
                                     Below(2) == 0 ? "true" : "false",
                                     "text " + number + std::string(Below(40), 'y'),
                                     "1" + std::to_string(Below(10)) + ":05:06"};
        const unsigned int kind = row == oddities[column] ? Below(6) : (column + round) % 6;
        // The first row has all keys, which sets their order.
        const bool isMissing = row != 0 && Below(9) == 0;
        csv += (column != 0 ? "," : "") + (isMissing ? "" : texts[kind]);
        if (isMissing && Below(2) != 0) {
            return;
        }
        json += (json.back() != '{' ? ",\"k" : "\"k") + std::to_string(column) + "\":";
        const bool isBare = kind < 2 || kind == 3;
        json += isMissing ? "null" : isBare ? texts[kind] : '"' + texts[kind] + '"';
    }

    std::mt19937& random;
    unsigned int round;
    std::string json;
    std::string csv = "k0,k1,k2,k3,k4,k5\n";
    std::vector<unsigned int> oddities;  // the row of a column that has another type
};

/// A CSV file with the same values is another reader's account of them.
TEST_F(JsonLines, AreWhatTheSameValuesAreInATableOfText) {
    std::mt19937 random{5};
    for (unsigned int round = 0; round < 12; ++round) {
        const SameValues values(random, round);
        EXPECT_EQ(Shown("t.jsonl", values.json), Shown("t.csv", values.csv)) << round;
    }
}

}  // namespace
}  // namespace etabulon::test
