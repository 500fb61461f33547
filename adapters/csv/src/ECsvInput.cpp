#include "etabulon/csv/ECsvInput.h"

#include "ECsvGzip.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/sql/ESqlError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

namespace etabulon {

namespace {

std::string ErrorText(int error) { return std::generic_category().message(error); }

/// Writes all bytes; false with errno.
bool WriteAll(int file, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(file, bytes, size);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count > 0) {
            bytes += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

/// A file that no name leads to, and that ends with its descriptor; -1 with errno.
int OpenUnnamed(const std::string& folder) {
    const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR)) {
        return file;
    }
    // A file system without unnamed files: one with a name that goes at once.
    std::string path = folder + "/etabulon-XXXXXX";
    const int named = ::mkostemp(path.data(), O_CLOEXEC);
    if (named >= 0) {
        ::unlink(path.c_str());
    }
    return named;
}

}  // namespace

/// What tells that a file was written to.
struct ECsvInput::Stamp {
    off_t size;
    timespec changed;

    static Stamp Of(const struct stat& found) { return {found.st_size, found.st_mtim}; }
    [[nodiscard]] bool IsAs(const Stamp& other) const noexcept {
        return size == other.size && changed.tv_sec == other.changed.tv_sec &&
               changed.tv_nsec == other.changed.tv_nsec;
    }
};

ECsvInput::ECsvInput(const Chaine& name) : name_(name) {}

ECsvInput::~ECsvInput() {
    if (file_ >= 0) {
        ::close(file_);
    }
}

std::unique_ptr<ECsvInput> ECsvInput::Open(const Chaine& path, EDataError& error) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        error = CsvError(path, 0, "it can't be opened: " + ErrorText(errno));
        return nullptr;
    }
    std::unique_ptr<ECsvInput> input = OpenStream(file, path, error);
    ::close(file);
    return input;
}

std::unique_ptr<ECsvInput> ECsvInput::OpenStream(int descriptor, const Chaine& name,
                                                 EDataError& error) {
    std::unique_ptr<ECsvInput> input(new ECsvInput(name));
    return input->Begin(descriptor, error) && input->FindPacking(error) ? std::move(input)
                                                                        : nullptr;
}

bool ECsvInput::Begin(int descriptor, EDataError& error) {
    struct stat found {};
    if (::fstat(descriptor, &found) != 0) {
        error = CsvError(name_, 0, "it can't be read: " + ErrorText(errno));
        return false;
    }
    if (S_ISDIR(found.st_mode)) {
        error = CsvError(name_, 0, "it is a folder");
        return false;
    }
    if (!S_ISREG(found.st_mode)) {
        return Spool(descriptor, error);
    }
    const off_t at = ::lseek(descriptor, 0, SEEK_CUR);
    file_ = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (at < 0 || file_ < 0) {
        error = CsvError(name_, 0, "it can't be read: " + ErrorText(errno));
        return false;
    }
    first_ = static_cast<std::uint64_t>(at);
    size_ = found.st_size > at ? static_cast<std::uint64_t>(found.st_size - at) : 0;
    stamp_ = std::make_unique<Stamp>(Stamp::Of(found));
    return true;
}

bool ECsvInput::Spool(int descriptor, EDataError& error) {
    constexpr std::size_t kAtOnce = std::size_t{1} << 18;
    const char* const wanted = std::getenv("TMPDIR");
    const std::string folder = wanted != nullptr && *wanted != '\0' ? wanted : "/tmp";
    const auto fail = [&](const std::string& what) {
        error = CsvError(name_, 0, what + ErrorText(errno));
        return false;
    };
    const std::string noRoom =
        "a copy can't be kept in " + folder + " (TMPDIR names another folder): ";
    file_ = OpenUnnamed(folder);
    if (file_ < 0) {
        return fail(noRoom);
    }
    std::vector<char> bytes(kAtOnce);
    for (;;) {
        const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
        if (count == 0) {
            return true;
        }
        if (count < 0 && errno != EINTR) {
            return fail("it can't be read: ");
        }
        if (count > 0 && !WriteAll(file_, bytes.data(), static_cast<std::size_t>(count))) {
            return fail(noRoom);
        }
        size_ += count > 0 ? static_cast<std::uint64_t>(count) : 0;
    }
}

bool ECsvInput::FindPacking(EDataError& error) {
    std::array<char, Gzip::kMagic.size()> start{};
    std::size_t count = 0;
    if (!ReadRaw(start.data(), start.size(), count)) {
        error = CsvError(name_, 0, problem_);
        return false;
    }
    offset_ = 0;
    if (std::string_view(start.data(), count) != Gzip::kMagic) {
        return true;
    }
    gzip_ = Gzip::Make();
    if (gzip_ == nullptr) {
        error = CsvError(name_, 0, "gzip has packed it, which this build can't read: unpack it");
    }
    return gzip_ != nullptr;
}

void ECsvInput::Rewind() noexcept {
    offset_ = 0;
    if (gzip_ != nullptr) {
        gzip_->Rewind();
    }
}

bool ECsvInput::Read(char* to, std::size_t size, std::size_t& count) {
    return gzip_ != nullptr ? gzip_->Read(*this, to, size, count) : ReadRaw(to, size, count);
}

bool ECsvInput::ReadRaw(char* to, std::size_t size, std::size_t& count) {
    for (count = 0; count < size;) {
        const ssize_t some =
            ::pread(file_, to + count, size - count, static_cast<off_t>(first_ + offset_));
        if (some == 0) {
            break;
        }
        if (some < 0 && errno != EINTR) {
            problem_ = "the file can't be read any further: " + ErrorText(errno);
            return false;
        }
        count += some > 0 ? static_cast<std::size_t>(some) : 0;
        offset_ += some > 0 ? static_cast<std::uint64_t>(some) : 0;
    }
    return true;
}

void ECsvInput::FindDamage(const std::function<bool(std::uint64_t, std::uint64_t)>& goesOn,
                           EDataError& error) {
    // A failed Read has told of the damage.
    if (gzip_ == nullptr || !problem_.empty() || error.status == kDataInterrupted) {
        return;
    }
    constexpr std::size_t kAtOnce = std::size_t{1} << 18;
    const std::unique_ptr<char[]> bytes(new char[kAtOnce]);
    for (std::size_t count = kAtOnce; count == kAtOnce;) {
        if (!Read(bytes.get(), kAtOnce, count)) {
            error = CsvError(name_, 0, problem_);
        } else if (goesOn && !goesOn(ReadBytes(), Size())) {
            error = CsvError(name_, 0, kCsvCancelled);
            error.status = kDataInterrupted;
            return;
        }
    }
}

bool ECsvInput::IsUnchanged(EDataError& error) const {
    struct stat found {};
    if (stamp_ == nullptr || (::fstat(file_, &found) == 0 && Stamp::Of(found).IsAs(*stamp_))) {
        return true;
    }
    error = CsvError(name_, 0, kCsvChanged);
    return false;
}

}  // namespace etabulon
