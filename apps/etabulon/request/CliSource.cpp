#include "apps/etabulon/request/CliSource.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/csv/ECsvTable.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace etabulon {
namespace {

constexpr std::string_view kSqliteMagic("SQLite format 3\0", 16);
constexpr std::size_t kSniffedBytes = std::size_t{64} << 10U;

std::string ErrorText(int error) { return std::generic_category().message(error); }

/// The files in the folder of a missing one.
std::vector<std::string> FilesBeside(const std::filesystem::path& path) {
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    std::vector<std::string> files;
    std::error_code error;
    constexpr std::size_t kEnough = 1000;
    for (std::filesystem::directory_iterator entry(folder, error), end;
         !error && entry != end && files.size() < kEnough; entry.increment(error)) {
        files.push_back(entry->path().filename().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

CliFailure CantOpen(const std::string& path, int error) {
    std::string meant;
    if (error == ENOENT) {
        const std::filesystem::path wanted(path);
        meant = DidYouMean(wanted.filename().string(), FilesBeside(wanted));
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("{} can't be read: {}{}", Quoted(path), ErrorText(error), meant)};
}

/// The beginning of the file.
CliResult<std::string> ReadStart(const std::string& path) {
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        return CantOpen(path, errno);
    }
    if (!S_ISREG(found.st_mode)) {
        // Opening a pipe could block for ever, and a pipe can't be read twice.
        return CliFailure{CliExit::Failed,
                          fmt::format("{} is {}, not a file", Quoted(path),
                                      S_ISDIR(found.st_mode) ? "a folder" : "a device or pipe")};
    }
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return CantOpen(path, errno);
    }
    std::string start(kSniffedBytes, '\0');
    const ssize_t count = ::read(descriptor, start.data(), start.size());
    const int error = errno;
    ::close(descriptor);
    if (count < 0) {
        return CantOpen(path, error);
    }
    start.resize(static_cast<std::size_t>(count));
    return start;
}

/// The separator that the first line has most of outside of quotes; a comma if it has none.
char GuessSeparator(std::string_view start) {
    constexpr std::string_view kSeparators = ",;\t|";
    std::array<std::size_t, kSeparators.size()> counts{};
    bool isInQuotes = false;
    for (const char c : start) {
        if (c == '"') {
            isInQuotes = !isInQuotes;
        } else if (!isInQuotes) {
            if (c == '\n' || c == '\r') {
                break;
            }
            if (const std::size_t which = kSeparators.find(c); which != std::string_view::npos) {
                ++counts[which];
            }
        }
    }
    const auto most = std::max_element(counts.begin(), counts.end());
    return kSeparators[static_cast<std::size_t>(most - counts.begin())];
}

std::string TextOf(const ESqlError& error, const std::string& path) {
    if (!error.text.IsEmpty()) {
        return std::string(error.text.View());
    }
    return fmt::format("{} can't be opened (status {})", Quoted(path), error.status);
}

}  // namespace

CliResult<std::unique_ptr<CliTables>> OpenSource(const std::string& path, char separator,
                                                 ESqlOpenMode mode, const CliGoesOn& goesOn) {
    const CliResult<std::string> start = ReadStart(path);
    if (!start) {
        return start.Failure();
    }
    ESqlError error;
    std::unique_ptr<CliTables> tables;
    if (start->starts_with(kSqliteMagic)) {
        if (auto source = ESqliteSource::Open(Chaine(path), mode, error)) {
            tables = TablesOf(std::move(source));
        }
    } else if (start->empty()) {
        return CliFailure{CliExit::Failed, fmt::format("{} is empty", Quoted(path))};
    } else if (start->find('\0') != std::string::npos) {
        return CliFailure{CliExit::Failed, fmt::format("{} is neither an SQLite database nor a "
                                                       "table of text (CSV): it holds other "
                                                       "binary data",
                                                       Quoted(path))};
    } else if (mode != ESqlOpenMode::ReadOnly) {
        return CliFailure{CliExit::Failed,
                          fmt::format("{} is a table of text: edits of it can be shown, not saved",
                                      Quoted(path))};
    } else {
        ECsvReadOptions options;
        options.separator = separator != 0 ? separator : GuessSeparator(*start);
        options.goesOn = goesOn;
        if (auto file = ECsvTable::Read(Chaine(path), options, error)) {
            tables = TablesOf(std::move(file));
        }
    }
    if (error.status == kDataInterrupted) {
        return CliFailure{CliExit::Cancelled, {}};
    }
    if (tables == nullptr) {
        return CliFailure{CliExit::Failed, TextOf(error, path), error.status == DataLocked};
    }
    return tables;
}

CliResult<CliOpenTable> FindTableIn(std::unique_ptr<CliTables> source, const std::string& name) {
    auto dictionary = std::make_unique<const CliDictionary>(*source);
    const CliResult<CliTable> table = dictionary->FindTable(name);
    if (!table) {
        return table.Failure();
    }
    return CliOpenTable{std::move(source), std::move(dictionary), *table};
}

}  // namespace etabulon
