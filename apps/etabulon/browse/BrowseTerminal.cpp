// The only file that knows ncurses.
#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS 1
#include "apps/etabulon/browse/BrowseTerminal.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "etabulon/report/EReportWidth.h"

#include <curses.h>
#include <fmt/format.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <term.h>
#include <unistd.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace etabulon {
namespace {

constexpr int kEscape = 27;
constexpr int kEscapeMilliseconds = 100;  // the rest of a key's sequence arrives within this time
constexpr wchar_t kNoCharacter = L'\uFFFD';

/// Sequences that terminals send even if terminfo has others, and keys without a standard name in
/// terminfo. Each has a code of its own: ncurses drops a code's former sequence when it gets a new
/// one.
struct KeySequence {
    const char* bytes;
    BrowseKey key;
};
constexpr std::array kSequences = {
    KeySequence{"\x1B[1;3A", BrowseKey::LevelUp},  KeySequence{"\x1B[1;3B", BrowseKey::LevelDown},
    KeySequence{"\x1B\x1B[A", BrowseKey::LevelUp}, KeySequence{"\x1B\x1B[B", BrowseKey::LevelDown},
    KeySequence{"\x1B\x1BOA", BrowseKey::LevelUp}, KeySequence{"\x1B\x1BOB", BrowseKey::LevelDown},
    KeySequence{"\x1B[A", BrowseKey::Up},          KeySequence{"\x1B[B", BrowseKey::Down},
    KeySequence{"\x1B[C", BrowseKey::Right},       KeySequence{"\x1B[D", BrowseKey::Left},
    KeySequence{"\x1B[5~", BrowseKey::PageUp},     KeySequence{"\x1B[6~", BrowseKey::PageDown},
    KeySequence{"\x1B[H", BrowseKey::Home},        KeySequence{"\x1B[F", BrowseKey::End},
    KeySequence{"\x1B[1~", BrowseKey::Home},       KeySequence{"\x1B[4~", BrowseKey::End},
    KeySequence{"\x1B[15~", BrowseKey::Refresh},
};
constexpr int kFirstSequence = KEY_MAX + 1;

struct KeyMeaning {
    int code;
    BrowseKey key;
};
constexpr std::array kMeanings = {
    KeyMeaning{ERR, BrowseKey::None},           KeyMeaning{KEY_UP, BrowseKey::Up},
    KeyMeaning{KEY_DOWN, BrowseKey::Down},      KeyMeaning{KEY_LEFT, BrowseKey::Left},
    KeyMeaning{KEY_RIGHT, BrowseKey::Right},    KeyMeaning{KEY_PPAGE, BrowseKey::PageUp},
    KeyMeaning{KEY_NPAGE, BrowseKey::PageDown}, KeyMeaning{KEY_HOME, BrowseKey::Home},
    KeyMeaning{KEY_END, BrowseKey::End},        KeyMeaning{'\r', BrowseKey::Enter},
    KeyMeaning{'\n', BrowseKey::Enter},         KeyMeaning{KEY_ENTER, BrowseKey::Enter},
    KeyMeaning{'+', BrowseKey::Plus},           KeyMeaning{'-', BrowseKey::Minus},
    KeyMeaning{'<', BrowseKey::LevelUp},        KeyMeaning{'>', BrowseKey::LevelDown},
    KeyMeaning{'h', BrowseKey::Hide},           KeyMeaning{'s', BrowseKey::Show},
    KeyMeaning{KEY_F(5), BrowseKey::Refresh},   KeyMeaning{'r', BrowseKey::Refresh},
    KeyMeaning{kEscape, BrowseKey::Cancel},     KeyMeaning{'\f', BrowseKey::Redraw},
    KeyMeaning{KEY_RESIZE, BrowseKey::Redraw},  KeyMeaning{'q', BrowseKey::Quit},
    KeyMeaning{'w', BrowseKey::SaveView},
};

/// Makes ncurses write UTF-8 in every locale, as the other commands do.
void SetCharacters() {
    if (setlocale(LC_CTYPE, "") == nullptr || std::string_view(nl_langinfo(CODESET)) != "UTF-8") {
        setlocale(LC_CTYPE, "C.UTF-8");
    }
}

bool IsPicture(char32_t code) noexcept {
    return (code >= 0x2190 && code <= 0x2BFF) || (code >= 0x1F000 && code <= 0x1FFFF);
}

/// A character behind another one, about whose effect on the width terminals disagree: a style of
/// emoji, or, behind a picture, a joiner or a skin tone.
bool IsDisputed(char32_t code, char32_t first) noexcept {
    const bool isStyle = code == 0xFE0E || code == 0xFE0F;
    const bool isTone = code >= 0x1F3FB && code <= 0x1F3FF;
    return isStyle || (IsPicture(first) && (code == 0x200D || isTone));
}

/// Appends one cluster without the characters that terminals disagree about: a picture that is
/// joined of several is drawn as these. Returns the cells that it takes, which are those of
/// ncurses.
int AppendCluster(std::string_view cluster, std::wstring& wide) {
    const char32_t first = FirstCharacter(cluster).code;
    int cells = 0;
    for (bool isFirst = true; !cluster.empty(); isFirst = false) {
        const detail::Utf8Character character = FirstCharacter(cluster);
        cluster.remove_prefix(character.length);
        if (!isFirst && IsDisputed(character.code, first)) {
            continue;
        }
        const auto code = static_cast<wchar_t>(character.code);
        const int width = wcwidth(code);
        wide += width < 0 ? kNoCharacter : code;
        cells += width < 0 ? 1 : width;
    }
    return cells;
}

/// Appends the text in the form of AppendShown, cut to `width` cells.
int AppendWide(std::string_view text, int width, std::wstring& wide) {
    std::string shown;
    AppendShown(shown, text);
    int used = 0;
    for (std::string_view rest = shown; !rest.empty();) {
        const std::size_t length = FirstCluster(rest).length;
        const std::size_t before = wide.size();
        const int cells = AppendCluster(rest.substr(0, length), wide);
        if (used + cells > width) {
            wide.resize(before);
            break;
        }
        used += cells;
        rest.remove_prefix(length);
    }
    return used;
}

/// The nearest of the eight colours that every colour terminal has.
short NearestColour(EColour colour) {
    constexpr EColour kStrong = 0x80;
    const bool red = (colour & 0xFFU) >= kStrong;
    const bool green = ((colour >> 8U) & 0xFFU) >= kStrong;
    const bool blue = ((colour >> 16U) & 0xFFU) >= kStrong;
    return static_cast<short>((red ? COLOR_RED : 0) | (green ? COLOR_GREEN : 0) |
                              (blue ? COLOR_BLUE : 0));
}

class CursesTerminal final : public BrowseTerminal {
public:
    /// Requires a terminal that terminfo knows and that can place its cursor.
    explicit CursesTerminal(bool hasColours) {
        set_escdelay(kEscapeMilliseconds);
        screen_ = newterm(nullptr, stdout, stdin);
        if (screen_ == nullptr) {
            return;
        }
        cbreak();
        noecho();
        nonl();
        keypad(stdscr, TRUE);
        nodelay(stdscr, TRUE);
        curs_set(0);
        for (std::size_t index = 0; index < kSequences.size(); ++index) {
            define_key(kSequences[index].bytes, 0);
            define_key(kSequences[index].bytes, kFirstSequence + static_cast<int>(index));
        }
        hasColours_ = hasColours && has_colors() && start_color() == OK;
        if (hasColours_) {
            use_default_colors();
            for (short colour = 0; colour < kColours; ++colour) {
                init_pair(static_cast<short>(colour + 1), colour, -1);
            }
        }
    }
    /// Leaves the screen to ncurses until the process ends. If memory ran out while ncurses set up
    /// the colours, which it doesn't report, freeing the screen would read through a null pointer.
    ~CursesTerminal() override { Close(); }

