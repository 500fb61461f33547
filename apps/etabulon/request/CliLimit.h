#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace etabulon {

class CliOutput;

/// --limit: how much a command prints at most.
class CliLimit {
public:
    static constexpr auto kNone = static_cast<std::uint64_t>(-1);

    void Declare(CLI::App& app, const std::string& description);
    /// kNone without the option.
    [[nodiscard]] std::uint64_t Most() const noexcept {
        return limit_ ? static_cast<std::uint64_t>(*limit_) : kNone;
    }

private:
    std::optional<std::int64_t> limit_;
};

/// Tells a user who has stderr on a terminal, behind the output, what a limit has left out: of
/// `all` lines, which `noun` calls, `printed` were printed. There is no note where that is all
/// of them.
void NoteLimit(CliOutput& output, std::uint64_t printed, std::uint64_t all, std::string_view noun);
/// What is known of records that a limit left out, where their number isn't.
enum class CliRest : std::uint8_t {
    Unknown = 0,  // the reading has ended, and there may be more
    Some = 1,     // there are more
};

/// The same of records whose number isn't known.
void NoteLimit(CliOutput& output, std::uint64_t printed, CliRest rest);

}  // namespace etabulon
