#include "cross/CrossCells.h"

#include <algorithm>

namespace etabulon::detail {

namespace {

constexpr auto kCalc = ETabulonSortDesc::HideInCalc;

/// A score whose labels have these levels: their keys follow those of the root, the others are
/// hidden.
ERef<ETabulonScoreCumuls> Describe(const ETabulonTag& root, const ETabulonSortDesc& sortDesc,
                                   const ITabulonCumulFuncOnVarCollection& calculations,
                                   const CrossCells::Levels& levels) {
    ETabulonSortDesc::SortKeyArray keys;
    for (const ETabulonSortKey& key : sortDesc.SortLevels()) {
        if (root.HasValue(key.Level())) {
            keys.Add(key);
        }
    }
    for (const unsigned int level : levels) {
        const ETabulonSortKey& key = sortDesc.SortLevels()[sortDesc.GetSortLevelPos(level)];
        keys.Add(ETabulonSortKey(level, key.IsReverseOrder(), 0));
    }
    for (const ETabulonSortKey& key : sortDesc.SortLevels()) {
        if (!root.HasValue(key.Level()) &&
            std::find(levels.begin(), levels.end(), key.Level()) == levels.end()) {
            keys.Add(ETabulonSortKey(key.Level(), key.IsReverseOrder(), kCalc));
        }
    }
    const auto sort = MakeRef<ETabulonSortDesc>(sortDesc);
    sort->SetSortLevels(keys);
    return ETabulonScoreCumuls::Make(root, sort.Get(), &calculations,
                                     static_cast<unsigned int>(levels.size()),
                                     /*increasingOrder=*/false);
}

}  // namespace

CrossCells::CrossCells(const ETabulonTag& root, const ETabulonSortDesc& sortDesc,
                       const ITabulonCumulFuncOnVarCollection& calculations, const Levels& lines,
                       const Levels& columns) {
    for (const ECrossSide side : {ECrossSide::Lines, ECrossSide::Columns}) {
        auto& own = levels_[static_cast<std::size_t>(side)];
        for (const unsigned int level : side == ECrossSide::Lines ? lines : columns) {
            if (!root.HasValue(level)) {
                own.push_back({level});
            }
        }
        depth_[static_cast<std::size_t>(side)] = static_cast<std::uint32_t>(own.size());
    }
    for (std::uint32_t line = 0; line <= depth_[0]; ++line) {
        for (std::uint32_t column = 0; column <= depth_[1]; ++column) {
            Levels levels;
            for (std::uint32_t depth = 1; depth <= line; ++depth) {
                levels.push_back(LevelsAt(ECrossSide::Lines, depth).front());
            }
            for (std::uint32_t depth = 1; depth <= column; ++depth) {
                levels.push_back(LevelsAt(ECrossSide::Columns, depth).front());
            }
            // Each group has the total of all.
            const bool isNeeded = !levels.empty() || depth_[0] + depth_[1] == 0;
            if (isNeeded) {
                desc_ = Describe(root, sortDesc, calculations, levels);
            }
            groups_.push_back(isNeeded ? MakeRef<ScoreCells>(*desc_) : ERef<ScoreCells>());
        }
    }
}

CrossCells::CrossCells(ERef<ETabulonScoreCumuls> desc, ERef<ScoreCells> cells)
    : desc_(std::move(desc)) {
    Levels levels;
    for (std::size_t column = 0; column < cells->Labels().ColumnCount(); ++column) {
        if (!cells->Labels().IsInRoot(column)) {
            levels.push_back(cells->Labels().LevelOf(column));
        }
    }
    depth_[0] = 1;
    levels_[0] = {std::move(levels)};
    groups_.emplace_back();
    groups_.push_back(std::move(cells));
}

void CrossCells::Add(const ETabulonTag& position, std::span<const EVariant* const> values,
                     const ETabulonPrimaryKey* context) {
    for (const ERef<ScoreCells>& group : groups_) {
        if (group) {
            group->Add(position, values, context);
        }
    }
}

bool CrossCells::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return std::all_of(groups_.begin(), groups_.end(), [&](const ERef<ScoreCells>& group) {
        return !group || group->WantBlocks(cursor, request);
    });
}

void CrossCells::AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    for (const ERef<ScoreCells>& group : groups_) {
        if (group) {
            group->AddBlock(block, records);
        }
    }
}

}  // namespace etabulon::detail
