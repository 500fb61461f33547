#pragma once

#include "etabulon/cumul/ETabulonType.h"
#include "etabulon/foundation/FSortedMap.h"

namespace etabulon {

/// Keeps the one object of each type family. The families exist before `main` and live to the end
/// of the process.
///
/// Threads  any. Failure  none: whatever is asked for yields a family.
class ETABULON_API ETabulonTypeFactory {
public:
    ETabulonTypeFactory() = delete;

    [[nodiscard]] static const ETabulonType* Get(GenericType family);
    /// The family of a type code; of every code not known GenericUnknown's.
    [[nodiscard]] static const ETabulonType* Get(int dataType);

private:
    class CAutoDeleteMap;
    struct Families;
    [[nodiscard]] static Families& AllFamilies();
    [[nodiscard]] static ETabulonType* Make(GenericType family);
};

}  // namespace etabulon
