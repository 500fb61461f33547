#include "apps/etabulon/walk/CliProgress.h"
#include "support/ScriptCursor.h"
#include "support/Table.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon::test {
namespace {

using std::chrono::milliseconds;

CliProgress::Moment clockNow;
std::string written;
std::size_t columns = 0;

class Progress : public testing::Test {
protected:
    Progress() {
        clockNow = {};
        written.clear();
        columns = 0;
    }
    static CliProgress Make() {
        return CliProgress([] { return clockNow; },
                           [](std::string_view text) noexcept { written += text; },
                           [] { return columns; });
    }
    static std::string Take() { return std::exchange(written, {}); }
};

TEST_F(Progress, TellsRateAndTimeLeftOfRecords) {
    const ScriptCursor cursor({"a"}, {});
    const Table<std::uint64_t, int, std::string> cases = {
        // of how many records, after milliseconds
        {0, 99, ""},
        {0, 100, "1024 records, 10240 a second"},
        {10240, 1000, "1024 of 10240 records, 10 %, 1024 a second, 9 s left"},
        {1024 * 76, 1000, "1024 of 77824 records, 1 %, 1024 a second, 1:15 min left"},
        {1024 * 7384, 1000, "1024 of 7561216 records, 0 %, 1024 a second, 2:03 h left"},
        {1024, 1000, "1024 of 1024 records, 100 %, 1024 a second"},
        {1000, 1000, "1024 records, 1024 a second"}};  // others have inserted some
    for (const auto& [all, elapsed, line] : cases) {
        CliProgress progress = Make();
        progress.ExpectRecords(all);
        clockNow += milliseconds(elapsed);
        for (int count = 0; count < 1024; ++count) {
            progress.OnMove(cursor);
        }
        EXPECT_EQ(Take(), line.empty() ? "" : "\r" + line + "\x1B[K") << elapsed;
    }
}

TEST_F(Progress, TellsMegabytesAtMostTenTimesASecondAndIsErased) {
    CliProgress progress = Make();
    progress.End();
    EXPECT_EQ(Take(), "");
    clockNow += milliseconds(1000);
    progress.ShowBytes(85'000'000, 300'000'000);
    EXPECT_EQ(Take(), "\r85 of 300 MB, 85 MB a second, 3 s left\x1B[K");
    clockNow += milliseconds(99);
    progress.ShowBytes(90'000'000, 300'000'000);
    EXPECT_EQ(Take(), "");
    clockNow += milliseconds(1);
    progress.ShowBytes(110'000'000, 300'000'000);
    EXPECT_EQ(Take(), "\r110 of 300 MB, 100 MB a second, 2 s left\x1B[K");
    columns = 20;
    clockNow += milliseconds(800);
    progress.ShowBytes(120'000'000, 300'000'000);
    EXPECT_EQ(Take(), "\r120 of 300 MB, 63 M\x1B[K");
    progress.End();
    progress.End();
    EXPECT_EQ(Take(), "\r\x1B[K");
}

}  // namespace
}  // namespace etabulon::test
