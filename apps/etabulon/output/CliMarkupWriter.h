#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A table of GitHub's dialect. What has a meaning there is escaped, a line end is <br>. NULL,
/// empty text and the text NULL differ as in CliTableWriter.
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

/// One document with one table. Heads have their scope; a total's line is of class "total", what is
/// NULL, absent or differing of a class of that name.
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
