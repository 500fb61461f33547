#include "apps/etabulon/browse/BrowseAlerts.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliWritten.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <string_view>

namespace etabulon {
namespace {

struct NamedColour {
    std::string_view name;
    std::uint32_t colour;  // 0x00BBGGRR
};
/// Each component is full or zero: the sum of two alerts' colours on a node is a colour again.
constexpr std::array kColours = {
    NamedColour{"red", 0x0000FF},     NamedColour{"green", 0x00FF00},
    NamedColour{"yellow", 0x00FFFF},  NamedColour{"blue", 0xFF0000},
    NamedColour{"magenta", 0xFF00FF}, NamedColour{"cyan", 0xFFFF00},
    NamedColour{"white", 0xFFFFFF},
};

bool SetStyle(std::string_view word, EDataTreeAlertDesc& alert) {
    if (word == "bold") {
        alert.SetTextBold(true);
    } else if (word == "italic") {
        alert.SetTextItalic(true);
    } else if (word == "up") {
        alert.SetPropagateToParent(true);
    } else {
        const auto* const named =
            std::find_if(kColours.begin(), kColours.end(),
                         [word](const NamedColour& colour) { return colour.name == word; });
        if (named == kColours.end()) {
            return false;
        }
        alert.SetTextColor(named->colour);
    }
    return true;
}

CliResult<> ReadStyles(std::string_view styles, EDataTreeAlertDesc& alert) {
    while (!styles.empty()) {
        const std::string_view word = styles.substr(0, styles.find(','));
        styles.remove_prefix(std::min(styles.size(), word.size() + 1));
        if (!SetStyle(Trimmed(word), alert)) {
            return CliFailure{
                CliExit::Usage,
                fmt::format("{} is no style of --alert; there is bold, italic, red, green, yellow, "
                            "blue, magenta, cyan, white, and up for the nodes above too",
                            Quoted(Trimmed(word)))};
        }
    }
    return {};
}

/// The parts of an alert's text.
struct AlertText {
    std::string_view level;
    std::uint32_t most = 0;
    std::string_view styles;
};

/// Reads from the back, as the level's path may contain both signs.
bool ParseAlert(std::string_view text, AlertText& parsed) {
    const std::size_t colon = text.rfind(':');
    const std::string_view condition = text.substr(0, colon);
    const std::size_t above = condition.rfind('>');
    if (colon == std::string_view::npos || above == std::string_view::npos) {
        return false;
    }
    parsed.level = condition.substr(0, above);
    parsed.styles = Trimmed(text.substr(colon + 1));
    const std::string_view number = Trimmed(condition.substr(above + 1));
    const char* const end = number.data() + number.size();
    const auto read = std::from_chars(number.data(), end, parsed.most);
    return read.ec == std::errc() && read.ptr == end && !parsed.styles.empty();
}

}  // namespace

void BrowseAlerts::Declare(CLI::App& app) {
    app.add_option("--alert", texts_,
                   "Mark the nodes of a level with more than N leaves below: level>N:bold,red; may "
                   "be given more than once")
        ->type_name("ALERT")
        ->allow_extra_args(false);
}

CliResult<> BrowseAlerts::Read(const CliLevels& levels) {
    for (const std::string& text : texts_) {
        AlertText parsed;
        if (!ParseAlert(text, parsed)) {
            return CliFailure{
                CliExit::Usage,
                fmt::format("{} is no alert: it is written level>number:style, such as "
                            "{}>10:bold,red",
                            Quoted(text), levels.all.front().data.written)};
        }
        const auto found = levels.FindAll(parsed.level, "--alert");
        if (!found) {
            return found.Failure();
        }
        EDataTreeAlertDesc alert(Chaine(std::to_string(all_.size())));
        if (CliResult<> read = ReadStyles(parsed.styles, alert); !read) {
            return read;
        }
        if (found->size() != 1) {
            return CliFailure{CliExit::Usage,
                              fmt::format("{} names no single level", Quoted(text))};
        }
        available_.DeclareAlert(alert);
        all_.push_back({alert.ID(), *found->begin(), parsed.most, alert.PropagateToParent()});
    }
    return {};
}

}  // namespace etabulon
