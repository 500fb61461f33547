#include "apps/etabulon/output/CliOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace etabulon {
namespace {

/// The errno of the write that failed, or 0.
int WriteAll(int descriptor, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            // Another program that shares the descriptor made it non-blocking.
            pollfd ready{descriptor, POLLOUT, 0};
            static_cast<void>(::poll(&ready, 1, /*timeout=*/-1));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

CliOutput::CliOutput(int descriptor)
    : buffer_(std::make_unique<char[]>(kCapacity)),
      descriptor_(descriptor),
      openLine_(writing_, std::defer_lock) {}

void CliOutput::AppendLong(std::string_view text) {
    while (!text.empty()) {
        if (used_ == kCapacity) {
            MakeRoom();
        }
        const std::string_view part = text.substr(0, kCapacity - used_);
        std::copy(part.begin(), part.end(), buffer_.get() + used_);
        used_ += part.size();
        text.remove_prefix(part.size());
    }
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
    if (whole_ == 0) {
        return;
    }
    Write({buffer_.get(), whole_}, /*endsLine=*/true);
    std::copy(buffer_.get() + whole_, buffer_.get() + used_, buffer_.get());
    used_ -= whole_;
    whole_ = 0;
}

void CliOutput::Finish() {
    whole_ = used_;
    Flush();
}

/// Requires a full buffer.
void CliOutput::MakeRoom() {
    if (whole_ != 0) {
        Flush();
    } else {
        Write({buffer_.get(), used_}, /*endsLine=*/false);
        used_ = 0;
    }
}

void CliOutput::Write(std::string_view bytes, bool endsLine) {
    if (!openLine_.owns_lock()) {
        openLine_.lock();
    }
    if (error_ == 0) {
        error_ = WriteAll(descriptor_, bytes);
    }
    if (endsLine) {
        openLine_.unlock();
    }
}

void CliOutput::Fail(std::string_view reason) {
    if (error_ == 0) {
        reason_ = reason;
        error_ = kRefused;
    }
}

bool CliOutput::IsUnread() const noexcept { return error_ == EPIPE; }

std::string CliOutput::Reason() const {
    return error_ == kRefused ? reason_ : std::generic_category().message(error_);
}

bool CliOutput::TryStop() { return writing_.try_lock(); }

void HoldStandardDescriptors() noexcept {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1 && errno == EBADF) {
            // open() takes the lowest free descriptor, this one. Its mode is the wrong one.
            static_cast<void>(
                ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

void WriteError(std::string_view text) noexcept {
    static_cast<void>(WriteAll(STDERR_FILENO, text));
}

}  // namespace etabulon
