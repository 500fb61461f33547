#include "apps/etabulon/WalkCommand.h"

#include "apps/etabulon/CliOutput.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace etabulon {
namespace {

bool IsPlainLevel(const CliLevels& levels, const ESqlColumn& column) {
    return std::any_of(levels.all.begin(), levels.all.end(), [&column](const CliLevel& level) {
        return !level.HasLabel() && level.data.code == column.code;
    });
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
class WalkPrinter final : public CliListener {
public:
    WalkPrinter(CliWriter& writer, const CliOutput& output, std::vector<CliColumn> columns,
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
            const ETabulonValue& value = tag.Value(level);
            if (value.IsNull()) {
                writer_.Cell({});
            } else if (hasLabel_[level]) {
                writer_.Cell(CliCellMaker::Of(value.DisplayValue().View()));
            } else {
                writer_.Cell(maker_.Of(value.Data()));
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

void WalkCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    levels_.Declare(app);
    AddList(app, "--columns", columns_,
            "The values to print: column, link>column, separated by commas; "
            "without it all columns that are neither level nor key");
    app.add_option("--limit", limit_, "End after this many records")
        ->check(CLI::NonNegativeNumber)
        ->type_name("N");
    output_.DeclareFormat(app);
    output_.DeclareProgress(app);
    app.footer(
        "Records come in the order of the key. A level is a column, or one reached through links:\n"
        "airport>state>name, or backwards id»strikes.damage (the first strike that points here). "
        "A\nlevel column:label is told apart by the column and shows the label.\n"
        "Names and values with , : > » = or blanks at their ends stand in double quotes.\n"
        "In --at, a=NULL is a missing value, a= an empty text, a=\"NULL\" the text.\n"
        "NULL and empty text are told apart: table NULL and \"\", csv an empty cell and \"\", "
        "tsv \\N\nand nothing (tab, line ends and backslash are \\t \\n \\r \\\\), json null and "
        "\"\"; in json bytes\nthat aren't UTF-8 text are {\"hex\":\"...\"}.");
}

bool WalkCommand::FindValues(const CliDictionary& dictionary, const ESqlTableInfo& table,
                             const CliLevels& levels, std::vector<CliVariable>& values,
                             CliFailure& failure) const {
    if (!columns_.empty()) {
        std::vector<CliPath> paths;
        return ParsePaths(JoinLists(columns_), paths, failure) &&
               dictionary.FindVariables(table, paths, values, failure);
    }
    for (unsigned index = 0; index < table.columns.size(); ++index) {
        const ESqlColumn& column = table.columns[index];
        const bool isKey = std::find(table.key.begin(), table.key.end(), index) != table.key.end();
        if (!isKey && !IsPlainLevel(levels, column)) {
            values.push_back({std::string(column.name.View()), column.code,
                              dictionary.Source().Rubric(table)->Find(column.code)});
        }
    }
    return true;
}

bool WalkCommand::Run(CliEnvironment& environment, CliFailure& failure) {
    const std::unique_ptr<ESqliteSource> source = source_.Open(failure);
    if (source == nullptr) {
        return false;
    }
    const CliDictionary dictionary(*source);
    const ESqlTableInfo* const table = dictionary.FindTable(source_.table, failure);
    CliLevels levels;
    ETabulonTag tag;
    std::vector<CliVariable> values;
    if (table == nullptr || !MakeLevels(dictionary, *table, levels_.Levels(), levels, failure) ||
        !MakeTag(dictionary, *table, levels, levels_.At(), tag, failure) ||
        !FindValues(dictionary, *table, levels, values, failure)) {
        return false;
    }
    const CliWalkContext context{dictionary, *table, environment.interrupt,
                                 output_.ShowsProgress(environment)};
    return Print(environment, context, levels, tag, values, failure);
}

bool WalkCommand::Print(const CliEnvironment& environment, const CliWalkContext& context,
                        const CliLevels& levels, const ETabulonTag& tag,
                        const std::vector<CliVariable>& values, CliFailure& failure) const {
    std::vector<CliColumn> columns;
    for (const CliLevel& level : levels.all) {
        columns.push_back(
            {level.shown, !level.HasLabel() && IsNumber(level.data.variable->TypeCode())});
    }
    const std::vector<KeyPart> keyParts = KeyParts(context.table, levels);
    for (const KeyPart& part : keyParts) {
        columns.push_back(part.column);
    }
    for (const CliVariable& value : values) {
        columns.push_back({value.shown, IsNumber(value.variable->TypeCode())});
    }
    GiveNames(columns);
    const std::unique_ptr<CliWriter> writer = output_.MakeWriter(environment);
    constexpr auto kNoLimit = static_cast<std::uint64_t>(-1);
    WalkPrinter printer(*writer, environment.output, std::move(columns), values, keyParts,
                        limit_ ? static_cast<std::uint64_t>(*limit_) : kNoLimit);
    CliCursor cursor(context.interrupt);
    const bool isWhole = OpenCursor(context, levels.levels, values, cursor, failure) &&
                         Walk(context, cursor, tag, printer, failure);
    if (isWhole && printer.Count() == 0 && !tag.IsRoot() && limit_ != 0) {
        ExplainNothingThere(context, levels, tag, failure);
        return false;
    }
    if (isWhole) {
        printer.Begin();
    }
    if (printer.HasBegun()) {
        writer->Finish(isWhole);
    }
    return isWhole;
}

}  // namespace etabulon
