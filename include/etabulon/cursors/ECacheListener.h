#pragma once

#include "etabulon/cursors/ETabulonCursorCache.h"

namespace etabulon {

/// A listener of a cache's edits that does nothing: derive from it and override what matters.
///
/// Ownership  counted, with one reference for its creator.
/// Example    tests/cursors/CacheFixture.h
class ETABULON_API ECacheListener : public ETabulonCursorCache::ICacheNotifier,
                                    public virtual ECountedUnknown {
public:
    void OnCacheCleared() override {}
    void OnLineAppended(const ETabulonTag& /*tag*/, EFieldSet& /*fields*/) override {}
    void OnLineDeleted(const ETabulonTag& /*tag*/) override {}
    void OnValueUpdated(const ETabulonTag& /*tag*/, const ETabulonVariableID& /*id*/,
                        EFieldSet& /*fields*/) override {}
    void OnLineUpdated(const ETabulonTag& /*tag*/, EFieldSet& /*fields*/) override {}
};

}  // namespace etabulon
