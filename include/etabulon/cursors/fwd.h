#pragma once

namespace etabulon {

class ETabulonCursor;
class ETabulonCursorEData;

}  // namespace etabulon
