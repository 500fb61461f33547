#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "etabulon/controls/EScreenTypes.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace etabulon {

/// What a key means, whatever the terminal sends for it.
enum class BrowseKey : std::uint8_t {
    None = 0,  // none waits
    Other = 1,
    Up = 2,
    Down = 3,
    Left = 4,
    Right = 5,
    PageUp = 6,
    PageDown = 7,
    Home = 8,
    End = 9,
    Enter = 10,
    Plus = 11,
    Minus = 12,
    LevelUp = 13,
    LevelDown = 14,
    Hide = 15,
    Show = 16,
    Refresh = 17,
    Cancel = 18,
    Redraw = 19,
    Quit = 20,
};

struct BrowseStyle {
    bool bold = false;
    bool italic = false;
    bool reverse = false;
    bool dim = false;
    EColour colour = kDefaultColour;  // kDefaultColour: the terminal's own
};

/// The terminal as a whole screen. Drawn in cells; nothing reaches the terminal before Show, and
/// then only what differs.
///
/// Threads    the one that opened it. There is one at a time.
/// Failure    destroyed or closed, it gives the terminal back as it found it. After Close all but
///            Size does nothing.
class BrowseTerminal {
public:
    [[nodiscard]] static CliResult<std::unique_ptr<BrowseTerminal>> Open(bool hasColours);
    BrowseTerminal() = default;
    BrowseTerminal(const BrowseTerminal&) = delete;
    BrowseTerminal& operator=(const BrowseTerminal&) = delete;
    virtual ~BrowseTerminal() = default;

    virtual void Close() = 0;
    /// Columns and lines.
    [[nodiscard]] virtual EPoint Size() const = 0;
    /// Learns the size anew, after the terminal's window has changed.
    virtual void TakeSize() = 0;
    virtual void Clear(const ERect& rect) = 0;
    /// A text of any bytes, as it may be shown, cut to `width` cells. Returns the cells it took.
    virtual int Put(EPoint at, std::string_view text, int width, const BrowseStyle& style) = 0;
    /// The cells that it would take.
    [[nodiscard]] virtual int WidthOf(std::string_view text) const = 0;
    virtual void Show() = 0;
    /// All of it will be sent anew by the next Show.
    virtual void Invalidate() = 0;
    /// None where no key waits.
    [[nodiscard]] virtual BrowseKey ReadKey() = 0;
};

}  // namespace etabulon
