#pragma once

#include <string>

namespace etabulon {

/// Reads a whole file. Returns false with errno set.
[[nodiscard]] bool ReadWholeFile(const std::string& path, std::string& text);

/// A file is there, and it is that of SOURCE, which may be standard input.
[[nodiscard]] bool IsSource(const std::string& file, const std::string& source);

}  // namespace etabulon
