#pragma once

namespace etabulon {

class ECrossFiller;
class ECrossSelection;
class ECrossTable;
struct ECrossAxisOrder;
struct ECrossKey;
struct ECrossOrder;

namespace detail {
class CrossAxis;
class CrossCells;
class CrossLookup;
class CrossOthers;
}  // namespace detail

}  // namespace etabulon
