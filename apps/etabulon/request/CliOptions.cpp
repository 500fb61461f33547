#include "apps/etabulon/request/CliOptions.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFiles.h"
#include "apps/etabulon/request/CliFolder.h"
#include "apps/etabulon/request/CliSource.h"
#include "etabulon/report/EReportFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace etabulon {
namespace {

CLI::Validator FormatCheck(bool hasPictures) {
    std::vector<std::string> names;
    for (const auto& [name, format] : kCliFormats) {
        if (hasPictures || format != CliFormat::Svg) {
            names.emplace_back(name);
        }
    }
    const auto check = [names](const std::string& text) {
        const bool isThere = std::find(names.begin(), names.end(), text) != names.end();
        return isThere ? std::string()
                       : fmt::format("'{}' is no format here; there is {}", text,
                                     fmt::join(names, ", "));
    };
    return {check, DescribeValueSet(names), "FORMAT"};
}

constexpr std::array<std::pair<std::string_view, CliFormat>, 12> kEndings = {{
    {".txt", CliFormat::Table},
    {".csv", CliFormat::Csv},
    {".tsv", CliFormat::Tsv},
    {".json", CliFormat::Json},
    {".ndjson", CliFormat::NdJson},
    {".jsonl", CliFormat::NdJson},
    {".md", CliFormat::Markdown},
    {".markdown", CliFormat::Markdown},
    {".html", CliFormat::Html},
    {".htm", CliFormat::Html},
    {".xlsx", CliFormat::Xlsx},
    {".svg", CliFormat::Svg},
}};

/// The format that a file's name ends like.
std::optional<CliFormat> FormatOf(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    for (const auto& [ending, format] : kEndings) {
        if (name.size() > ending.size() && name.ends_with(ending)) {
            return format;
        }
    }
    return {};
}

std::string CheckNumber(const std::string& text, std::int64_t least) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number >= least
               ? ""
               : fmt::format("{} isn't a whole number from {} on", Quoted(text), least);
}

bool IsBlank(const std::string& text) { return text.find_first_not_of(" \t") == std::string::npos; }

}  // namespace

std::string CheckNumberFrom0(const std::string& text) { return CheckNumber(text, 0); }
std::string CheckNumberFrom1(const std::string& text) { return CheckNumber(text, 1); }

void AddList(CLI::App& app, const std::string& name, std::vector<std::string>& list,
             const std::string& description) {
    app.add_option(name, list, description)->type_name("LIST")->allow_extra_args(false);
}

std::string JoinLists(const std::vector<std::string>& lists) {
    std::string joined;
    for (const std::string& list : lists) {
        if (!IsBlank(list)) {
            joined += joined.empty() ? list : "," + list;
        }
    }
    return joined;
}

