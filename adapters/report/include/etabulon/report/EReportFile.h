#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportWriter.h"

#include <string>
#include <string_view>

namespace etabulon {

/// A file that is written whole or not at all: its bytes go into a file without a name in the same
/// folder, which takes the name's place when all of them are on the disk. Where the file system
/// has no files without a name, it is a hidden one until then.
///
/// The name must be free, or that of a regular file that may be written; the new file has the
/// permissions of the old one. Symbolic links, folders and devices are refused.
///
/// Threads    one at a time.
/// Failure    Open and Commit return false with a sentence in `error`. The old file is left as it
///            was.
/// Example    examples/report.cpp
class ETABULON_API EReportFile final : public EReportSink {
public:
    EReportFile() = default;
    /// Drops what wasn't committed.
    ~EReportFile() override;

    /// To be called once.
    [[nodiscard]] bool Open(const std::string& path, std::string& error);
    /// For a writer with a buffer of its own.
    [[nodiscard]] int Descriptor() const noexcept { return descriptor_; }
    void Append(std::string_view bytes) override;
    void Fail(std::string_view reason) override;
    void Note(std::string_view sentence) override;
    [[nodiscard]] bool IsBroken() const noexcept override { return !reason_.empty(); }
    /// What the format couldn't keep, a sentence a line; empty: nothing.
    [[nodiscard]] const std::string& Notes() const noexcept { return notes_; }
    /// Puts the file into its place. Fails for a broken file.
    [[nodiscard]] bool Commit(std::string& error);

private:
    [[nodiscard]] bool CheckPlace(std::string& error);
    [[nodiscard]] bool GiveName();
    void Flush();
    void Close() noexcept;
    [[nodiscard]] std::string Sentence(std::string_view why) const;

    std::string path_;
    std::string folder_;
    std::string hidden_;  // the name until Commit; empty while there is none
    std::string buffer_;
    std::string reason_;  // why the file is broken; empty while it isn't
    std::string notes_;
    int descriptor_ = -1;
    unsigned int mode_ = 0;  // of the old file; 0 if there is none
};

}  // namespace etabulon
