#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/fwd.h"

#include <cstdint>
#include <memory>

namespace etabulon {

/// What a field knows beyond its cell. The library passes it on; fillers of screens read it.
/// Example    src/foundation/EField.cpp
class ETABULON_API EFInfosHandler {
public:
    EFInfosHandler() = default;
    EFInfosHandler(const EFInfosHandler&) = default;
    EFInfosHandler& operator=(const EFInfosHandler&) = default;
    virtual ~EFInfosHandler() = default;
    [[nodiscard]] virtual Chaine Formula() const { return {}; }
    /// The bounds of the values; false, and nothing stored, where there are none.
    [[nodiscard]] virtual bool GetBorne(EVariant& low, EVariant& high) const;
    [[nodiscard]] virtual const DDicoBase* GetDicoDescription() const { return nullptr; }
    [[nodiscard]] virtual bool IsCalc() const { return false; }
    [[nodiscard]] virtual bool IsRecap() const { return false; }
    virtual void ResetRecap() {}
    virtual void StepRecap() {}
    virtual void ReCalc() {}
    /// The field's number; 0 if it is identified by its name.
    [[nodiscard]] virtual unsigned long Accelerator() const { return 0; }
    [[nodiscard]] virtual Chaine Header() const { return {}; }
};

/// The handler of a field declared beside a table's own.
/// Example    tests/foundation/FieldDescs.h
class ETABULON_API EFInfosHandlerLocal : public EFInfosHandler {
public:
    EFInfosHandlerLocal(const Chaine& header, const Chaine& description, std::uint16_t offset,
                        unsigned long accelerator, const DDicoBase* dico = nullptr)
        : header_(header),
          description_(description),
          dico_(dico),
          accelerator_(accelerator),
          offset_(offset) {}
    [[nodiscard]] unsigned long Accelerator() const override { return accelerator_; }
    [[nodiscard]] virtual void* CalcBuffer() const { return nullptr; }
    [[nodiscard]] virtual Chaine Description() const { return description_; }
    [[nodiscard]] virtual std::shared_ptr<EFInfosHandlerLocal> Duplicate() const {
        return std::make_shared<EFInfosHandlerLocal>(*this);
    }
    [[nodiscard]] const DDicoBase* GetDicoDescription() const override { return dico_; }
    [[nodiscard]] virtual std::uint16_t GetOffset() const { return offset_; }
    [[nodiscard]] Chaine Header() const override { return header_; }
    virtual void SetOffset(std::uint16_t offset) { offset_ = offset; }

private:
    Chaine header_;
    Chaine description_;
    const DDicoBase* dico_;
    unsigned long accelerator_;
    std::uint16_t offset_;
};

/// Names a field: by name with number 0, or by number with an empty name.
struct EFieldIdent {
    Chaine name;
    unsigned long accelerator = 0;
};

/// The description of a field: a handle on an immutable body, free to copy between threads.
/// Example    adapters/sql/src/ESqlReadAhead.h
class ETABULON_API EFieldDesc {
public:
    EFieldDesc() = default;
    /// `size` is what the record declares. A fixed-size type declared one byte larger than natural
    /// is nullable, with the mark in its last byte; any other declared size means the natural one.
    /// Slots have the nominal 4. With null `infos` the field has those of EFInfosHandler.
    EFieldDesc(const Chaine& name, std::uint16_t type, std::uint16_t size, std::uint16_t offset,
               std::shared_ptr<EFInfosHandler> infos);

    [[nodiscard]] bool IsNull() const noexcept { return body_ == nullptr; }
    [[nodiscard]] const Chaine& Name() const noexcept;
    [[nodiscard]] std::uint16_t Type() const noexcept;
    /// The value's size: without the mark byte, 4 for slots.
    [[nodiscard]] std::uint16_t Size() const noexcept;
    /// The bytes that the field takes in a record: with the mark byte, sizeof(Chaine) for slots.
    [[nodiscard]] std::uint16_t StorageSize() const noexcept;
    /// Information only, the low 16 bits of the offset: a field set keeps its own full offsets.
    [[nodiscard]] std::uint16_t Offset() const noexcept;
    [[nodiscard]] bool IsSlot() const noexcept;
    [[nodiscard]] bool IsNullable() const noexcept;
    [[nodiscard]] const EFInfosHandler& Infos() const noexcept;
    [[nodiscard]] bool IsSameAs(const EFieldDesc& other) const noexcept {
        return body_ == other.body_;
    }

private:
    struct Body;
    std::shared_ptr<const Body> body_;
};

/// A named view of a cell in a record, usable wherever a value is wanted. An EVariant& to it is
/// still the view: what is stored through that reference goes into the record.
///
/// Ownership  the record isn't owned and must outlive the field. A copy is the same view;
///            a copy as EVariant is a value of its own.
/// Example    apps/etabulon/views/CliRecords.cpp
class ETABULON_API EField : public EVariant {
public:
    EField() noexcept;  // the empty field: reads as missing, drops what is stored
    EField(const EField& other) noexcept;
    EField& operator=(const EField& other) noexcept;
    EField& operator=(const EVariant&) = delete;  // write with <<=
    using EVariant::operator<<=;
    bool Init(std::uint16_t type, std::uint16_t size, const void* buffer) = delete;
    ~EField() = default;

    /// The one empty field, which stands for every absent field. Callers may write to it: storing,
    /// assigning and attaching leave it unchanged. Never destroyed.
    [[nodiscard]] static EField& Empty() noexcept;

    /// Views `buffer` exactly; null reads as missing and drops what is stored. Requires that
    /// `takeOwnership` is false.
    void Attach(const EFieldDesc& desc, void* buffer, bool takeOwnership);
    [[nodiscard]] const EFieldDesc& Desc() const noexcept { return desc_; }
    [[nodiscard]] const Chaine& Name() const noexcept { return desc_.Name(); }
    [[nodiscard]] const EFInfosHandler& Infos() const noexcept { return desc_.Infos(); }
    [[nodiscard]] bool IsNullField() const noexcept { return desc_.IsNull(); }
    /// The cell in the record; null for the empty field.
    [[nodiscard]] void* Address() const noexcept { return ViewAddress(); }

private:
    friend class EFieldSet;
    EField(const EFieldDesc& desc, void* address) noexcept;
    [[nodiscard]] static Layout LayoutOf(const EFieldDesc& desc) noexcept;

    EFieldDesc desc_;
};

}  // namespace etabulon
