#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstddef>

namespace etabulon {

/// How sources of blocks use further threads to read ahead of a walk, for the whole process. What a
/// walk gives doesn't depend on it, nor on which thread listeners are called: that of the walk.
/// Example    adapters/sql/src/ESqlReadAhead.cpp
class ETABULON_API EReadAhead {
public:
    /// How many threads read for one walk, beside its own; 0: none. From the start it is that of
    /// the environment variable ETABULON_THREADS, otherwise the number of cores, at most 4, and 0
    /// on a single core.
    [[nodiscard]] static unsigned Threads() noexcept;
    static void SetThreads(unsigned threads) noexcept;

    /// A walk of fewer records than about that many has no further threads.
    static constexpr std::size_t kLeastRecords = 32768;
    [[nodiscard]] static std::size_t LeastRecords() noexcept;
    static void SetLeastRecords(std::size_t records) noexcept;
};

}  // namespace etabulon
