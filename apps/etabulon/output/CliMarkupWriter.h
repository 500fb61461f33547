#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A table in GitHub's dialect of Markdown. Characters with a meaning are escaped, a line end is
/// <br>. NULL, empty text and the text NULL differ as in CliTableWriter.
class CliMarkdownWriter final : public CliWriter {
public:
    explicit CliMarkdownWriter(CliOutput& output) : CliWriter(output) {}
    void Begin(std::span<const CliColumn> columns) override;
    void Cell(const CliCell& cell) override;
    void BeginTotal() override { isTotal_ = true; }
    void EndRecord() override;
    void Finish(bool /*isWhole*/) override {}

private:
    bool isTotal_ = false;
    std::string text_;
};

/// One document with one table. Header cells have a scope; a total's row has the class "total", and
/// a cell that is NULL, absent or differing has a class of that name.
class CliHtmlWriter final : public CliWriter {
public:
    explicit CliHtmlWriter(CliOutput& output) : CliWriter(output) {}
    void SetTitle(std::string_view title) override { title_ = title; }
    void Begin(std::span<const CliColumn> columns) override;
    void Cell(const CliCell& cell) override;
    void BeginTotal() override { isTotal_ = true; }
    void EndRecord() override;
    void Finish(bool isWhole) override;

private:
    void PutCell(std::string_view name, std::string_view attributes, std::string_view content);

    std::string title_ = "etabulon";
    std::vector<bool> isLabel_;  // of each column
    std::size_t place_ = 0;
    bool isTotal_ = false;
    std::string text_;
};

}  // namespace etabulon
