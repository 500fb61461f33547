#pragma once

#include "support/Database.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace etabulon::test {

/// The command line program as a process of its own.
class CommandRun {
public:
    /// Starts it with these arguments, its stdout and stderr in pipes. With `output` stdout is that
    /// file. SIGINT starts out blocked: one sent at any time waits until the program looks for it.
    explicit CommandRun(const std::vector<std::string>& arguments, const char* output = nullptr)
        : CommandRun(ETABULON_COMMAND, arguments, output) {}
    /// Another program. The variable ETABULON names this one to it.
    CommandRun(const char* program, const std::vector<std::string>& arguments, const char* output);
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;
    ~CommandRun();

    /// Reads stdout until it has at least this many bytes.
    void ReadAtLeast(std::size_t bytes);
    void Interrupt(int signal = SIGINT) const;
    [[nodiscard]] bool IsRunning() const;
    /// Ends reading: what the program writes from here on fails.
    void CloseOutput();
    /// Reads on to the end and waits for it.
    void Finish();

    std::string out;
    std::string err;
    int status = -1;     // what it ended with; 128 and more: by that signal
    double seconds = 0;  // that it has computed

private:
    void ReadSome(int milliseconds);
    pid_t process_ = -1;
    int outPipe_ = -1;
    int errPipe_ = -1;
};

/// Runs it to the end.
struct CommandResult {
    int status = -1;
    std::string out;
    std::string err;
    double seconds = 0;
};
CommandResult RunCommand(const std::vector<std::string>& arguments, const char* output = nullptr);
/// How a command fails: with this status, nothing on stdout, and one line on stderr that has all of
/// these texts.
struct FailureCase {
    std::vector<std::string> arguments;
    int status;
    std::vector<std::string> said;
};
/// `base` stands before the arguments, but for `command` of them.
void ExpectFailures(const std::vector<FailureCase>& cases,
                    const std::vector<std::string>& base = {}, std::ptrdiff_t command = 0);

/// A line for a shell, in which $ETABULON is the program.
CommandResult RunShell(const std::string& line);

/// A folder that goes with what is in it.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    [[nodiscard]] std::string Path(const std::string& name) const { return path_ + "/" + name; }
    /// Makes a database of this script; its path.
    std::string MakeDatabase(const std::string& name, const std::string& script) const;
    std::string MakeFile(const std::string& name, const std::string& content) const;

private:
    std::string path_;
};

}  // namespace etabulon::test
