#pragma once

#include "support/Table.h"
#include "support/TestFolder.h"

#include <signal.h>
#include <sys/types.h>

namespace etabulon::test {

using Arguments = std::vector<std::string>;

/// The arguments in a line: blanks separate them, 'quotes' keep a text together, and a word @ is
/// this path.
Arguments Words(const std::string& line, const std::string& path = ETABULON_STRIKES_DATABASE);

/// What a program has done.
struct CommandResult {
    int status = -1;  // what it ended with; 128 and more: by that signal
    std::string out;
    std::string err;
    double seconds = 0;  // that it has computed
};

/// The command line program as a process of its own.
class CommandRun : public CommandResult {
public:
    /// Starts it with these arguments, its stdout and stderr in pipes. With `output` stdout is that
    /// file. SIGINT starts out blocked: one sent at any time waits until the program looks for it.
    explicit CommandRun(const Arguments& arguments, const char* output = nullptr)
        : CommandRun(ETABULON_COMMAND, arguments, output) {}
    /// Another program. The variable ETABULON names this one to it.
    CommandRun(const char* program, const Arguments& arguments, const char* output);
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;
    ~CommandRun();

    /// Reads stdout until it has at least this many bytes.
    void ReadAtLeast(std::size_t bytes);
    void Interrupt(int signal = SIGINT) const;
    [[nodiscard]] bool IsRunning() const;
    /// Ends reading: what the program writes from here on fails.
    void CloseOutput();
    /// Reads on to the end and waits for it. The result is this object.
    const CommandResult& Finish();

private:
    void ReadSome(int milliseconds);
    pid_t process_ = -1;
    int outPipe_ = -1;
    int errPipe_ = -1;
};

/// Runs it to the end.
CommandResult RunCommand(const Arguments& arguments, const char* output = nullptr);
CommandResult RunLine(const std::string& line, const std::string& path = ETABULON_STRIKES_DATABASE,
                      const char* output = nullptr);
/// What it prints; it ends with 0 and says nothing else.
std::string Printed(const std::string& line, const std::string& path = ETABULON_STRIKES_DATABASE);
/// Sends SIGINT when it has written this much, or closes the pipe that it writes to.
CommandResult RunInterrupted(const Arguments& arguments, std::size_t bytes);
CommandResult RunWithoutReader(const Arguments& arguments, std::size_t bytes);
/// How a command fails: with this status, nothing on stdout, and one line on stderr that has all of
/// these texts.
struct FailureCase {
    std::string line;
    int status;
    std::vector<std::string> said;
};
void ExpectFailures(const std::vector<FailureCase>& cases,
                    const std::string& path = ETABULON_STRIKES_DATABASE);
/// The texts stand in another one.
void ExpectHas(const std::string& text, const std::vector<std::string>& parts);

/// A line for a shell, in which $ETABULON is the program.
CommandResult RunShell(const std::string& line);

}  // namespace etabulon::test
