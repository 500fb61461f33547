#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliViewFile.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace etabulon {

class CliFilesInUse;

/// An option that views have.
struct CliViewKey {
    std::string name;
    CliViewValue::Kind kind;
    std::vector<std::string> values;  // of an option that takes one of a fixed set
    std::string description;
};

/// The saved view of a run: what --view reads, changed by the command line's own options, and what
/// --save-view writes.
///
/// A view follows the options that the commands declare. Each of them is saved under its name,
/// unless it is declared as not configurable. One that means the same in several commands is
/// shared; the others stand in their command's own object.
class CliView {
public:
    /// The keys that the object of a command may have; for an empty name those that are shared. A
    /// command whose name is a shared key, as levels, has no object.
    [[nodiscard]] static std::vector<CliViewKey> KeysOf(const CLI::App& program,
                                                        const std::string& command);

    /// Declares the options of views for one command.
    void Declare(CLI::App& command);

    /// Reads the file of --view, checks that `program` knows all its keys, and gives its values to
    /// those options of `command` that the command line doesn't have. Then checks that the file of
    /// --save-view can be written. Adds both to the files in use. Requires that the command line
    /// was parsed.
    [[nodiscard]] CliResult<> Begin(const CLI::App& program, CLI::App& command,
                                    CliFilesInUse& files);
    /// The same for options that a command parses by itself, those of the command `name`.
    [[nodiscard]] CliResult<> Apply(CLI::App& options, const std::string& name);

    /// Whether the view has a value for an option of the command `name`, its own or a shared one.
    [[nodiscard]] bool Has(const std::string& name, const std::string& key) const {
        return InForce(name, key) != nullptr;
    }
    /// Adds to a failure which of the options that it names are the view's.
    [[nodiscard]] CliFailure Explain(CliFailure failure) const;

    /// Changes what is saved for an option of the command `name`.
    void Set(const std::string& name, const std::string& key, CliViewValue value);
    /// The file of --save-view, or else that of --view; empty without both.
    [[nodiscard]] const std::string& Path() const noexcept {
        return saved_.empty() ? path_ : saved_;
    }
    /// Writes the file that Path names, whole or not at all.
    [[nodiscard]] CliResult<> Save() const;
    /// Whether the user has given --save-view.
    [[nodiscard]] bool IsSaved() const noexcept { return !saved_.empty(); }

private:
    [[nodiscard]] CliResult<> Read();
    [[nodiscard]] CliResult<> Check(const CLI::App& program);
    [[nodiscard]] CliResult<> CheckKey(const CLI::App& program, const std::string& command,
                                       const std::string& key, CliViewValue& value) const;
    [[nodiscard]] CliResult<> LeaveOut(const std::string& command);
    /// Adds the files of --view and --save-view to those in use.
    [[nodiscard]] CliResult<> UseFiles(CliFilesInUse& files) const;
    [[nodiscard]] CliResult<> Give(CLI::Option& option, const CliViewValue& value,
                                   const std::string& key) const;
    /// The value that a command reads: its own, or else the shared one.
    [[nodiscard]] const CliViewValue* InForce(const std::string& name,
                                              const std::string& key) const;
    /// Keeps the values of options for Save.
    void Collect(const CLI::App& options, const std::string& name);

    std::string path_;
    std::string saved_;
    std::vector<std::string> without_;
    const CLI::App* program_ = nullptr;  // not owned; null before Begin
    CliViewFile file_;

    /// An option that has its value from the view.
    struct Given {
        std::string key;
        std::size_t line;
    };
    std::vector<Given> given_;
};

}  // namespace etabulon
