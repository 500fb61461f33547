#pragma once

namespace etabulon {

class EJsonTable;
struct EJsonReadOptions;

}  // namespace etabulon