std::vector<std::string> ValueSet(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    const std::size_t begin = name.find('{');
    const std::size_t end = name.find('}', begin);
    if (end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(name.substr(begin + 1, end - begin - 1), ',');
}

std::string DescribeValueSet(const std::vector<std::string>& values) {
    return fmt::format("{{{}}}", fmt::join(values, ","));
}

void CliSourceOptions::Declare(CLI::App& app) {
    app.add_option("SOURCE", path,
                   "An SQLite database, a table of text (CSV, TSV) or JSON lines, these packed by "
                   "gzip or not, or a folder of them; - reads standard input; may be left out "
                   "where --view names it")
        ->type_name("");
    app.add_option("TABLE", table,
                   "A table or view of it, of a folder a file; may be left out where there is only "
                   "one")
        ->type_name("");
    csv_.Declare(app);
}

CliResult<> CliSourceOptions::ChooseFile(CliFilesInUse& files) {
    if (!IsFolder(path)) {
        return path == kStandardInput ? files.ReadInput() : files.ReadSource(path);
    }
    const CliResult<CliFolderFile> file = FindFile(path, table);
    if (!file) {
        return file.Failure();
    }
    path = file->path;
    table.clear();  // it is the only one
    return files.ReadSource(path);
}

CliResult<> CliSourceOptions::UseFolder(CliFilesInUse& files) const {
    const CliResult<std::vector<CliFolderFile>> all = FilesOf(path);
    if (!all) {
        return all.Failure();
    }
    for (const CliFolderFile& file : *all) {
        if (CliResult<> used = files.Read("SOURCE", file.path); !used) {
            return used;
        }
    }
    return {};
}

CliResult<std::unique_ptr<CliTables>> CliSourceOptions::Open(ESqlOpenMode mode,
                                                             const CliGoesOn& goesOn) const {
    return OpenSource(path, csv_, mode, goesOn);
}

void CliLevelOptions::Declare(CLI::App& app) {
    AddList(app, "--levels", levels_,
            "Levels: column, link>column, column:label, separated by commas");
    AddList(app, "--at", at_,
            "Only below this place: level=value, separated by commas; a level given several times "
            "has one of these values");
    app.add_option("--where", where_,
                   "Only records that meet this: cost > 1000 and (damage in (None, Minor) or "
                   "airport>name contains 'INTL')")
        ->type_name("CONDITION")
        ->allow_extra_args(false);
}

std::string CliLevelOptions::Levels() const { return JoinLists(levels_); }

std::string CliLevelOptions::At() const { return JoinLists(at_); }

void CliColourOptions::Declare(CLI::App& app) {
    app.add_option("--color", when_,
                   "Colour and dim what is printed: auto, as without it, on a terminal, unless "
                   "NO_COLOR is set; always; or never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->configurable(false)
        ->type_name("WHEN");
}

void CliOutputOptions::DeclareFormat(CLI::App& app, bool hasPictures) {
    hasPictures_ = hasPictures;
    app.add_option("--format", format_,
                   fmt::format("table, csv, tsv, json, ndjson, markdown, html{}; without it what "
                               "the file of --output ends like, or table on a terminal, else tsv",
                               hasPictures ? ", xlsx, or svg (a picture)" : " or xlsx"))
        ->type_name("FORMAT")
        ->check(FormatCheck(hasPictures));
    app.add_option("--output", file_,
                   "Write to this file instead of stdout, whole or not at all: a file of that name "
                   "stays as it is until the new one takes its place")
        ->type_name("FILE")
        ->configurable(false);
    if (hasPictures) {
        app.add_option("--theme", theme_,
                       "Draw for a light background, as without it, or a dark one")
            ->check(CLI::IsMember({"light", "dark"}))
            ->type_name("THEME");
    }
    colour_.Declare(app);
}

void CliOutputOptions::DeclareBars(CLI::App& app, const std::string& description) {
    app.add_flag("--bars", hasBars_, description + ", in the format table");
}

void CliOutputOptions::DeclareProgress(CLI::App& app) {
    app.add_flag(
           "--progress", progress_,
           "Tell on stderr how much was read, how fast, and how much time is left, where that is "
           "known; if stderr is a terminal and stdout isn't")
        ->configurable(false);
}

CliFormat CliOutputOptions::Format(const CliEnvironment& environment) const {
    for (const auto& [name, format] : kCliFormats) {
        if (format_ == name) {
            return format;
        }
    }
    if (file_) {
        return FormatOf(*file_).value_or(CliFormat::Tsv);
    }
    return hasBars_ || environment.isOutputTerminal ? CliFormat::Table : CliFormat::Tsv;
}

CliResult<> CliOutputOptions::Open(CliEnvironment& environment) const {
    environment.hasStyle = colour_.HasStyle(environment);
    if (hasBars_ && Format(environment) != CliFormat::Table) {
        return CliFailure{CliExit::Usage, "--bars needs the format table"};
    }
    if (!file_) {
        if (environment.isOutputTerminal && Format(environment) == CliFormat::Xlsx) {
            return CliFailure{CliExit::Usage,
                              "a terminal can't show xlsx: --output FILE writes it to a file"};
        }
        return {};
    }
    if (file_->empty()) {
        return CliFailure{CliExit::Usage, "--output has no name of a file"};
    }
    if (!format_ && !FormatOf(*file_)) {
        return CliFailure{CliExit::Usage,
                          fmt::format("the ending of {} tells no format: give --format, or one of "
                                      ".txt .csv .tsv .json .ndjson .md .html .xlsx .svg",
                                      Quoted(*file_))};
    }
    if (!hasPictures_ && Format(environment) == CliFormat::Svg) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("{} would be a picture, and only grid and score have one", Quoted(*file_))};
    }
    if (CliResult<> used = environment.files.Write("--output", *file_); !used) {
        return used;
    }
    std::string error;
    if (!environment.file.Open(*file_, error)) {
        return CliFailure{CliExit::Failed, error};
    }
    environment.output.DirectToFile(environment.file.Descriptor());
    environment.isOutputTerminal = false;
    environment.hasStyle = false;
    environment.hasStyle = colour_.HasStyle(environment);
    return {};
}

CliPrinting CliOutputOptions::Printing(const CliEnvironment& environment) const {
    std::string folder;
    if (file_) {
        const std::size_t slash = file_->rfind('/');
        folder = slash == std::string::npos ? "." : file_->substr(0, slash + 1);
    }
    return {environment.output,
            Format(environment),
            {environment.isOutputTerminal, environment.outputColumns, environment.hasStyle},
            std::move(folder),
            theme_ == "dark",
            hasBars_ ? BarStyleOfLocale() : CliBarStyle::None};
}

void CliLocaleOptions::Declare(CLI::App& app) {
    app.add_option("--locale", locale_,
                   "Sort texts as this language does: fr, de_AT, ...; without it as none does, "
                   "the same everywhere")
        ->type_name("NAME");
}

CliResult<> CliLocaleOptions::Install(const CliEnvironment& environment) const {
    std::string error;
    if (environment.installLocale != nullptr) {
        return environment.installLocale(locale_.c_str(), error)
                   ? CliResult<>()
                   : CliFailure{CliExit::Usage, error};
    }
    if (!locale_.empty()) {
        return CliFailure{CliExit::Usage,
                          "--locale needs ICU, which this program was built without"};
    }
    return {};
}

}  // namespace etabulon
