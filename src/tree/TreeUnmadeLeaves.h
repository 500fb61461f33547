#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/values/ETabulonValue.h"
#include "tree/TreeKey.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// A leaf's value and key. A number is shifted by one bit; a text is the address of its body.
struct TreeLeafWords {
    std::uint64_t value;
    std::int64_t key;
};

/// Leaves of whole numbers.
struct TreeNumberLeaves {
    unsigned int level = 0;
    std::uint16_t type = 0;  // TYPE_INT64 or TYPE_LONG
    TreeKeyForm keyForm{};
    std::span<const TreeLeafWords> leaves;
};

/// Leaves of one parent that have no node yet: sixteen bytes each, for the value and the key. A
/// walk files most leaves, and few are ever looked at. All have values of one type, either a whole
/// number or an owned text, and keys of one form.
///
/// Ownership  a reference to each text.
/// Failure    std::bad_alloc from Add leaves all as it was.
class TreeUnmadeLeaves {
public:
    // A leaf keeps a number in 63 bits.
    static constexpr std::int64_t kLeast = -(std::int64_t{1} << 62);
    static constexpr std::int64_t kMost = (std::int64_t{1} << 62) - 1;
    [[nodiscard]] static bool FitsLeaf(std::int64_t number) noexcept {
        return number >= kLeast && number <= kMost;
    }
    [[nodiscard]] static std::uint64_t WordOf(std::int64_t number) noexcept {
        return static_cast<std::uint64_t>(number) << 1;
    }
    [[nodiscard]] static std::int64_t NumberOf(const TreeLeafWords& leaf) noexcept {
        return static_cast<std::int64_t>(leaf.value) >> 1;
    }

    TreeUnmadeLeaves() noexcept = default;
    TreeUnmadeLeaves(const TreeUnmadeLeaves&) = delete;
    TreeUnmadeLeaves& operator=(const TreeUnmadeLeaves&) = delete;
    ~TreeUnmadeLeaves() { Clear(); }

    [[nodiscard]] bool IsEmpty() const noexcept { return leaves_.empty(); }
    [[nodiscard]] std::size_t Size() const noexcept { return leaves_.size(); }

    /// A leaf of this value and key can be without a node.
    [[nodiscard]] static bool CanBe(const ETabulonValue& value, TreeKeyForm form) noexcept;
    /// The same, beside those that are there.
    [[nodiscard]] bool CanAdd(const ETabulonValue& value, TreeKeyForm form) const noexcept;
    /// Requires CanAdd. The leaf isn't dirty.
    void Add(const ETabulonValue& value, TreeKeyWord key);
    /// Leaves of numbers of that type and of that key form can be added.
    [[nodiscard]] bool CanAddNumbers(std::uint16_t type, TreeKeyForm form) const noexcept {
        return leaves_.empty() || (type == type_ && form == keyForm_);
    }
    void AddNumbers(const TreeNumberLeaves& numbers);
    /// Takes leaves of numbers over into an empty list. None of them is dirty then.
    void CopyNumbers(const TreeUnmadeLeaves& from);
    [[nodiscard]] bool HasNegative() const noexcept;
    /// The value of a leaf of that type.
    [[nodiscard]] static EVariant NumberData(std::uint16_t type, const TreeLeafWords& leaf);
    /// Drops all of them.
    void Clear() noexcept;

    /// The leaf's value is `number`. False for texts.
    [[nodiscard]] bool IsNumber(std::size_t index, std::int64_t number) const noexcept {
        return !isText_ && NumberOf(leaves_[index]) == number;
    }
    /// Requires that the leaf's value isn't a text.
    [[nodiscard]] std::int64_t Number(std::size_t index) const noexcept {
        return NumberOf(leaves_[index]);
    }
    [[nodiscard]] bool IsEqual(std::size_t index, const ETabulonValue& value) const;
    [[nodiscard]] bool IsIdentical(std::size_t index, const ETabulonValue& value) const;
    [[nodiscard]] std::uint32_t Hash(std::size_t index) const;
    void ReadValue(std::size_t index, ETabulonValue& value) const;

    [[nodiscard]] TreeKeyWord Key(std::size_t index) const noexcept {
        return {leaves_[index].key, keyForm_};
    }
    /// False, with nothing changed, for a key of another form.
    [[nodiscard]] bool SetKey(std::size_t index, TreeKeyWord key) noexcept {
        if (key.form != keyForm_) {
            return false;
        }
        leaves_[index].key = key.word;
        return true;
    }

    [[nodiscard]] bool IsDirty(std::size_t index) const noexcept {
        return (leaves_[index].value & kDirty) != 0;
    }
    void SetClean(std::size_t index) noexcept { leaves_[index].value &= ~kDirty; }
    void SetAllDirty(bool dirty) noexcept;
    [[nodiscard]] bool HasDirty() const noexcept;
    /// Drops the dirty leaves and returns how many there were.
    std::size_t DropDirty() noexcept;

    /// Prefetches the text of a leaf whose value is one.
    void PrefetchText(std::size_t index) const noexcept {
        if (isText_) {
            PrefetchToWrite(BodyOf(leaves_[index]));
        }
    }
    /// Prefetches the texts from a little way behind `index`, for a pass over all of them.
    void PrefetchTextsNear(std::size_t index) const noexcept;
    void PrefetchEnd() const noexcept { PrefetchToWrite(leaves_.data() + leaves_.size()); }

private:
    static constexpr std::uint64_t kDirty = 1;

    [[nodiscard]] static Chaine::Body* BodyOf(const TreeLeafWords& leaf) noexcept {
        return reinterpret_cast<Chaine::Body*>(leaf.value & ~kDirty);
    }
    [[nodiscard]] EVariant DataOf(std::size_t index) const;
    [[nodiscard]] bool IsSameText(std::size_t index, const ETabulonValue& value) const noexcept;

    std::vector<TreeLeafWords> leaves_;
    std::uint16_t type_ = 0;  // of the values
    TreeKeyForm keyForm_{};
    bool isText_ = false;
};

/// Reads a whole number that displays as such. False for any other value.
[[nodiscard]] bool ReadWholeNumber(const ETabulonValue& value, std::int64_t& number) noexcept;

}  // namespace etabulon::detail
