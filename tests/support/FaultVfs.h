#pragma once

#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <functional>

namespace etabulon::test {

/// A file system for SQLite that fails calls on demand. While it lives it is the default one: it
/// hands each call on to the file system that was the default before, counts the calls, and fails
/// those that are asked for.
///
/// It must be made before the connections that it is to count, and outlive them. Arm and Disarm
/// belong to the thread that uses the connections.
class FaultVfs {
public:
    /// The kinds of call, as bits of a mask.
    enum Call : unsigned int {
        kOpen = 1U << 0,
        kDelete = 1U << 1,
        kAccess = 1U << 2,
        kRead = 1U << 3,
        kWrite = 1U << 4,
        kTruncate = 1U << 5,
        kSync = 1U << 6,
        kFileSize = 1U << 7,
        kLock = 1U << 8,
        kUnlock = 1U << 9,
        kCheckLock = 1U << 10,
        kShmMap = 1U << 11,
        kShmLock = 1U << 12,  // taking a lock; giving one up never fails
        kAnyCall = (1U << 13) - 1
    };
    enum class Moment : std::uint8_t {
        Before = 0,  // nothing of the call is carried out
        Half = 1,    // half of a write or truncation is carried out; all else is as with Before
        After = 2,   // the call is carried out, and reported as failed
    };
    struct Fault {
        unsigned int calls = kAnyCall;
        std::uint64_t at = 1;     // which of these calls is hit, from 1; 0 = none, only count
        int code = SQLITE_IOERR;  // SQLITE_OK: the call passes
        Moment moment = Moment::Before;
        bool isLasting = false;         // all that follow are hit as well
        int files = 0;                  // kinds of file, SQLITE_OPEN_WAL etc., as a mask; 0 = all
        std::function<void()> onHit{};  // called as the call comes in
    };

    FaultVfs();
    ~FaultVfs();
    FaultVfs(const FaultVfs&) = delete;
    FaultVfs& operator=(const FaultVfs&) = delete;

    /// Counts from here on.
    void Arm(Fault fault);
    void Disarm() { isArmed_ = false; }
    /// How many calls of the fault's kinds have come since Arm.
    [[nodiscard]] std::uint64_t Count() const { return count_; }
    /// How many of them were hit.
    [[nodiscard]] std::uint64_t Hits() const { return hits_; }

private:
    struct File;
    [[nodiscard]] bool IsHit(Call call, int kind);
    template <class CarryOut>
    int Run(Call call, int kind, CarryOut carryOut);
    template <class CarryOut>
    static int RunOn(sqlite3_file* file, Call call, CarryOut carryOut);
    static FaultVfs& Of(sqlite3_vfs* vfs) { return *static_cast<FaultVfs*>(vfs->pAppData); }
    static int Open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* given);
    static sqlite3_io_methods MakeMethods();

    sqlite3_vfs* real_;
    sqlite3_vfs vfs_;
    Fault fault_;
    std::atomic<bool> isArmed_{false};
    std::atomic<std::uint64_t> count_{0};
    std::atomic<std::uint64_t> hits_{0};
};

}  // namespace etabulon::test
