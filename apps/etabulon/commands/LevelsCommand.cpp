#include "apps/etabulon/commands/LevelsCommand.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliFolder.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/walk/CliExplanation.h"
#include "apps/etabulon/walk/CliReading.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlSource.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace etabulon {
namespace {

const std::array<CliColumn, 3> kTableColumns = {{{"table"}, {"kind"}, {"rows", true}}};

/// Writes counts, or NULL for a count that the engine refused. Keeps the first error.
class CountCells {
public:
    explicit CountCells(EReportWriter& writer) : writer_(writer) {}
    void Put(std::int64_t count, const ESqlError& error) {
        if (count >= 0) {
            writer_.Cell(maker_.Of(count));
            return;
        }
        writer_.Cell({});
        if (first_.empty()) {
            first_ = error.text.IsEmpty() ? fmt::format("a count failed (status {})", error.status)
                                          : std::string(error.text.View());
        }
    }
    /// Ends the list, which is whole except for refused counts.
    [[nodiscard]] CliResult<> Finish() const {
        writer_.Finish(/*isWhole=*/true);
        return first_.empty() ? CliResult<>() : CliFailure{CliExit::Failed, first_};
    }

private:
    EReportWriter& writer_;
    CliCellMaker maker_;
    std::string first_;
};

CliCell Text(std::string_view text) { return CliCellMaker::Of(text); }

/// The links that start at a column: their names, or the names of their target tables.
template <class NameOf>
std::string LinksAt(const DRubric& rubric, const DVariable& variable, NameOf nameOf) {
    std::string names;
    for (const DLink& link : rubric.Links()) {
        if (std::find(link.variables.begin(), link.variables.end(), variable.Index()) !=
            link.variables.end()) {
            names += names.empty() ? "" : ", ";
            names += nameOf(link);
        }
    }
    return names;
}

}  // namespace

void LevelsCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    limit_.Declare(app, "List at most this many tables or columns");
    // A view has no object for this command, as its name is the key of the levels.
    app.get_option("--limit")->configurable(false);
    output_.DeclareFormat(app);
    CliExplanation::Declare(app, explains_);
    app.footer(
        "Without TABLE: table, kind and rows of each table and view. With TABLE: each column "
        "with its type, its number of distinct values (NULL isn't one), whether it may be "
        "NULL, its place in the key, and the links that start at it with the tables that they "
        "lead to. A path link>column makes a level of the linked table's column.");
}

CliResult<> LevelsCommand::Run(CliEnvironment& environment) {
    const bool hasTable = !source_.table.empty();
    const bool listsFolder = IsFolder(source_.path) && source_.table.empty();
    if (CliResult<> chosen = listsFolder ? source_.UseFolder(environment.files)
                                         : source_.ChooseFile(environment.files);
        !chosen) {
        return chosen;
    }
    if (!explains_) {
        if (CliResult<> opened = output_.Open(environment); !opened) {
            return opened;
        }
    }
    if (listsFolder) {
        if (explains_) {
            CliExplanation(environment.output).Put("reads", "each file of the folder, as a whole");
            return {};
        }
        return ListFolder(environment);
    }
    const auto source = ReadSource(source_, ESqlOpenMode::ReadOnly, environment.interrupt);
    if (!source) {
        return source.Failure();
    }
    const CliDictionary dictionary(**source);
    if (explains_) {
        CliExplanation(environment.output)
            .Tell(**source, source_.table.empty()
                                ? "the schema, and of each table listed the number of its rows"
                                : "the schema, and of each column listed its distinct values, "
                                  "which the engine counts");
        return {};
    }
    const std::unique_ptr<EReportWriter> writer = MakeWriter(output_.Printing(environment));
    if (!hasTable) {
        return ListTables(environment, dictionary, *writer);
    }
    const CliResult<CliTable> table = dictionary.FindTable(source_.table);
    return table ? ListVariables(environment, *table, *writer) : table.Failure();
}

