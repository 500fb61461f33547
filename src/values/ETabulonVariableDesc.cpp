#include "etabulon/values/ETabulonVariableDesc.h"

#include "etabulon/cumul/ETabulonTypeFactory.h"
#include "etabulon/foundation/DDico.h"

namespace etabulon {

ETabulonVariableDesc::ETabulonVariableDesc(const ETabulonVariableID& id, int dataType,
                                           unsigned int dataSize, const Chaine& header, HICON icon)
    : dataID_(id),
      header_(header.IsEmpty() ? id.Code() : header),
      icon_(icon),
      type_(ETabulonTypeFactory::Get(dataType)),
      dataType_(dataType),
      dataSize_(dataSize) {
    if (icon_ == nullptr) {
        icon_ = type_->Icon();
    }
    functions_.AddFunctions(&type_->Functions());
}

ETabulonVariableDesc* ETabulonVariableDesc::Build(const ETabulonVariableID& id, int dataType,
                                                  unsigned int dataSize, const Chaine& header,
                                                  HICON icon) {
    return new ETabulonVariableDesc(id, dataType, dataSize, header, icon);
}

ETabulonVariableDesc* ETabulonVariableDesc::Build(const DVariable* variable, int index) {
    Chaine code(variable->GetDDFName());
    Chaine header(variable->GetHeader());
    if (variable->IsArray() != 0) {
        code = Chaine::Format("%s[%d]", variable->GetDDFName(), index);
        header = Chaine::Format("%s[%d]", variable->GetHeader(), index);
    }
    // The code of a type is a signed byte: codes from 128 on arrive negative, and are unknown.
    return Build(ETabulonVariableID(code), int{variable->TypeCode()}, variable->Size(), header,
                 nullptr);
}

}  // namespace etabulon
