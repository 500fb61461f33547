#pragma once

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliWriter.h"

namespace etabulon {

/// Lines of cells with a separator between them; the first line has the columns' names.
class CliDelimitedWriter : public CliWriter {
public:
    void Begin(std::span<const CliColumn> columns) override;
    void Cell(const CliCell& cell) override;
    void EndRecord() override;
    void Finish(bool /*isWhole*/) override {}

protected:
    CliDelimitedWriter(CliOutput& output, char separator)
        : CliWriter(output), separator_(separator) {}
    virtual void PutNull() = 0;
    virtual void PutDiffering() = 0;
    virtual void PutText(std::string_view text) = 0;

private:
    char separator_;
    bool isFirst_ = true;
};

/// RFC 4180, except that lines end with a single line feed. NULL is an empty cell, an empty text is
/// "". Values that differ are ≠, and the text ≠ is quoted.
class CliCsvWriter final : public CliDelimitedWriter {
public:
    explicit CliCsvWriter(CliOutput& output) : CliDelimitedWriter(output, ',') {}

private:
    void PutNull() override {}
    void PutDiffering() override { Output().Append(kDiffering); }
    void PutText(std::string_view text) override;
};

/// NULL is \N, values that differ \D; tab, line ends, NUL and backslash are \t \n \r \0 \\.
class CliTsvWriter final : public CliDelimitedWriter {
public:
    explicit CliTsvWriter(CliOutput& output) : CliDelimitedWriter(output, '\t') {}

private:
    void PutNull() override;
    void PutDiffering() override { Output().Append("\\D"); }
    void PutText(std::string_view text) override;
};

}  // namespace etabulon
