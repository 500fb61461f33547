#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace etabulon {

/// An index of things that have a name and a code.
class CliNames {
public:
    /// Adds the next thing. The first one has the index 0.
    void Add(std::string_view name, std::string_view code);
    /// Compares the name exactly, then without the case of ASCII letters, then as a code. The first
    /// thing with an equal name counts.
    [[nodiscard]] std::optional<std::size_t> Find(std::string_view name) const;

private:
    using Places = std::unordered_map<std::string, std::size_t>;
    Places names_;
    Places lowered_;
    Places codes_;
    std::size_t count_ = 0;
};

}  // namespace etabulon
