#pragma once

namespace etabulon {

class ECsvInput;
class ECsvTable;
struct ECsvFormat;
struct ECsvHint;
struct ECsvNotation;
struct ECsvReadOptions;

}  // namespace etabulon
