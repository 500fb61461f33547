#pragma once

#include "etabulon/cumul/ETabulonType.h"

namespace etabulon {

/// Dates, times and timestamps: the general functions only.
/// Example    src/cumul/ETabulonType.cpp
class ETABULON_API ETabulonTypeDateTime : public virtual ETabulonType {
public:
    ETabulonTypeDateTime();
};

}  // namespace etabulon
