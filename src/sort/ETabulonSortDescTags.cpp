#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/sort/ETabulonSortKeyCache.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonTag.h"
#include "sort/ETabulonSortViews.h"
#include "sort/ValueOrder.h"

#include <algorithm>
#include <string>
#include <utility>

namespace etabulon {
namespace {

using SortKey = ETabulonSortKey;

// Makes `result` the tag of the entries that `each(put)` passes to put(level, value), in rising
// order of level and the same each time. A result that has exactly these levels keeps its storage.
// `result` may be a tag that the entries are taken from: each value overwrites only the value of
// its own level.
template <class Each>
void Fill(ETabulonTag& result, Each each) {
    unsigned int index = 0;
    bool sameLevels = true;
    each([&](unsigned int level, const ETabulonValue& /*value*/) {
        sameLevels =
            sameLevels && index < result.KnownLevelsCount() && result.LevelAt(index) == level;
        ++index;
    });
    if (sameLevels && index == result.KnownLevelsCount()) {
        index = 0;
        each([&](unsigned int /*level*/, const ETabulonValue& value) {
            ETabulonValue& own = result.ValueAt(index++);
            if (&own != &value) {
                own = value;
            }
        });
        return;
    }
    ETabulonTag filled;
    each([&filled](unsigned int level, const ETabulonValue& value) {
        filled.SetValue(level, value);
    });
    result = std::move(filled);
}

template <class Keep>
void Filter(const ETabulonTag& tag, Keep keep, ETabulonTag& result) {
    Fill(result, [&tag, &keep](auto put) {
        for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
            if (keep(tag.LevelAt(index))) {
                put(tag.LevelAt(index), tag.ValueAt(index));
            }
        }
    });
}

int CompareSources(const ETabulonValue& a, const ETabulonValue& b,
                   ETabulonSortDesc::SortCompareSource source) {
    if (source == ETabulonSortDesc::CompareOnValue) {
        return detail::CompareByValue(a, b);
    }
    // Deliberate: not ETabulonValue::Compare. Status plays no part, and a value that is missing or
    // special ranks by its empty text among all others. StatusPlaysNoPart holds it.
    //
    // Deliberate: data compare as text, so 10 stands before 9. NumbersCompareAsText holds it.
    return source == ETabulonSortDesc::CompareOnDisplay
               ? a.DisplayValue().CompareLocale(b.DisplayValue())
               : a.Data().AsChaine().ComparePlain(b.Data().AsChaine());
}

int CompareValues(const ETabulonValue& a, const ETabulonValue& b, const SortKey& key,
                  ETabulonSortDesc::SortCompareSource source) {
    const int order = CompareSources(a, b, source);
    return key.IsReverseOrder() ? -order : order;
}

}  // namespace

int ETabulonSortDesc::Compare(const ETabulonTag& a, const ETabulonTag& b,
                              const SortKey& key) const {
    return CompareValues(a.Value(key.Level()), b.Value(key.Level()), key, compareSource_);
}

int ETabulonSortDesc::Compare(const ETabulonTag& a, const ETabulonTag& b, unsigned int index,
                              HideFlag mask) const {
    return Compare(a, b, SortLevel(index, mask));
}

// Deliberate: a level that either tag lacks is passed over and doesn't end the comparison. A parent
// so equals each of its children, and tags without a common level are equal.
// LevelsThatEitherLacksDecideNothing holds it.
int ETabulonSortDesc::Compare(const ETabulonTag& a, const ETabulonTag& b, HideFlag mask) const {
    for (const unsigned int position : views_->Of(mask, keys_).positions) {
        const SortKey& key = keys_[position];
        const ETabulonValue* const left = a.Find(key.Level());
        const ETabulonValue* const right = left != nullptr ? b.Find(key.Level()) : nullptr;
        if (right == nullptr) {
            continue;
        }
        const int order = CompareValues(*left, *right, key, compareSource_);
        if (order != 0) {
            return order;
        }
    }
    return 0;
}

Chaine ETabulonSortDesc::ComparisonKey(const ETabulonTag& tag, const SortKey& key) const {
    return ComparisonKey(tag.Value(key.Level()));
}

