#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportWriter.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A table in GitHub's dialect of Markdown. Characters with a meaning are escaped, a line end is
/// <br>. NULL is written bare; a text that IsMistakable is quoted.
/// Example    apps/etabulon/output/CliWriter.cpp
class ETABULON_API EReportMarkdownWriter final : public EReportWriter {
public:
    /// The sink isn't owned and must outlive this, here and below.
    explicit EReportMarkdownWriter(EReportSink& sink) : sink_(sink) {}
    void Begin(std::span<const EReportColumn> columns) override;
    void Cell(const EReportCell& cell) override;
    void BeginTotal() override { isTotal_ = true; }
    void EndRecord() override;
    void Finish(bool /*isWhole*/) override {}

private:
    EReportSink& sink_;
    bool isTotal_ = false;
    std::string text_;
};

/// One document with one table. Header cells have a scope; a total's row has the class "total", and
/// a cell that is NULL, absent or differing has a class of that name.
/// Example    examples/report.cpp
class ETABULON_API EReportHtmlWriter final : public EReportWriter {
public:
    explicit EReportHtmlWriter(EReportSink& sink) : sink_(sink) {}
    void SetTitle(std::string_view title) override { title_ = title; }
    void Begin(std::span<const EReportColumn> columns) override;
    void Cell(const EReportCell& cell) override;
    void BeginTotal() override { isTotal_ = true; }
    void EndRecord() override;
    void Finish(bool isWhole) override;

private:
    void PutCell(std::string_view name, std::string_view attributes, std::string_view content);

    EReportSink& sink_;
    std::string title_ = "etabulon";
    std::vector<bool> isLabel_;  // of each column
    std::size_t column_ = 0;
    bool isTotal_ = false;
    std::string text_;
};

}  // namespace etabulon