    [[nodiscard]] bool IsOpen() const noexcept { return screen_ != nullptr && !isClosed_; }

    void Close() override {
        if (IsOpen()) {
            endwin();
            isClosed_ = true;
        }
    }

    [[nodiscard]] EPoint Size() const override { return {COLS, LINES}; }

    void TakeSize() override {
        struct winsize size {};
        if (IsOpen() && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 &&
            size.ws_col > 0) {
            resizeterm(size.ws_row, size.ws_col);
        }
    }

    void Clear(const ERect& rect) override {
        attr_set(A_NORMAL, 0, nullptr);
        for (int line = rect.top; line < rect.bottom; ++line) {
            mvhline(line, rect.left, ' ', rect.right - rect.left);
        }
    }

    int Put(EPoint at, std::string_view text, int width, const BrowseStyle& style) override {
        std::wstring wide;
        // ncurses keeps a mark in the cell before it, which the first cell of a line lacks.
        const bool isIsolated = at.x > 0 && HasRightToLeft(text);
        wide += isIsolated ? L"\u2068" : L"";
        const int used = AppendWide(text, width, wide);
        wide += isIsolated ? L"\u2069" : L"";
        const bool isColoured = hasColours_ && style.colour != kDefaultColour;
        const attr_t attributes =
            (style.bold ? A_BOLD : A_NORMAL) | (style.italic ? A_ITALIC : A_NORMAL) |
            (style.reverse ? A_REVERSE : A_NORMAL) | (style.dim ? A_DIM : A_NORMAL);
        attr_set(attributes, static_cast<short>(isColoured ? NearestColour(style.colour) + 1 : 0),
                 nullptr);
        mvaddnwstr(at.y, at.x, wide.data(), static_cast<int>(wide.size()));
        return used;
    }

