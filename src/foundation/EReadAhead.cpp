#include "etabulon/foundation/EReadAhead.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace etabulon {

namespace {

constexpr unsigned kMostByCores = 4;
constexpr unsigned kMostThreads = 64;

unsigned FirstThreads() noexcept {
    const char* const setting = std::getenv("ETABULON_THREADS");
    const std::string_view text = setting != nullptr ? setting : "";
    unsigned threads = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), threads);
    if (read.ec == std::errc() && read.ptr == text.data() + text.size()) {
        return std::min(threads, kMostThreads);
    }
    const unsigned cores = std::thread::hardware_concurrency();
    return cores > 1 ? std::min(cores, kMostByCores) : 0;
}

std::atomic<unsigned>& Setting() noexcept {
    static std::atomic<unsigned> threads{FirstThreads()};
    return threads;
}

std::atomic<std::size_t> leastRecords{EReadAhead::kLeastRecords};

}  // namespace

unsigned EReadAhead::Threads() noexcept { return Setting().load(std::memory_order_relaxed); }

void EReadAhead::SetThreads(unsigned threads) noexcept {
    Setting().store(std::min(threads, kMostThreads), std::memory_order_relaxed);
}

std::size_t EReadAhead::LeastRecords() noexcept {
    return leastRecords.load(std::memory_order_relaxed);
}

void EReadAhead::SetLeastRecords(std::size_t records) noexcept {
    leastRecords.store(records, std::memory_order_relaxed);
}

}  // namespace etabulon
