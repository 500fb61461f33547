#include "apps/etabulon/views/CliRecords.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/walk/CliExplanation.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/cross/ESortedRecords.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/sql/ESqlSchema.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace etabulon {
namespace {

constexpr std::string_view kRecords = "records";

bool IsPlainLevel(const CliLevels& levels, const ESqlColumn& column) {
    const auto id = levels.Find(column.code);
    return id && !levels.all[*id].HasLabel();
}

/// A part of the key that is printed.
struct KeyPart {
    std::uint16_t place = 0;
    CliColumn column;
};

/// The parts of the key that aren't printed as levels already. A number that stands for a key isn't
/// one of them.
std::vector<KeyPart> KeyParts(const ESqlTableInfo& table, const CliLevels& levels) {
    std::vector<KeyPart> parts;
    for (std::uint16_t place = 0; place < table.key.size(); ++place) {
        const ESqlColumn& column = table.columns[table.key[place]];
        if (!IsPlainLevel(levels, column)) {
            parts.push_back({place, {std::string(column.name.View()), IsNumber(column.type)}});
        }
    }
    return parts;
}

constexpr auto kRowNumber = static_cast<std::size_t>(-1);  // in place of a value

/// Writes a line for each record: the levels' texts, the key, the values.
class RecordPrinter final : public ECursorListener {
public:
    /// With `looksFurther` the walk meets one record more than the limit, if there is one.
    RecordPrinter(const ESqlTableInfo& table, const CliRecordsRequest& request,
                  const CliPrinting& printing, bool looksFurther)
        : request_(request),
          output_(printing.output),
          writer_(MakeWriter(printing)),
          looksFurther_(looksFurther) {
        for (const CliLevel& level : request.levels.all) {
            columns_.push_back(
                {level.shown, !level.HasLabel() && IsNumber(level.data.variable->TypeCode())});
            hasLabel_.push_back(level.HasLabel());
        }
        for (KeyPart& part : KeyParts(table, request.levels)) {
            columns_.push_back(std::move(part.column));
            keyPlaces_.push_back(part.place);
        }
        auto rowNumber = request.rowNumbers.begin();
        for (std::size_t place = 0; place <= request.values.size(); ++place) {
            for (; rowNumber != request.rowNumbers.end() && *rowNumber == place; ++rowNumber) {
                columns_.push_back({std::string(RowNumberName(table)), true});
                printed_.push_back(kRowNumber);
            }
            if (place < request.values.size()) {
                const CliVariable& value = request.values[place];
                columns_.push_back({value.shown, IsNumber(value.variable->TypeCode())});
                printed_.push_back(place);
            }
        }
        GiveNames(columns_);
    }

    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        fields_.clear();
        for (const CliVariable& value : request_.values) {
            fields_.push_back(&cursor.Field(ETabulonVariableID(value.code)));
        }
        return request_.limit == 0 && !looksFurther_ ? StatusEnd : StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        if (request_.selection != nullptr && !request_.selection->Has(cursor.CurrentTag())) {
            return StatusOk;
        }
        if (count_ == request_.limit) {
            hasMore_ = true;
            return StatusEnd;
        }
        Put(cursor.CurrentTag(), cursor.PrimaryKey(),
            [this](std::size_t place) -> const EVariant& { return *fields_[place]; });
        // A broken output ends the walk without a failure: the output itself reports the reason.
        const bool isLast = count_ == request_.limit && !looksFurther_;
        return isLast || output_.IsBroken() ? StatusEnd : StatusOk;
    }
    void Put(const ESortedRecords::Record& record) {
        Put(record.tag, record.key,
            [&record](std::size_t place) -> const EVariant& { return record.values[place]; });
    }
    [[nodiscard]] bool HasColumns() const noexcept { return !columns_.empty(); }
    [[nodiscard]] bool IsBroken() const { return output_.IsBroken(); }
    /// Called at the first record, so that a walk that fails before it prints nothing.
    void Begin() {
        if (!hasBegun_) {
            hasBegun_ = true;
            writer_->Begin(columns_);
        }
    }
    /// Ends a listing that has begun. Records are missing unless `isWhole`.
    void Finish(bool isWhole) {
        if (hasBegun_) {
            writer_->Finish(isWhole);
        }
    }
    [[nodiscard]] std::uint64_t Count() const noexcept { return count_; }
    /// A record was met that the limit leaves out.
    [[nodiscard]] bool HasMore() const noexcept { return hasMore_; }

private:
    template <class ValueAt>
    void Put(const ETabulonTag& tag, const ETabulonPrimaryKey& key, const ValueAt& valueAt) {
        Begin();
        PutTag(tag);
        for (const std::uint16_t place : keyPlaces_) {
            PutKey(key, place);
        }
        for (const std::size_t place : printed_) {
            if (place == kRowNumber) {
                PutKey(key, 0);
            } else {
                writer_->Cell(maker_.Of(valueAt(place)));
            }
        }
        writer_->EndRecord();
        ++count_;
    }
    void PutKey(const ETabulonPrimaryKey& key, std::uint16_t place) {
        // The key of a record that an edit inserts isn't known.
        writer_->Cell(place < key.Fields().Size() ? maker_.Of(key.Fields().At(place)) : CliCell{});
    }
    void PutTag(const ETabulonTag& tag) {
        for (unsigned int level = 0; level < hasLabel_.size(); ++level) {
            const ETabulonValue* const value = tag.Find(level);  // an inserted record may lack it
            if (value == nullptr || value->IsNull()) {
                writer_->Cell({});
            } else if (hasLabel_[level]) {
                writer_->Cell(CliCellMaker::Of(value->DisplayValue().View()));
            } else {
                writer_->Cell(maker_.Of(value->Data()));
            }
        }
    }

