#include "apps/etabulon/output/CliWriter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliTableWriter.h"
#include "etabulon/report/EReportDelimited.h"
#include "etabulon/report/EReportJson.h"
#include "etabulon/report/EReportMarkup.h"
#include "etabulon/report/EReportXlsx.h"

namespace etabulon {

std::unique_ptr<EReportWriter> MakeWriter(const CliPrinting& printing) {
    CliOutput& output = printing.output;
    switch (printing.format) {
        case CliFormat::Csv:
            return std::make_unique<EReportCsvWriter>(output);
        case CliFormat::Tsv:
            return std::make_unique<EReportTsvWriter>(output);
        case CliFormat::Json:
            return std::make_unique<EReportJsonWriter>(output, /*isArray=*/true);
        case CliFormat::NdJson:
            return std::make_unique<EReportJsonWriter>(output, /*isArray=*/false);
        case CliFormat::Markdown:
            return std::make_unique<EReportMarkdownWriter>(output);
        case CliFormat::Html:
            return std::make_unique<EReportHtmlWriter>(output);
        case CliFormat::Xlsx:
            return std::make_unique<EReportXlsxWriter>(output, printing.temporaryFolder);
        default:
            return std::make_unique<CliTableWriter>(output, printing.screen);
    }
}

std::unique_ptr<EReportWriter> MakeResultWriter(const CliPrinting& printing) {
    return printing.format == CliFormat::Table
               ? std::make_unique<CliTableWriter>(printing.output, printing.screen,
                                                  /*measuresAll=*/true)
               : MakeWriter(printing);
}

}  // namespace etabulon
