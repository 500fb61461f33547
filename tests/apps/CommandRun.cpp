#include "apps/CommandRun.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

extern char** environ;

namespace etabulon::test {
namespace {

/// A program that hangs is a failure told, not a test that never ends.
constexpr int kPatience = 60000;

}  // namespace

CommandRun::CommandRun(const char* program, const std::vector<std::string>& arguments,
                       const char* output) {
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
    std::vector<std::string> texts{program};
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

void CommandRun::Finish() {
    while (outPipe_ >= 0 || errPipe_ >= 0) {
        ReadSome(kPatience);
    }
    int ended = 0;
    rusage used{};
    wait4(process_, &ended, 0, &used);
    seconds = static_cast<double>(used.ru_utime.tv_sec) +
              static_cast<double>(used.ru_utime.tv_usec) / 1e6;
    status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
}

CommandResult RunCommand(const std::vector<std::string>& arguments, const char* output) {
    CommandRun run(arguments, output);
    run.Finish();
    return {run.status, run.out, run.err, run.seconds};
}

void ExpectFailures(const std::vector<FailureCase>& cases, const std::vector<std::string>& base,
                    std::ptrdiff_t command) {
    for (const auto& [options, status, said] : cases) {
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.begin() + command, base.begin(), base.end());
        const CommandResult result = RunCommand(arguments);
        SCOPED_TRACE(testing::PrintToString(arguments) + result.err);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
        for (const std::string& text : said) {
            EXPECT_NE(result.err.find(text), std::string::npos) << text;
        }
    }
}

CommandResult RunShell(const std::string& line) {
    CommandRun run("/bin/sh", {"-c", line}, nullptr);
    run.Finish();
    return {run.status, run.out, run.err, run.seconds};
}

TestFolder::TestFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "etabulon-XXXXXX").string();
    const char* const made = mkdtemp(pattern.data());
    EXPECT_NE(made, nullptr);
    path_ = pattern;
}

TestFolder::~TestFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

std::string TestFolder::MakeDatabase(const std::string& name, const std::string& script) const {
    const std::string path = Path(name);
    Database(path).Do(script);
    return path;
}

std::string TestFolder::MakeFile(const std::string& name, const std::string& content) const {
    const std::string path = Path(name);
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

}  // namespace etabulon::test
