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
    // Deliberate: nothing is marked as modified on this road, though buffers would carry it on:
    // whoever folds changed values marks them himself. RecordsAreNeverModified holds it.
    buffer_->AddValue(extract.GetValue(desc_->Variable()), /*modified=*/false, extract.Context());
}

}  // namespace etabulon
