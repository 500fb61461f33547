#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"

#include "etabulon/cumul/ETabulonCumulBufferOnVar.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/PresentFunctions.h"
#include "etabulon/foundation/EField.h"
#include "etabulon/values/ETabulonVariableDesc.h"

namespace etabulon {
namespace {

ETabulonCumulFuncOnVar* BuildOn(const ERef<ETabulonVariableDesc>& variable,
                                const Chaine& functionCode) {
    auto function = ERef<ETabulonCumulFunc>::Adopt(variable->Functions().GetFunction(functionCode));
    if (!function) {
        function = FindPresentFunction(functionCode, variable->DataType());
    }
    return ETabulonCumulFuncOnVar::Build(function.Get(), variable.Get());
}

}  // namespace

ETabulonCumulFuncOnVar::ETabulonCumulFuncOnVar(ETabulonVariableDesc* variable,
                                               ETabulonCumulFunc* function)
    : variable_(ERef<ETabulonVariableDesc>::Retain(variable)),
      function_(ERef<ETabulonCumulFunc>::Retain(function)) {}

ETabulonCumulFuncOnVar::~ETabulonCumulFuncOnVar() = default;

ETabulonCumulFuncOnVar* ETabulonCumulFuncOnVar::Build(ETabulonCumulFunc* function,
                                                      ETabulonVariableDesc* variable) {
    if (function == nullptr || variable == nullptr) {
        return nullptr;
    }
    return new ETabulonCumulFuncOnVar(variable, function);
}

ETabulonCumulFuncOnVar* ETabulonCumulFuncOnVar::Build(const Chaine& functionCode,
                                                      const ETabulonVariableID& id, int type,
                                                      unsigned int size, const Chaine& header) {
    return BuildOn(ERef<ETabulonVariableDesc>::Adopt(
                       ETabulonVariableDesc::Build(id, type, size, header, nullptr)),
                   functionCode);
}

ETabulonCumulFuncOnVar* ETabulonCumulFuncOnVar::Build(const Chaine& functionCode,
                                                      const EField& field, const Chaine& header) {
    const unsigned long number = field.Infos().Accelerator();
    return Build(functionCode,
                 number != 0 ? ETabulonVariableID(number) : ETabulonVariableID(field.Name()),
                 field.Type(), field.Size(), header);
}

ETabulonCumulFuncOnVar* ETabulonCumulFuncOnVar::Build(const Chaine& functionCode,
                                                      const DVariable* variable, int index) {
    return BuildOn(ERef<ETabulonVariableDesc>::Adopt(ETabulonVariableDesc::Build(variable, index)),
                   functionCode);
}

ETabulonCumulBufferOnVar* ETabulonCumulFuncOnVar::Start() {
    const auto buffer = ERef<ETabulonCumulBuffer>::Adopt(
        function_->Start(variable_->DataType(), variable_->DataSize()));
    return new ETabulonCumulBufferOnVar(this, buffer.Get());
}

}  // namespace etabulon
