#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

namespace etabulon {

/// A file descriptor behind one large buffer.
///
/// Ownership  the descriptor isn't owned.
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
            Flush();
        }
        buffer_[used_++] = c;
    }
    void AppendBlanks(std::size_t count);
    void Flush();

    /// Nothing arrives any more.
    [[nodiscard]] bool IsBroken() const noexcept { return error_ != 0; }
    /// The errno of the write that failed; EPIPE where the reader has gone.
    [[nodiscard]] int Error() const noexcept { return error_; }

private:
    static constexpr std::size_t kCapacity = std::size_t{1} << 16U;
    void AppendLong(std::string_view text);
    void Write(std::string_view bytes);

    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    int descriptor_;
    int error_ = 0;
};

}  // namespace etabulon
