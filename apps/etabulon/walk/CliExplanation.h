#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace etabulon {

class CliCursor;
class CliOutput;
class CliTables;
class ETabulonTag;
struct CliWalkContext;

/// --explain: a command prints what it would read and keep in memory, and reads no record.
class CliExplanation {
public:
    static void Declare(CLI::App& app, bool& isAsked);

    explicit CliExplanation(CliOutput& output) : output_(output) {}
    /// The command keeps this in memory, one line.
    void Keeps(std::string line) { kept_.push_back(std::move(line)); }
    /// Beside the walk that is explained there is another one, one line.
    void WalksAgain(std::string line) { otherWalks_.push_back(std::move(line)); }

    /// Explains a walk of the cursor under `tag`. With `byBlocks` its listener takes blocks.
    void Tell(const CliWalkContext& context, CliCursor& cursor, const ETabulonTag& tag,
              bool byBlocks);

    /// A line by itself.
    void Put(const char* name, const std::string& text);
    /// Explains what a command reads of a source whose records it doesn't walk, one line.
    void Tell(CliTables& source, const std::string& reads);

private:
    void TellSource(CliTables& source);
    void TellTable(const CliWalkContext& context);
    void TellColumns(const CliWalkContext& context, const CliCursor& cursor);
    void TellStatement(const CliWalkContext& context, CliCursor& cursor, const ETabulonTag& tag);
    void TellSteps(const CliWalkContext& context, const CliCursor& cursor, bool byBlocks);

    CliOutput& output_;
    std::vector<std::string> kept_;
    std::vector<std::string> otherWalks_;
};

}  // namespace etabulon
