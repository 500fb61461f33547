#include "apps/etabulon/commands/CliViewCommand.h"

#include "apps/etabulon/request/CliSource.h"
#include "apps/etabulon/walk/CliExplanation.h"
#include "apps/etabulon/walk/CliReading.h"
#include "apps/etabulon/walk/CliWalk.h"

namespace etabulon {

void CliViewCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    DeclareView(app);
}

void CliViewCommand::DeclareOutput(CLI::App& app, bool hasPictures) {
    output_.DeclareFormat(app, hasPictures);
    output_.DeclareProgress(app);
    CliExplanation::Declare(app, explains_);
}

CliResult<> CliViewCommand::Run(CliEnvironment& environment) {
    if (CliResult<> prepared = Prepare(environment); !prepared) {
        return prepared;
    }
    if (CliResult<> chosen = source_.ChooseFile(environment.files); !chosen) {
        return chosen;
    }
    if (CliResult<> output = OpenOutput(environment); !output) {
        return output;
    }
    const CliResult<CliOpenTable> opened =
        ReadTable(source_, environment.interrupt, output_.ShowsProgress(environment));
    return opened ? ShowTable(environment, opened->table, nullptr) : opened.Failure();
}

CliResult<> CliViewCommand::ShowTable(CliEnvironment& environment, const CliTable& table,
                                      const ETabulonPendingChanges* changes) {
    CliResult<CliCondition> condition = ReadCondition(table, LevelOptions());
    if (!condition) {
        return condition.Failure();
    }
    bool hasToldLinks = false;
    CliExplanation explanation(environment.output);
    const CliWalkContext context{table,
                                 environment.interrupt,
                                 output_.ShowsProgress(environment),
                                 changes,
                                 std::move(*condition),
                                 &hasToldLinks,
                                 explains_ ? &explanation : nullptr};
    return Show(environment, context);
}

}  // namespace etabulon
