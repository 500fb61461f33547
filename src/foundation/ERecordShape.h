#pragma once

#include "etabulon/foundation/EField.h"
#include "foundation/EFirstIndex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace etabulon {

/// The layout and the indexes of a field set.
///
/// The cells come in two runs: first those that lie in the record, then the added ones, which lie
/// anywhere. Both have an offset in the image, which is the record with the added cells packed
/// after it: the head of every image is a record, and one set of offsets serves records and
/// images.
///
/// Threads  immutable once shared, except for the packed form, which is made under its own flag.
class ERecordShape {
public:
    struct Cell {
        EFieldDesc desc;
        std::size_t offset;  // in the image
    };
    /// A run of bytes from the start of the image that is constructed, destroyed and copied as a
    /// whole.
    struct Part {
        std::span<const std::byte> blank;
        std::span<const std::size_t> slots;  // offsets of body pointers
    };

    ERecordShape();
    ERecordShape(const ERecordShape& other);  // under a new number
    ERecordShape& operator=(const ERecordShape&) = delete;
    ~ERecordShape() = default;

    [[nodiscard]] std::uint64_t Number() const noexcept { return number_; }
    [[nodiscard]] const std::vector<Cell>& Cells() const noexcept { return cells_; }
    [[nodiscard]] std::size_t LaidOut() const noexcept { return laidOut_; }
    [[nodiscard]] std::size_t TotalSize() const noexcept { return totalSize_; }
    [[nodiscard]] Part Record() const noexcept {
        return {std::span(blank_).first(recordSize_), std::span(slots_).first(recordSlots_)};
    }
    [[nodiscard]] Part Image() const noexcept { return {blank_, slots_}; }
    /// What to allocate for an image: the packed form of the shape may count it as one record.
    [[nodiscard]] std::size_t ImageBytes() const noexcept;
    [[nodiscard]] int Find(const Chaine& name) const noexcept { return names_.Find(name); }
    [[nodiscard]] int Find(unsigned long accelerator) const noexcept {
        return accelerator == 0 ? -1 : numbers_.Find(accelerator);
    }
    [[nodiscard]] const Chaine& Rubric() const noexcept { return rubric_; }
    [[nodiscard]] void* AddressIn(void* image, std::size_t index) const noexcept;
    [[nodiscard]] const void* AddressIn(const void* image, std::size_t index) const noexcept;
    /// `shape` with all cells in the record, under the same number; made once and kept.
    [[nodiscard]] static std::shared_ptr<const ERecordShape> Packed(
        const std::shared_ptr<const ERecordShape>& shape);

    // For the only owner, which is about to change the shape.
    [[nodiscard]] bool IsChangeable() const noexcept { return packed_ == nullptr; }
    void Renumber() noexcept;
    /// Appends a cell of the record. Requires that none was added yet, and EndRecord at the end.
    void LayOut(const EFieldDesc& desc);
    void EndRecord();
    void Add(const EFieldDesc& desc);
    void SetRubric(const Chaine& rubric);

    // Copies one cell. A null `to` drops the value, a null `from` reads as blank.
    void CopyCell(std::size_t index, void* to, const void* from) const noexcept;

    static void Construct(const Part& part, void* to) noexcept;
    static void Destroy(const Part& part, void* at) noexcept;
    static void Clear(const Part& part, void* at) noexcept;
    static void Copy(const Part& part, void* to, const void* from) noexcept;

private:
    void Append(const EFieldDesc& desc);
    void Index(std::uint32_t cellIndex);

    std::uint64_t number_;
    std::vector<Cell> cells_;
    std::vector<std::size_t> slots_;  // offsets in the image, rising
    std::vector<std::byte> blank_;    // the image of missing values
    std::size_t laidOut_ = 0;         // cells in the record
    std::size_t recordSize_ = 0;
    std::size_t recordSlots_ = 0;
    std::size_t totalSize_ = 0;
    Chaine rubric_;
    detail::ENameIndex names_;
    detail::ENumberIndex numbers_;
    mutable std::once_flag packing_;
    mutable std::shared_ptr<const ERecordShape> packed_;  // guarded by packing_
};

}  // namespace etabulon
