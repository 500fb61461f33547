#include "pending/PendingFilter.h"

#include "etabulon/foundation/detail/EHashMix.h"

#include <algorithm>
#include <bit>

namespace etabulon::detail {

namespace {

constexpr std::uint8_t kUpdates = 1;
constexpr std::uint8_t kDeletes = 2;
constexpr std::size_t kFewest = 32;  // changes

unsigned int ShiftOf(std::uint64_t cell) noexcept {
    return static_cast<unsigned int>(cell & 3U) * 2;
}

}  // namespace

PendingFilter::PendingFilter(std::size_t changes) : cells_(BytesFor(changes)) {}

std::size_t PendingFilter::BytesFor(std::size_t changes) noexcept {
    return std::bit_ceil(2 * kCellsPerChange * std::max(changes, kFewest)) / kCellsPerByte;
}

void PendingFilter::Add(const ETabulonPendingChanges::Change& change) {
    if (change.Type() == ETabulonPendingChanges::Insert) {
        return;
    }
    const std::uint8_t flag = change.Type() == ETabulonPendingChanges::Update ? kUpdates : kDeletes;
    const ETabulonTag& selection = change.Selection();
    std::vector<unsigned int> levels;
    std::uint64_t key = selection.KnownLevelsCount();
    for (unsigned int place = 0; place < selection.KnownLevelsCount(); ++place) {
        levels.push_back(selection.LevelAt(place));
        key = MixHash(key, selection.ValueAt(place).Hash());
    }
    auto kind = std::find_if(kinds_.begin(), kinds_.end(),
                             [&](const Kind& known) { return known.levels == levels; });
    if (kind == kinds_.end()) {
        kind = kinds_.insert(kinds_.end(), {std::move(levels), 0});
    }
    kind->flags |= flag;
    const std::uint64_t cell = key & (CellCount() - 1);
    cells_[cell / kCellsPerByte] |= static_cast<std::uint8_t>(flag << ShiftOf(cell));
    ++added_;
}

void PendingFilter::Clear() noexcept {
    kinds_.clear();
    cells_.assign(BytesFor(0), 0);  // it has had as many
    added_ = 0;
}

PendingFilter::Answer PendingFilter::Ask(const ETabulonTag& tag) {
    const unsigned int count = tag.KnownLevelsCount();
    hashes_.clear();
    std::uint8_t flags = 0;
    for (const Kind& kind : kinds_) {
        if (kind.levels.size() > count) {
            continue;  // a child knows more levels than its parent
        }
        if (hashes_.empty()) {
            for (unsigned int place = 0; place < count; ++place) {
                hashes_.push_back(tag.ValueAt(place).Hash());
            }
        }
        std::uint64_t key = kind.levels.size();
        std::size_t next = 0;
        for (unsigned int place = 0; place < count && next < kind.levels.size(); ++place) {
            if (tag.LevelAt(place) == kind.levels[next]) {
                key = MixHash(key, hashes_[place]);
                ++next;
            }
        }
        // A level that the tag doesn't know isn't compared.
        const std::uint64_t cell = key & (CellCount() - 1);
        flags |= next == kind.levels.size()
                     ? static_cast<std::uint8_t>(cells_[cell / kCellsPerByte] >> ShiftOf(cell))
                     : kind.flags;
    }
    return {(flags & kUpdates) != 0, (flags & kDeletes) != 0};
}

}  // namespace etabulon::detail
