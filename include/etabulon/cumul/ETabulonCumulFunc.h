#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonValue.h"

#include <atomic>
#include <cstdint>

namespace etabulon {

class ETabulonCumulBuffer;

/// The description of a fold over the values that a walk meets: it makes the buffers that fold.
///
/// Ownership  counted. The icon isn't owned.
/// Threads    immutable, and counted by an atomic count: threads may share it.
/// Example    examples/function.cpp
class ETABULON_API ETabulonCumulFunc : public virtual ECountedUnknown {
public:
    /// An empty `displayName` is replaced by `code`.
    ETabulonCumulFunc(const Chaine& code, const Chaine& displayName, HICON icon);

    void AddRef() override;
    std::int32_t Release() override;

    /// Looked up without regard to case.
    [[nodiscard]] virtual const Chaine& Code() const { return code_; }
    [[nodiscard]] virtual const Chaine& DisplayName() const { return displayName_; }
    [[nodiscard]] virtual HICON Icon() const { return icon_; }
    /// A buffer for values of a variable of this type and size. Returns a reference for the caller.
    [[nodiscard]] virtual ETabulonCumulBuffer* Start(int type, unsigned int size) = 0;
    /// The type of the result for data of type `type`.
    [[nodiscard]] virtual int ResultType(int type) const = 0;
    /// The size of the result for data of size `size`.
    [[nodiscard]] virtual unsigned int ResultSize(unsigned int size) const = 0;

protected:
    ETabulonCumulFunc(const ETabulonCumulFunc& other);
    ETabulonCumulFunc& operator=(const ETabulonCumulFunc& other);
    ~ETabulonCumulFunc() override = default;

private:
    Chaine code_;
    Chaine displayName_;
    HICON icon_;
    std::atomic<std::int32_t> references_{1};
};

/// The accumulator of one running calculation. A folded value can't be removed: for a fresh result,
/// start another buffer.
///
/// Ownership  counted; holds a reference to its function.
/// Threads    one walk writes; readers hold the owner's lock.
/// Example    examples/function.cpp
class ETABULON_API ETabulonCumulBuffer : public virtual ECountedUnknown {
public:
    /// For a variable of this type and size.
    ETabulonCumulBuffer(ETabulonCumulFunc* function, int type, unsigned int size);
    ETabulonCumulBuffer(const ETabulonCumulBuffer&) = delete;
    ETabulonCumulBuffer& operator=(const ETabulonCumulBuffer&) = delete;

    /// Folds one value. `modified`: it differs from what the table holds. `context` is the key of
    /// the record that carries it.
    virtual void AddValue(const EVariant& value, bool modified,
                          const ETabulonPrimaryKey& context) = 0;
    /// ValNull until a value was added. Valid until the next call of AddValue or Result.
    [[nodiscard]] virtual const ETabulonValue& Result() const { return result_; }
    /// The function; no reference is added.
    [[nodiscard]] const ETabulonCumulFunc* Desc() const noexcept { return function_.Get(); }

protected:
    ~ETabulonCumulBuffer() override = default;

    /// Stores into the result, which has the function's result type and size; the modified flag
    /// stays.
    void SetResult(const EVariant& value);
    void SetResult(const EVariant& value, bool modified);
    void SetResultNull();
    void SetResultNull(bool modified);
    void SetResultSpecial();
    void SetResultSpecial(bool modified);
    void SetModified(bool modified) noexcept { result_.SetModified(modified); }

private:
    ERef<ETabulonCumulFunc> function_;
    ETabulonValue result_;
    std::uint16_t resultType_;
    std::uint16_t resultSize_;
};

/// A buffer that remembers the key of the record which supplied the present result.
/// Example    tests/cumul/CumulFixture.h
class ETABULON_API ETabulonCumulBufferContext : public ETabulonCumulBuffer {
public:
    using ETabulonCumulBuffer::ETabulonCumulBuffer;

protected:
    /// Unset until a value was added.
    [[nodiscard]] const ETabulonPrimaryKey& Context() const noexcept { return context_; }
    void SetContext(const ETabulonPrimaryKey& context) { context_ = context; }

private:
    ETabulonPrimaryKey context_;
};

}  // namespace etabulon
