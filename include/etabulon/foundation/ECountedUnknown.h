#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EExport.h"

#include <cstdint>

namespace etabulon {

/// The root of everything that is shared by reference.
///
/// Ownership  an object lives as long as a reference to it is held; hold it in an ERef.
/// Threads    as the class that supplies the count says.
/// Example    tests/foundation/ContainerArrayTest.cpp
class ETABULON_API EUnknown {
public:
    /// The code that QueryInterface reports.
    static constexpr std::uint32_t kNoInterface = 0x80004002;

    virtual ~EUnknown();

    /// Always returns null, and stores kNoInterface where `result` isn't null. No class overrides
    /// it.
    virtual void* QueryInterface(std::uint32_t id, std::uint32_t* result);
    virtual void AddRef() = 0;
    /// Returns the remaining count; at 0 the object is gone.
    virtual std::int32_t Release() = 0;

protected:
    EUnknown() = default;
    EUnknown(const EUnknown&) = default;
    EUnknown(EUnknown&&) = default;
    EUnknown& operator=(const EUnknown&) = default;
    EUnknown& operator=(EUnknown&&) = default;
};

/// Supplies the count. Derive virtually, so that a class with several interfaces has one count.
///
/// Ownership  a new object starts with one reference, its creator's; a copy too.
/// Threads    the count is a plain integer: one thread at a time, or a lock of the owner.
/// Example    tests/cumul/CalculationsTest.cpp
class ETABULON_API ECountedUnknown : public virtual EUnknown {
public:
    ~ECountedUnknown() override;

    void AddRef() override;
    std::int32_t Release() override;

    /// The counted objects alive in the process; 0 in builds without ETABULON_CHECKS.
    [[nodiscard]] static std::int64_t LiveObjects() noexcept;

protected:
    ECountedUnknown() noexcept;
    ECountedUnknown(const ECountedUnknown& other) noexcept;
    ECountedUnknown& operator=(const ECountedUnknown& other) noexcept;

private:
    std::int32_t count_ = 1;
};

}  // namespace etabulon
