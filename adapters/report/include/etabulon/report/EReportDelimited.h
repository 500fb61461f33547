#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportWriter.h"

#include <string>
#include <string_view>

namespace etabulon {

/// Lines of cells with a separator between them; the first line has the columns' names. Bytes are
/// hexadecimal digits, an empty blob is an empty text.
/// Example    adapters/report/src/EReportDelimited.cpp
class ETABULON_API EReportDelimitedWriter : public EReportWriter {
public:
    void Begin(std::span<const EReportColumn> columns) override;
    void Cell(const EReportCell& cell) override;
    void EndRecord() override;
    void Finish(bool /*isWhole*/) override {}

protected:
    EReportDelimitedWriter(EReportSink& sink, char separator)
        : sink_(sink), separator_(separator) {}
    virtual void PutNull(std::string& line) = 0;
    virtual void PutDiffering(std::string& line) = 0;
    virtual void PutText(std::string& line, std::string_view text) = 0;

private:
    EReportSink& sink_;
    char separator_;
    bool isFirst_ = true;
    std::string line_;
};

/// RFC 4180, except that lines end with a single line feed. NULL is an empty cell, an empty text is
/// "". Values that differ are ≠, and the text ≠ is quoted.
/// Example    examples/report.cpp
class ETABULON_API EReportCsvWriter final : public EReportDelimitedWriter {
public:
    /// The sink isn't owned and must outlive this, here and below.
    explicit EReportCsvWriter(EReportSink& sink) : EReportDelimitedWriter(sink, ',') {}

private:
    void PutNull(std::string& /*line*/) override {}
    void PutDiffering(std::string& line) override { line += kDiffering; }
    void PutText(std::string& line, std::string_view text) override;
};

/// NULL is `\N`, values that differ `\D`; tab, line ends, NUL and backslash are `\t`, `\n`, `\r`,
/// `\0` and
/// `\\`.
/// Example    apps/etabulon/output/CliWriter.cpp
class ETABULON_API EReportTsvWriter final : public EReportDelimitedWriter {
public:
    explicit EReportTsvWriter(EReportSink& sink) : EReportDelimitedWriter(sink, '\t') {}

private:
    void PutNull(std::string& line) override { line += "\\N"; }
    void PutDiffering(std::string& line) override { line += "\\D"; }
    void PutText(std::string& line, std::string_view text) override;
};

}  // namespace etabulon
