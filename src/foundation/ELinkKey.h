#pragma once

#include "etabulon/foundation/EFieldKey.h"
#include "foundation/ECellView.h"
#include "foundation/ELinkPath.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace etabulon::detail {

/// The key that a hop reads from a record, and its values when it was last taken.
class ELinkKey {
public:
    ELinkKey(const DRubric& rubric, const PathHop& hop);

    /// Whether the record has the key taken last. Texts that share a body, as equal texts of a
    /// column do, are the same without a comparison of bytes.
    [[nodiscard]] bool IsSame(const std::byte* record) noexcept;
    /// Takes the key of the record. False where a part of it is missing.
    [[nodiscard]] bool Take(const std::byte* record);
    [[nodiscard]] const EFieldKey& Values() const noexcept { return values_; }

private:
    struct Part {
        explicit Part(ECellView view) : cell(std::move(view)) {}
        ECellView cell;
        std::size_t offset = 0;
        std::size_t size = 0;   // bytes in the record
        std::size_t image = 0;  // the offset of its bytes in image_; unused for slots
        bool isSlot = false;
        bool isMissing = true;  // slots only
        Chaine text;            // slots only: the text last taken
    };
    [[nodiscard]] static bool IsSameText(Part& part, const std::byte* record) noexcept;

    std::vector<Part> parts_;
    std::vector<std::byte> image_;
    EFieldKey values_;
};

}  // namespace etabulon::detail
