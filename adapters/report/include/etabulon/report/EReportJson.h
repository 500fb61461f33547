#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportWriter.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A value as JSON, as EReportJsonWriter writes it.
ETABULON_API void AppendJson(EReportSink& sink, const EReportCell& cell);
/// A name as a quoted JSON string.
[[nodiscard]] ETABULON_API std::string JsonName(std::string_view name);

/// Records as objects: in one array, or one object a line. A blob, or a text that isn't UTF-8, is
/// the object {"hex":"c328"}: the JSON stays valid, and no byte is lost.
/// Example    apps/etabulon/output/CliWriter.cpp
class ETABULON_API EReportJsonWriter final : public EReportWriter {
public:
    /// The sink isn't owned and must outlive this.
    EReportJsonWriter(EReportSink& sink, bool isArray) : sink_(sink), isArray_(isArray) {}
    void Begin(std::span<const EReportColumn> columns) override;
    void Cell(const EReportCell& cell) override;
    void EndRecord() override;
    void Finish(bool isWhole) override;

private:
    EReportSink& sink_;
    std::vector<std::string> heads_;  // of each cell: its separator and its quoted name
    std::size_t next_ = 0;            // cell
    std::string record_;
    bool isArray_;
    bool hasRecords_ = false;
};

}  // namespace etabulon
