#pragma once

#include "etabulon/sort/ETabulonSortDesc.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace etabulon {

/// What each mask shows of one list of keys, so that no walk scans the keys for hidden ones.
///
/// Threads  the views of the masks made of HideInTree and HideInCalc are made at once, and reading
///          them writes nothing. A mask with other bits that some key has gets its view at the
///          first request.
class ETabulonSortDesc::Views {
public:
    struct View {
        std::vector<unsigned int> positions;  // absolute, of the visible keys in order
        std::vector<unsigned int> levels;     // of the visible keys in order
        std::vector<unsigned int> shown;      // rising; see Shows
        // Each level stands once in `levels`, and no other key hides it. Then `shown` has the same
        // levels, and `visibleIndexes` the index in `levels` of each.
        bool isPlain = true;
        std::vector<unsigned int> visibleIndexes;
    };

    explicit Views(const SortKeyArray& keys);

    /// The reference is valid as long as this object. Requires the keys of the constructor.
    [[nodiscard]] const View& Of(HideFlag mask, const SortKeyArray& keys) const;
    /// The level has a key, and the first of its keys isn't hidden.
    [[nodiscard]] static bool Shows(const View& view, unsigned int level) noexcept;
    /// `level` is among the visible levels from the `first` to before the `end`. Requires that they
    /// are part of view.levels.
    [[nodiscard]] static bool Holds(const View& view, std::size_t first, std::size_t end,
                                    unsigned int level) noexcept;

private:
    static constexpr HideFlag kNamedBits = HideInTree | HideInCalc;

    struct Foreign {
        HideFlag mask;
        std::unique_ptr<const View> view;
    };

    [[nodiscard]] static View MakeView(HideFlag mask, const SortKeyArray& keys);
    [[nodiscard]] static std::vector<unsigned int> ShownLevels(HideFlag mask,
                                                               const SortKeyArray& keys);

    std::array<View, kNamedBits + 1> named_;
    HideFlag used_ = 0;  // the bits that any key has
    mutable std::vector<Foreign> foreign_;
};

}  // namespace etabulon
