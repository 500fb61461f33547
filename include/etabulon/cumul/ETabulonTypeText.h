#pragma once

#include "etabulon/cumul/ETabulonType.h"

namespace etabulon {

/// Texts: the general functions only.
class ETABULON_API ETabulonTypeText : public virtual ETabulonType {
public:
    ETabulonTypeText();
};

}  // namespace etabulon
