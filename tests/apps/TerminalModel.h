#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace etabulon::test {

/// What a terminal of the xterm family shows, as far as curses programs ask it to.
class TerminalModel {
public:
    TerminalModel(int width, int height);
    void Feed(std::string_view bytes);
    void Resize(int width, int height);

    /// A line without the blanks at its end.
    [[nodiscard]] std::string Line(int line) const;
    /// All lines, each with an end.
    [[nodiscard]] std::string Text() const;
    /// "bold 31", "reverse"; "" for plain: of the cell where `text` begins for the first time.
    [[nodiscard]] std::string StyleOf(std::string_view text) const;

    bool isAlternate = false;  // the screen that goes when the program has gone
    bool isCursorShown = true;
    std::string unknown;  // sequences that it doesn't know

private:
    struct Cell {
        std::string text = " ";  // empty behind a wide character
        std::string style;
    };
    using Row = std::vector<Cell>;
    void Put(std::string_view character, int width);
    void Control(char byte);
    std::size_t Escape(std::string_view rest);
    void Csi(std::string_view parameters, char final);
    void Mode(std::string_view parameters, bool on);
    void Style(const std::vector<int>& codes);
    void Erase(int line, int begin, int end);
    void Shift(int top, int lines);
    void LineFeed();

    int width_;
    int height_;
    std::vector<Row> rows_;
    int x_ = 0;
    int y_ = 0;
    int top_ = 0;
    int bottom_;
    std::pair<int, int> saved_{0, 0};
    bool wrapsNext_ = false;
    bool bold_ = false;
    bool italic_ = false;
    bool reverse_ = false;
    std::string colour_;
    std::string last_ = " ";
    std::string rest_;  // of a sequence that hasn't come whole
};

}  // namespace etabulon::test
