#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/values/fwd.h"

#include <array>
#include <concepts>
#include <cstdint>

namespace etabulon {

/// One level of a sort description: which, in which direction, and in which views it is hidden.
/// Known to callers as ETabulonSortDesc::SortKey.
/// Example    apps/etabulon/views/CliAlikeLabels.cpp
class ETABULON_API ETabulonSortKey {
public:
    /// A set of views; 0 hides nothing. Bits beyond the two named ones are the application's.
    using HideFlag = std::uint32_t;
    enum HideView : HideFlag {
        HideInTree = 1,  // left out of the tree and its controls
        HideInCalc = 2,  // left out of the axes of grids and the labels of scores
    };

    constexpr ETabulonSortKey() noexcept = default;
    constexpr ETabulonSortKey(unsigned int level, bool reverse, HideFlag hidden) noexcept
        : level_(level), reverse_(reverse), hidden_(hidden) {}

    [[nodiscard]] unsigned int Level() const noexcept { return level_; }
    /// The level sorts in falling order.
    [[nodiscard]] bool IsReverseOrder() const noexcept { return reverse_; }
    /// Hidden in any of these views.
    [[nodiscard]] bool IsHidden(HideFlag mask) const noexcept { return (hidden_ & mask) != 0; }
    /// All views in which it is hidden.
    [[nodiscard]] HideFlag Hidden() const noexcept { return hidden_; }
    /// Returns whether the mask changed.
    bool Hide(HideFlag mask) noexcept {
        // Deliberate: the mask replaces what was hidden and adds nothing to it, so that 0 shows the
        // level everywhere. Callers that hide in one more view pass both bits.
        // HideReplacesTheWholeMask holds it.
        const bool changed = hidden_ != mask;
        hidden_ = mask;
        return changed;
    }
    [[nodiscard]] bool IsSameAs(const ETabulonSortKey& other) const noexcept {
        return level_ == other.level_ && reverse_ == other.reverse_ && hidden_ == other.hidden_;
    }

private:
    unsigned int level_ = 0;
    bool reverse_ = false;
    HideFlag hidden_ = 0;
};

/// An ordered list of sort keys, known to callers as ETabulonSortDesc::SortKeyArray.
///
/// Ownership  a value type; a copy is deep and shares nothing, so that it may go to another thread.
/// Positions  after the end: the non-const accessors pad with default keys up to the position, and
///            InsertAt pads with the inserted key itself, as arrays do everywhere in the library.
/// Example    src/sort/ETabulonSortDesc.cpp
class ETABULON_API ETabulonSortKeyArray {
public:
    using SortKey = ETabulonSortKey;

    ETabulonSortKeyArray() = default;
    /// One key for each level in their order, not reversed, not hidden.
    explicit ETabulonSortKeyArray(const ETabulonLevels& levels);
    ETabulonSortKeyArray(const ETabulonSortKeyArray& other);
    ETabulonSortKeyArray& operator=(const ETabulonSortKeyArray& other);
    ETabulonSortKeyArray(ETabulonSortKeyArray&&) noexcept = default;
    ETabulonSortKeyArray& operator=(ETabulonSortKeyArray&&) noexcept = default;
    virtual ~ETabulonSortKeyArray() = default;

    void Add(const SortKey& key) { keys_.Add(key); }
    void InsertAt(unsigned int position, const SortKey& key) { keys_.InsertAt(position, key); }
    void RemoveAt(unsigned int index, unsigned int count) { keys_.RemoveAt(index, count); }
    void Free() noexcept { keys_.Free(); }
    [[nodiscard]] unsigned int Size() const noexcept { return keys_.Size(); }
    [[nodiscard]] SortKey& GetAt(unsigned int index) { return keys_[index]; }
    [[nodiscard]] const SortKey& GetAt(unsigned int index) const { return keys_[index]; }
    SortKey& operator[](unsigned int index) { return keys_[index]; }
    const SortKey& operator[](unsigned int index) const { return keys_[index]; }
    [[nodiscard]] auto begin() const { return keys_.begin(); }
    [[nodiscard]] auto end() const { return keys_.end(); }

    /// Replaces the content by the first `count` of the keys given. Requires that many.
    template <std::same_as<SortKey>... Others>
    void Build(unsigned int count, SortKey first, Others... others) {
        const std::array<SortKey, 1 + sizeof...(Others)> keys{first, others...};
        E_EXPECTS(count <= keys.size());
        Build(count, keys.data());
    }
    void Build(unsigned int count, const SortKey* keys);

    /// Whether both have the same keys in the same order.
    [[nodiscard]] bool IsSameAs(const ETabulonSortKeyArray& other) const;

private:
    PTableau<SortKey> keys_;
};

}  // namespace etabulon
