#include "apps/etabulon/walk/CliExplanation.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/walk/CliWalk.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/EReadAhead.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/ESqlTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {

void CliExplanation::Declare(CLI::App& app, bool& isAsked) {
    app.add_flag("--explain", isAsked,
                 "Print what would be read, and how, and what would be kept in memory; read no "
                 "record of a database")
        ->configurable(false);
}

void CliExplanation::Put(const char* name, const std::string& text) {
    std::string line = fmt::format("{:<12}", name);
    AppendShown(line, text);
    output_.EndLine(line);
}

void CliExplanation::TellSource(CliTables& source) {
    Put("source", fmt::format("{}, {}", source.Location().View(),
                              source.Database() != nullptr ? "a database" : "a table of text"));
}

void CliExplanation::TellTable(const CliWalkContext& context) {
    const ESqlTableInfo& table = context.table.Info();
    if (context.table.Source().Database() != nullptr) {
        Put("table", fmt::format("{}, {}", table.name.View(), table.isView ? "a view" : "a table"));
    } else {
        ESqlError error;
        Put("table", fmt::format("{}, {} records, loaded into memory", table.name.View(),
                                 context.table.Source().CountRows(table, error)));
    }
}

void CliExplanation::TellColumns(const CliWalkContext& context, const CliCursor& cursor) {
    const std::vector<unsigned int>& columns =
        cursor.Table() != nullptr ? cursor.Table()->Columns() : cursor.ColumnsInMemory();
    std::string names;
    for (const unsigned int column : columns) {
        names += names.empty() ? "" : ", ";
        names += context.table.Info().columns[column].name.View();
    }
    Put("columns", names.empty() ? "the key alone" : names + ", and the key");
    if (!cursor.ReadLinks().empty()) {
        Put("links", fmt::format("{}, looked up for each record, or each value of its column",
                                 fmt::join(cursor.ReadLinks(), ", ")));
    }
}

void CliExplanation::TellStatement(const CliWalkContext& context, CliCursor& cursor,
                                   const ETabulonTag& tag) {
    ESqlTable* const table = cursor.Table();
    const EFilter& filter = context.condition.filter;
    if (table != nullptr) {
        // Edits are laid over the records before any of them is left out.
        if (!cursor.MovesRecords()) {
            static_cast<void>(cursor.SetKeyRange(tag, table));
        }
        if (context.changes == nullptr) {
            cursor.PushFilter(filter, table);
        }
        bool isFirst = true;
        for (const Chaine& line : table->PlanWalk()) {
            Put(isFirst ? "statement" : "plan", std::string(line.View()));
            isFirst = false;
        }
    }
    if (!filter.IsEmpty()) {
        Put("conditions", table != nullptr ? "each record that the statement gives is tested"
                                           : "each record is tested");
    } else if (table == nullptr && !tag.IsRoot()) {
        Put("place", "each record is tested");
    }
    if (context.changes != nullptr) {
        Put("edits", "laid over the records that are read");
    }
}

void CliExplanation::TellSteps(const CliWalkContext& context, const CliCursor& cursor,
                               bool byBlocks) {
    for (const std::string& line : otherWalks_) {
        Put("walk", line);
    }
    const bool isInBlocks = byBlocks && EBlockSource::AreEnabled() && context.changes == nullptr;
    const unsigned int readers = EReadAhead::Threads();
    const bool hasReaders = isInBlocks && cursor.Table() != nullptr && readers != 0 &&
                            context.table.Info().keyKind == ESqlKeyKind::Integer &&
                            !context.table.Info().isView;
    Put("walk", fmt::format("{}{}", isInBlocks ? "by blocks of records" : "record by record",
                            hasReaders ? fmt::format(", by {} threads from {} records on", readers,
                                                     EReadAhead::LeastRecords())
                                       : ""));
}

void CliExplanation::Tell(CliTables& source, const std::string& reads) {
    TellSource(source);
    Put("reads", reads);
}

void CliExplanation::Tell(const CliWalkContext& context, CliCursor& cursor, const ETabulonTag& tag,
                          bool byBlocks) {
    TellSource(context.table.Source());
    TellTable(context);
    TellColumns(context, cursor);
    TellStatement(context, cursor, tag);
    TellSteps(context, cursor, byBlocks);
    if (context.table.Source().Database() == nullptr) {
        Put("memory", "the whole table, about as much as the file has bytes");
    }
    for (const std::string& line : kept_) {
        Put("memory", line);
    }
}

}  // namespace etabulon
