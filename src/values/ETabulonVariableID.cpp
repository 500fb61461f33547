#include "etabulon/values/ETabulonVariableID.h"

#include "etabulon/foundation/detail/ENeverDestroyed.h"

namespace etabulon {

namespace {

constinit const detail::ENeverDestroyed<ETabulonVariableID> nullID{};

}  // namespace

constinit const ETabulonVariableID& ETabulonVariableID::Null = nullID.value;

ETabulonVariableID::ETabulonVariableID(const Chaine& code) : code_(code) {
    if (code.IsDecimalNumber()) {
        accelerator_ = static_cast<unsigned long>(code.ToUnsigned());
        return;
    }
    code.Split('.', codeRub_, codeVar_);
}

ETabulonVariableID::ETabulonVariableID(unsigned long accelerator)
    : code_(Chaine::FromUnsigned(accelerator)), accelerator_(accelerator) {}

bool ETabulonVariableID::IsLink() const noexcept {
    // '>' and the byte 0xBB, the marks of a link path.
    return code_.FindOneOf("\x3E\xBB") != Chaine::npos;
}

bool ETabulonVariableID::operator==(const ETabulonVariableID& other) const noexcept {
    return accelerator_ != 0 ? accelerator_ == other.accelerator_ : code_.EqualsFolded(other.code_);
}

bool ETabulonVariableID::operator<(const ETabulonVariableID& other) const noexcept {
    if (accelerator_ != 0 && other.accelerator_ != 0) {
        return accelerator_ < other.accelerator_;
    }
    return code_.CompareFolded(other.code_) < 0;
}

bool ETabulonVariableID::ExistsIn(const EFieldSet& fields) const {
    return fields.Exist(IsAccelerator() ? EFieldIdent{Chaine(), accelerator_}
                                        : EFieldIdent{code_, 0});
}

EField& ETabulonVariableID::GetIn(EFieldSet& fields) const {
    return IsAccelerator() ? fields[accelerator_] : fields[code_];
}

const EField& ETabulonVariableID::GetIn(const EFieldSet& fields) const {
    return IsAccelerator() ? fields[accelerator_] : fields[code_];
}

}  // namespace etabulon
