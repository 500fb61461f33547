#pragma once

#include <sys/stat.h>

#include <string>

namespace etabulon {

/// Whether the path is a file that isn't empty.
[[nodiscard]] bool HasContent(const std::string& path);

/// The state of a database file that is read without locks, to detect later writes.
class ESqliteFileState {
public:
    /// Waits until the file's last change is 20 ms ago: the kernel rounds the time to steps of up
    /// to 10 ms, and a second write within the same step wouldn't change it.
    explicit ESqliteFileState(std::string path);
    /// Whether the file was written or replaced, or a log of writes exists beside it.
    [[nodiscard]] bool HasChanged() const;

private:
    std::string path_;
    struct stat then_ {};
};

}  // namespace etabulon
