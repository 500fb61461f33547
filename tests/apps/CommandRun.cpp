#include "apps/CommandRun.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdlib>

extern char** environ;

namespace etabulon::test {
namespace {

/// A program that hangs is a failure told, not a test that never ends.
constexpr int kPatience = 60000;

}  // namespace

Arguments Words(const std::string& line, const std::string& path) {
    Arguments words;
    for (std::size_t at = 0; (at = line.find_first_not_of(' ', at)) != std::string::npos;) {
        const bool isQuoted = line[at] == '\'';
        at += isQuoted ? 1 : 0;
        const std::size_t end = std::min(line.find(isQuoted ? '\'' : ' ', at), line.size());
        words.push_back(line.substr(at, end - at));
        if (!isQuoted && words.back() == "@") {
            words.back() = path;
        }
        at = end + (isQuoted ? 1 : 0);
    }
    return words;
}

CommandRun::CommandRun(const char* program, const Arguments& arguments, const char* output) {
    std::array<int, 2> outEnds{-1, -1};
    std::array<int, 2> errEnds{-1, -1};
    EXPECT_EQ(pipe2(outEnds.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(errEnds.data(), O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output != nullptr) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output, O_WRONLY, 0);
    } else {
        posix_spawn_file_actions_adddup2(&actions, outEnds[1], STDOUT_FILENO);
    }
    posix_spawn_file_actions_adddup2(&actions, errEnds[1], STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    posix_spawnattr_setsigmask(&attributes, &blocked);
    sigset_t defaults = blocked;
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    setenv("ETABULON", ETABULON_COMMAND, /*overwrite=*/1);
    Arguments texts{program};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&process_, program, &actions, &attributes, pointers.data(), environ), 0);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(outEnds[1]);
    close(errEnds[1]);
    outPipe_ = outEnds[0];
    errPipe_ = errEnds[0];
}

CommandRun::~CommandRun() {
    if (process_ > 0 && status == -1) {
        kill(process_, SIGKILL);
        Finish();
    }
}

void CommandRun::ReadSome(int milliseconds) {
    std::array<pollfd, 2> ends{{{outPipe_, POLLIN, 0}, {errPipe_, POLLIN, 0}}};
    if (poll(ends.data(), ends.size(), milliseconds) <= 0) {
        ADD_FAILURE() << "the program neither writes nor ends";
        kill(process_, SIGKILL);
        return;
    }
    std::array<char, 65536> buffer{};
    for (const pollfd& end : ends) {
        if (end.fd < 0 || end.revents == 0) {
            continue;
        }
        const ssize_t count = read(end.fd, buffer.data(), buffer.size());
        if (count > 0) {
            (end.fd == outPipe_ ? out : err).append(buffer.data(), static_cast<std::size_t>(count));
            continue;
        }
        int& pipe = end.fd == outPipe_ ? outPipe_ : errPipe_;
        close(pipe);
        pipe = -1;
    }
}

void CommandRun::ReadAtLeast(std::size_t bytes) {
    while (outPipe_ >= 0 && out.size() < bytes) {
        ReadSome(kPatience);
    }
}

void CommandRun::Interrupt(int signal) const { kill(process_, signal); }

bool CommandRun::IsRunning() const {
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0;
}

void CommandRun::CloseOutput() {
    close(outPipe_);
    outPipe_ = -1;
}

const CommandResult& CommandRun::Finish() {
    while (outPipe_ >= 0 || errPipe_ >= 0) {
        ReadSome(kPatience);
    }
    int ended = 0;
    rusage used{};
    wait4(process_, &ended, 0, &used);
    seconds = static_cast<double>(used.ru_utime.tv_sec) +
              static_cast<double>(used.ru_utime.tv_usec) / 1e6;
    status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
    return *this;
}

CommandResult RunCommand(const Arguments& arguments, const char* output) {
    CommandRun run(arguments, output);
    return run.Finish();
}

CommandResult RunLine(const std::string& line, const std::string& path, const char* output) {
    return RunCommand(Words(line, path), output);
}

std::string Printed(const std::string& line, const std::string& path) {
    const CommandResult result = RunLine(line, path);
    EXPECT_EQ(result.status, 0) << line;
    const bool isLimited = line.find("--limit") != std::string::npos &&
                           result.err.starts_with("etabulon: --limit leaves out ");
    EXPECT_EQ(isLimited ? "" : result.err, "") << line;
    return result.out;
}

CommandResult RunInterrupted(const Arguments& arguments, std::size_t bytes) {
    CommandRun run(arguments);
    run.ReadAtLeast(bytes);
    run.Interrupt();
    return run.Finish();
}

CommandResult RunWithoutReader(const Arguments& arguments, std::size_t bytes) {
    CommandRun run(arguments);
    run.ReadAtLeast(bytes);
    run.CloseOutput();
    return run.Finish();
}

void ExpectHas(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
    }
}

void ExpectFailures(const std::vector<FailureCase>& cases, const std::string& path) {
    for (const auto& [line, status, said] : cases) {
        SCOPED_TRACE(line);
        const CommandResult result = RunLine(line, path);
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        ExpectHas(result.err, said);
    }
}

CommandResult RunShell(const std::string& line) {
    CommandRun run("/bin/sh", {"-c", line}, nullptr);
    return run.Finish();
}

}  // namespace etabulon::test
