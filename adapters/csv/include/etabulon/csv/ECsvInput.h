#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDataError.h"
#include "etabulon/foundation/EExport.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace etabulon {

/// The bytes of a CSV file, unpacked where gzip has packed them, as often as a reader wants them.
///
/// The file is opened once: a reader that goes over it twice reads the same file, also where
/// another one takes its place meanwhile. Its first bytes tell whether it is packed; all members of
/// a gzip file count, and each pass unpacks again.
///
/// Threads    one at a time.
/// Failure    a gzip file that is damaged or cut off fails, as does one where the library was built
///            without zlib.
/// Example    apps/etabulon/request/CliSource.cpp
class ETABULON_API ECsvInput {
public:
    /// Null with `error`, which names the file. A pipe is copied as by OpenStream.
    [[nodiscard]] static std::unique_ptr<ECsvInput> Open(const Chaine& path, EDataError& error);
    /// What a descriptor such as that of standard input gives from its offset on. A regular file is
    /// read in place. Anything else is copied to its end first, into a temporary file without a
    /// name in the folder of the environment's TMPDIR, otherwise in /tmp: the room on that disk is
    /// the bound. `name` stands in errors. The descriptor remains the caller's.
    [[nodiscard]] static std::unique_ptr<ECsvInput> OpenStream(int descriptor, const Chaine& name,
                                                               EDataError& error);
    ECsvInput(const ECsvInput&) = delete;
    ECsvInput& operator=(const ECsvInput&) = delete;
    ~ECsvInput();

    [[nodiscard]] const Chaine& Name() const noexcept { return name_; }
    [[nodiscard]] bool IsPacked() const noexcept { return gzip_ != nullptr; }
    /// The bytes of the file when it was opened, and how many of them this pass has read: packed
    /// ones, where it is packed.
    [[nodiscard]] std::uint64_t Size() const noexcept { return size_; }
    [[nodiscard]] std::uint64_t ReadBytes() const noexcept { return offset_; }

    /// Begins a pass at the first byte; so does Open.
    void Rewind() noexcept;
    /// Reads on. `count` is less than `size` at the end, and after a failure: false, with Problem.
    [[nodiscard]] bool Read(char* to, std::size_t size, std::size_t& count);
    /// What the last Read met, without the file's name.
    [[nodiscard]] const std::string& Problem() const noexcept { return problem_; }
    /// Reads what is left of a packed file, for a reader that has failed: if the file is damaged,
    /// that becomes its `error`. `goesOn` is asked as in ECsvReadOptions, and may be empty.
    void FindDamage(const std::function<bool(std::uint64_t read, std::uint64_t of)>& goesOn,
                    EDataError& error);
    /// Whether nothing has written to the file since it was opened, by its size and the time of its
    /// last change; otherwise `error` says so. To be asked behind the last pass.
    [[nodiscard]] bool IsUnchanged(EDataError& error) const;

private:
    class Gzip;
    struct Stamp;
    explicit ECsvInput(const Chaine& name);
    [[nodiscard]] bool Begin(int descriptor, EDataError& error);
    [[nodiscard]] bool Spool(int descriptor, EDataError& error);
    [[nodiscard]] bool FindPacking(EDataError& error);
    [[nodiscard]] bool ReadRaw(char* to, std::size_t size, std::size_t& count);

    const Chaine name_;
    int file_ = -1;
    std::uint64_t first_ = 0;   // the offset where it begins
    std::uint64_t offset_ = 0;  // behind first_
    std::uint64_t size_ = 0;
    std::unique_ptr<Stamp> stamp_;  // when it was opened; null: another program can't reach it
    std::unique_ptr<Gzip> gzip_;    // null: the file isn't packed
    std::string problem_;
};

}  // namespace etabulon
