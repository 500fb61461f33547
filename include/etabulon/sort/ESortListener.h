#pragma once

#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/sort/ETabulonSortDesc.h"

namespace etabulon {

/// A listener of sort descriptions that refuses no change and does nothing: derive from it and
/// override what matters.
///
/// Ownership  counted, with one reference for its creator.
/// Example    tests/sort/SortChangeTest.cpp
class ETABULON_API ESortListener : public ETabulonSortDesc::INotifier,
                                   public virtual ECountedUnknown {
public:
    bool OnSortChanging(const ETabulonSortDesc* /*sort*/, SortChange /*change*/) override {
        return true;
    }
    void OnSortChanged(const ETabulonSortDesc* /*sort*/, SortChange /*change*/) override {}
};

}  // namespace etabulon
