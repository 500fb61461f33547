#pragma once

#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/foundation/EDataColumns.h"
#include "foundation/EColumnReader.h"

#include <array>
#include <map>
#include <memory>
#include <vector>

namespace etabulon {

/// The blocks of a table in columns. Within a chunk of the columns they begin at multiples of
/// kMostRecords, except for a walk's first one.
class EDataColumns::BlockSource final : public EBlockSource {
public:
    explicit BlockSource(EDataColumns& table);
    ~BlockSource() override;

    bool BeginBlocks(const EBlockRequest& request) override;
    const ERecordBlock* NextBlock() override;
    void StandOn(EBlockIndex record) override;
    void EndBlocks() noexcept override;
    void ReadKey(EPosition position, EFieldKey& key) const override;
    bool AreKeysPositions() const noexcept override;

    /// The number of distinct values of a column, without the missing value.
    [[nodiscard]] std::size_t CountDistinct(unsigned int column);
    /// The key of a record.
    void ReadKeyOf(std::size_t record, EFieldKey& key) const;

private:
    /// The numbers of a column that doesn't have them from its loading. They are made as walks
    /// arrive at the records for the first time, and stay.
    struct Numbering {
        explicit Numbering(const EFieldDesc& desc) : builder(desc) {}
        EBlockBuilder builder;
        std::vector<std::uint32_t> numbers;
    };
    struct Plan {
        const EColumn* column;
        Numbering* numbering;                // null: not wanted, or the column has its own
        std::vector<std::uint64_t> words;    // of a type of less than 8 bytes
        std::vector<std::uint64_t> missing;  // of a block that begins within a word of bits
    };

    void Show(Plan& plan, ERecordBlock::Column& shown, std::size_t first, std::size_t size);
    void PrefetchBlock(std::size_t first) const noexcept;
    static void ShowMissing(Plan& plan, ERecordBlock::Column& shown, std::size_t first,
                            std::size_t size);
    [[nodiscard]] Numbering& NumberingOf(unsigned int column);
    static void NumberUpTo(const EColumn& column, Numbering& numbering, std::size_t end);

    EDataColumns& table_;
    const EColumnRecords& records_;
    ERecordBlock block_;
    std::vector<Plan> plans_;
    bool wantsKeys_ = false;
    bool areFieldsBlank_ = false;  // though the table stands on a record
    std::size_t first_ = 0;        // the block's first record
    std::map<unsigned int, std::unique_ptr<Numbering>> numberings_;  // by column
    mutable std::vector<EColumnReader> keys_;
};

}  // namespace etabulon
