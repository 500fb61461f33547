#pragma once

#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/foundation/EDataColumns.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace etabulon {

/// One column of a table in columns, while it is filled from the first record on.
///
/// Threads  one at a time; different columns may be filled by different threads.
/// Example    adapters/csv/src/ECsvColumn.cpp
class ETABULON_API EColumnWriter {
public:
    explicit EColumnWriter(const EFieldDesc& desc);
    EColumnWriter(const EColumnWriter&) = delete;
    EColumnWriter& operator=(const EColumnWriter&) = delete;
    ~EColumnWriter();

    [[nodiscard]] const EFieldDesc& Desc() const noexcept;
    /// How many values it has.
    [[nodiscard]] std::size_t Size() const noexcept;
    /// What kind of number a block must have to be appended: see EBlockRequest.
    [[nodiscard]] bool WantsNumbers() const noexcept;

    /// One value, stored as into a cell of the column's field.
    void Append(const EVariant& value);
    void AppendMissing(std::size_t count);
    /// The values of a column of a block, of a field with the same type and size.
    void Append(const ERecordBlock& block, unsigned int column,
                std::span<const EBlockIndex> records);
    /// Other blocks follow, whose dictionaries have other numbers.
    void BeginBlocks() noexcept { map_.clear(); }
    /// Values of the type's natural size, up to 8 bytes, one after the other, and a bit for each
    /// that is missing; a null `missing` means none.
    void AppendNumbers(const void* values, std::size_t count, const std::uint64_t* missing);
    /// Texts; a null data() is a missing value.
    void AppendTexts(std::span<const std::string_view> texts);
    /// A column of TYPE_INT64 becomes one of TYPE_DOUBLE.
    void MakeReal(const EFieldDesc& desc);

private:
    friend class EColumnsBuilder;
    void Flush();
    void AppendPending(std::size_t count);
    void AppendWords(const ERecordBlock::Column& from, std::span<const EBlockIndex> records);
    void AppendTexts(const ERecordBlock::Column& from, std::span<const EBlockIndex> records);
    void MapNumbers(const ERecordBlock::Column& from, std::span<const EBlockIndex> records);
    [[nodiscard]] std::unique_ptr<EColumn> End();

    std::unique_ptr<EColumn> column_;
    std::unique_ptr<EBlockBuilder> texts_;  // of slots: gives them their numbers
    std::size_t pending_ = 0;               // single texts in texts_
    std::vector<std::uint32_t> map_;        // from the numbers of a block's dictionary to own ones
    std::vector<std::uint32_t> unmapped_;
    std::vector<std::byte> cell_;  // the value that Append stores
    EField cellField_;
};

/// Makes an EDataColumns: a value for each column and a position for each record, in their order.
/// Example    adapters/csv/src/ECsvTable.cpp
class ETABULON_API EColumnsBuilder {
public:
    /// The table will have these fields, and `node` as its dictionary node, which may be null.
    EColumnsBuilder(const EFieldSet& fields, DDicoBase* node);
    EColumnsBuilder(const EColumnsBuilder&) = delete;
    EColumnsBuilder& operator=(const EColumnsBuilder&) = delete;
    ~EColumnsBuilder();

    [[nodiscard]] EColumnWriter& At(std::size_t field) noexcept { return *columns_[field]; }
    /// Takes over a filled column, which must have the field's type and size.
    void SetColumn(std::size_t field, std::unique_ptr<EColumnWriter> column);
    /// Whether the key's variables aren't all among the fields, so that AppendKey is needed.
    [[nodiscard]] bool NeedsKeys() const noexcept { return needsKeys_; }

    void AppendPosition(EPosition position);
    /// `count` positions from `first` on, which are the records' keys as well.
    void AppendPositions(EPosition first, std::size_t count);
    /// The key of the record at the position that was appended last.
    void AppendKey(const EFieldKey& key);

    /// Ends the builder. Requires that all columns have as many values as there are positions.
    [[nodiscard]] std::unique_ptr<EDataColumns> Finish();

private:
    void MakeKeyColumns(const EFieldKey& key, std::size_t earlier);

    std::shared_ptr<EColumnRecords> records_;
    std::vector<std::unique_ptr<EColumnWriter>> columns_;     // by field
    std::vector<std::unique_ptr<EColumnWriter>> keyColumns_;  // of a key that isn't in the fields
    bool needsKeys_;
};

}  // namespace etabulon
