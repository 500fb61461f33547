#pragma once

namespace etabulon {

class ETabulonPendingChanges;

}  // namespace etabulon
