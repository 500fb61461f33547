#include "apps/TerminalRun.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>

namespace etabulon::test {
namespace {

/// A program that hangs is a failure told, not a test that never ends.
constexpr std::chrono::seconds kPatience(60);

}  // namespace

TerminalRun::TerminalRun(const std::vector<std::string>& arguments, const char* terminal, int width,
                         int height, const char* input)
    : screen(width, height), height_(height) {
    std::vector<std::string> texts{"etabulon"};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    const winsize size{static_cast<unsigned short>(height), static_cast<unsigned short>(width), 0,
                       0};
    std::array<char, 128> name{};
    process_ = forkpty(&master_, name.data(), nullptr, &size);
    if (process_ == 0) {
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        setenv("TERM", terminal, 1);
        unsetenv("NO_COLOR");
        unsetenv("LINES");
        unsetenv("COLUMNS");
        if (input != nullptr) {
            dup2(open(input, O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        }
        execv(ETABULON_COMMAND, pointers.data());
        _exit(127);
    }
    EXPECT_GT(process_, 0);
    held_ = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    tcgetattr(held_, &settings_);
}

TerminalRun::~TerminalRun() {
    if (process_ > 0 && status == -1) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    close(held_);
    close(master_);
}

void TerminalRun::Type(std::string_view keys, const std::string& awaited) {
    while (!keys.empty()) {
        const ssize_t count = write(master_, keys.data(), keys.size());
        ASSERT_GT(count, 0);
        keys.remove_prefix(static_cast<std::size_t>(count));
    }
    if (!awaited.empty()) {
        AwaitText(awaited);
    }
}

void TerminalRun::Resize(int width, int height) {
    const winsize size{static_cast<unsigned short>(height), static_cast<unsigned short>(width), 0,
                       0};
    height_ = height;
    screen.Resize(width, height);
    EXPECT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
}

void TerminalRun::Signal(int signal) const { kill(process_, signal); }

bool TerminalRun::ReadSome(int milliseconds) {
    pollfd end{master_, POLLIN, 0};
    if (poll(&end, 1, milliseconds) <= 0) {
        return true;
    }
    std::array<char, 65536> buffer{};
    const ssize_t count = read(master_, buffer.data(), buffer.size());
    if (count <= 0) {
        return false;
    }
    raw.append(buffer.data(), static_cast<std::size_t>(count));
    screen.Feed({buffer.data(), static_cast<std::size_t>(count)});
    return true;
}

void TerminalRun::Await(const std::string& what, const std::function<bool()>& isSo) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!isSo()) {
        if (!ReadSome(50) || std::chrono::steady_clock::now() > deadline ||
            testing::Test::HasFatalFailure()) {
            FAIL() << "never came: " << what << "\n" << screen.Text();
        }
    }
    EXPECT_EQ(screen.unknown, "");
}

void TerminalRun::AwaitText(const std::string& text) {
    Await(text, [&] { return screen.Text().find(text) != std::string::npos; });
}

std::string TerminalRun::Tree() const {
    std::string lines;
    for (int line = 1; line < height_ - 2; ++line) {
        lines += screen.Line(line) + "\n";
    }
    return lines.substr(0, lines.find_last_not_of('\n') + 1);
}

void TerminalRun::AwaitTree(const std::string& lines) {
    Await("\n" + lines, [&] { return Tree() == lines; });
}

void TerminalRun::Finish() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    int ended = 0;
    while (waitpid(process_, &ended, WNOHANG) == 0) {
        ReadSome(20);
        if (std::chrono::steady_clock::now() > deadline) {
            kill(process_, SIGKILL);
            FAIL() << "it doesn't end\n" << screen.Text();
        }
    }
    pollfd end{master_, POLLIN, 0};
    while (poll(&end, 1, 0) > 0 && ReadSome(0)) {
    }
    status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
}

bool TerminalRun::IsRestored() const {
    termios settings{};
    return tcgetattr(held_, &settings) == 0 && settings.c_lflag == settings_.c_lflag &&
           settings.c_iflag == settings_.c_iflag && settings.c_oflag == settings_.c_oflag &&
           !screen.isAlternate && screen.isCursorShown;
}

}  // namespace etabulon::test
