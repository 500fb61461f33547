#include "etabulon/sort/ETabulonSortDesc.h"

#include "etabulon/foundation/ERef.h"
#include "etabulon/values/ETabulonLevels.h"
#include "sort/ETabulonSortViews.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

using SortKey = ETabulonSortKey;
using SortKeyArray = ETabulonSortKeyArray;
using HideFlag = ETabulonSortKey::HideFlag;

constexpr bool IsNegative(unsigned int position) noexcept {
    return static_cast<std::int32_t>(position) < 0;
}

// Translates a visible position for MoveSortLevel into an absolute one.
//
// Deliberate: adds the number of hidden keys at absolute positions up to `position`, and leaves out
// those that the rising result passes, which SortLevel counts. On a list with hidden keys the two
// find different keys; screens compute their positions for this translation.
// MoveTranslatesOtherwiseThanSortLevel holds it.
//
// Deliberate: the keys are read by the operator that grows the list, so that a position beyond the
// end leaves default keys behind, even where nothing moves. PositionBeyondTheEndPads holds it.
unsigned int MovePosition(SortKeyArray& keys, unsigned int position, HideFlag mask) {
    if (mask == 0 || IsNegative(position)) {
        return position;
    }
    unsigned int result = position;
    for (unsigned int left = position + 1; left > 0; --left) {
        if (keys[left - 1].IsHidden(mask)) {
            ++result;
        }
    }
    return result;
}

// Whether the hidden keys stand together from `position` on.
bool StandTogether(const std::vector<unsigned int>& hiddenPositions, unsigned int position) {
    return std::all_of(hiddenPositions.begin(), hiddenPositions.end(),
                       [&position](unsigned int hidden) { return hidden == position++; });
}

}  // namespace

ETabulonSortDesc::ETabulonSortDesc(const ETabulonLevels& levels)
    : levels_(&levels), views_(std::make_unique<const Views>(keys_)) {
    SetSortLevels(SortKeyArray(levels));
}

ETabulonSortDesc::ETabulonSortDesc(const ETabulonSortDesc& other)
    : EUnknown(other),
      ECountedUnknown(other),
      levels_(other.levels_),
      keys_(other.keys_),
      compareSource_(other.compareSource_),
      views_(std::make_unique<const Views>(keys_)) {}

ETabulonSortDesc::~ETabulonSortDesc() {
    // A listener that is destroyed here may still call RemNotifier.
    PTableau<INotifier*> last;
    last.Swap(notifiers_);
    for (INotifier* notifier : last) {
        const auto released = ERef<INotifier>::Adopt(notifier);
    }
}

bool ETabulonSortDesc::SetCompareSource(SortCompareSource source) noexcept {
    if (compareSource_ == source) {
        return false;
    }
    compareSource_ = source;
    ++orderStamp_;
    return true;
}

void ETabulonSortDesc::AddNotifier(INotifier* notifier) {
    auto reference = ERef<INotifier>::Retain(notifier);
    notifiers_.Add(reference.Get());
    static_cast<void>(reference.Detach());  // the entry owns it from here on
}

void ETabulonSortDesc::AddNotifiers(const PTableau<INotifier*>& notifiers) {
    // The array may be this description's own, which changes meanwhile: a copy it must be.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const PTableau<INotifier*> added = notifiers;
    for (INotifier* notifier : added) {
        AddNotifier(notifier);
    }
}

void ETabulonSortDesc::RemNotifier(INotifier* notifier) {
    for (unsigned int index = 0; index < notifiers_.Size();) {
        if (notifiers_.At(index) != notifier) {
            ++index;
            continue;
        }
        notifiers_.RemoveAt(index);
        for (RunningRound* round = rounds_; round != nullptr; round = round->outer) {
            round->next -= index < round->next ? 1 : 0;
        }
        const auto released = ERef<INotifier>::Adopt(notifier);
    }
}

void ETabulonSortDesc::RemNotifiers(const PTableau<INotifier*>& notifiers) {
    // The array may be this description's own, which changes meanwhile: a copy it must be.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const PTableau<INotifier*> removed = notifiers;
    for (INotifier* notifier : removed) {
        RemNotifier(notifier);
    }
}

unsigned int ETabulonSortDesc::SortLevelCount(HideFlag mask) const {
    return mask == 0 ? keys_.Size() : static_cast<unsigned int>(VisibleLevels(mask).size());
}

const SortKey& ETabulonSortDesc::SortLevel(unsigned int index, HideFlag mask) const {
    if (mask == 0) {
        return keys_[index];
    }
    const std::vector<unsigned int>& positions = views_->Of(mask, keys_).positions;
    E_EXPECTS(index < positions.size());
    return keys_[positions[index]];
}

std::span<const unsigned int> ETabulonSortDesc::VisibleLevels(HideFlag mask) const {
    return views_->Of(mask, keys_).levels;
}

bool ETabulonSortDesc::HasLevelsOnce(HideFlag mask) const {
    return views_->Of(mask, keys_).isPlain;
}

unsigned int ETabulonSortDesc::GetSortLevelPos(unsigned int level) const {
    unsigned int position = 0;
    while (position < keys_.Size() && keys_[position].Level() != level) {
        ++position;
    }
    E_EXPECTS(position < keys_.Size());
    return position;
}

