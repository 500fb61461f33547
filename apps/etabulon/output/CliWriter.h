#pragma once

#include "apps/etabulon/output/CliCell.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace etabulon {

class CliOutput;

enum class CliFormat : std::uint8_t {
    Table = 0,
    Csv = 1,
    Tsv = 2,
    Json = 3,
    NdJson = 4,
    Markdown = 5,
    Html = 6,
};

inline constexpr std::array<std::pair<const char*, CliFormat>, 7> kCliFormats = {{
    {"table", CliFormat::Table},
    {"csv", CliFormat::Csv},
    {"tsv", CliFormat::Tsv},
    {"json", CliFormat::Json},
    {"ndjson", CliFormat::NdJson},
    {"markdown", CliFormat::Markdown},
    {"html", CliFormat::Html},
}};

/// A column, as a format needs to know it before its first cell.
struct CliColumn {
    std::string name;
    bool isNumber = false;
    bool isLabel = false;  // its cells label their lines
};

/// Writes records in one format: Begin, then for each record a Cell for each column and EndRecord,
/// then Finish. Only the table format keeps records: the first ones, for the widths of its columns.
class CliWriter {
public:
    CliWriter(const CliWriter&) = delete;
    CliWriter& operator=(const CliWriter&) = delete;
    virtual ~CliWriter() = default;

    /// Names the records, in formats that have a place for a title. To be called before Begin.
    virtual void SetTitle(std::string_view /*title*/) {}
    /// Requires distinct names; GiveNames makes them so.
    virtual void Begin(std::span<const CliColumn> columns) = 0;
    virtual void Cell(const CliCell& cell) = 0;
    /// The record that follows is the total of those above.
    virtual void BeginTotal() {}
    virtual void EndRecord() = 0;
    /// If `isWhole` is false, records are missing: a format with a closing mark omits the mark, so
    /// that a reader sees that the text was broken off.
    virtual void Finish(bool isWhole) = 0;

protected:
    explicit CliWriter(CliOutput& output) : output_(output) {}
    [[nodiscard]] CliOutput& Output() const noexcept { return output_; }

private:
    CliOutput& output_;
};

/// Where a command prints to, and how.
struct CliPrinting {
    CliOutput& output;
    CliFormat format = CliFormat::Table;
    bool hasStyle = false;  // the table may be coloured for a terminal
};

[[nodiscard]] std::unique_ptr<CliWriter> MakeWriter(const CliPrinting& printing);

/// The same for a result, which is in memory as a whole: a table measures all of its lines.
[[nodiscard]] std::unique_ptr<CliWriter> MakeResultWriter(const CliPrinting& printing);

/// Makes names distinct: a repeated name gets the suffix _2, _3 and so on.
void GiveNames(std::span<CliColumn> columns);

}  // namespace etabulon
