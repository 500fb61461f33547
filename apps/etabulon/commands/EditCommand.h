#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliPath.h"

#include <memory>
#include <string>
#include <vector>

namespace etabulon {

class CliEdits;
struct CliSaved;

/// `etabulon edit`: shows what edits would make of a table, or saves them.
class EditCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "edit"; }
    [[nodiscard]] const char* Description() const override {
        return "Show what edits would make of a table, or save them: all or none";
    }
    void Declare(CLI::App& app) override;
    /// What stands behind --show VIEW is for the view.
    void TakeArguments(std::vector<std::string>& arguments) override;
    [[nodiscard]] bool Saves() const override { return saves_; }
    [[nodiscard]] bool Run(CliEnvironment& environment, CliFailure& failure) override;

private:
    /// An edit, and where it was asked for.
    struct Asked {
        CliEditChoice edit;
        std::string where;  // before what is said of it; empty for an option
    };
    /// Which kinds of edits there are.
    struct Kinds {
        bool updates;
        bool deletes;
    };
    [[nodiscard]] bool ReadEdits(std::vector<Asked>& edits, CliFailure& failure) const;
    [[nodiscard]] bool ReadScript(const std::string& path, std::vector<Asked>& edits,
                                  CliFailure& failure) const;
    static void PrintScript(const CliEdits& edits, CliOutput& output);
    [[nodiscard]] static bool PrintAsGiven(const std::vector<Asked>& asked, CliOutput& output,
                                           CliFailure& failure);
    [[nodiscard]] bool MakeEdits(const std::vector<Asked>& asked, CliEdits& edits,
                                 CliFailure& failure) const;
    [[nodiscard]] bool Show(CliEnvironment& environment, const CliDictionary& dictionary,
                            const ESqlTableInfo& table, const CliEdits& edits,
                            CliFailure& failure) const;
    static void Report(const CliSaved& saved, const Kinds& asked, CliOutput& output) noexcept;

    const CLI::App* app_ = nullptr;  // knows the order of the options
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
