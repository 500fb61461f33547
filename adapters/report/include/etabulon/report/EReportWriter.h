#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportCell.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace etabulon {

/// Where a report's bytes go.
///
/// Failure    the first one breaks the sink, which drops later bytes; its owner reports the reason.
/// Example    examples/report.cpp
class ETABULON_API EReportSink {
public:
    EReportSink() = default;
    EReportSink(const EReportSink&) = delete;
    EReportSink& operator=(const EReportSink&) = delete;
    virtual ~EReportSink() = default;

    virtual void Append(std::string_view bytes) = 0;
    /// Appends the rest of a line, and the line feed that ends it. A sink may hand on whole lines
    /// only. Line feeds within a value, as in CSV, don't end a line.
    virtual void EndLine(std::string_view rest) {
        Append(rest);
        Append("\n");
    }
    /// Breaks the sink for a reason that a writer has found, one sentence: the format can't hold a
    /// value, for example.
    virtual void Fail(std::string_view reason) = 0;
    /// Tells what the format couldn't keep as it is, one sentence.
    virtual void Note(std::string_view /*sentence*/) {}
    [[nodiscard]] virtual bool IsBroken() const noexcept = 0;
};

/// A column, as a format needs to know it before its first cell.
struct EReportColumn {
    std::string name;
    bool isNumber = false;
    bool isLabel = false;   // its cells label their lines
    bool isResult = false;  // calculated: its numbers are grouped and rounded where a format can
};

/// Writes records in one format: Begin, then for each record a Cell for each column and EndRecord,
/// then Finish.
/// Example    adapters/report/src/EReportCross.cpp
class ETABULON_API EReportWriter {
public:
    EReportWriter(const EReportWriter&) = delete;
    EReportWriter& operator=(const EReportWriter&) = delete;
    virtual ~EReportWriter() = default;

    /// Names the records, in formats that have a place for a title. To be called before Begin.
    virtual void SetTitle(std::string_view /*title*/) {}
    /// Requires distinct names; GiveNames makes them so.
    virtual void Begin(std::span<const EReportColumn> columns) = 0;
    virtual void Cell(const EReportCell& cell) = 0;
    /// The record that follows lies so deep in an outline; its root has depth 0.
    virtual void SetDepth(std::uint32_t /*depth*/) {}
    /// The record that follows is the total of those above.
    virtual void BeginTotal() {}
    virtual void EndRecord() = 0;
    /// If `isWhole` is false, records are missing: a format with a closing mark omits the mark, so
    /// that a reader sees that the text was broken off.
    virtual void Finish(bool isWhole) = 0;

protected:
    EReportWriter() = default;
};

/// Makes names distinct: a repeated name gets the suffix _2, _3 and so on.
ETABULON_API void GiveNames(std::span<EReportColumn> columns);

}  // namespace etabulon
