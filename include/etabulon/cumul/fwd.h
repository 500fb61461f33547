#pragma once

namespace etabulon {

class CumulPartial;
class ETabulonCumulBuffer;
class ETabulonCumulBufferContext;
class ETabulonCumulBufferOnVar;
class ETabulonCumulBufferOnVarCollection;
class ETabulonCumulFunc;
class ETabulonCumulFuncCollection;
class ETabulonCumulFuncCommonVal;
class ETabulonCumulFuncCount;
class ETabulonCumulFuncLast;
class ETabulonCumulFuncOnVar;
class ETabulonCumulFuncOnVarCollection;
class ETabulonType;
class ETabulonTypeDateTime;
class ETabulonTypeFactory;
class ETabulonTypeNumeric;
class ETabulonTypeText;
class ITabulonCumulBufferOnVarCollection;
class ITabulonCumulFuncCollection;
class ITabulonCumulFuncOnVarCollection;

}  // namespace etabulon
