#pragma once

#include <sys/stat.h>

#include <string>

namespace etabulon {

/// There is a file with anything in it.
[[nodiscard]] bool HasContent(const std::string& path);

/// What tells whether a database file that is read without locks has been written since.
class ESqliteFileState {
public:
    /// Waits for the file's time of change to lie 20 ms back: the kernel counts it in steps of up
    /// to 10 ms, and a second write within the same step wouldn't show.
    explicit ESqliteFileState(std::string path);
    /// It was written or replaced, or a log of writes lies beside it.
    [[nodiscard]] bool HasChanged() const;

private:
    std::string path_;
    struct stat then_ {};
};

}  // namespace etabulon
