#pragma once

#include <vterm.h>

#include <memory>
#include <string>
#include <string_view>

namespace etabulon::test {

/// What a terminal of the xterm family shows.
class TerminalModel {
public:
    TerminalModel(int width, int height);

    void Feed(std::string_view bytes) {
        vterm_input_write(terminal_.get(), bytes.data(), bytes.size());
    }
    void Resize(int width, int height) { vterm_set_size(terminal_.get(), height, width); }
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
    /// Of a line, down to this column.
    [[nodiscard]] std::string TextTo(int line, int column) const;

    std::unique_ptr<VTerm, decltype(&vterm_free)> terminal_;
    VTermScreen* screen_;
};

}  // namespace etabulon::test
