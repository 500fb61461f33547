#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/ETabulonTypeFactory.h"
#include "etabulon/foundation/EDataType.h"

#include <string>

namespace etabulon::test {

/// Opens a buffer's context.
struct OpenContext : ETabulonCumulBufferContext {
    static const ETabulonPrimaryKey& Of(const ETabulonCumulBuffer& buffer) {
        return (dynamic_cast<const ETabulonCumulBufferContext&>(buffer).*&OpenContext::Context)();
    }
};

/// The key of a record with this number.
inline ETabulonPrimaryKey KeyOf(int number) {
    EFieldKey key;
    key.Add(EVariant(number));
    return ETabulonPrimaryKey(key, number);
}

inline ERef<ETabulonCumulFunc> FunctionOf(int type, const char* code) {
    return ERef<ETabulonCumulFunc>::Adopt(
        ETabulonTypeFactory::Get(type)->Functions().GetFunction(Chaine(code)));
}

/// "5", "5*" where modified, "-" for no value, "?" for values that differ, "()" for ValNormal
/// without a value.
inline std::string Text(const ETabulonValue& value) {
    std::string text = value.IsNull()             ? "-"
                       : value.IsSpecial()        ? "?"
                       : value.Data().IsMissing() ? "()"
                                                  : std::string(value.Data().AsChaine().View());
    return text + (value.IsModified() ? "*" : "");
}

/// A buffer that is fed records: the n-th has the key n, from 1.
class Running {
public:
    Running(const char* code, int type)
        : function_(FunctionOf(type, code)),
          buffer_(ERef<ETabulonCumulBuffer>::Adopt(function_->Start(type, 0))) {}

    Running& Add(const EVariant& value, bool modified = false) {
        buffer_->AddValue(value, modified, KeyOf(++records_));
        return *this;
    }
    [[nodiscard]] const ETabulonValue& Result() const { return buffer_->Result(); }
    [[nodiscard]] std::string Text() const { return test::Text(Result()); }
    /// The number of the record that supplied the result; -1 for none.
    [[nodiscard]] int Context() const {
        return static_cast<int>(OpenContext::Of(*buffer_).Position());
    }

private:
    ERef<ETabulonCumulFunc> function_;
    ERef<ETabulonCumulBuffer> buffer_;
    int records_ = 0;
};

}  // namespace etabulon::test