Chaine ETabulonSortDesc::ComparisonKey(const ETabulonValue& value) const {
    switch (compareSource_) {
        case CompareOnDisplay:
            return value.DisplayText().LocaleSortKey();
        case CompareOnValue: {
            std::string key;
            detail::AppendValueKey(value, key);
            return Chaine(key.data(), key.size());
        }
        default:
            return value.Data().AsChaine();
    }
}

Chaine ETabulonSortDesc::ComparisonKey(const ETabulonTag& tag, const SortKey& key,
                                       ETabulonSortKeyCache& cache) const {
    const ETabulonValue& value = tag.Value(key.Level());
    return compareSource_ == CompareOnDisplay ? cache.KeyOf(value.DisplayValue())
                                              : ComparisonKey(value);
}

ETabulonValue ETabulonSortDesc::ExtractSortValue(const ETabulonTag& tag, unsigned int index,
                                                 HideFlag mask) const {
    return tag.Value(SortLevel(index, mask).Level());
}

void ETabulonSortDesc::ExtractSortValues(const ETabulonTag& tag, unsigned int depth, HideFlag mask,
                                         ETabulonTag& result) const {
    const Views::View& view = views_->Of(mask, keys_);
    // Deliberate: the depth counts absolute positions, so a hidden key uses it up although its
    // value is left out. HiddenKeyUsesUpTheDepth holds it.
    const auto end = std::lower_bound(view.positions.begin(), view.positions.end(), depth);
    const auto kept = static_cast<std::size_t>(end - view.positions.begin());
    Filter(
        tag, [&view, kept](unsigned int level) { return Views::Holds(view, 0, kept, level); },
        result);
}

ETabulonTag ETabulonSortDesc::ExtractSortValues(const ETabulonTag& tag, unsigned int depth,
                                                HideFlag mask) const {
    ETabulonTag result;
    ExtractSortValues(tag, depth, mask, result);
    return result;
}

// The keys from the first on whose levels `root` holds.
//
// Deliberate: they are counted by absolute position, hidden ones included, while the walk to the
// levels below counts visible positions. Grids and scores pass roots whose levels lead the keys,
// and lay out their axes by this. DetailLevelCountsAbsoluteAndWalksVisible holds it.
unsigned int ETabulonSortDesc::LeadingLevels(const ETabulonTag& root) const {
    unsigned int held = 0;
    while (held < keys_.Size() && root.HasValue(keys_[held].Level())) {
        ++held;
    }
    return held;
}

const SortKey& ETabulonSortDesc::DetailLevel(const ETabulonTag& root, unsigned int index,
                                             HideFlag mask) const {
    return SortLevel(LeadingLevels(root) + index, mask);
}

void ETabulonSortDesc::ExtractDetails(const ETabulonTag& tag, const ETabulonTag& root,
                                      unsigned int count, HideFlag mask,
                                      ETabulonTag& result) const {
    const Views::View& view = views_->Of(mask, keys_);
    const std::size_t visible = view.levels.size();
    const std::size_t leading = count == 0 ? 0 : LeadingLevels(root);
    E_EXPECTS(leading + count <= visible);
    const std::size_t first = std::min(leading, visible);
    const std::size_t end = first + std::min<std::size_t>(count, visible - first);
    Fill(result, [&tag, &root, &view, first, end](auto put) {
        // Both in rising order of level; where both have one, a detail is the tag's.
        unsigned int rootPlace = 0;
        for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
            const unsigned int level = tag.LevelAt(index);
            if (!Views::Holds(view, first, end, level)) {
                continue;
            }
            for (; rootPlace < root.KnownLevelsCount() && root.LevelAt(rootPlace) < level;
                 ++rootPlace) {
                put(root.LevelAt(rootPlace), root.ValueAt(rootPlace));
            }
            if (rootPlace < root.KnownLevelsCount() && root.LevelAt(rootPlace) == level) {
                ++rootPlace;
            }
            put(level, tag.ValueAt(index));
        }
        for (; rootPlace < root.KnownLevelsCount(); ++rootPlace) {
            put(root.LevelAt(rootPlace), root.ValueAt(rootPlace));
        }
    });
}

