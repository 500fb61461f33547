#include "apps/etabulon/request/CliFiles.h"

#include "apps/etabulon/request/CliSource.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

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

bool IsSource(const std::string& file, const std::string& source) {
    struct stat first {};
    struct stat second {};
    const bool isInput = source == kStandardInput;
    return stat(file.c_str(), &first) == 0 &&
           (isInput ? fstat(STDIN_FILENO, &second) : stat(source.c_str(), &second)) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace etabulon
