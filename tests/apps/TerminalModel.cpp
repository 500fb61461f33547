#include "apps/TerminalModel.h"

#include "apps/etabulon/output/CliUtf8.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace etabulon::test {
namespace {

std::vector<int> Numbers(std::string_view parameters) {
    std::vector<int> numbers;
    for (;;) {
        const std::string_view word = parameters.substr(0, parameters.find(';'));
        numbers.push_back(std::atoi(std::string(word).c_str()));
        if (word.size() == parameters.size()) {
            return numbers;
        }
        parameters.remove_prefix(word.size() + 1);
    }
}

}  // namespace

TerminalModel::TerminalModel(int width, int height) : width_(0), height_(0), bottom_(0) {
    Resize(width, height);
}

void TerminalModel::Resize(int width, int height) {
    width_ = width;
    height_ = height;
    bottom_ = height - 1;
    top_ = 0;
    rows_.resize(static_cast<std::size_t>(height));
    for (Row& row : rows_) {
        row.resize(static_cast<std::size_t>(width));
    }
    x_ = std::min(x_, width - 1);
    y_ = std::min(y_, height - 1);
}

std::string TerminalModel::Line(int line) const {
    std::string text;
    for (const Cell& cell : rows_.at(static_cast<std::size_t>(line))) {
        text += cell.text;
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string TerminalModel::Text() const {
    std::string text;
    for (int line = 0; line < height_; ++line) {
        text += Line(line) + "\n";
    }
    return text;
}

std::string TerminalModel::StyleOf(std::string_view text) const {
    for (const Row& row : rows_) {
        std::string line;
        std::vector<std::size_t> columns;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column].text;
            columns.resize(line.size(), column);
        }
        if (const std::size_t found = line.find(text); found != std::string::npos) {
            return row[columns[found]].style;
        }
    }
    return "not there";
}

void TerminalModel::Feed(std::string_view bytes) {
    rest_ += bytes;
    std::string_view rest = rest_;
    while (!rest.empty()) {
        std::size_t taken = 1;
        const auto lead = static_cast<unsigned char>(rest.front());
        if (rest.front() == '\x1B') {
            taken = Escape(rest);
        } else if (lead < 0x20) {
            Control(rest.front());
        } else if (const auto character = FirstCharacter(rest); character.length != 0) {
            taken = character.length;
            Put(rest.substr(0, taken), static_cast<int>(WidthOf(character.code)));
        } else {
            taken = rest.size() < 4 ? 0 : 1;
        }
        if (taken == 0) {
            break;  // the rest of it is still to come
        }
        rest.remove_prefix(taken);
    }
    rest_ = std::string(rest);
}

void TerminalModel::Put(std::string_view character, int width) {
    last_ = character;
    if (width == 0) {
        rows_[static_cast<std::size_t>(y_)][static_cast<std::size_t>(std::max(x_ - 1, 0))].text +=
            character;
        return;
    }
    if (wrapsNext_) {
        wrapsNext_ = false;
        x_ = 0;
        LineFeed();
    }
    Row& row = rows_[static_cast<std::size_t>(y_)];
    std::string style = bold_ ? "bold " : "";
    style += italic_ ? "italic " : "";
    style += reverse_ ? "reverse " : "";
    style += colour_;
    row[static_cast<std::size_t>(x_)] = {std::string(character),
                                         style.substr(0, style.find_last_not_of(' ') + 1)};
    if (width == 2 && x_ + 1 < width_) {
        row[static_cast<std::size_t>(x_ + 1)] = {"", ""};
    }
    x_ += width;
    if (x_ >= width_) {
        x_ = width_ - 1;
        wrapsNext_ = true;
    }
}

void TerminalModel::LineFeed() {
    if (y_ == bottom_) {
        Shift(top_, -1);
    } else {
        y_ = std::min(y_ + 1, height_ - 1);
    }
}

void TerminalModel::Control(char byte) {
    wrapsNext_ = false;
    if (byte == '\r') {
        x_ = 0;
    } else if (byte == '\n') {
        LineFeed();
    } else if (byte == '\b') {
        x_ = std::max(x_ - 1, 0);
    } else if (byte == '\t') {
        x_ = std::min((x_ / 8 + 1) * 8, width_ - 1);
    }
}

/// How many bytes the sequence has; 0 if it isn't whole.
std::size_t TerminalModel::Escape(std::string_view rest) {
    if (rest.size() < 2) {
        return 0;
    }
    if (rest[1] == '[') {
        std::size_t end = 2;
        while (end < rest.size() && (rest[end] < '@' || rest[end] > '~')) {
            ++end;
        }
        if (end == rest.size()) {
            return 0;
        }
        Csi(rest.substr(2, end - 2), rest[end]);
        return end + 1;
    }
    if (rest[1] == '(' || rest[1] == ')') {
        return rest.size() < 3 ? 0 : 3;  // character sets: the same letters in all
    }
    if (rest[1] == 'M') {
        y_ == top_ ? Shift(top_, 1) : static_cast<void>(--y_);
    } else if (rest[1] == '7') {
        saved_ = {x_, y_};
    } else if (rest[1] == '8') {
        std::tie(x_, y_) = saved_;
    } else if (std::string_view("=>").find(rest[1]) == std::string_view::npos) {
        unknown += "ESC ";
        unknown += rest[1];
        unknown += '\n';
    }
    return 2;
}

