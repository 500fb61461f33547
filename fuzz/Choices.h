#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace etabulon::fuzz {

/// Makes choices of an input's bytes, from the front. After the end each choice is the first one,
/// so that an input cut short is an input too.
class Choices {
public:
    Choices(const std::uint8_t* bytes, std::size_t size)
        : rest_(reinterpret_cast<const char*>(bytes), size) {}

    [[nodiscard]] bool IsEmpty() const noexcept { return rest_.empty(); }
    [[nodiscard]] unsigned int Byte() noexcept {
        if (rest_.empty()) {
            return 0;
        }
        const auto byte = static_cast<unsigned char>(rest_.front());
        rest_.remove_prefix(1);
        return byte;
    }
    /// Below `count`, of at most 256.
    [[nodiscard]] unsigned int Below(unsigned int count) noexcept { return Byte() % count; }
    /// One of an array.
    template <class Item, std::size_t count>
    [[nodiscard]] const Item& Of(const Item (&items)[count]) noexcept {
        return items[Below(static_cast<unsigned int>(count))];
    }
    /// The bytes up to `end`, which is passed over, or all that are left.
    [[nodiscard]] std::string_view Until(char end) noexcept {
        const std::string_view text = rest_.substr(0, rest_.find(end));
        rest_.remove_prefix(text.size() < rest_.size() ? text.size() + 1 : text.size());
        return text;
    }
    [[nodiscard]] std::string_view Rest() noexcept {
        const std::string_view text = rest_;
        rest_ = {};
        return text;
    }

private:
    std::string_view rest_;
};

/// Ends the program: libFuzzer keeps the input, a replay fails.
[[noreturn]] inline void Fail(std::string_view what) {
    std::fprintf(stderr, "\nnot as it has to be: %.*s\n", static_cast<int>(what.size()),
                 what.data());
    std::abort();
}

inline void Require(bool holds, std::string_view what) {
    if (!holds) {
        Fail(what);
    }
}

inline void RequireEqual(std::string_view found, std::string_view expected, std::string_view what) {
    if (found != expected) {
        std::string text(what);
        text.append("\n  found    [").append(found).append("]\n  expected [");
        Fail(text.append(expected).append("]"));
    }
}

}  // namespace etabulon::fuzz
