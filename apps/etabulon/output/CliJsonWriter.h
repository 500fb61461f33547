#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <string>
#include <vector>

namespace etabulon {

/// A value as JSON, as CliJsonWriter writes it.
void AppendJson(CliOutput& output, const CliCell& cell);
/// A name as a quoted JSON string.
[[nodiscard]] std::string JsonName(std::string_view name);

/// Records as objects: in one array, or one object a line. A blob, or a text that isn't UTF-8, is
/// the object {"hex":"c328"}: the JSON stays valid, and no byte is lost.
class CliJsonWriter final : public CliWriter {
public:
    CliJsonWriter(CliOutput& output, bool isArray) : CliWriter(output), isArray_(isArray) {}
    void Begin(std::span<const CliColumn> columns) override;
    void Cell(const CliCell& cell) override;
    void EndRecord() override;
    void Finish(bool isWhole) override;

private:
    std::vector<std::string> heads_;  // of each cell: its separator and its quoted name
    std::size_t place_ = 0;           // of the next cell
    bool isArray_;
    bool hasRecords_ = false;
};

}  // namespace etabulon
