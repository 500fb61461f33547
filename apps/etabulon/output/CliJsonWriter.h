#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <string>
#include <vector>

namespace etabulon {

/// A value as JSON, as CliJsonWriter writes it.
void AppendJson(CliOutput& output, const CliCell& cell);
/// A name in its quotes.
[[nodiscard]] std::string JsonName(std::string_view name);

/// Records as objects, in one array or one a line. What isn't text, blobs and texts that are no
/// UTF-8 alike, is an object of its own, {"hex":"c328"}: nothing is lost, and it is valid JSON.
class CliJsonWriter final : public CliWriter {
public:
    CliJsonWriter(CliOutput& output, bool isArray) : CliWriter(output), isArray_(isArray) {}
    void Begin(std::span<const CliColumn> columns) override;
    void Cell(const CliCell& cell) override;
    void EndRecord() override;
    void Finish(bool isWhole) override;

private:
    std::vector<std::string> heads_;  // of each cell: what separates it, and its quoted name
    std::size_t place_ = 0;           // of the next cell
    bool isArray_;
    bool hasRecords_ = false;
};

}  // namespace etabulon
