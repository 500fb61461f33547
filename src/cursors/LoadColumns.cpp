#include "etabulon/cursors/LoadColumns.h"

#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/EColumnsBuilder.h"

#include <optional>
#include <vector>

namespace etabulon {

namespace {

/// Appends the records of a walk to the columns.
class Loader final : public EBlockListener {
public:
    explicit Loader(DDicoBase* node) : node_(node) {}

    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        Begin(cursor);
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        const ETabulonPrimaryKey& key = cursor.PrimaryKey();
        if (key.Position() == kNoPosition) {
            return static_cast<CursorStatus>(DataNoSuchPosition);
        }
        const EFieldSet& fields = cursor.Fields();
        for (std::uint16_t field = 0; field < fields.Size(); ++field) {
            builder_->At(field).Append(fields.At(field));
        }
        builder_->AppendPosition(key.Position());
        if (builder_->NeedsKeys()) {
            builder_->AppendKey(key.Fields());
        }
        return StatusOk;
    }
    bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override {
        const EFieldSet& fields = cursor.Fields();
        columns_.clear();
        for (std::uint16_t field = 0; field < fields.Size(); ++field) {
            EColumnWriter& column = builder_->At(field);
            column.BeginBlocks();
            columns_.push_back(column.WantsNumbers() ? request.AddNumbers(fields.At(field))
                                                     : request.AddValues(fields.At(field)));
        }
        request.keys = true;
        return true;
    }
    CursorStatus OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override {
        for (std::size_t field = 0; field < columns_.size(); ++field) {
            builder_->At(field).Append(block, columns_[field], records);
        }
        for (const EBlockIndex record : records) {
            builder_->AppendPosition(block.Position(record));
            if (builder_->NeedsKeys()) {
                block.ReadKey(record, key_);
                builder_->AppendKey(key_);
            }
        }
        return StatusOk;
    }
    [[nodiscard]] std::unique_ptr<EDataColumns> Finish(const ETabulonCursor& cursor) {
        if (!builder_.has_value()) {
            Begin(cursor);
        }
        return builder_->Finish();
    }

private:
    void Begin(const ETabulonCursor& cursor) { builder_.emplace(cursor.Fields(), node_); }

    DDicoBase* node_;
    std::optional<EColumnsBuilder> builder_;
    std::vector<unsigned int> columns_;  // of the blocks, by field
    EFieldKey key_;
};

}  // namespace

std::unique_ptr<EDataColumns> LoadColumns(ETabulonCursor& cursor, const ETabulonTag& tag,
                                          DDicoBase* node, CursorStatus& status) {
    const auto loader = MakeRef<Loader>(node);
    cursor.AddNotifier(loader.Get());
    status = cursor.Browse(tag);
    cursor.RemNotifier(loader.Get());
    return status == StatusOk ? loader->Finish(cursor) : nullptr;
}

}  // namespace etabulon
