#include "apps/etabulon/output/CliWriter.h"

#include "apps/etabulon/output/CliDelimitedWriter.h"
#include "apps/etabulon/output/CliJsonWriter.h"
#include "apps/etabulon/output/CliMarkupWriter.h"
#include "apps/etabulon/output/CliTableWriter.h"

#include <fmt/format.h>

#include <set>

namespace etabulon {

std::unique_ptr<CliWriter> MakeWriter(const CliPrinting& printing) {
    CliOutput& output = printing.output;
    switch (printing.format) {
        case CliFormat::Csv:
            return std::make_unique<CliCsvWriter>(output);
        case CliFormat::Tsv:
            return std::make_unique<CliTsvWriter>(output);
        case CliFormat::Json:
            return std::make_unique<CliJsonWriter>(output, /*isArray=*/true);
        case CliFormat::NdJson:
            return std::make_unique<CliJsonWriter>(output, /*isArray=*/false);
        case CliFormat::Markdown:
            return std::make_unique<CliMarkdownWriter>(output);
        case CliFormat::Html:
            return std::make_unique<CliHtmlWriter>(output);
        default:
            return std::make_unique<CliTableWriter>(output, printing.hasStyle);
    }
}

std::unique_ptr<CliWriter> MakeResultWriter(const CliPrinting& printing) {
    return printing.format == CliFormat::Table
               ? std::make_unique<CliTableWriter>(printing.output, printing.hasStyle,
                                                  /*measuresAll=*/true)
               : MakeWriter(printing);
}

void GiveNames(std::span<CliColumn> columns) {
    std::set<std::string, std::less<>> given;
    for (const CliColumn& column : columns) {
        given.insert(column.name);
    }
    std::set<std::string, std::less<>> met;
    for (CliColumn& column : columns) {
        if (met.insert(column.name).second) {
            continue;
        }
        std::string name;
        for (unsigned number = 2; name.empty() || !given.insert(name).second; ++number) {
            name = fmt::format("{}_{}", column.name, number);
        }
        column.name = std::move(name);
        met.insert(column.name);
    }
}

}  // namespace etabulon