CliResult<> LevelsCommand::ListFolder(CliEnvironment& environment) const {
    const CliResult<std::vector<CliFolderFile>> files = FilesOf(source_.path);
    if (!files) {
        return files.Failure();
    }
    // All are read before the first is written: a file that can't be read fails the list.
    std::vector<std::int64_t> counts;
    for (const CliFolderFile& file : *files) {
        CliSourceOptions source = source_;
        source.path = file.path;
        const auto tables = ReadSource(source, ESqlOpenMode::ReadOnly, environment.interrupt);
        if (!tables) {
            return tables.Failure();
        }
        if ((*tables)->Database() != nullptr) {
            return CliFailure{
                CliExit::Failed,
                fmt::format("{} holds an SQLite database, which is a source by itself",
                            Quoted(file.path))};
        }
        ESqlError error;
        counts.push_back((*tables)->CountRows((*tables)->Tables().front(), error));
    }
    const std::unique_ptr<EReportWriter> writer = MakeWriter(output_.Printing(environment));
    CliCellMaker maker;
    writer->Begin(kTableColumns);
    std::size_t index = 0;
    for (const CliFolderFile& file : FirstOf(std::span(*files), "tables", environment.output)) {
        writer->Cell(Text(file.table));
        writer->Cell(Text("table"));
        writer->Cell(maker.Of(counts[index++]));
        writer->EndRecord();
    }
    writer->Finish(/*isWhole=*/true);
    return {};
}

CliResult<> LevelsCommand::ListTables(const CliEnvironment& environment,
                                      const CliDictionary& dictionary,
                                      EReportWriter& writer) const {
    writer.Begin(kTableColumns);
    CountCells counts(writer);
    CliTables& source = dictionary.Source();
    for (const ESqlTableInfo& table : FirstOf(source.Tables(), "tables", environment.output)) {
        writer.Cell(Text(table.name.View()));
        writer.Cell(Text(table.isView ? "view" : "table"));
        ESqlError error;
        counts.Put(source.CountRows(table, error), error);
        writer.EndRecord();
    }
    return counts.Finish();
}

CliResult<> LevelsCommand::ListVariables(const CliEnvironment& environment, const CliTable& listed,
                                         EReportWriter& writer) const {
    const ESqlTableInfo& table = listed.Info();
    const CliDictionary& dictionary = listed.Dictionary();
    const std::array<CliColumn, 7> columns = {{{"column"},
                                               {"type"},
                                               {"distinct", true},
                                               {"nullable"},
                                               {"key", true},
                                               {"link"},
                                               {"links_to"}}};
    writer.Begin(columns);
    CountCells counts(writer);
    CliCellMaker maker;
    CliTables& source = dictionary.Source();
    const DRubric& rubric = listed.Rubric();
    const std::span<const ESqlColumn> all(table.columns);
    for (const ESqlColumn& column : FirstOf(all, "columns", environment.output)) {
        const DVariable& variable = *rubric.Find(column.code);
        writer.Cell(Text(column.name.View()));
        writer.Cell(Text(TypeName(column.type)));
        ESqlError error;
        counts.Put(source.CountDistinct(table, variable.Index(), error), error);
        const auto key = std::find(table.key.begin(), table.key.end(), variable.Index());
        // SQLite never stores NULL in an integer key, even if it isn't declared NOT NULL.
        const bool isNumberKey = key != table.key.end() && table.keyKind == ESqlKeyKind::Integer;
        writer.Cell(CliCellMaker::Of(!column.notNull && !isNumberKey));
        writer.Cell(key == table.key.end() ? CliCell{} : maker.Of(key - table.key.begin() + 1));
        const std::string names = LinksAt(rubric, variable, &CliDictionary::NameOf);
        const std::string targets = LinksAt(rubric, variable, [&dictionary](const DLink& link) {
            return std::string(dictionary.TableOf(*link.target).name.View());
        });
        writer.Cell(names.empty() ? CliCell{} : Text(names));
        writer.Cell(names.empty() ? CliCell{} : Text(targets));
        writer.EndRecord();
    }
    return counts.Finish();
}

}  // namespace etabulon
