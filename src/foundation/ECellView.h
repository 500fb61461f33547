#pragma once

#include "etabulon/foundation/EFieldSet.h"

namespace etabulon {

/// Reads one kind of cell in one record after another: moving on costs a store, where attaching a
/// field anew counts its description.
class ECellView {
public:
    explicit ECellView(const EFieldDesc& desc) {
        PTableau<EFieldDesc> descs;
        descs.Add(desc);
        field_.Attach(descs, nullptr, 0, 1);
    }
    /// The value at `place`, to be read only. Good until the next call.
    [[nodiscard]] const EVariant& At(const void* place) noexcept {
        // A field views writable memory; nothing writes through this one.
        field_.ChangeBuffer(const_cast<void*>(place), /*takeOwnership=*/false);
        return field_.At(0);
    }

private:
    EFieldSet field_;
};

}  // namespace etabulon
