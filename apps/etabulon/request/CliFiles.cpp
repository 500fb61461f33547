#include "apps/etabulon/request/CliFiles.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSource.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace etabulon {

bool ReadWholeFile(const std::string& path, std::string& text) {
    FILE* const file = std::fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        return false;
    }
    std::array<char, 65536> buffer{};
    for (std::size_t count = 1; count != 0;) {
        count = std::fread(buffer.data(), 1, buffer.size(), file);
        text.append(buffer.data(), count);
    }
    const int error = std::ferror(file) != 0 ? errno : 0;
    std::fclose(file);
    errno = error;
    return error == 0;
}

CliResult<> CliFilesInUse::Read(std::string_view option, const std::string& path) {
    return Find({std::string(option), path, /*isWritten=*/false}, {});
}

CliResult<> CliFilesInUse::ReadSource(const std::string& path) {
    CliResult<> used = Read("SOURCE", path);
    std::error_code unresolved;
    const std::string real = std::filesystem::canonical(path, unresolved).string();
    for (const char* const ending : {"-wal", "-shm", "-journal"}) {
        if (used && !unresolved) {
            used = Read("SOURCE", real + ending);
        }
    }
    return used;
}

CliResult<> CliFilesInUse::ReadInput() {
    struct stat found {};
    return fstat(STDIN_FILENO, &found) == 0
               ? Add({"SOURCE", std::string(kStandardInput), false, found.st_dev, found.st_ino}, {})
               : CliResult<>();
}

CliResult<> CliFilesInUse::Write(std::string_view option, const std::string& path,
                                 std::string_view replaced) {
    return Find({std::string(option), path, /*isWritten=*/true}, replaced);
}

/// A path that leads nowhere is no file: what reads or writes it tells why.
CliResult<> CliFilesInUse::Find(File file, std::string_view replaced) {
    struct stat found {};
    bool isThere = stat(file.path.c_str(), &found) == 0;
    if (!isThere && errno == ENOENT) {
        const std::filesystem::path path(file.path);
        const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
        isThere = stat(folder.c_str(), &found) == 0;
        file.name = path.filename().string();
    }
    if (!isThere) {
        return {};
    }
    file.device = found.st_dev;
    file.number = found.st_ino;
    return Add(std::move(file), replaced);
}

CliResult<> CliFilesInUse::Add(File file, std::string_view replaced) {
    for (const File& other : files_) {
        const bool isSame =
            other.device == file.device && other.number == file.number && other.name == file.name;
        if (isSame && (file.isWritten || other.isWritten) && other.option != replaced) {
            const File& written = file.isWritten ? file : other;
            const File& kept = file.isWritten ? other : file;
            return CliFailure{CliExit::Usage,
                              fmt::format("{} {} would replace the file of {}", written.option,
                                          Quoted(written.path), kept.option)};
        }
    }
    files_.push_back(std::move(file));
    return {};
}

}  // namespace etabulon
