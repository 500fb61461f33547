#include "apps/CommandRun.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace etabulon {
namespace {

using test::CommandResult;
using test::RunCommand;
using test::TestFolder;

/// `what` of each column, separated by commas.
template <class What>
std::string List(int count, What what) {
    std::string list;
    for (int column = 0; column < count; ++column) {
        list += (column == 0 ? "" : ",") + what(std::to_string(column));
    }
    return list;
}

/// A table of few records and `count` columns.
struct WideTable {
    explicit WideTable(int count) {
        std::string rows;
        for (int row = 0; row < 4; ++row) {
            rows += "INSERT INTO t VALUES(" +
                    List(count,
                         [row](const std::string& column) {
                             return "'v" + std::to_string((std::stoi(column) + row) % 3) + "'";
                         }) +
                    ");";
        }
        path = folder.MakeDatabase(
            "wide.db", "CREATE TABLE t(" +
                           List(count, [](const auto& column) { return 'c' + column; }) + ");" +
                           rows);
        levels = List(count, [](const auto& column) { return 'c' + column; });
        place = List(count, [](const auto& column) {
            return 'c' + column + "=v" + std::to_string(std::stoi(column) % 3);
        });
    }
    [[nodiscard]] double SecondsOf(std::vector<std::string> arguments) const {
        for (std::string& argument : arguments) {
            argument = argument == "D" ? path : argument;
            argument = argument == "LEVELS" ? levels : argument;
            argument = argument == "PLACE" ? place : argument;
            argument = argument == "SET" ? place + ":c1=x" : argument;
        }
        const CommandResult result = RunCommand(arguments);
        EXPECT_EQ(result.status, 0) << arguments.front() << result.err;
        return result.seconds;
    }
    TestFolder folder;
    std::string path;
    std::string levels;
    std::string place;
};

/// A cost that grows with the square of the levels would be sixteen times as much.
TEST(ManyLevels, CostAsManyTimesMoreAsThereAre) {
    const WideTable few(450);
    const WideTable many(1800);
    const std::vector<std::vector<std::string>> cases = {
        {"walk", "D", "--levels", "LEVELS", "--at", "PLACE"},
        {"tree", "D", "--levels", "LEVELS"},
        {"tree", "D", "--levels", "LEVELS", "--at", "c1=v1", "--reverse", "LEVELS", "--leaves"},
        {"grid", "D", "--levels", "LEVELS", "--axes", "c7,c3", "--calc", "COUNT:c1"},
        {"score", "D", "--level", "LEVELS", "--calc", "COUNT:c1"},
        {"edit", "D", "--levels", "LEVELS", "--set", "SET", "--insert", "PLACE"},
        {"edit", "D", "--levels", "LEVELS", "--set", "SET", "--show", "tree"},
    };
    for (const std::vector<std::string>& each : cases) {
        const double base = few.SecondsOf(each);
        EXPECT_LT(many.SecondsOf(each), 10 * base + 0.1) << testing::PrintToString(each);
    }
}

}  // namespace
}  // namespace etabulon
