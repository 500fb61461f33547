#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstddef>

namespace etabulon {

/// How sources of blocks use further threads to read ahead of a walk, for the whole process. The
/// records of a walk don't depend on it; listeners are always called on the thread of the walk.
/// Example    adapters/sql/src/ESqlReadAhead.cpp
class ETABULON_API EReadAhead {
public:
    /// How many threads read for one walk, beside its own; 0: none. The default is the environment
    /// variable ETABULON_THREADS, otherwise the number of cores, at most 4, and 0 on a single core.
    [[nodiscard]] static unsigned int Threads() noexcept;
    static void SetThreads(unsigned int threads) noexcept;

    /// Below about this number of records a walk has no further threads.
    static constexpr std::size_t kLeastRecords = 32768;
    [[nodiscard]] static std::size_t LeastRecords() noexcept;
    static void SetLeastRecords(std::size_t records) noexcept;
};

}  // namespace etabulon
