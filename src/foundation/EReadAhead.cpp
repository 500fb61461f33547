#include "etabulon/foundation/EReadAhead.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace etabulon {

namespace {

constexpr unsigned int kMostByCores = 4;
constexpr unsigned int kMostThreads = 64;

unsigned int FirstThreads() noexcept {
    const char* const setting = std::getenv("ETABULON_THREADS");
    const std::string_view text = setting != nullptr ? setting : "";
    unsigned int threads = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), threads);
    if (read.ec == std::errc() && read.ptr == text.data() + text.size()) {
        return std::min(threads, kMostThreads);
    }
    const unsigned int cores = std::thread::hardware_concurrency();
    return cores > 1 ? std::min(cores, kMostByCores) : 0;
}

std::atomic<unsigned int>& Setting() noexcept {
    static std::atomic<unsigned int> threads{FirstThreads()};
    return threads;
}

std::atomic<std::size_t> leastRecords{EReadAhead::kLeastRecords};

}  // namespace

unsigned int EReadAhead::Threads() noexcept { return Setting().load(std::memory_order_relaxed); }

void EReadAhead::SetThreads(unsigned int threads) noexcept {
    Setting().store(std::min(threads, kMostThreads), std::memory_order_relaxed);
}

std::size_t EReadAhead::LeastRecords() noexcept {
    return leastRecords.load(std::memory_order_relaxed);
}

void EReadAhead::SetLeastRecords(std::size_t records) noexcept {
    leastRecords.store(records, std::memory_order_relaxed);
}

}  // namespace etabulon
