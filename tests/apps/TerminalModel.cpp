#include "apps/TerminalModel.h"

namespace etabulon::test {

TerminalModel::TerminalModel(int width, int height)
    : terminal_(vterm_new(height, width), &vterm_free),
      screen_(vterm_obtain_screen(terminal_.get())) {
    static const VTermScreenCallbacks kCallbacks = [] {
        VTermScreenCallbacks callbacks{};
        callbacks.settermprop = [](VTermProp property, VTermValue* value, void* self) {
            auto& model = *static_cast<TerminalModel*>(self);
            if (property == VTERM_PROP_ALTSCREEN) {
                model.isAlternate = value->boolean != 0;
            } else if (property == VTERM_PROP_CURSORVISIBLE) {
                model.isCursorShown = value->boolean != 0;
            }
            return 1;
        };
        return callbacks;
    }();
    static const VTermParserCallbacks kUnknown = [] {
        VTermParserCallbacks callbacks{};
        callbacks.csi = [](const char*, const long*, int, const char*, char final, void* self) {
            if (final != 't') {  // titles and window sizes
                static_cast<TerminalModel*>(self)->unknown += std::string("CSI ") + final + "\n";
            }
            return 1;
        };
        return callbacks;
    }();
    vterm_set_utf8(terminal_.get(), 1);
    vterm_screen_set_callbacks(screen_, &kCallbacks, this);
    vterm_screen_set_unrecognised_fallbacks(screen_, &kUnknown, this);
    vterm_screen_enable_altscreen(screen_, 1);
    vterm_screen_reset(screen_, 1);
}

std::string TerminalModel::TextTo(int line, int column) const {
    std::string text(static_cast<std::size_t>(column) * 4 * VTERM_MAX_CHARS_PER_CELL, ' ');
    text.resize(
        vterm_screen_get_text(screen_, text.data(), text.size(), {line, line + 1, 0, column}));
    return text;
}

std::string TerminalModel::Line(int line) const {
    int height = 0;
    int width = 0;
    vterm_get_size(terminal_.get(), &height, &width);
    const std::string text = TextTo(line, width);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string TerminalModel::Text() const {
    int height = 0;
    int width = 0;
    vterm_get_size(terminal_.get(), &height, &width);
    std::string text;
    for (int line = 0; line < height; ++line) {
        text += Line(line) + "\n";
    }
    return text;
}

std::string TerminalModel::StyleOf(std::string_view text) const {
    const std::string all = Text();
    const std::size_t found = all.find(text);
    if (found == std::string::npos) {
        return "not there";
    }
    VTermPos at{0, 0};
    std::size_t begin = 0;  // of the line
    for (std::size_t end = 0; (end = all.find('\n', begin)) < found; begin = end + 1) {
        ++at.row;
    }
    while (TextTo(at.row, at.col + 1).size() <= found - begin) {
        ++at.col;
    }
    VTermScreenCell cell{};
    vterm_screen_get_cell(screen_, at, &cell);
    std::string style = cell.attrs.bold != 0 ? "bold " : "";
    style += cell.attrs.italic != 0 ? "italic " : "";
    style += cell.attrs.reverse != 0 ? "reverse " : "";
    if (VTERM_COLOR_IS_INDEXED(&cell.fg) && !VTERM_COLOR_IS_DEFAULT_FG(&cell.fg)) {
        style += std::to_string(30 + cell.fg.indexed.idx);
    }
    return style.substr(0, style.find_last_not_of(' ') + 1);
}

}  // namespace etabulon::test
