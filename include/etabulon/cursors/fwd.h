#pragma once

namespace etabulon {

class ETabulonCursor;
class ETabulonCursorCache;
class ETabulonCursorEData;
class ETabulonCursorPending;
class ETabulonCursorRelay;

}  // namespace etabulon
