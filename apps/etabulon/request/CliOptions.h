#pragma once

#include "apps/etabulon/output/CliWriter.h"
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

class CliTables;
enum class ESqlOpenMode : std::uint8_t;

/// SOURCE, TABLE and --separator.
class CliSourceOptions {
public:
    void Declare(CLI::App& app);
    [[nodiscard]] CliResult<std::unique_ptr<CliTables>> Open(
        ESqlOpenMode mode,
        const std::function<bool(std::uint64_t read, std::uint64_t of)>& goesOn) const;

    std::string path;
    std::string table;  // empty if not given

private:
    std::string separator_;
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

/// --format, and --progress where a command walks.
class CliOutputOptions {
public:
    void DeclareFormat(CLI::App& app);
    void DeclareProgress(CLI::App& app);
    [[nodiscard]] CliPrinting Printing(const CliEnvironment& environment) const;
    [[nodiscard]] bool ShowsProgress(const CliEnvironment& environment) const noexcept {
        return progress_ && environment.isErrorTerminal && !environment.isOutputTerminal;
    }

private:
    std::optional<std::string> format_;
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
