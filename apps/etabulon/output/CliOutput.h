#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>

namespace etabulon {

/// A file descriptor behind one large buffer, written in whole lines: however the program ends, the
/// reader has received whole lines only.
///
/// Ownership  the descriptor isn't owned.
/// Threads    one at a time; TryStop may be called from any.
/// Failure    the first write that fails breaks the output: later text is dropped, and Error()
///            gives the reason.
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
    /// Appends the rest of a line, and the line feed that ends it. Line feeds within a value, as in
    /// CSV, don't end a line.
    void EndLine(std::string_view rest = {}) {
        Append(rest);
        Append('\n');
        whole_ = used_;
    }
    /// Writes the lines that have ended.
    void Flush();
    /// Writes the whole buffer, a last unfinished line too.
    void Finish();

    /// Blocks further writes if the written text ends with a whole line; false while a line is
    /// being written. For a thread that is about to end the process.
    [[nodiscard]] bool TryStop();

    /// A write has failed.
    [[nodiscard]] bool IsBroken() const noexcept { return error_ != 0; }
    /// The errno of the write that failed; EPIPE if the reader has gone.
    [[nodiscard]] int Error() const noexcept { return error_; }

private:
    static constexpr std::size_t kCapacity = std::size_t{1} << 16U;
    void AppendLong(std::string_view text);
    void MakeRoom();
    void Write(std::string_view bytes, bool endsLine);

    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    std::size_t whole_ = 0;  // the bytes of the buffer up to its last whole line
    int descriptor_;
    int error_ = 0;
    std::mutex writing_;
    // Held during a write. A line longer than the buffer takes several writes: the lock is held
    // until its end is written.
    std::unique_lock<std::mutex> openLine_;
};

/// Occupies the standard descriptors that the program was started without, so that no file opened
/// later becomes one of them. Reading and writing them keeps failing.
void HoldStandardDescriptors() noexcept;

/// Writes to stderr, unbuffered. A failure is ignored: there is nowhere else to report it.
void WriteError(std::string_view text) noexcept;

}  // namespace etabulon
