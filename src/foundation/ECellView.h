#pragma once

#include "etabulon/foundation/EFieldSet.h"

namespace etabulon {

/// Reads one kind of cell in one record after another. Moving to the next record costs one store,
/// where attaching a field would count a reference to its description.
class ECellView {
public:
    explicit ECellView(const EFieldDesc& desc) {
        PTableau<EFieldDesc> descs;
        descs.Add(desc);
        field_.Attach(descs, nullptr, 0, 1);
    }
    /// The value of the cell at `address`, for reading only. Valid until the next call.
    [[nodiscard]] const EVariant& At(const void* address) noexcept {
        // A field views writable memory; nothing writes through this one.
        field_.ChangeBuffer(const_cast<void*>(address), /*takeOwnership=*/false);
        return field_.At(0);
    }

private:
    EFieldSet field_;
};

}  // namespace etabulon
