#include "support/FaultVfs.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace etabulon::test {

struct FaultVfs::File {
    sqlite3_file base;
    FaultVfs* owner;
    sqlite3_file* real;  // in the memory after this
    int kind;            // SQLITE_OPEN_MAIN_DB etc.

    static File& Of(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }
};

namespace {

int KindOf(std::string_view path) {
    if (path.ends_with("-wal")) {
        return SQLITE_OPEN_WAL;
    }
    return path.ends_with("-journal") ? SQLITE_OPEN_MAIN_JOURNAL : SQLITE_OPEN_MAIN_DB;
}

}  // namespace

FaultVfs::FaultVfs() : real_(sqlite3_vfs_find(nullptr)), vfs_(*real_) {
    vfs_.pNext = nullptr;
    vfs_.zName = "etabulon-fault";
    vfs_.pAppData = this;
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
    vfs_.xOpen = &Open;
    vfs_.xDelete = [](sqlite3_vfs* vfs, const char* path, int syncsFolder) {
        FaultVfs& self = Of(vfs);
        return self.Run(kDelete, KindOf(path),
                        [&](bool) { return self.real_->xDelete(self.real_, path, syncsFolder); });
    };
    vfs_.xAccess = [](sqlite3_vfs* vfs, const char* path, int flags, int* answer) {
        FaultVfs& self = Of(vfs);
        return self.Run(kAccess, KindOf(path),
                        [&](bool) { return self.real_->xAccess(self.real_, path, flags, answer); });
    };
    vfs_.xFullPathname = [](sqlite3_vfs* vfs, const char* path, int size, char* full) {
        return Of(vfs).real_->xFullPathname(Of(vfs).real_, path, size, full);
    };
    sqlite3_vfs_register(&vfs_, /*makeDflt=*/1);
}

FaultVfs::~FaultVfs() {
    sqlite3_vfs_register(real_, /*makeDflt=*/1);
    sqlite3_vfs_unregister(&vfs_);
}

void FaultVfs::Arm(Fault fault) {
    fault_ = std::move(fault);
    count_ = 0;
    hits_ = 0;
    isArmed_ = true;
}

bool FaultVfs::IsHit(Call call, int kind) {
    if (!isArmed_ || (fault_.calls & call) == 0 ||
        (fault_.files != 0 && (fault_.files & kind) == 0)) {
        return false;
    }
    const std::uint64_t number = ++count_;
    if (fault_.at == 0 || number < fault_.at || (number > fault_.at && !fault_.isLasting)) {
        return false;
    }
    ++hits_;
    if (fault_.onHit) {
        fault_.onHit();
    }
    return fault_.code != SQLITE_OK;
}

/// `carryOut` hands the call on; with true only half of it.
template <class CarryOut>
int FaultVfs::Run(Call call, int kind, CarryOut carryOut) {
    if (!IsHit(call, kind)) {
        return carryOut(false);
    }
    const bool isHalf = fault_.moment == Moment::Half && (call & (kWrite | kTruncate)) != 0;
    if (isHalf || fault_.moment == Moment::After) {
        static_cast<void>(carryOut(isHalf));
    }
    return fault_.code;
}

/// The same for a method of a file; `carryOut` is given the real one.
template <class CarryOut>
int FaultVfs::RunOn(sqlite3_file* file, Call call, CarryOut carryOut) {
    const File& each = File::Of(file);
    return each.owner->Run(call, each.kind, [&](bool isHalf) {
        return carryOut(each.real, *each.real->pMethods, isHalf);
    });
}

int FaultVfs::Open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* given) {
    static const sqlite3_io_methods kMethods = MakeMethods();
    FaultVfs& self = Of(vfs);
    auto* const real = reinterpret_cast<sqlite3_file*>(&File::Of(file) + 1);
    File::Of(file) = {{nullptr}, &self, real, flags};
    real->pMethods = nullptr;
    const int code = self.Run(kOpen, flags, [&](bool) {
        return self.real_->xOpen(self.real_, path, real, flags, given);
    });
    file->pMethods = real->pMethods != nullptr ? &kMethods : nullptr;
    return code;
}

sqlite3_io_methods FaultVfs::MakeMethods() {
    using F = sqlite3_file*;
    using M = const sqlite3_io_methods&;
    using Size = sqlite3_int64;
    sqlite3_io_methods own{};
    own.iVersion = 2;  // not 3: a mapped file is read without a call
    own.xClose = [](F file) { return File::Of(file).real->pMethods->xClose(File::Of(file).real); };
    own.xRead = [](F file, void* to, int size, Size at) {
        return RunOn(file, kRead, [&](F f, M m, bool) { return m.xRead(f, to, size, at); });
    };
    own.xWrite = [](F file, const void* from, int size, Size at) {
        return RunOn(file, kWrite, [&](F f, M m, bool isHalf) {
            return m.xWrite(f, from, isHalf ? size / 2 : size, at);
        });
    };
    own.xTruncate = [](F file, Size size) {
        return RunOn(file, kTruncate, [&](F f, M m, bool isHalf) {
            Size former = size;
            m.xFileSize(f, &former);
            return m.xTruncate(f, isHalf ? std::max(size, (size + former) / 2) : size);
        });
    };
    own.xSync = [](F file, int flags) {
        return RunOn(file, kSync, [&](F f, M m, bool) { return m.xSync(f, flags); });
    };
    own.xFileSize = [](F file, Size* size) {
        return RunOn(file, kFileSize, [&](F f, M m, bool) { return m.xFileSize(f, size); });
    };
    own.xLock = [](F file, int level) {
        return RunOn(file, kLock, [&](F f, M m, bool) { return m.xLock(f, level); });
    };
    own.xUnlock = [](F file, int level) {
        return RunOn(file, kUnlock, [&](F f, M m, bool) { return m.xUnlock(f, level); });
    };
    own.xCheckReservedLock = [](F file, int* answer) {
        return RunOn(file, kCheckLock,
                     [&](F f, M m, bool) { return m.xCheckReservedLock(f, answer); });
    };
    own.xFileControl = [](F file, int what, void* with) {
        return File::Of(file).real->pMethods->xFileControl(File::Of(file).real, what, with);
    };
    own.xSectorSize = [](F file) {
        return File::Of(file).real->pMethods->xSectorSize(File::Of(file).real);
    };
    own.xDeviceCharacteristics = [](F file) {
        return File::Of(file).real->pMethods->xDeviceCharacteristics(File::Of(file).real);
    };
    own.xShmMap = [](F file, int region, int size, int extends, void volatile** memory) {
        return RunOn(file, kShmMap,
                     [&](F f, M m, bool) { return m.xShmMap(f, region, size, extends, memory); });
    };
    own.xShmLock = [](F file, int first, int count, int flags) {
        if ((flags & SQLITE_SHM_UNLOCK) != 0) {
            return File::Of(file).real->pMethods->xShmLock(File::Of(file).real, first, count,
                                                           flags);
        }
        return RunOn(file, kShmLock,
                     [&](F f, M m, bool) { return m.xShmLock(f, first, count, flags); });
    };
    own.xShmBarrier = [](F file) {
        File::Of(file).real->pMethods->xShmBarrier(File::Of(file).real);
    };
    own.xShmUnmap = [](F file, int deletes) {
        return File::Of(file).real->pMethods->xShmUnmap(File::Of(file).real, deletes);
    };
    return own;
}

}  // namespace etabulon::test
