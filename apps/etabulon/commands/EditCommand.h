#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliPath.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

class CliEdits;
class CliTable;
class CliTables;
struct CliSaved;

/// `etabulon edit`: shows a table as it would be with edits, or saves the edits.
class EditCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "edit"; }
    [[nodiscard]] const char* Description() const override {
        return "Show what edits would make of a table, or save them: all or none";
    }
    void Declare(CLI::App& app) override;
    /// Keeps the arguments behind --show VIEW for the view.
    void TakeArguments(std::vector<std::string>& arguments) override;
    [[nodiscard]] bool Saves() const override { return saves_; }
    [[nodiscard]] CliResult<> Run(CliEnvironment& environment) override;

private:
    /// An edit, and its position in a script.
    struct Asked {
        CliEditChoice edit;
        std::string where;  // begins messages about the edit; empty for an edit from an option
    };
    /// Which kinds of edits there are.
    struct Kinds {
        bool updates;
        bool deletes;
    };
    /// The edits that options and scripts ask for, in their order.
    [[nodiscard]] CliResult<std::vector<Asked>> ReadEdits() const;
    [[nodiscard]] CliResult<std::vector<Asked>> ReadOption(const CLI::Option& option,
                                                           std::size_t index) const;
    [[nodiscard]] static CliResult<std::vector<Asked>> ReadScript(const std::string& path);
    [[nodiscard]] CliResult<std::unique_ptr<CliTables>> OpenSource(
        const CliEnvironment& environment, std::optional<CliFailure>& unwritable);
    [[nodiscard]] CliResult<> MakeEdits(const std::vector<Asked>& asked, CliEdits& edits) const;
    [[nodiscard]] CliResult<> Show(CliEnvironment& environment, const CliTable& table,
                                   const CliEdits& edits) const;
    [[nodiscard]] static CliResult<> Save(CliEnvironment& environment, const CliTable& table,
                                          const CliEdits& edits);
    static void PrintScript(const CliEdits& edits, CliOutput& output);
    /// Prints the edits of a save whose source can't be opened. Returns the failure with a text
    /// that says so.
    [[nodiscard]] static CliFailure PrintAsGiven(const std::vector<Asked>& asked, CliOutput& output,
                                                 CliFailure failure);
    static void Report(const CliSaved& saved, const Kinds& asked, CliOutput& output) noexcept;

    const CLI::App* app_ = nullptr;  // has the order of the options
    CliSourceOptions source_;
    std::vector<std::string> levels_;
    std::vector<std::string> sets_;
    std::vector<std::string> inserts_;
    std::vector<std::string> deletes_;
    std::vector<std::string> scripts_;
    bool saves_ = false;
    std::string view_;
    std::vector<std::string> viewArguments_;
};

}  // namespace etabulon
