#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/sort/ETabulonSortKey.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/fwd.h"

#include <cstdint>
#include <memory>
#include <span>

namespace etabulon {

/// The levels of one tree in their order: which of the available levels, in which direction, and in
/// which views each is hidden. Before a change each listener may refuse it; afterwards all are
/// notified.
///
/// Positions  absolute ones count all keys. Visible ones count those that a mask doesn't hide; with
///            mask 0 the two are the same. Trees pass HideInTree, grids and scores HideInCalc.
/// Ownership  counted. The levels are not owned and must outlive this. Holds a reference to each
///            listener, once for each time it was added.
/// Threads    one at a time. With masks made of HideInTree and HideInCalc, const operations write
///            nothing in this object; they do write in the tags and values that they read.
/// Failure    refusal and absence of change both give false. A position or level out of range is
///            the caller's fault, unless an operation says otherwise.
/// Example    examples/tree.cpp
class ETABULON_API ETabulonSortDesc : public virtual ECountedUnknown {
public:
    using SortKey = ETabulonSortKey;
    using SortKeyArray = ETabulonSortKeyArray;
    using HideFlag = SortKey::HideFlag;
    using enum SortKey::HideView;

    /// What the comparison of two values reads. Any other number means the data too.
    enum SortCompareSource : std::int32_t {
        CompareOnDisplay = 0,  // the display texts, in locale order
        CompareOnData = 1,     // the data as text, in plain order: 10 comes before 9
        // The values: missing ones first, then numbers, dates and texts, each in their own order,
        // texts in locale order and then by bytes. A value with a label stands where its label
        // would, and then by its data; a label that is the text of its own number stands where the
        // number does. Only equal values compare as equal: acme and ACME, an empty
        // text and a missing one, and two values of one label are different ones.
        CompareOnValue = 0x100,
    };

    class ETABULON_API INotifier : public virtual EUnknown {
    public:
        enum SortChange : std::int32_t {
            SortChangeLevels = 0,  // the list of keys or a hide mask
            SortChangeMove = 1,    // one key moved
            SortChangeHidden = 2,  // the hidden keys moved together
            SortChangeNone = 3,    // the announced change didn't happen; OnSortChanged only
        };
        /// False refuses the change. One OnSortChanged follows in any case.
        [[nodiscard]] virtual bool OnSortChanging(const ETabulonSortDesc* sort,
                                                  SortChange change) = 0;
        /// After a refusal it is also sent to the listeners that were not asked.
        virtual void OnSortChanged(const ETabulonSortDesc* sort, SortChange change) = 0;
    };
    using SortChange = INotifier::SortChange;

    /// One key for each level in their order, compared on display.
    explicit ETabulonSortDesc(const ETabulonLevels& levels);
    explicit ETabulonSortDesc(const ETabulonLevels&& levels) = delete;  // must outlive this
    /// The copy starts without listeners.
    ETabulonSortDesc(const ETabulonSortDesc& other);
    ETabulonSortDesc& operator=(const ETabulonSortDesc&) = delete;
    ~ETabulonSortDesc() override;

    [[nodiscard]] const ETabulonLevels& AvailableLevels() const noexcept { return *levels_; }
    [[nodiscard]] const SortKeyArray& SortLevels() const noexcept { return keys_; }
    /// The listeners, borrowed: copies of the array hold no references.
    [[nodiscard]] const PTableau<INotifier*>& Notifiers() const noexcept { return notifiers_; }
    [[nodiscard]] SortCompareSource CompareSource() const noexcept { return compareSource_; }
    /// Returns whether it changed. Listeners aren't notified: the caller sorts again.
    bool SetCompareSource(SortCompareSource source) noexcept;

    /// Adds a reference. A listener that is added several times is called as often.
    void AddNotifier(INotifier* notifier);
    void AddNotifiers(const PTableau<INotifier*>& notifiers);
    /// Removes every occurrence; allowed while listeners are being called.
    void RemNotifier(INotifier* notifier);
    void RemNotifiers(const PTableau<INotifier*>& notifiers);

    [[nodiscard]] unsigned int SortLevelCount(HideFlag mask) const;
    /// The visible key. Requires index < SortLevelCount(mask). Valid until the keys change.
    [[nodiscard]] const SortKey& SortLevel(unsigned int index, HideFlag mask) const;
    /// The level identifiers of the visible keys in order. Valid until the keys change.
    [[nodiscard]] std::span<const unsigned int> VisibleLevels(HideFlag mask) const;
    /// VisibleLevels has each level once, and none that IsHiddenSortLevel hides.
    [[nodiscard]] bool HasLevelsOnce(HideFlag mask) const;
    /// The absolute position. Requires a key of that level.
    [[nodiscard]] unsigned int GetSortLevelPos(unsigned int level) const;
    /// True for every level, with a key or without.
    [[nodiscard]] bool IsSortLevel(unsigned int level) const noexcept;
    /// Hidden by any bit of `mask`, or without a key.
    [[nodiscard]] bool IsHiddenSortLevel(unsigned int level, HideFlag mask) const;

    // ---------------- changes: each asks the listeners and returns true if the description changed
    bool SetSortLevels(const SortKeyArray& keys);
    /// The mask replaces the whole mask of each level's key; 0 shows the level in every view.
    bool SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag mask);
    bool SetHideLevelFlags(unsigned int level, HideFlag mask);
    /// Moves a key from one visible position to another. The source describes the rules for
    /// positions among hidden keys and beyond the end.
    bool MoveSortLevel(unsigned int from, unsigned int to, HideFlag mask);
    /// Gathers the keys that `mask` hides before the visible position; -1 puts them last.
    bool MoveHiddenLevelsTo(unsigned int position, HideFlag mask);

