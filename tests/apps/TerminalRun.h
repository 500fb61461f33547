#pragma once

#include "apps/TerminalModel.h"

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <vector>

namespace etabulon::test {

/// The command line program in a terminal of its own.
class TerminalRun {
public:
    /// With `input` that file is its standard input; what is typed comes from the terminal.
    TerminalRun(const std::vector<std::string>& arguments, const char* terminal = "xterm-256color",
                int width = 64, int height = 14, const char* input = nullptr);
    TerminalRun(const TerminalRun&) = delete;
    TerminalRun& operator=(const TerminalRun&) = delete;
    ~TerminalRun();

    /// Types, and waits until the screen has the text somewhere.
    void Type(std::string_view keys, const std::string& awaited = "");
    void Resize(int width, int height);
    void Signal(int signal) const;
    /// Reads until that is so; a failure that shows the screen if it never is.
    void Await(const std::string& what, const std::function<bool()>& isSo);
    /// Until the screen has the text somewhere.
    void AwaitText(const std::string& text);
    /// Until the lines of the tree are these, to the last one that isn't blank.
    void AwaitTree(const std::string& lines);
    /// Until it has ended.
    void Finish();

    /// The lines between the title and the status.
    [[nodiscard]] std::string Tree() const;
    [[nodiscard]] std::string Status() const { return screen.Line(height_ - 2); }
    /// The terminal has the settings that it began with.
    [[nodiscard]] bool IsRestored() const;

    TerminalModel screen;
    std::string raw;
    int status = -1;  // what it ended with; 128 and more: by that signal

private:
    /// False at the end.
    bool ReadSome(int milliseconds);

    int height_;
    pid_t process_ = -1;
    int master_ = -1;
    int held_ = -1;  // keeps the settings when the program has gone
    termios settings_{};
};

}  // namespace etabulon::test