ETabulonTag ETabulonSortDesc::ExtractDetails(const ETabulonTag& tag, const ETabulonTag& root,
                                             unsigned int count, HideFlag mask) const {
    ETabulonTag result;
    ExtractDetails(tag, root, count, mask, result);
    return result;
}

void ETabulonSortDesc::GetParentTag(const ETabulonTag& tag, HideFlag mask,
                                    ETabulonTag& result) const {
    const Views::View& view = views_->Of(mask, keys_);
    const auto gap = std::find_if_not(view.levels.begin(), view.levels.end(),
                                      [&tag](unsigned int level) { return tag.HasValue(level); });
    const auto run = static_cast<std::size_t>(gap - view.levels.begin());
    // Deliberate: the run ends at the first gap, and what the tag holds after it is lost with the
    // last level of the run. ParentEndsAtTheFirstGap holds it.
    const std::size_t kept = run == 0 ? 0 : run - 1;
    Filter(
        tag, [&view, kept](unsigned int level) { return Views::Holds(view, 0, kept, level); },
        result);
}

ETabulonTag ETabulonSortDesc::GetParentTag(const ETabulonTag& tag, HideFlag mask) const {
    ETabulonTag result;
    GetParentTag(tag, mask, result);
    return result;
}

bool ETabulonSortDesc::GetParentTags(const ETabulonTag& tag, PTableau<ETabulonTag>& parents,
                                     HideFlag mask) const {
    return GetParentTags(ExtractSortValues(tag, static_cast<unsigned int>(-1), mask), parents,
                         ETabulonTag::Null, mask);
}

bool ETabulonSortDesc::GetParentTags(const ETabulonTag& tag, PTableau<ETabulonTag>& parents,
                                     const ETabulonTag& stop, HideFlag mask) const {
    bool climbed = false;
    for (ETabulonTag lower = tag; !(lower == stop); climbed = true) {
        ETabulonTag parent = GetParentTag(lower, mask);
        // Where a level has two keys a tag may be its own parent, as the root is: the climb would
        // never end.
        if (parent == lower) {
            break;
        }
        parents.InsertAt(0, parent);
        lower = std::move(parent);
    }
    return climbed;
}

void ETabulonSortDesc::RemoveHiddenValues(const ETabulonTag& tag, HideFlag mask,
                                          ETabulonTag& result) const {
    const Views::View& view = views_->Of(mask, keys_);
    Filter(
        tag, [&view](unsigned int level) { return Views::Shows(view, level); }, result);
}

ETabulonTag ETabulonSortDesc::RemoveHiddenValues(const ETabulonTag& tag, HideFlag mask) const {
    ETabulonTag result;
    RemoveHiddenValues(tag, mask, result);
    return result;
}

bool ETabulonSortDesc::HasHiddenValues(const ETabulonTag& tag, HideFlag mask) const {
    const Views::View& view = views_->Of(mask, keys_);
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        if (!Views::Shows(view, tag.LevelAt(index))) {
            return true;
        }
    }
    return false;
}

bool ETabulonSortDesc::IsSortCompatible(const ETabulonTag& tag, HideFlag mask) const {
    bool gap = false;
    for (const unsigned int level : VisibleLevels(mask)) {
        const bool held = tag.HasValue(level);
        if (gap && held) {
            return false;
        }
        gap = gap || !held;
    }
    return true;
}

bool ETabulonSortDesc::HasOnlySortValues(const ETabulonTag& tag) const {
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        if (!IsSortLevel(tag.LevelAt(index))) {
            return false;
        }
    }
    return true;
}

HICON ETabulonSortDesc::GetIcon(const ETabulonTag& tag, const SortKey& key) const {
    return levels_->GetLevel(key.Level()).Icon(tag.Value(key.Level()).Data());
}

HICON ETabulonSortDesc::GetIcon(const ETabulonTag& tag, unsigned int index, HideFlag mask) const {
    return GetIcon(tag, SortLevel(index, mask));
}

}  // namespace etabulon