    // -------------------------------------------------- the order of tags: negative, 0 or positive
    /// The order of siblings at one level. Status plays a part in CompareOnValue only. Requires the
    /// level in both tags.
    [[nodiscard]] int Compare(const ETabulonTag& a, const ETabulonTag& b, const SortKey& key) const;
    [[nodiscard]] int Compare(const ETabulonTag& a, const ETabulonTag& b, unsigned int index,
                              HideFlag mask) const;
    /// Compares at the first visible level that both tags hold with different values.
    [[nodiscard]] int Compare(const ETabulonTag& a, const ETabulonTag& b, HideFlag mask) const;
    /// A text whose plain order is that of Compare(a, b, key) before reversal: for callers that
    /// compare one tag many times. Requires the level in the tag. Valid until the compare source or
    /// the installed locale order changes.
    [[nodiscard]] Chaine ComparisonKey(const ETabulonTag& tag, const SortKey& key) const;
    [[nodiscard]] Chaine ComparisonKey(const ETabulonTag& tag, const SortKey& key,
                                       ETabulonSortKeyCache& cache) const;
    /// The comparison key of a value, whatever its level.
    [[nodiscard]] Chaine ComparisonKey(const ETabulonValue& value) const;
    /// Changes whenever the order of tags may change: with the keys and with the compare source.
    /// Comparable with earlier stamps of this description only.
    [[nodiscard]] std::uint64_t OrderStamp() const noexcept { return orderStamp_; }

    // ------------------------------------------------------------------------------- parts of tags
    // The forms with `result` reuse its storage: filled again and again with the same levels it
    // allocates nothing. `result` may be one of the tags given.
    /// Requires the level in the tag.
    [[nodiscard]] ETabulonValue ExtractSortValue(const ETabulonTag& tag, unsigned int index,
                                                 HideFlag mask) const;
    /// The visible values of the first `depth` keys, hidden ones counted; -1 for all.
    [[nodiscard]] ETabulonTag ExtractSortValues(const ETabulonTag& tag, unsigned int depth,
                                                HideFlag mask) const;
    void ExtractSortValues(const ETabulonTag& tag, unsigned int depth, HideFlag mask,
                           ETabulonTag& result) const;
    /// `root` and what `tag` holds of the `count` levels below it. Requires that many levels.
    [[nodiscard]] ETabulonTag ExtractDetails(const ETabulonTag& tag, const ETabulonTag& root,
                                             unsigned int count, HideFlag mask) const;
    void ExtractDetails(const ETabulonTag& tag, const ETabulonTag& root, unsigned int count,
                        HideFlag mask, ETabulonTag& result) const;
    /// The number of keys, from the first on and hidden ones counted, whose levels `root` holds.
    [[nodiscard]] unsigned int LeadingLevels(const ETabulonTag& root) const;
    /// The key `index` visible positions below `root`, whose levels are taken to lead the keys.
    [[nodiscard]] const SortKey& DetailLevel(const ETabulonTag& root, unsigned int index,
                                             HideFlag mask) const;
    /// One level up; the root for the root.
    [[nodiscard]] ETabulonTag GetParentTag(const ETabulonTag& tag, HideFlag mask) const;
    void GetParentTag(const ETabulonTag& tag, HideFlag mask, ETabulonTag& result) const;
    /// Puts all parents, the root first, before what `parents` holds. False for a root.
    bool GetParentTags(const ETabulonTag& tag, PTableau<ETabulonTag>& parents, HideFlag mask) const;
    /// The values of the levels that IsHiddenSortLevel doesn't hide: even mask 0 drops levels
    /// without a key.
    [[nodiscard]] ETabulonTag RemoveHiddenValues(const ETabulonTag& tag, HideFlag mask) const;
    void RemoveHiddenValues(const ETabulonTag& tag, HideFlag mask, ETabulonTag& result) const;
    /// Whether RemoveHiddenValues would remove anything.
    [[nodiscard]] bool HasHiddenValues(const ETabulonTag& tag, HideFlag mask) const;

    /// The visible levels of the tag make an unbroken run from the top.
    [[nodiscard]] bool IsSortCompatible(const ETabulonTag& tag, HideFlag mask) const;
    /// IsSortLevel of each level.
    [[nodiscard]] bool HasOnlySortValues(const ETabulonTag& tag) const;

    /// The icon of the tag's value at a level; null without icons. Requires the level in the tag.
    [[nodiscard]] HICON GetIcon(const ETabulonTag& tag, const SortKey& key) const;
    [[nodiscard]] HICON GetIcon(const ETabulonTag& tag, unsigned int index, HideFlag mask) const;

protected:
    /// Asks the listeners in order, up to the first refusal.
    [[nodiscard]] bool NotifyChanging(SortChange change);
    void NotifyChanged(SortChange change);
    /// Climbs no further than `stop`.
    bool GetParentTags(const ETabulonTag& tag, PTableau<ETabulonTag>& parents,
                       const ETabulonTag& stop, HideFlag mask) const;

private:
    class Views;
    /// A running round of calls to the listeners.
    struct RunningRound {
        unsigned int next;    // the entry to be called next
        RunningRound* outer;  // the round within whose calls this one runs
    };

    template <class Call>
    bool Round(Call call);
    template <class Work>
    bool Announce(SortChange change, Work work);
    void SetKeys(SortKeyArray&& keys);

    const ETabulonLevels* levels_;
    SortKeyArray keys_;
    SortCompareSource compareSource_ = CompareOnDisplay;
    std::uint64_t orderStamp_ = 1;
    PTableau<INotifier*> notifiers_;  // one reference for each entry, released here
    RunningRound* rounds_ = nullptr;  // the innermost
    std::unique_ptr<const Views> views_;
};

}  // namespace etabulon
