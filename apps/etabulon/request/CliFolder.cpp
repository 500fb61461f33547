#include "apps/etabulon/request/CliFolder.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/csv/ECsvTypes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

namespace etabulon {
namespace {

constexpr std::array<std::string_view, 6> kEndings = {".csv", ".tsv",   ".tab",
                                                      ".txt", ".jsonl", ".ndjson"};

bool IsTable(const std::filesystem::path& file) {
    std::string name = Lowered(file.filename().string());
    if (name.ends_with(".gz")) {
        name.erase(name.size() - 3);
    }
    // A hidden file isn't meant.
    return !name.starts_with('.') &&
           std::any_of(kEndings.begin(), kEndings.end(),
                       [&name](std::string_view ending) { return name.ends_with(ending); });
}

}  // namespace

bool IsFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

CliResult<std::vector<CliFolderFile>> FilesOf(const std::string& folder) {
    std::vector<std::filesystem::path> paths;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unknown;
        if (entry->is_regular_file(unknown) && IsTable(entry->path())) {
            paths.push_back(entry->path());
        }
    }
    if (error) {
        return CliFailure{CliExit::Failed, fmt::format("folder {} can't be read: {}",
                                                       Quoted(folder), error.message())};
    }
    if (paths.empty()) {
        return CliFailure{CliExit::Failed,
                          fmt::format("folder {} has no file that ends in {}, packed by gzip (.gz) "
                                      "or not",
                                      Quoted(folder), fmt::join(kEndings, " "))};
    }
    std::sort(paths.begin(), paths.end());
    std::map<std::string, unsigned int> counts;
    std::vector<CliFolderFile> files;
    for (const std::filesystem::path& path : paths) {
        files.push_back({CsvTableName(Chaine(path.string()), Chaine()), path.string()});
        ++counts[Lowered(files.back().table)];
    }
    for (CliFolderFile& file : files) {
        if (counts[Lowered(file.table)] > 1) {
            file.table = std::filesystem::path(file.path).filename().string();
        }
    }
    return files;
}

CliResult<CliFolderFile> FindFile(const std::string& folder, const std::string& table) {
    const CliResult<std::vector<CliFolderFile>> files = FilesOf(folder);
    if (!files) {
        return files.Failure();
    }
    std::vector<std::string> names;
    for (const CliFolderFile& file : *files) {
        names.push_back(file.table);
    }
    if (table.empty() && files->size() == 1) {
        return files->front();
    }
    if (table.empty()) {
        return CliFailure{CliExit::Usage,
                          fmt::format("{} has {} tables, and TABLE doesn't say which{}",
                                      Quoted(folder), names.size(), WhatThereIs({}, names))};
    }
    // As written first, then whatever the case of its letters.
    for (const bool isExact : {true, false}) {
        const auto isMeant = [&](const std::string& name) {
            return isExact ? name == table : Lowered(name) == Lowered(table);
        };
        const auto found =
            std::find_if(files->begin(), files->end(), [&](const CliFolderFile& file) {
                return isMeant(file.table) ||
                       isMeant(std::filesystem::path(file.path).filename().string());
            });
        if (found != files->end()) {
            return *found;
        }
    }
    return CliFailure{CliExit::Failed, fmt::format("{} has no table {}{}", Quoted(folder),
                                                   Quoted(table), WhatThereIs(table, names))};
}

}  // namespace etabulon