void TerminalModel::Erase(int line, int begin, int end) {
    for (int column = begin; column < std::min(end, width_); ++column) {
        rows_[static_cast<std::size_t>(line)][static_cast<std::size_t>(column)] = Cell();
    }
}

/// Moves the lines from `top` to the margin down, or up for less than 0.
void TerminalModel::Shift(int top, int lines) {
    const auto begin = rows_.begin() + top;
    const auto end = rows_.begin() + bottom_ + 1;
    const int count = std::min(std::abs(lines), bottom_ + 1 - top);
    if (lines < 0) {
        std::rotate(begin, begin + count, end);
        for (int line = bottom_ + 1 - count; line <= bottom_; ++line) {
            Erase(line, 0, width_);
        }
    } else {
        std::rotate(begin, end - count, end);
        for (int line = top; line < top + count; ++line) {
            Erase(line, 0, width_);
        }
    }
}

void TerminalModel::Csi(std::string_view parameters, char final) {
    const std::vector<int> numbers = Numbers(parameters);
    const int first = numbers[0];
    const int count = std::max(first, 1);
    const int second = numbers.size() > 1 ? std::max(numbers[1], 1) : 1;
    const auto column = [this](int x) { x_ = std::clamp(x, 0, width_ - 1); };
    const auto line = [this](int y) { y_ = std::clamp(y, 0, height_ - 1); };
    Row& row = rows_[static_cast<std::size_t>(y_)];
    const auto at = row.begin() + x_;
    const auto shifted = std::min(count, width_ - x_);
    wrapsNext_ = wrapsNext_ && (final == 'm' || final == 'h' || final == 'l');
    switch (final) {
        case 'H':
        case 'f':
            line(count - 1);
            return column(second - 1);
        case 'd':
            return line(count - 1);
        case 'G':
            return column(count - 1);
        case 'A':
            return line(y_ - count);
        case 'B':
            return line(y_ + count);
        case 'C':
            return column(x_ + count);
        case 'D':
            return column(x_ - count);
        case 'J':
            Erase(y_, first == 0 ? x_ : 0, first == 1 ? x_ + 1 : width_);
            for (int other = first == 0 ? y_ + 1 : 0; other < (first == 1 ? y_ : height_);
                 ++other) {
                Erase(other, 0, width_);
            }
            return;
        case 'K':
            return Erase(y_, first == 0 ? x_ : 0, first == 1 ? x_ + 1 : width_);
        case 'X':
            return Erase(y_, x_, x_ + count);
        case 'P':
            std::rotate(at, at + shifted, row.end());
            return Erase(y_, width_ - shifted, width_);
        case '@':
            std::rotate(at, row.end() - shifted, row.end());
            return Erase(y_, x_, x_ + shifted);
        case 'L':
            return Shift(y_, count);
        case 'M':
            return Shift(y_, -count);
        case 'S':
            return Shift(top_, -count);
        case 'T':
            return Shift(top_, count);
        case 'r':
            top_ = count - 1;
            bottom_ = numbers.size() > 1 ? second - 1 : height_ - 1;
            x_ = y_ = 0;
            return;
        case 'b':
            for (int turn = 0; turn < count; ++turn) {
                Put(std::string(last_), 1);
            }
            return;
        case 'm':
            return Style(numbers);
        case 'h':
        case 'l':
            return Mode(parameters, final == 'h');
        case 't':  // titles and window sizes
            return;
        default:
            unknown += "CSI " + std::string(parameters) + final + "\n";
    }
}

void TerminalModel::Mode(std::string_view parameters, bool on) {
    if (parameters == "?1049") {
        isAlternate = on;
    } else if (parameters.find("25") != std::string_view::npos) {
        isCursorShown = on;
    }
}

void TerminalModel::Style(const std::vector<int>& codes) {
    for (const int code : codes) {
        if (code == 0) {
            bold_ = italic_ = reverse_ = false;
            colour_.clear();
        } else if (code == 1) {
            bold_ = true;
        } else if (code == 3 || code == 23) {
            italic_ = code == 3;
        } else if (code == 7 || code == 27) {
            reverse_ = code == 7;
        } else if (code >= 30 && code < 39) {
            colour_ = std::to_string(code);
        } else if (code == 39) {
            colour_.clear();
        }
    }
}

}  // namespace etabulon::test
