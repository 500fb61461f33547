// Writes the man pages, the completion and the schema of saved views of the command line, during
// its build:
//     etabulon-pages DATE FOLDER

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/commands/CliHelp.h"
#include "apps/etabulon/pages/BashCompletion.h"
#include "apps/etabulon/pages/ManPage.h"
#include "apps/etabulon/pages/ViewSchema.h"
#include "apps/etabulon/request/CliView.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

namespace {

bool Write(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text << std::flush;
    if (!file) {
        std::fprintf(stderr, "etabulon-pages: %s can't be written\n", path.c_str());
    }
    return file.good();
}

bool WriteAll(const std::string& date, const std::string& folder) {
    CLI::App app;
    etabulon::CliView view;
    const auto commands = etabulon::MakeCommands();
    etabulon::DeclareProgram(app, commands, view);
    bool isWritten =
        Write(folder + "/etabulon.bash", etabulon::MakeBashCompletion(app)) &&
        Write(folder + "/saved-view.schema.json", etabulon::MakeViewSchema(app)) &&
        Write(folder + "/" + etabulon::ManPageName(app) + ".1", etabulon::MakeManPage(app, date));
    for (const CLI::App* const command : app.get_subcommands({})) {
        isWritten = isWritten && Write(folder + "/" + etabulon::ManPageName(*command) + ".1",
                                       etabulon::MakeManPage(*command, date));
    }
    return isWritten;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: etabulon-pages DATE FOLDER\n");
        return 2;
    }
    try {
        return WriteAll(argv[1], argv[2]) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "etabulon-pages: %s\n", failure.what());
        return 1;
    }
}
