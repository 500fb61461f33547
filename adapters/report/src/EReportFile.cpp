#include "etabulon/report/EReportFile.h"

#include "TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace etabulon {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 16U;
constexpr unsigned int kMostAttempts = 100;
constexpr unsigned int kModeBits = 07777;

std::string MessageOf(int error) { return std::generic_category().message(error); }

}  // namespace

EReportFile::~EReportFile() { Close(); }

void EReportFile::Close() noexcept {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
        descriptor_ = -1;
    }
    if (!hidden_.empty()) {
        ::unlink(hidden_.c_str());
        hidden_.clear();
    }
}

std::string EReportFile::Sentence(std::string_view why) const {
    return "'" + path_ + "' can't be written: " + std::string(why);
}

bool EReportFile::CheckPlace(std::string& error) {
    struct stat found {};
    if (::lstat(path_.c_str(), &found) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        error = Sentence(MessageOf(errno));
        return false;
    }
    const char* const kind = S_ISLNK(found.st_mode) ? "it is a symbolic link; name the file itself"
                             : S_ISDIR(found.st_mode)             ? "it is a folder"
                             : !S_ISREG(found.st_mode)            ? "it isn't a regular file"
                             : ::access(path_.c_str(), W_OK) != 0 ? "it is write-protected"
                                                                  : nullptr;
    if (kind != nullptr) {
        error = Sentence(kind);
        return false;
    }
    mode_ = found.st_mode & kModeBits;
    return true;
}

bool EReportFile::Open(const std::string& path, std::string& error) {
    path_ = path;
    const std::size_t slash = path.rfind('/');
    folder_ = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    if (path.empty() || path.back() == '/') {
        error = Sentence("that isn't the name of a file");
        return false;
    }
    if (!CheckPlace(error)) {
        return false;
    }
    descriptor_ = detail::OpenTemporary(folder_, hidden_);
    if (descriptor_ < 0) {
        error = Sentence(errno == ENOENT ? "its folder isn't there" : MessageOf(errno));
        return false;
    }
    return true;
}

void EReportFile::Append(std::string_view bytes) {
    if (buffer_.size() + bytes.size() > kBufferSize) {
        Flush();
    }
    buffer_.append(bytes);
}

void EReportFile::Flush() {
    std::string_view rest = buffer_;
    while (!rest.empty() && !IsBroken()) {
        const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            Fail(MessageOf(errno));
        }
    }
    buffer_.clear();
}

void EReportFile::Fail(std::string_view reason) {
    if (reason_.empty()) {
        reason_ = reason;
    }
}

void EReportFile::Note(std::string_view sentence) {
    notes_.append(sentence);
    notes_ += '\n';
}

/// Gives a file without a name a hidden one, from which it can be moved over another file.
bool EReportFile::GiveName() {
    const std::string own = detail::PathOf(descriptor_);
    for (unsigned int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const std::string name = detail::HiddenName(folder_, attempt);
        if (::linkat(AT_FDCWD, own.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            hidden_ = name;
            return true;
        }
        if (errno != EEXIST) {
            return false;
        }
    }
    return false;
}

bool EReportFile::Commit(std::string& error) {
    Flush();
    if (IsBroken()) {
        error = Sentence(reason_);
        Close();
        return false;
    }
    // The bytes are on the disk before the name leads to them: a crash leaves one of the two files.
    const bool isInPlace = (mode_ == 0 || ::fchmod(descriptor_, mode_) == 0) &&
                           ::fsync(descriptor_) == 0 && (!hidden_.empty() || GiveName()) &&
                           ::rename(hidden_.c_str(), path_.c_str()) == 0;
    if (!isInPlace) {
        error = Sentence(MessageOf(errno));
        Close();
        return false;
    }
    hidden_.clear();
    Close();
    if (const int folder = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        folder >= 0) {
        // The file is in its place; a file system that can't sync a folder changes nothing there.
        static_cast<void>(::fsync(folder));
        ::close(folder);
    }
    return true;
}

}  // namespace etabulon
