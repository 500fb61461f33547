#pragma once

namespace etabulon {

class ETabulonCursor;
class ETabulonCursorEData;
class ETabulonCursorPending;
class ETabulonCursorRelay;

}  // namespace etabulon
