#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EFieldSet.h"

#include <cstdint>

namespace etabulon {

/// Names a variable: by code ("Rubric.variable", or a link path), or by number.
/// Example    examples/grid.cpp
class ETABULON_API ETabulonVariableID {
public:
    static const ETabulonVariableID& Null;

    constexpr ETabulonVariableID() noexcept = default;
    /// A decimal number (blanks around it allowed, at most 10 digits) names a field by number;
    /// anything else is a code, split at its first ".".
    ETabulonVariableID(const Chaine& code);
    ETabulonVariableID(const char* code) : ETabulonVariableID(Chaine(code)) {}
    /// An identifier by number; 0 gives one by name, with the code "0".
    ETabulonVariableID(unsigned long accelerator);
    virtual ~ETabulonVariableID() = default;
    ETabulonVariableID(const ETabulonVariableID&) = default;
    ETabulonVariableID& operator=(const ETabulonVariableID&) = default;
    ETabulonVariableID(ETabulonVariableID&&) noexcept = default;
    ETabulonVariableID& operator=(ETabulonVariableID&&) noexcept = default;

    [[nodiscard]] const Chaine& Code() const noexcept { return code_; }
    [[nodiscard]] const Chaine& CodeRub() const noexcept { return codeRub_; }
    [[nodiscard]] const Chaine& CodeVar() const noexcept { return codeVar_; }
    [[nodiscard]] unsigned long Accelerator() const noexcept { return accelerator_; }
    [[nodiscard]] bool IsAccelerator() const noexcept { return accelerator_ != 0; }
    [[nodiscard]] bool IsValid() const noexcept { return !code_.IsEmpty(); }
    /// The variable is reached through a link: the code holds a forward or backward mark.
    [[nodiscard]] bool IsLink() const noexcept;

    // Deliberate: only the left side decides whether numbers or names are compared. A named
    // identifier and a numbered one may be equal in one direction and unequal in the other. The
    // order of the operands is therefore part of every lookup; no operator is defaulted, and C++
    // must not turn the operands round. NamedAgainstNumberedIsAsymmetric holds it.
    [[nodiscard]] bool operator==(const ETabulonVariableID& other) const noexcept;
    [[nodiscard]] bool operator!=(const ETabulonVariableID& other) const noexcept {
        return !(*this == other);
    }
    /// Compares numbers if both have one, otherwise codes in folded order.
    [[nodiscard]] bool operator<(const ETabulonVariableID& other) const noexcept;

    [[nodiscard]] bool ExistsIn(const EFieldSet& fields) const;
    /// The field; the static empty one where there is none.
    [[nodiscard]] EField& GetIn(EFieldSet& fields) const;
    [[nodiscard]] const EField& GetIn(const EFieldSet& fields) const;

private:
    Chaine code_;
    Chaine codeRub_;
    Chaine codeVar_;
    unsigned long accelerator_ = 0;
};

}  // namespace etabulon
