#include "etabulon/cumul/ETabulonCumulBufferOnVar.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/values/ETabulonExtractValue.h"

namespace etabulon {

ETabulonCumulBufferOnVar::ETabulonCumulBufferOnVar(ETabulonCumulFuncOnVar* desc,
                                                   ETabulonCumulBuffer* buffer)
    : desc_(ERef<ETabulonCumulFuncOnVar>::Retain(desc)),
      buffer_(ERef<ETabulonCumulBuffer>::Retain(buffer)) {}

ETabulonCumulBufferOnVar::~ETabulonCumulBufferOnVar() = default;

const ETabulonValue& ETabulonCumulBufferOnVar::Result() const { return buffer_->Result(); }

void ETabulonCumulBufferOnVar::AddValue(const ETabulonExtractValue& extract) {
    // Deliberate: no value folded here is marked as modified, though buffers would carry the flag
    // on: a caller that folds changed values marks them itself. RecordsAreNeverModified holds it.
    buffer_->AddValue(extract.GetValue(desc_->Variable()), /*modified=*/false, extract.Context());
}

}  // namespace etabulon
