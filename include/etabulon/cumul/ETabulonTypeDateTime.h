#pragma once

#include "etabulon/cumul/ETabulonType.h"

namespace etabulon {

/// Dates, times and timestamps: the general functions only.
class ETABULON_API ETabulonTypeDateTime : public virtual ETabulonType {
public:
    ETabulonTypeDateTime();
};

}  // namespace etabulon
