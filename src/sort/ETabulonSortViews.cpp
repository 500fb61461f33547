#include "sort/ETabulonSortViews.h"

#include <algorithm>
#include <utility>

namespace etabulon {

ETabulonSortDesc::Views::Views(const SortKeyArray& keys) {
    for (const SortKey& key : keys) {
        used_ |= key.Hidden();
    }
    for (HideFlag mask = 0; mask <= kNamedBits; ++mask) {
        named_[mask] = MakeView(mask, keys);
    }
}

const ETabulonSortDesc::Views::View& ETabulonSortDesc::Views::Of(HideFlag mask,
                                                                 const SortKeyArray& keys) const {
    // Bits that no key has hide nothing.
    mask &= used_;
    if (mask <= kNamedBits) {
        return named_[mask];
    }
    for (const Foreign& known : foreign_) {
        if (known.mask == mask) {
            return *known.view;
        }
    }
    foreign_.push_back({mask, std::make_unique<const View>(MakeView(mask, keys))});
    return *foreign_.back().view;
}

bool ETabulonSortDesc::Views::Shows(const View& view, unsigned int level) noexcept {
    return std::binary_search(view.shown.begin(), view.shown.end(), level);
}

bool ETabulonSortDesc::Views::Holds(const View& view, std::size_t first, std::size_t end,
                                    unsigned int level) noexcept {
    constexpr std::size_t kFewLevels = 8;  // up to 8, a scan is faster than bisection
    if (!view.isPlain || end - first <= kFewLevels) {
        const unsigned int* const levels = view.levels.data();
        return std::find(levels + first, levels + end, level) != levels + end;
    }
    const auto found = std::lower_bound(view.shown.begin(), view.shown.end(), level);
    if (found == view.shown.end() || *found != level) {
        return false;
    }
    const std::size_t index =
        view.visibleIndexes[static_cast<std::size_t>(found - view.shown.begin())];
    return index >= first && index < end;
}

ETabulonSortDesc::Views::View ETabulonSortDesc::Views::MakeView(HideFlag mask,
                                                                const SortKeyArray& keys) {
    View view;
    for (unsigned int position = 0; position < keys.Size(); ++position) {
        if (!keys[position].IsHidden(mask)) {
            view.positions.push_back(position);
            view.levels.push_back(keys[position].Level());
        }
    }
    view.shown = ShownLevels(mask, keys);
    view.isPlain = view.shown.size() == view.levels.size();
    view.visibleIndexes.resize(view.isPlain ? view.levels.size() : 0);
    for (unsigned int index = 0; index < view.visibleIndexes.size(); ++index) {
        const auto shown =
            std::lower_bound(view.shown.begin(), view.shown.end(), view.levels[index]);
        view.visibleIndexes[static_cast<std::size_t>(shown - view.shown.begin())] = index;
    }
    return view;
}

std::vector<unsigned int> ETabulonSortDesc::Views::ShownLevels(HideFlag mask,
                                                               const SortKeyArray& keys) {
    std::vector<std::pair<unsigned int, unsigned int>> sorted;  // level, position
    for (unsigned int position = 0; position < keys.Size(); ++position) {
        sorted.emplace_back(keys[position].Level(), position);
    }
    std::sort(sorted.begin(), sorted.end());
    std::vector<unsigned int> shown;
    for (auto key = sorted.begin(); key != sorted.end(); ++key) {
        // Only the first key of a level counts.
        const bool isFirst = key == sorted.begin() || std::prev(key)->first != key->first;
        if (isFirst && !keys[key->second].IsHidden(mask)) {
            shown.push_back(key->first);
        }
    }
    return shown;
}

}  // namespace etabulon
