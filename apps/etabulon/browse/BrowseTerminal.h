#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "etabulon/controls/EScreenTypes.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace etabulon {

/// The meaning of a key, independent of the bytes that the terminal sends.
enum class BrowseKey : std::uint8_t {
    None = 0,  // no key waits
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
    SaveView = 21,
};

struct BrowseStyle {
    bool bold = false;
    bool italic = false;
    bool reverse = false;
    bool dim = false;
    EColour colour = kDefaultColour;  // kDefaultColour: the terminal's own
};

/// The whole screen of the terminal, drawn in cells. Nothing reaches the terminal before Show,
/// which sends only the cells that differ.
///
/// Threads    the thread that opened it. One terminal exists at a time.
/// Failure    Close and the destructor restore the terminal's former state. After Close all
///            operations except Size do nothing.
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
    /// Reads the size again, after the terminal's window has changed.
    virtual void TakeSize() = 0;
    virtual void Clear(const ERect& rect) = 0;
    /// Draws any bytes in the form of AppendShown, cut to `width` cells. Returns the cells used.
    virtual int Put(EPoint at, std::string_view text, int width, const BrowseStyle& style) = 0;
    /// The cells that the text would take.
    [[nodiscard]] virtual int WidthOf(std::string_view text) const = 0;
    virtual void Show() = 0;
    /// Makes the next Show send all cells.
    virtual void Invalidate() = 0;
    /// The next key; None if no key waits.
    [[nodiscard]] virtual BrowseKey ReadKey() = 0;
};

}  // namespace etabulon
