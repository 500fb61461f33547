#pragma once

namespace etabulon {

class ETabulonLevels;
class ETabulonPrimaryKey;
class ETabulonTag;
class ETabulonValue;
class ETabulonVariableID;

}  // namespace etabulon
