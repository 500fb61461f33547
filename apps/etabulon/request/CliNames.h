#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace etabulon {

/// The places of things that have a name and a code.
class CliNames {
public:
    /// The next one: the first has place 0.
    void Add(std::string_view name, std::string_view code);
    /// By the name exactly, then with the case of ASCII letters ignored, then by the code. Of
    /// several the first.
    [[nodiscard]] std::optional<std::size_t> Find(std::string_view name) const;

private:
    using Places = std::unordered_map<std::string, std::size_t>;
    Places names_;
    Places lowered_;
    Places codes_;
    std::size_t count_ = 0;
};

}  // namespace etabulon
