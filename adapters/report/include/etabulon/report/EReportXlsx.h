#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportWriter.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace etabulon {

/// Writes records as a spreadsheet (XLSX) with one sheet: the first row has the columns' names and
/// stays on the screen, and so do columns of labels. Totals are bold. A record's depth is its row's
/// outline level, of which the format has seven.
///
/// Cells      numbers, booleans, dates and times are values of these kinds. NULL and a missing
///            result are empty cells; an empty text is the formula ="". Bytes are hexadecimal
///            digits; a byte of a text that isn't UTF-8 is written as in messages, by two digits.
/// As text    what the format's numbers, doubles, can't tell exactly: whole numbers beyond 2^53,
///            about which the sink gets a note, and dates before 1900.
/// Memory     that of one row: rows go to a file in the temporary folder, and from there to the
///            sink when all is written.
/// Failure    breaks the sink: a text of more than 32,767 characters, more than 1,048,576 rows or
///            16,384 columns, a full disk. Later cells are dropped, and the sink gets no bytes.
/// Example    examples/report.cpp
class ETABULON_API EReportXlsxWriter final : public EReportWriter {
public:
    /// The sink isn't owned and must outlive this. Without a folder it is that of TMPDIR, or /tmp.
    explicit EReportXlsxWriter(EReportSink& sink, std::string temporaryFolder = {});
    ~EReportXlsxWriter() override;

    void SetTitle(std::string_view title) override;
    void Begin(std::span<const EReportColumn> columns) override;
    void Cell(const EReportCell& cell) override;
    void SetDepth(std::uint32_t depth) override;
    void BeginTotal() override;
    void EndRecord() override;
    /// The sink gets the file's bytes if they are whole, otherwise none.
    void Finish(bool isWhole) override;

private:
    class Sheet;
    EReportSink& sink_;
    std::string folder_;
    std::string title_;
    std::unique_ptr<Sheet> sheet_;  // from Begin to Finish
};

}  // namespace etabulon
