#pragma once

#include "etabulon/report/EReportWriter.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A file descriptor behind one large buffer, written in whole lines: however the program ends, the
/// reader has received whole lines only.
///
/// Ownership  the descriptor isn't owned.
/// Threads    one at a time; TryStop may be called from any.
/// Failure    the first write that fails breaks the output: later text is dropped, and Reason()
///            tells why.
class CliOutput final : public EReportSink {
public:
    explicit CliOutput(int descriptor);

    /// Writes to a file from here on, which counts only as a whole. To be called before anything
    /// is appended.
    void DirectToFile(int descriptor) noexcept {
        descriptor_ = descriptor;
        isFile_.store(true);
    }
    [[nodiscard]] bool IsFile() const noexcept { return isFile_.load(); }
    void Append(std::string_view text) override {
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
    void EndLine(std::string_view rest) override {
        Append(rest);
        Append('\n');
        whole_ = used_;
    }
    void EndLine() { EndLine({}); }
    /// Writes the lines that have ended.
    void Flush();
    /// Writes the whole buffer, a last unfinished line too.
    void Finish();

    /// Blocks further writes if the written text ends with a whole line; false while a line is
    /// being written. For a thread that is about to end the process.
    [[nodiscard]] bool TryStop();

    void Fail(std::string_view reason) override;
    void Note(std::string_view sentence) override { notes_.emplace_back(sentence); }
    /// A note for a person before a terminal, which would only be in a script's way.
    void Remark(std::string_view sentence) {
        if (hasRemarks_) {
            Note(sentence);
        }
    }
    /// Keeps remarks from here on.
    void TakeRemarks() noexcept { hasRemarks_ = true; }
    [[nodiscard]] const std::vector<std::string>& Notes() const noexcept { return notes_; }

    /// A write has failed, or a format can't hold what was to be written.
    [[nodiscard]] bool IsBroken() const noexcept override { return error_ != 0; }
    /// The reader of a pipe has gone.
    [[nodiscard]] bool IsUnread() const noexcept;
    /// Why it is broken.
    [[nodiscard]] std::string Reason() const;

private:
    static constexpr std::size_t kCapacity = std::size_t{1} << 16U;
    static constexpr int kRefused = -1;
    void AppendLong(std::string_view text);
    void MakeRoom();
    void Write(std::string_view bytes, bool endsLine);

    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    std::size_t whole_ = 0;  // the bytes of the buffer up to its last whole line
    int descriptor_;
    std::atomic<bool> isFile_{false};  // the thread that waits for SIGINT looks at it
    int error_ = 0;                    // the errno of the write that failed, or kRefused
    std::string reason_;               // of a format that can't go on
    std::vector<std::string> notes_;
    bool hasRemarks_ = false;
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

/// What a program tells that is cancelled before its file is whole.
inline constexpr std::string_view kFileLeft = "cancelled: the file of --output is left as it was";

}  // namespace etabulon
