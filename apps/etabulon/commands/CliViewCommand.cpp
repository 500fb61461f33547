#include "apps/etabulon/commands/CliViewCommand.h"

#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/walk/CliWalk.h"
#include "etabulon/sqlite/ESqliteSource.h"

namespace etabulon {

void CliViewCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    DeclareView(app);
}

void CliViewCommand::DeclareOutput(CLI::App& app) {
    output_.DeclareFormat(app);
    output_.DeclareProgress(app);
}

bool CliViewCommand::Run(CliEnvironment& environment, CliFailure& failure) {
    if (!Prepare(environment, failure)) {
        return false;
    }
    const std::unique_ptr<ESqliteSource> source = source_.Open(failure);
    if (source == nullptr) {
        return false;
    }
    const CliDictionary dictionary(*source);
    const ESqlTableInfo* const table = dictionary.FindTable(source_.table, failure);
    return table != nullptr && ShowTable(environment, dictionary, *table, nullptr, failure);
}

bool CliViewCommand::ShowTable(CliEnvironment& environment, const CliDictionary& dictionary,
                               const ESqlTableInfo& table, const ETabulonPendingChanges* changes,
                               CliFailure& failure) {
    const CliWalkContext context{dictionary, table, environment.interrupt,
                                 output_.ShowsProgress(environment), changes};
    return Show(environment, context, failure);
}

}  // namespace etabulon
