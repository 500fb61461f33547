#include "TemporaryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace etabulon::detail {
namespace {

constexpr unsigned int kMostAttempts = 100;
constexpr mode_t kMode = 0666;  // less the umask

/// The file system or the kernel knows no files without a name.
bool LacksUnnamedFiles(int error) noexcept {
    return error == EOPNOTSUPP || error == EISDIR || error == EINVAL;
}

}  // namespace

std::string PathOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::string HiddenName(const std::string& folder, unsigned int attempt) {
    return folder + "/.etabulon-" + std::to_string(::getpid()) + '-' + std::to_string(attempt);
}

int OpenTemporary(const std::string& folder, std::string& name) noexcept {
    int descriptor = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kMode);
    if (descriptor >= 0 || !LacksUnnamedFiles(errno)) {
        return descriptor;
    }
    for (unsigned int attempt = 0; attempt < kMostAttempts; ++attempt) {
        std::string hidden = HiddenName(folder, attempt);
        descriptor = ::open(hidden.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, kMode);
        if (descriptor >= 0) {
            name = std::move(hidden);
            return descriptor;
        }
        if (errno != EEXIST) {
            return -1;
        }
    }
    return -1;
}

}  // namespace etabulon::detail
