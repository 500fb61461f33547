#include "ZipEntry.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace etabulon::detail {
namespace {

constexpr std::size_t kEndSize = 22;    // of the record behind the directory, without a comment
constexpr std::size_t kEntrySize = 46;  // of a directory's entry, without its name

std::uint32_t NumberAt(std::string_view bytes, std::size_t at, std::size_t count) {
    std::uint32_t number = 0;
    for (std::size_t index = count; index-- > 0;) {
        number = (number << 8U) | static_cast<unsigned char>(bytes[at + index]);
    }
    return number;
}

std::string BytesAt(int descriptor, off_t at, std::size_t count) {
    std::string bytes(count, '\0');
    const ssize_t read = ::pread(descriptor, bytes.data(), count, at);
    bytes.resize(read < 0 ? 0 : static_cast<std::size_t>(read));
    return bytes;
}

}  // namespace

std::optional<std::uint32_t> ZipEntrySize(int descriptor, std::string_view name) {
    struct stat file {};
    if (::fstat(descriptor, &file) != 0 || file.st_size < static_cast<off_t>(kEndSize)) {
        return {};
    }
    const std::string end =
        BytesAt(descriptor, file.st_size - static_cast<off_t>(kEndSize), kEndSize);
    if (!end.starts_with("PK\x05\x06")) {
        return {};
    }
    const std::string directory = BytesAt(descriptor, NumberAt(end, 16, 4), NumberAt(end, 12, 4));
    for (std::size_t at = 0; at + kEntrySize <= directory.size();) {
        const std::size_t length = NumberAt(directory, at + 28, 2);
        if (std::string_view(directory).substr(at + kEntrySize, length) == name) {
            return NumberAt(directory, at + 24, 4);
        }
        at +=
            kEntrySize + length + NumberAt(directory, at + 30, 2) + NumberAt(directory, at + 32, 2);
    }
    return {};
}

}  // namespace etabulon::detail
