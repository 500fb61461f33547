#include "apps/etabulon/views/CliRecords.h"

#include "apps/etabulon/output/CliOutput.h"
#include "etabulon/sql/ESqlSource.h"

#include <algorithm>

namespace etabulon {
namespace {

bool IsPlainLevel(const CliLevels& levels, const ESqlColumn& column) {
    const auto id = levels.Find(column.code);
    return id && !levels.all[*id].HasLabel();
}

/// A part of the key that is printed.
struct KeyPart {
    std::uint16_t place = 0;
    CliColumn column;
};

/// The parts of the key that aren't levels, which are printed anyway.
std::vector<KeyPart> KeyParts(const ESqlTableInfo& table, const CliLevels& levels) {
    if (table.keyKind == ESqlKeyKind::RowId) {
        return {{0, {table.rowIdName, true}}};
    }
    std::vector<KeyPart> parts;
    for (std::uint16_t place = 0; place < table.key.size(); ++place) {
        const ESqlColumn& column = table.columns[table.key[place]];
        if (!IsPlainLevel(levels, column)) {
            parts.push_back({place, {std::string(column.name.View()), IsNumber(column.type)}});
        }
    }
    return parts;
}

/// Writes a line for each record: the levels' texts, the key, the values.
class RecordPrinter final : public CliListener {
public:
    RecordPrinter(CliWriter& writer, const CliOutput& output, std::vector<CliColumn> columns,
                  std::vector<CliVariable> values, const std::vector<KeyPart>& keyParts,
                  std::uint64_t limit)
        : writer_(writer),
          output_(output),
          columns_(std::move(columns)),
          values_(std::move(values)),
          limit_(limit) {
        for (const KeyPart& part : keyParts) {
            keyPlaces_.push_back(part.place);
        }
    }

    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        fields_.clear();
        for (const CliVariable& value : values_) {
            fields_.push_back(&cursor.Field(ETabulonVariableID(value.code)));
        }
        levelCount_ = cursor.Levels().Size();
        for (unsigned level = 0; level < levelCount_; ++level) {
            const ETabulonLevels::Level& description = cursor.Levels().GetLevel(level);
            hasLabel_.push_back(!(description.DataID() == description.DescID()));
        }
        return limit_ == 0 ? StatusEnd : StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        Begin();
        PutTag(cursor.CurrentTag());
        const EFieldKey& key = cursor.PrimaryKey().Fields();
        for (const std::uint16_t place : keyPlaces_) {
            writer_.Cell(place < key.Size() ? maker_.Of(key.At(place)) : CliCell{});
        }
        for (const EField* const field : fields_) {
            writer_.Cell(maker_.Of(*field));
        }
        writer_.EndRecord();
        // Nobody reads on: not this walk's failure, and what it was is told by the output.
        return ++count_ == limit_ || output_.IsBroken() ? StatusEnd : StatusOk;
    }
    /// Waits for the first record, so that a failure before it leaves nothing behind.
    void Begin() {
        if (!hasBegun_) {
            hasBegun_ = true;
            writer_.Begin(columns_);
        }
    }
    [[nodiscard]] bool HasBegun() const noexcept { return hasBegun_; }
    [[nodiscard]] std::uint64_t Count() const noexcept { return count_; }

private:
    void PutTag(const ETabulonTag& tag) {
        for (unsigned level = 0; level < levelCount_; ++level) {
            const ETabulonValue* const value = tag.Find(level);  // an inserted record may lack it
            if (value == nullptr || value->IsNull()) {
                writer_.Cell({});
            } else if (hasLabel_[level]) {
                writer_.Cell(CliCellMaker::Of(value->DisplayValue().View()));
            } else {
                writer_.Cell(maker_.Of(value->Data()));
            }
        }
    }

    CliWriter& writer_;
    const CliOutput& output_;
    std::vector<CliColumn> columns_;
    std::vector<CliVariable> values_;
    std::vector<std::uint16_t> keyPlaces_;
    std::uint64_t limit_;
    std::uint64_t count_ = 0;
    unsigned levelCount_ = 0;
    std::vector<bool> hasLabel_;
    std::vector<const EField*> fields_;
    CliCellMaker maker_;
    bool hasBegun_ = false;
};

}  // namespace

std::vector<CliVariable> AllValues(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                   const CliLevels& levels) {
    std::vector<CliVariable> values;
    for (unsigned index = 0; index < table.columns.size(); ++index) {
        const ESqlColumn& column = table.columns[index];
        const bool isKey = std::find(table.key.begin(), table.key.end(), index) != table.key.end();
        if (!isKey && !IsPlainLevel(levels, column)) {
            values.push_back(dictionary.VariableOf(table, column));
        }
    }
    return values;
}

bool PrintRecords(const CliWalkContext& context, const CliRecordsRequest& request,
                  CliWriter& writer, const CliOutput& output, CliFailure& failure) {
    std::vector<CliColumn> columns;
    for (const CliLevel& level : request.levels.all) {
        columns.push_back(
            {level.shown, !level.HasLabel() && IsNumber(level.data.variable->TypeCode())});
    }
    const std::vector<KeyPart> keyParts = KeyParts(context.table, request.levels);
    for (const KeyPart& part : keyParts) {
        columns.push_back(part.column);
    }
    for (const CliVariable& value : request.values) {
        columns.push_back({value.shown, IsNumber(value.variable->TypeCode())});
    }
    GiveNames(columns);
    RecordPrinter printer(writer, output, std::move(columns), request.values, keyParts,
                          request.limit);
    CliCursor cursor(context.interrupt);
    const bool isWhole =
        OpenCursor(context, request.levels.levels, request.values, cursor, failure) &&
        Walk(context, cursor, request.tag, printer, failure);
    if (isWhole && printer.Count() == 0 && !request.tag.IsRoot() && request.limit != 0) {
        ExplainNothingThere(context, request.levels, request.tag, failure);
        return false;
    }
    if (isWhole) {
        printer.Begin();
    }
    if (printer.HasBegun()) {
        writer.Finish(isWhole);
    }
    return isWhole;
}

}  // namespace etabulon
