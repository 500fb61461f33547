#pragma once

#include <cstddef>
#include <cstdint>

namespace etabulon::bench {

/// How often this program called operator new, the library included. Exact for one thread.
[[nodiscard]] std::uint64_t Allocations() noexcept;

/// The bytes that the heap has given out, with what the allocator adds to each block. A difference
/// is what a structure takes. SQLite's caches are in it: measure where no statement runs.
[[nodiscard]] std::size_t HeapBytes() noexcept;

/// The most memory that the process ever had, in MB: it never falls from one benchmark to the next.
[[nodiscard]] double PeakMegabytes() noexcept;

}  // namespace etabulon::bench
