#include "pending/PendingFilter.h"

#include "etabulon/foundation/detail/EHashMix.h"

#include <algorithm>
#include <bit>

namespace etabulon::detail {

namespace {

constexpr std::uint8_t kUpdates = 1;
constexpr std::uint8_t kDeletes = 2;
constexpr std::size_t kFewest = 32;  // changes that the smallest filter has room for twice

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
    for (unsigned int index = 0; index < selection.KnownLevelsCount(); ++index) {
        levels.push_back(selection.LevelAt(index));
        key = MixHash(key, selection.ValueAt(index).Hash());
    }
    auto kind = std::find_if(kinds_.begin(), kinds_.end(),
                             [&](const Kind& known) { return known.levels == levels; });
    if (kind == kinds_.end()) {
        kind = kinds_.insert(kinds_.end(), {std::move(levels), 0});
    }
    kind->flags |= flag;
    for (const std::uint64_t cell : CellsOf(key)) {
        cells_[cell / kCellsPerByte] |= static_cast<std::uint8_t>(flag << ShiftOf(cell));
    }
    ++added_;
}

/// Two cells: 1,000 changes in 65,536 cells mark 1 of 1,000 other tags, where one cell marks 15.
std::array<std::uint64_t, 2> PendingFilter::CellsOf(std::uint64_t key) const noexcept {
    return {key & (CellCount() - 1), (key >> 32U) & (CellCount() - 1)};
}

std::uint8_t PendingFilter::FlagsAt(std::uint64_t key) const noexcept {
    std::uint8_t flags = kUpdates | kDeletes;
    for (const std::uint64_t cell : CellsOf(key)) {
        flags &= static_cast<std::uint8_t>(cells_[cell / kCellsPerByte] >> ShiftOf(cell));
    }
    return flags;
}

void PendingFilter::Clear() noexcept {
    kinds_.clear();
    cells_.assign(BytesFor(0), 0);  // never more than it has, so that it doesn't allocate
    added_ = 0;
}

PendingFilter::Answer PendingFilter::Ask(const ETabulonTag& tag) {
    const unsigned int count = tag.KnownLevelsCount();
    hashes_.clear();
    std::uint8_t flags = 0;
    for (const Kind& kind : kinds_) {
        if (kind.levels.size() > count) {
            continue;  // a tag below a selection holds more levels than the selection
        }
        if (hashes_.empty()) {
            for (unsigned int index = 0; index < count; ++index) {
                hashes_.push_back(tag.ValueAt(index).Hash());
            }
        }
        std::uint64_t key = kind.levels.size();
        std::size_t next = 0;
        for (unsigned int index = 0; index < count && next < kind.levels.size(); ++index) {
            if (tag.LevelAt(index) == kind.levels[next]) {
                key = MixHash(key, hashes_[index]);
                ++next;
            }
        }
        // If the tag lacks a level of the selections, that level isn't compared, and any of these
        // changes may apply.
        flags |= next == kind.levels.size() ? FlagsAt(key) : kind.flags;
    }
    return {(flags & kUpdates) != 0, (flags & kDeletes) != 0};
}

void PendingFilter::Mark(std::span<const unsigned int> levels,
                         std::span<const std::vector<std::uint32_t>> hashes,
                         std::span<std::uint8_t> marks) {
    for (const Kind& kind : kinds_) {
        if (kind.levels.size() > levels.size()) {
            continue;  // as in Ask
        }
        if (!std::includes(levels.begin(), levels.end(), kind.levels.begin(), kind.levels.end())) {
            std::fill(marks.begin(), marks.end(), std::uint8_t{1});
            return;
        }
        keys_.assign(marks.size(), kind.levels.size());
        for (const unsigned int level : kind.levels) {
            const auto found = std::lower_bound(levels.begin(), levels.end(), level);
            const std::uint32_t* const of =
                hashes[static_cast<std::size_t>(found - levels.begin())].data();
            for (std::size_t tag = 0; tag < marks.size(); ++tag) {
                keys_[tag] = MixHash(keys_[tag], of[tag]);
            }
        }
        for (std::size_t tag = 0; tag < marks.size(); ++tag) {
            marks[tag] |= FlagsAt(keys_[tag]);
        }
    }
}

}  // namespace etabulon::detail
