#pragma once

namespace etabulon {

class ETabulonPendingChanges;
class ETabulonSavePending;

}  // namespace etabulon