// Deliberate: true whatever the keys are, though the name suggests a key. HasOnlySortValues, and
// through it the tree, take levels without a key for sort levels. AnyLevelIsASortLevel holds it.
bool ETabulonSortDesc::IsSortLevel(unsigned int /*level*/) const noexcept { return true; }

// Deliberate: a level without a key is hidden from everything, mask 0 included.
// LevelWithoutAKeyIsHiddenByAnyMask holds it.
bool ETabulonSortDesc::IsHiddenSortLevel(unsigned int level, HideFlag mask) const {
    return !Views::Shows(views_->Of(mask, keys_), level);
}

bool ETabulonSortDesc::SetSortLevels(const SortKeyArray& keys) {
    return Announce(SortChange::SortChangeLevels, [this, &keys] {
        if (keys.IsSameAs(keys_)) {
            return false;
        }
        SetKeys(SortKeyArray(keys));
        return true;
    });
}

bool ETabulonSortDesc::SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag mask) {
    return Announce(SortChange::SortChangeLevels, [this, &levels, mask] {
        SortKeyArray keys = keys_;
        bool changed = false;
        for (unsigned int position = 0; position < keys.Size(); ++position) {
            if (levels.Find(keys[position].Level()) >= 0) {
                changed = keys[position].Hide(mask) || changed;
            }
        }
        if (changed) {
            SetKeys(std::move(keys));
        }
        return changed;
    });
}

bool ETabulonSortDesc::SetHideLevelFlags(unsigned int level, HideFlag mask) {
    PUniqueT<unsigned int> levels;
    levels.Add(level);
    return SetHideLevelFlags(levels, mask);
}

bool ETabulonSortDesc::MoveSortLevel(unsigned int from, unsigned int to, HideFlag mask) {
    return Announce(SortChange::SortChangeMove, [this, from, to, mask] {
        SortKeyArray keys = keys_;
        const unsigned int source = MovePosition(keys, from, mask);
        const unsigned int target = MovePosition(keys, to, mask);
        const bool moves = source != target;
        if (moves) {
            E_EXPECTS(!IsNegative(source) && !IsNegative(target));
            const SortKey moved = keys[source];
            keys.RemoveAt(source, 1);
            keys.InsertAt(target, moved);
        }
        if (moves || keys.Size() != keys_.Size()) {
            SetKeys(std::move(keys));
        }
        return moves;
    });
}

bool ETabulonSortDesc::MoveHiddenLevelsTo(unsigned int position, HideFlag mask) {
    return Announce(SortChange::SortChangeHidden, [this, position, mask] {
        const SortKeyArray& present = keys_;
        SortKeyArray visible;
        std::vector<unsigned int> hiddenPositions;
        for (unsigned int absolute = 0; absolute < present.Size(); ++absolute) {
            if (present[absolute].IsHidden(mask)) {
                hiddenPositions.push_back(absolute);
            } else {
                visible.Add(present[absolute]);
            }
        }
        const unsigned int first = std::min(position, visible.Size());  // -1 is above any count
        if (hiddenPositions.empty() || StandTogether(hiddenPositions, first)) {
            return false;
        }
        SortKeyArray keys = std::move(visible);
        for (unsigned int i = 0; i < hiddenPositions.size(); ++i) {
            keys.InsertAt(first + i, present[hiddenPositions[i]]);
        }
        SetKeys(std::move(keys));
        return true;
    });
}

bool ETabulonSortDesc::NotifyChanging(SortChange change) {
    return Round(
        [this, change](INotifier& notifier) { return notifier.OnSortChanging(this, change); });
}

void ETabulonSortDesc::NotifyChanged(SortChange change) {
    Round([this, change](INotifier& notifier) {
        notifier.OnSortChanged(this, change);
        return true;
    });
}

// Calls the listeners in order until one returns false. They may add and remove listeners
// meanwhile: the size is read at each turn, and RemNotifier moves the index of each running round
// that is past the removed entry, so that no listener is skipped. The reference keeps the listener
// alive during its call.
template <class Call>
bool ETabulonSortDesc::Round(Call call) {
    RunningRound round{0, rounds_};
    struct Leaving {
        ~Leaving() { rounds = outer; }
        RunningRound*& rounds;
        RunningRound* outer;
    } const leaving{rounds_, rounds_};
    rounds_ = &round;
    while (round.next < notifiers_.Size()) {
        const auto notifier = ERef<INotifier>::Retain(notifiers_.At(round.next++));
        if (!call(*notifier)) {
            return false;
        }
    }
    return true;
}

// Asks the listeners, runs `work`, and notifies them of the outcome, even when `work` throws.
//
// Deliberate: after a refusal all listeners are notified, even those that were not asked.
// RefusalIsToldToThoseNotAsked holds it.
template <class Work>
bool ETabulonSortDesc::Announce(SortChange change, Work work) {
    bool changed = false;
    try {
        changed = NotifyChanging(change) && work();
    } catch (...) {
        NotifyChanged(SortChange::SortChangeNone);
        throw;
    }
    NotifyChanged(changed ? change : SortChange::SortChangeNone);
    return changed;
}

void ETabulonSortDesc::SetKeys(SortKeyArray&& keys) {
    auto views = std::make_unique<const Views>(keys);
    keys_ = std::move(keys);
    views_ = std::move(views);
    ++orderStamp_;
}

}  // namespace etabulon
