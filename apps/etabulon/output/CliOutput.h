#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>

namespace etabulon {

/// A file descriptor behind one large buffer, written in whole lines: whatever ends the program,
/// what has arrived doesn't end within one.
///
/// Ownership  the descriptor isn't owned.
/// Threads    one at a time, but for Stop.
/// Failure    the first write that fails makes it broken: what follows is dropped, Error() says
/// why.
class CliOutput {
public:
    explicit CliOutput(int descriptor);
    CliOutput(const CliOutput&) = delete;
    CliOutput& operator=(const CliOutput&) = delete;

    void Append(std::string_view text) {
        if (text.size() > kCapacity - used_) {
            AppendLong(text);
            return;
        }
        std::copy(text.begin(), text.end(), buffer_.get() + used_);
        used_ += text.size();
    }
    void Append(char c) {
        if (used_ == kCapacity) {
            MakeRoom();
        }
        buffer_[used_++] = c;
    }
    void AppendBlanks(std::size_t count);
    /// Appends the rest of a line, and the line feed that ends it. Those within a value, as CSV has
    /// them, end none.
    void EndLine(std::string_view rest = {}) {
        Append(rest);
        Append('\n');
        whole_ = used_;
    }
    /// Writes the lines that have ended.
    void Flush();
    /// Writes all there is, for the end.
    void Finish();

    /// Waits until what has been written ends with a whole line, and keeps all else from being
    /// written. For a thread that is about to end the process.
    void Stop();

    /// Nothing arrives any more.
    [[nodiscard]] bool IsBroken() const noexcept { return error_ != 0; }
    /// The errno of the write that failed; EPIPE where the reader has gone.
    [[nodiscard]] int Error() const noexcept { return error_; }

private:
    static constexpr std::size_t kCapacity = std::size_t{1} << 16U;
    void AppendLong(std::string_view text);
    void MakeRoom();
    void Write(std::string_view bytes, bool endsLine);

    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    std::size_t whole_ = 0;  // so much of what is used ends with a whole line
    int descriptor_;
    int error_ = 0;
    std::mutex writing_;
    // Held in a write, and from one to the next as long as what has been written ends within a
    // line: that is so for a line that is longer than the buffer.
    std::unique_lock<std::mutex> openLine_;
};

/// Sees to it that no file which is opened later becomes stdin, stdout or stderr: one of them that
/// is closed stays so that reading and writing fail.
void HoldStandardDescriptors() noexcept;

/// Writes to stderr, unbuffered. What stderr doesn't take is lost: there is no other way to tell.
void WriteError(std::string_view text) noexcept;

}  // namespace etabulon
