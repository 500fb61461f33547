#include "foundation/ELinkKey.h"

#include <cstring>

namespace etabulon::detail {

namespace {

Chaine::Body* ReadSlot(const std::byte* at) noexcept {
    Chaine::Body* body = nullptr;
    std::memcpy(&body, at, sizeof(Chaine));
    return body;
}

}  // namespace

ELinkKey::ELinkKey(const DRubric& rubric, const PathHop& hop) {
    for (const unsigned int index : hop.OwnVariables()) {
        const DVariable& variable = *rubric.At(index);
        const unsigned int element = variable.Count() > 1 ? hop.index : 0;
        const EFieldDesc desc = variable.MakeFieldDesc(element);
        Part& part = parts_.emplace_back(ECellView(desc));
        part.offset = variable.Offset(element);
        part.size = variable.StorageSize();
        part.isSlot = desc.IsSlot();
        if (!part.isSlot) {
            part.image = image_.size();
            image_.resize(image_.size() + part.size);
        }
    }
    values_.Resize(static_cast<std::uint16_t>(parts_.size()));
}

bool ELinkKey::IsSame(const std::byte* record) noexcept {
    for (Part& part : parts_) {
        if (part.isSlot
                ? !IsSameText(part, record)
                : std::memcmp(record + part.offset, image_.data() + part.image, part.size) != 0) {
            return false;
        }
    }
    return true;
}

bool ELinkKey::IsSameText(Part& part, const std::byte* record) noexcept {
    Chaine::Body* const body = ReadSlot(record + part.offset);
    if (body == nullptr || part.isMissing) {
        return body == nullptr && part.isMissing;
    }
    if (body == part.text.GetBody()) {
        return true;
    }
    const Chaine text = Chaine::Share(body);
    if (!(text == part.text)) {
        return false;
    }
    part.text = text;  // the next record likely has this body again
    return true;
}

bool ELinkKey::Take(const std::byte* record) {
    bool isWhole = true;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        Part& part = parts_[i];
        const std::byte* const address = record + part.offset;
        if (part.isSlot) {
            Chaine::Body* const body = ReadSlot(address);
            part.isMissing = body == nullptr;
            part.text = body == nullptr ? Chaine() : Chaine::Share(body);
        } else {
            std::memcpy(image_.data() + part.image, address, part.size);
        }
        const EVariant& cell = part.cell.At(address);
        isWhole = isWhole && !cell.IsMissing();
        values_.At(static_cast<std::uint16_t>(i)) = cell;
    }
    return isWhole;
}

}  // namespace etabulon::detail
