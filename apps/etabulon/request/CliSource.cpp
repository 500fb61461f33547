#include "apps/etabulon/request/CliSource.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTable.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/jsonl/EJsonTable.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

/// Fails for what can't be read as a file.
CliResult<> CheckFile(const std::string& path) {
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        return CantOpen(path, errno);
    }
    if (!S_ISREG(found.st_mode)) {
        // Opening a pipe could block for ever.
        const bool isFolder = S_ISDIR(found.st_mode);
        return CliFailure{
            CliExit::Failed,
            fmt::format("{} is {}, not a file{}", Quoted(path),
                        isFolder ? "a folder" : "a device or pipe",
                        isFolder ? "" : "; SOURCE - reads a table of text from standard input")};
    }
    return {};
}

CliFailure FailureOf(const ESqlError& error, const std::string& path) {
    if (error.status == kDataInterrupted) {
        return CliFailure{CliExit::Cancelled, {}};
    }
    std::string text(error.text.View());
    if (text.empty()) {
        text = fmt::format("{} can't be opened (status {})", Quoted(path), error.status);
    }
    return CliFailure{CliExit::Failed, std::move(text), error.status == DataLocked};
}

/// Standard input or a file, unpacked.
CliResult<std::unique_ptr<ECsvInput>> OpenInput(const std::string& path) {
    ESqlError error;
    std::unique_ptr<ECsvInput> input;
    if (path == kStandardInput) {
        input = ECsvInput::OpenStream(STDIN_FILENO, "standard input", error);
    } else if (const CliResult<> checked = CheckFile(path); !checked) {
        return checked.Failure();
    } else {
        input = ECsvInput::Open(Chaine(path), error);
    }
    return input != nullptr ? CliResult(std::move(input)) : FailureOf(error, path);
}

/// The beginning of the input.
CliResult<std::string> ReadStart(ECsvInput& input) {
    std::string start(kSniffedBytes, '\0');
    std::size_t count = 0;
    if (!input.Read(start.data(), start.size(), count)) {
        return CliFailure{CliExit::Failed,
                          std::string(CsvError(input.Name(), 0, input.Problem()).text.View())};
    }
    start.resize(count);
    return start;
}

CliResult<std::unique_ptr<CliTables>> OpenDatabase(const std::string& path, ESqlOpenMode mode) {
    ESqlError error;
    auto source = ESqliteSource::Open(Chaine(path), mode, error);
    return source != nullptr ? CliResult(TablesOf(std::move(source))) : FailureOf(error, path);
}

/// Fails if these bytes at the beginning can't be those of a table of text.
CliResult<> CheckText(std::string_view start, const std::string& shown) {
    if (start.empty()) {
        return CliFailure{CliExit::Failed, fmt::format("{} is empty", shown)};
    }
    if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF")) {
        return CliFailure{CliExit::Failed, fmt::format("{} is text in UTF-16: save it in UTF-8, or "
                                                       "convert it (iconv -f UTF-16 -t UTF-8)",
                                                       shown)};
    }
    if (start.find('\0') != std::string_view::npos) {
        return CliFailure{CliExit::Failed, fmt::format("{} is neither an SQLite database nor a "
                                                       "table of text (CSV): it holds other "
                                                       "binary data",
                                                       shown)};
    }
    return {};
}

/// JSON lines by their beginning or their name.
bool IsJsonLines(std::string_view start, const std::string& path) {
    std::string name = Lowered(path);
    if (name.ends_with(".gz")) {
        name.erase(name.size() - 3);
    }
    return EJsonTable::IsBegun(start) || name.ends_with(".jsonl") || name.ends_with(".ndjson");
}

CliResult<std::unique_ptr<CliTables>> ReadJson(ECsvInput& input, const CliCsvOptions& csv,
                                               const std::string& path, const CliGoesOn& goesOn) {
    if (const CliResult<> refused = csv.RefuseFor(path, "a file of JSON lines"); !refused) {
        return refused.Failure();
    }
    EJsonReadOptions options{{}, goesOn};
    if (path == kStandardInput) {
        options.table = "stdin";
    }
    ESqlError error;
    auto file = EJsonTable::Read(input, options, error);
    return file != nullptr ? CliResult(TablesOf(std::move(file))) : FailureOf(error, path);
}

CliResult<std::unique_ptr<CliTables>> ReadText(ECsvInput& input, std::string_view start,
                                               const CliCsvOptions& csv, const std::string& path,
                                               const CliGoesOn& goesOn) {
    ECsvReadOptions options{csv.Format(start), {}, goesOn};
    if (path == kStandardInput) {
        options.table = "stdin";
    }
    ESqlError error;
    auto file = ECsvTable::Read(input, options, error);
    return file != nullptr ? CliResult(TablesOf(std::move(file))) : FailureOf(error, path);
}

}  // namespace

CliResult<std::unique_ptr<CliTables>> OpenSource(const std::string& path, const CliCsvOptions& csv,
                                                 ESqlOpenMode mode, const CliGoesOn& goesOn) {
    const std::string shown = path == kStandardInput ? "standard input" : Quoted(path);
    const CliFailure unwritable{
        CliExit::Failed,
        fmt::format("{} is a table of text: edits of it can be shown, not saved", shown)};
    if (path == kStandardInput && mode != ESqlOpenMode::ReadOnly) {
        return unwritable;  // what is there to read stays there
    }
    CliResult<std::unique_ptr<ECsvInput>> input = OpenInput(path);
    if (!input) {
        return input.Failure();
    }
    const CliResult<std::string> start = ReadStart(**input);
    if (!start) {
        return start.Failure();
    }
    if (start->starts_with(kSqliteMagic)) {
        if (path == kStandardInput || (*input)->IsPacked()) {
            return CliFailure{CliExit::Failed,
                              fmt::format("{} holds an SQLite database{}, which only a file can be "
                                          "read from: {}",
                                          shown, (*input)->IsPacked() ? " packed by gzip" : "",
                                          (*input)->IsPacked() ? "unpack it" : "give its name")};
        }
        input->reset();
        const CliResult<> refused = csv.RefuseFor(path, "an SQLite database");
        return refused ? OpenDatabase(path, mode) : refused.Failure();
    }
    if (const CliResult<> checked = CheckText(*start, shown); !checked) {
        return checked.Failure();
    }
    if (mode != ESqlOpenMode::ReadOnly) {
        return unwritable;
    }
    return IsJsonLines(*start, path) ? ReadJson(**input, csv, path, goesOn)
                                     : ReadText(**input, *start, csv, path, goesOn);
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
