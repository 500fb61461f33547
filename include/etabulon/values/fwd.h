#pragma once

namespace etabulon {

class ETabulonExtractValue;
class ETabulonLevels;
class ETabulonPrimaryKey;
class ETabulonTag;
class ETabulonValue;
class ETabulonVariableDesc;
class ETabulonVariableID;

}  // namespace etabulon