    [[nodiscard]] int WidthOf(std::string_view text) const override {
        std::wstring wide;
        return AppendWide(text, static_cast<int>(text.size()) * 4, wide);
    }

    void Show() override {
        if (IsOpen()) {
            refresh();
        }
    }

    void Invalidate() override { clearok(curscr, TRUE); }

    [[nodiscard]] BrowseKey ReadKey() override {
        if (!IsOpen()) {
            return BrowseKey::None;
        }
        const int code = getch();
        if (code == kEscape && SkipSequence()) {
            return BrowseKey::Other;
        }
        const int sequence = code - kFirstSequence;
        if (sequence >= 0 && sequence < static_cast<int>(kSequences.size())) {
            return kSequences[static_cast<std::size_t>(sequence)].key;
        }
        for (const KeyMeaning& meaning : kMeanings) {
            if (meaning.code == code) {
                return meaning.key;
            }
        }
        return BrowseKey::Other;
    }

private:
    static constexpr short kColours = 8;

    /// Reads the rest of an unknown key's sequence after its escape, so that its letters aren't
    /// taken for keys.
    static bool SkipSequence() {
        int next = getch();
        if (next != '[' && next != 'O') {
            if (next != ERR) {
                ungetch(next);
            }
            return false;
        }
        do {
            next = getch();
        } while (next != ERR && (next < '@' || next > '~'));
        return true;
    }

    SCREEN* screen_ = nullptr;
    bool isClosed_ = false;
    bool hasColours_ = false;
};

/// Asks terminfo directly, as newterm gives no reason for a failure.
CliResult<> CheckTerminal() {
    const char* const name = std::getenv("TERM");
    if (name == nullptr || *name == '\0') {
        return CliFailure{CliExit::Usage, "browse has to know the terminal: TERM isn't set"};
    }
    int found = 0;
    if (setupterm(name, STDOUT_FILENO, &found) != OK) {
        return CliFailure{CliExit::Usage, fmt::format("browse doesn't know the terminal {}: TERM "
                                                      "names none that terminfo has",
                                                      Quoted(name))};
    }
    const bool placesCursor = cursor_address != nullptr && clear_screen != nullptr;
    del_curterm(cur_term);
    if (placesCursor) {
        return {};
    }
    return CliFailure{CliExit::Usage,
                      fmt::format("browse needs a terminal that can place its cursor, which {} "
                                  "can't (see TERM)",
                                  Quoted(name))};
}

}  // namespace

CliResult<std::unique_ptr<BrowseTerminal>> BrowseTerminal::Open(bool hasColours) {
    if (const CliResult<> checked = CheckTerminal(); !checked) {
        return checked.Failure();
    }
    SetCharacters();
    auto terminal = std::make_unique<CursesTerminal>(hasColours);
    if (!terminal->IsOpen()) {
        return CliFailure{CliExit::Failed, "the terminal can't be used"};
    }
    return std::unique_ptr<BrowseTerminal>(std::move(terminal));
}

}  // namespace etabulon
