#include "apps/CommandRun.h"
#include "apps/TerminalRun.h"

namespace etabulon::test {
namespace {

constexpr const char* kTexts = R"(
    CREATE TABLE texts(id INTEGER PRIMARY KEY, t TEXT, n REAL, d DATE);
    INSERT INTO texts VALUES
        (1, 'plain', 1.5, '2024-02-29'),
        (2, '東京タワー', NULL, NULL),
        (3, 'e' || char(769) || 't' || 'e' || char(769), 2, NULL),
        (4, 'a long text that a narrow terminal has no room for', 3, NULL),
        (5, 'שלום, עולם', 4, NULL);
)";

class TableOnTerminal : public testing::Test {
protected:
    [[nodiscard]] std::string Screen(const std::string& line, int width) const {
        TerminalRun run(Words(line, path), "xterm-256color", width, 8);
        run.Finish();
        std::string text = run.screen.Text();
        return text.substr(0, text.find_last_not_of('\n') + 1) + "\n";
    }
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("texts.db", kTexts);
};

TEST_F(TableOnTerminal, CutsTextsWhereItIsNarrowerThanTheLines) {
    const std::pair<int, const char*> cases[] = {
        {72,
         " 4  a long text that a narrow terminal has no room for     3  NULL\n"
         " 5  \u2068שלום, עולם\u2069"},
        {32,
         "id  t              n  d\n"
         "--  ----------  ----  ----------\n"
         " 1  plain        1.5  2024-02-29\n"
         " 2  東京タワー  NULL  NULL\n"
         " 3  e\u0301te\u0301            2  NULL\n"
         " 4  a long te…     3  NULL\n"
         " 5  \u2068שלום, עולם\u2069     4  NULL\n"},
        {31, " 2  東京タワ…  NULL  NULL\n"},
        // Numbers and dates are never cut: here the texts had 6 columns, too few to be of use.
        {28, "a long text that a narro\nw terminal has no room for\n"},
    };
    for (const auto& [width, expected] : cases) {
        ExpectHas(Screen("walk @", width), {expected});
    }
    ExpectHas(Screen("tree @ --levels t", 40), {"\n  a long text that a narrow term…      1\n"});
    ExpectHas(Screen("tree @ --levels t", 70), {"\n  \u2068שלום, עולם\u2069   "});
}

}  // namespace
}  // namespace etabulon::test
