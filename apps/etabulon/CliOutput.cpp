#include "apps/etabulon/CliOutput.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace etabulon {

CliOutput::CliOutput(int descriptor)
    : buffer_(std::make_unique<char[]>(kCapacity)), descriptor_(descriptor) {}

void CliOutput::AppendLong(std::string_view text) {
    Flush();
    if (text.size() > kCapacity) {
        Write(text);
        return;
    }
    Append(text);
}

void CliOutput::AppendBlanks(std::size_t count) {
    constexpr std::string_view kBlanks = "                                ";
    while (count != 0) {
        const std::size_t part = std::min(count, kBlanks.size());
        Append(kBlanks.substr(0, part));
        count -= part;
    }
}

void CliOutput::Flush() {
    Write({buffer_.get(), used_});
    used_ = 0;
}

void CliOutput::Write(std::string_view bytes) {
    while (!bytes.empty() && error_ == 0) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
}

}  // namespace etabulon
