#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliCsvOptions.h"
#include "apps/etabulon/request/CliEnvironment.h"
#include "apps/etabulon/request/CliResult.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace etabulon {

class CliFilesInUse;
class CliTables;
enum class ESqlOpenMode : std::uint8_t;

/// SOURCE, TABLE, and how a table of text is written.
class CliSourceOptions {
public:
    void Declare(CLI::App& app);
    [[nodiscard]] CliResult<std::unique_ptr<CliTables>> Open(
        ESqlOpenMode mode,
        const std::function<bool(std::uint64_t read, std::uint64_t of)>& goesOn) const;

    /// Where SOURCE is a folder, makes it the file of TABLE. To be called before anything is
    /// opened. Adds the file to those in use.
    [[nodiscard]] CliResult<> ChooseFile(CliFilesInUse& files);
    /// Adds all files of the folder that SOURCE is.
    [[nodiscard]] CliResult<> UseFolder(CliFilesInUse& files) const;

    std::string path;
    std::string table;  // empty if not given

private:
    CliCsvOptions csv_;
};

/// --levels and --at.
class CliLevelOptions {
public:
    void Declare(CLI::App& app);
    /// The texts of all uses of the option as one list.
    [[nodiscard]] std::string Levels() const;
    [[nodiscard]] std::string At() const;
    /// The conditions as they are given: all of them must be met.
    [[nodiscard]] const std::vector<std::string>& Where() const noexcept { return where_; }

private:
    std::vector<std::string> levels_;
    std::vector<std::string> at_;
    std::vector<std::string> where_;
};

/// --color.
class CliColourOptions {
public:
    void Declare(CLI::App& app);
    /// What the user says takes the place of what the environment has found.
    [[nodiscard]] bool HasStyle(const CliEnvironment& environment) const noexcept {
        return when_ == "auto" ? environment.hasStyle : when_ == "always";
    }

private:
    std::string when_ = "auto";
};

/// --format, --output and --color, and --progress where a command walks.
class CliOutputOptions {
public:
    /// With `hasPictures` the format may be svg too, and there is --theme.
    void DeclareFormat(CLI::App& app, bool hasPictures = false);
    void DeclareBars(CLI::App& app, const std::string& description);
    void DeclareProgress(CLI::App& app);
    /// Opens the file of --output, which must not be in use, and directs the output there.
    /// Without a file it checks that a terminal can show the format.
    [[nodiscard]] CliResult<> Open(CliEnvironment& environment) const;
    [[nodiscard]] CliPrinting Printing(const CliEnvironment& environment) const;
    [[nodiscard]] bool ShowsProgress(const CliEnvironment& environment) const noexcept {
        return progress_ && environment.isErrorTerminal && !environment.isOutputTerminal;
    }

private:
    [[nodiscard]] CliFormat Format(const CliEnvironment& environment) const;

    std::optional<std::string> format_;
    std::optional<std::string> file_;
    std::string theme_ = "light";
    bool hasPictures_ = false;
    bool hasBars_ = false;
    CliColourOptions colour_;
    bool progress_ = false;
};

/// --locale, where a command sorts texts.
class CliLocaleOptions {
public:
    void Declare(CLI::App& app);
    /// Installs the order. To be called before any text is compared.
    [[nodiscard]] CliResult<> Install(const CliEnvironment& environment) const;

private:
    std::string locale_;  // empty: an order of no language, the same on every machine
};

/// What is wrong with the text of an option that takes a whole number; empty if nothing is.
[[nodiscard]] std::string CheckNumberFrom0(const std::string& text);
[[nodiscard]] std::string CheckNumberFrom1(const std::string& text);

/// Declares an option that may be given more than once, with one text each time.
void AddList(CLI::App& app, const std::string& name, std::vector<std::string>& list,
             const std::string& description);
/// The texts of such an option as one list.
[[nodiscard]] std::string JoinLists(const std::vector<std::string>& lists);

/// The values of an option that takes one of a fixed set; empty for other options.
[[nodiscard]] std::vector<std::string> ValueSet(const CLI::Option& option);
/// Describes such a set in the form that ValueSet reads, for an option's check.
[[nodiscard]] std::string DescribeValueSet(const std::vector<std::string>& values);

}  // namespace etabulon
