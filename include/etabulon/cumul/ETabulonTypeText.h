#pragma once

#include "etabulon/cumul/ETabulonType.h"

namespace etabulon {

/// Texts: the general functions only.
/// Example    src/cumul/ETabulonType.cpp
class ETABULON_API ETabulonTypeText : public virtual ETabulonType {
public:
    ETabulonTypeText();
};

}  // namespace etabulon
