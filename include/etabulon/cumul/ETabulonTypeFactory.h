#pragma once

#include "etabulon/cumul/ETabulonType.h"
#include "etabulon/foundation/FSortedMap.h"

namespace etabulon {

/// Keeps the one object of each type family. The families exist before `main` and live to the end
/// of the process.
///
/// Threads  any. Failure  none: every code and family yields an object.
/// Example    tests/cumul/FunctionsTest.cpp
class ETABULON_API ETabulonTypeFactory {
public:
    ETabulonTypeFactory() = delete;

    [[nodiscard]] static const ETabulonType* Get(GenericType family);
    /// The family of a type code; for an unknown code that of GenericUnknown.
    [[nodiscard]] static const ETabulonType* Get(int dataType);

private:
    class CAutoDeleteMap;
    struct Families;
    [[nodiscard]] static Families& AllFamilies();
    [[nodiscard]] static ETabulonType* Make(GenericType family);
};

}  // namespace etabulon