    const CliRecordsRequest& request_;
    const CliOutput& output_;
    std::unique_ptr<EReportWriter> writer_;
    std::vector<CliColumn> columns_;
    std::vector<std::uint16_t> keyPlaces_;
    std::vector<std::size_t> printed_;  // behind the key: places of values, or kRowNumber
    std::uint64_t count_ = 0;
    std::vector<bool> hasLabel_;
    std::vector<const EField*> fields_;
    CliCellMaker maker_;
    bool looksFurther_;
    bool hasMore_ = false;
    bool hasBegun_ = false;
};

ERef<ESortedRecords> Sorted(const CliRecordsRequest& request) {
    std::vector<ESortedRecords::Key> keys;
    for (const CliRecordKey& key : request.order) {
        keys.push_back({ETabulonVariableID(key.variable.code), key.isFalling});
    }
    std::vector<ETabulonVariableID> values;
    for (const CliVariable& value : request.values) {
        values.emplace_back(value.code);
    }
    return MakeRef<ESortedRecords>(std::move(keys), std::move(values), request.limit);
}

}  // namespace

std::string_view RowNumberName(const ESqlTableInfo& table) {
    return table.keyKind == ESqlKeyKind::RowId ? std::string_view(table.rowIdName)
                                               : std::string_view();
}

std::vector<CliVariable> AllValues(const CliLevels& levels) {
    const ESqlTableInfo& table = levels.Table().Info();
    std::vector<CliVariable> values;
    for (unsigned int index = 0; index < table.columns.size(); ++index) {
        const ESqlColumn& column = table.columns[index];
        const bool isKey = std::find(table.key.begin(), table.key.end(), index) != table.key.end();
        if (!isKey && !IsPlainLevel(levels, column)) {
            values.push_back(levels.Table().VariableOf(column));
        }
    }
    return values;
}

namespace {

/// The next record is as near as the last one: nothing was left out between them.
bool MeetsEach(const CliWalkContext& context, const CliRecordsRequest& request) {
    return request.tag.IsRoot() && request.selection == nullptr &&
           context.condition.filter.IsEmpty();
}

/// Tells what the limit left out of a walk that ended with it.
void NoteRest(const CliWalkContext& context, const CliRecordsRequest& request,
              const RecordPrinter& printer, CliOutput& output) {
    if (printer.HasMore() && context.table.Source().Database() == nullptr &&
        context.changes == nullptr) {
        ESqlError error;  // a source in memory knows its count
        const std::int64_t all = context.table.Source().CountRows(context.table.Info(), error);
        NoteLimit(output, printer.Count(), static_cast<std::uint64_t>(all), kRecords);
    } else if (printer.HasMore()) {
        NoteLimit(output, printer.Count(), CliRest::Some);
    } else if (printer.Count() == request.limit && !MeetsEach(context, request)) {
        NoteLimit(output, printer.Count(), CliRest::Unknown);
    }
}

/// About, as measured with short texts.
std::string KeptOf(const CliRecordsRequest& request, std::size_t values, bool isSorted) {
    constexpr std::size_t kRecord = 220;
    constexpr std::size_t kLevel = 240;
    constexpr std::size_t kValue = 90;
    if (!isSorted) {
        return "the record that is printed; in the format table the first 1000 lines";
    }
    const std::size_t bytes = kRecord + kLevel * request.levels.all.size() + kValue * values;
    return fmt::format("{}, about {} bytes for each",
                       request.limit == CliLimit::kNone
                           ? "each record"
                           : fmt::format("the first {} records of the order", request.limit),
                       bytes);
}

}  // namespace

CliResult<> PrintRecords(const CliWalkContext& context, const CliRecordsRequest& request,
                         const CliPrinting& printing) {
    if (printing.format == CliFormat::Svg) {
        return CliFailure{CliExit::Usage, "records are no picture: another format prints them"};
    }
    const bool isSorted = !request.order.empty() && request.limit != 0;
    RecordPrinter printer(context.table.Info(), request, printing, MeetsEach(context, request));
    if (!printer.HasColumns()) {
        return CliFailure{CliExit::Usage,
                          "there is no column to print: without levels and a key, --columns must "
                          "name one"};
    }
    CliWalkContext limited = context;
    limited.mostRecords = isSorted ? CliWalkContext::kAll : request.limit;
    CliCursor cursor(context.interrupt);
    std::vector<CliVariable> read = request.values;
    for (const CliRecordKey& key : request.order) {
        read.push_back(key.variable);
    }
    CliResult<> walked = OpenCursor(context, request.levels.levels, read, cursor);
    if (context.explanation != nullptr) {
        context.explanation->Keeps(KeptOf(request, read.size(), isSorted));
    }
    if (walked && !isSorted) {
        walked = Walk(limited, cursor, request.tag, printer);
        if (walked) {
            NoteRest(context, request, printer, printing.output);
        }
    } else if (walked) {
        const auto records = Sorted(request);
        walked = Walk(limited, cursor, request.tag, *records);
        if (walked) {
            records->Sort();
            for (std::size_t index = 0; index < records->Size() && !printer.IsBroken(); ++index) {
                printer.Put(records->At(index));
            }
            NoteLimit(printing.output, records->Size(), records->MetCount(), kRecords);
        }
    }
    if (walked && printer.Count() == 0 && !printer.HasMore() && !request.tag.IsRoot() &&
        request.limit != 0) {
        return ExplainNothingThere(context, request.levels, request.tag);
    }
    if (walked) {
        printer.Begin();
    }
    printer.Finish(/*isWhole=*/static_cast<bool>(walked));
    return walked;
}

}  // namespace etabulon
