#include "ESqliteFileState.h"

#include <chrono>
#include <filesystem>
#include <thread>

namespace etabulon {

namespace {

namespace fs = std::filesystem;

constexpr auto kClockStep = std::chrono::milliseconds(20);
constexpr int kTurns = 5;

bool IsSame(const timespec& a, const timespec& b) noexcept {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

bool HasContent(const std::string& path) {
    std::error_code failure;
    const auto size = fs::file_size(path, failure);
    return !failure && size > 0;
}

ESqliteFileState::ESqliteFileState(std::string path) : path_(std::move(path)) {
    for (int turn = 0; turn < kTurns; ++turn) {
        ::stat(path_.c_str(), &then_);
        std::error_code failure;
        const auto age = fs::file_time_type::clock::now() - fs::last_write_time(path_, failure);
        if (failure || age >= kClockStep || age <= -kClockStep) {
            return;
        }
        std::this_thread::sleep_for(kClockStep);
    }
}

bool ESqliteFileState::HasChanged() const {
    struct stat now {};
    return ::stat(path_.c_str(), &now) != 0 || now.st_dev != then_.st_dev ||
           now.st_ino != then_.st_ino || now.st_size != then_.st_size ||
           !IsSame(now.st_mtim, then_.st_mtim) || !IsSame(now.st_ctim, then_.st_ctim) ||
           HasContent(path_ + "-wal");
}

}  // namespace etabulon
