#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EField.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/fwd.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace etabulon {

/// What field sets of one kind share: descriptions, offsets, indexes by name and by number, slots.
/// Immutable once two sets share it; a set that changes makes a shape of its own.
class ERecordShape;

/// The ordered list of named views on one record.
///
/// Ownership  views only: the record belongs to the table. A copy views the same record.
/// Threads    one thread at a time; sets that share a shape may live in different threads.
/// Lookup     by folded name, bare or "Rubric.name", and by number; both are index probes. An
///            absent field gives EField::Empty(), which reads as missing and drops what is stored.
///            Of two fields with one name or number the lookup finds the first, and a bare name
///            before a qualified one. The empty name and the number 0 name nothing.
/// Failure    At requires index < Size(). Once Attach has laid out a field, EField::Attach must
///            not move that field elsewhere.
/// Example    adapters/sql/src/ESqlLinkRecord.cpp
class ETABULON_API EFieldSet {
public:
    static constexpr std::size_t kNoOffset = static_cast<std::size_t>(-1);

    EFieldSet() noexcept = default;
    EFieldSet(const EFieldSet& other);
    EFieldSet(EFieldSet&& other) noexcept;
    EFieldSet& operator=(const EFieldSet& other);
    EFieldSet& operator=(EFieldSet&& other) noexcept;
    ~EFieldSet() = default;

    [[nodiscard]] EField& operator[](const Chaine& name);
    [[nodiscard]] const EField& operator[](const Chaine& name) const;
    [[nodiscard]] EField& operator[](unsigned long accelerator);
    [[nodiscard]] const EField& operator[](unsigned long accelerator) const;
    /// Looks for the number if there is one, otherwise for the name.
    [[nodiscard]] bool Exist(const EFieldIdent& ident) const noexcept;
    /// The index of a field, or -1.
    [[nodiscard]] int IndexOf(const Chaine& name) const noexcept;
    [[nodiscard]] int IndexOf(unsigned long accelerator) const noexcept;
    [[nodiscard]] EField& At(std::uint16_t index) {
        E_EXPECTS(index < fields_.Size());
        return fields_.At(index);
    }
    [[nodiscard]] const EField& At(std::uint16_t index) const {
        E_EXPECTS(index < fields_.Size());
        return fields_.At(index);
    }
    [[nodiscard]] std::size_t Size() const noexcept { return fields_.Size(); }

    /// Adds a view of some other memory at the end. At most 65535 fields.
    void Add(const EField& field);
    /// The sum of the fields' storage sizes, in bytes, without padding.
    [[nodiscard]] std::size_t FieldsTotalSize() const noexcept;
    /// The bytes that a record of this set takes: the fields laid out by Attach and the padding of
    /// their slots, so that records may lie one after another. Never below their total size.
    [[nodiscard]] std::size_t RecordSize() const noexcept;
    /// Every value becomes missing, those of added fields too; cells of text or raw bytes, which
    /// can't be missing, become blank.
    void SetNull() noexcept;
    /// Makes the set exactly the fields `descs[first, first + count)` (cut to the descriptions
    /// there are), one after the other from the start of `buffer`, slots aligned. A null buffer
    /// means no record yet.
    void Attach(const PTableau<EFieldDesc>& descs, void* buffer, std::uint16_t first,
                std::uint16_t count);
    /// Names of fields laid out by Attach, earlier or later, are found as "rubric.name" too.
    void SetRubricName(const Chaine& rubric);
    /// Moves the fields to another record of this layout; fields added by Add keep their cells. The
    /// set owns nothing: `takeOwnership` is ignored.
    void ChangeBuffer(void* buffer, bool takeOwnership) noexcept;
    /// The same fields, with one ShapeNumber, all laid out in one record (added fields after the
    /// others) that has no buffer yet: for a table that keeps detached values of this set.
    [[nodiscard]] EFieldSet Packed() const;
    /// The full offset in the record; kNoOffset for fields added by Add.
    [[nodiscard]] std::size_t OffsetOf(std::uint16_t index) const noexcept;
    [[nodiscard]] void* Buffer() const noexcept { return buffer_; }

    /// Copies values field by field: by index when both have one shape number, otherwise by name. A
    /// field whose name isn't in the source keeps its value.
    EFieldSet& operator<<=(const EExtract& record);
    EFieldSet& operator<<=(const EFieldSet& other);

    /// Null for a set that never had a field.
    [[nodiscard]] const std::shared_ptr<const ERecordShape>& Shape() const noexcept {
        return shape_;
    }
    /// Changes whenever the list of fields or a name changes; never 0. Two sets with one number
    /// have the same fields in the same order, so that an index in one is an index in the other.
    [[nodiscard]] std::uint64_t ShapeNumber() const noexcept;

    // A record with slots needs construction and destruction by its shape. These three act on the
    // fields laid out by Attach, in any buffer of RecordSize() bytes.
    /// Constructs a blank record at `buffer`: what SetNull leaves.
    void ConstructRecord(void* buffer) const noexcept;
    /// Releases what the slots hold. The record needs construction before its next use.
    void DestroyRecord(void* buffer) const noexcept;
    /// Copies a whole constructed record over another, slots shared.
    void CopyRecord(void* to, const void* from) const noexcept;

private:
    friend class EExtract;
    EFieldSet(std::shared_ptr<const ERecordShape> shape, void* image);
    [[nodiscard]] ERecordShape& OwnShape();
    void CopyToImage(void* image) const noexcept;
    void CopyFromImage(const void* image) noexcept;
    [[nodiscard]] bool AreLaidOut() const noexcept;

    PTableau<EField> fields_;                    // references stay good when fields are added
    std::shared_ptr<const ERecordShape> shape_;  // never changed while shared
    void* buffer_ = nullptr;                     // not owned
};

/// A record buffer with its fields' slots constructed, for a table that owns one for life.
/// Moving leaves the record where it is.
/// Example    adapters/sql/src/ESqlTableState.h
class ETABULON_API ERecordBuffer {
public:
    ERecordBuffer() = default;
    /// A blank record of this layout, independent of the set.
    explicit ERecordBuffer(const EFieldSet& layout);
    ERecordBuffer(ERecordBuffer&& other) noexcept = default;
    ERecordBuffer& operator=(ERecordBuffer&& other) noexcept;
    ~ERecordBuffer() { Release(); }

    [[nodiscard]] void* Get() const noexcept { return bytes_.get(); }
    /// Blank again: as constructed.
    void Clear() noexcept;

private:
    friend class EExtract;
    /// A blank image: all fields packed, the added ones after the record.
    explicit ERecordBuffer(std::shared_ptr<const ERecordShape> shape);
    void Release() noexcept;

    std::shared_ptr<const ERecordShape> shape_;
    std::unique_ptr<std::byte[]> bytes_;
    bool whole_ = false;  // an image, not only a record
};

}  // namespace etabulon
