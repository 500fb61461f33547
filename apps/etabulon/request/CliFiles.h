#pragma once

#include <string>

namespace etabulon {

/// Reads a whole file. Returns false with errno set.
[[nodiscard]] bool ReadWholeFile(const std::string& path, std::string& text);

/// Both paths are there, and lead to the same file.
[[nodiscard]] bool AreOneFile(const std::string& one, const std::string& other);

}  // namespace etabulon
