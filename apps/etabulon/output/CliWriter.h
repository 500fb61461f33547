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

/// What a format is to know of a column before its first cell.
struct CliColumn {
    std::string name;
    bool isNumber = false;
    bool isLabel = false;  // heads its line
};

/// Writes records in one format: Begin, then for each record a Cell for each column and EndRecord,
/// then Finish. No format keeps records, but for the first ones that the table is measured by.
class CliWriter {
public:
    CliWriter(const CliWriter&) = delete;
    CliWriter& operator=(const CliWriter&) = delete;
    virtual ~CliWriter() = default;

    /// What the records are, for formats with a place for it. Before Begin.
    virtual void SetTitle(std::string_view /*title*/) {}
    /// Requires names that differ: see GiveNames.
    virtual void Begin(std::span<const CliColumn> columns) = 0;
    virtual void Cell(const CliCell& cell) = 0;
    /// The record that begins sums up those above.
    virtual void BeginTotal() {}
    virtual void EndRecord() = 0;
    /// With `isWhole` false records are missing: a format that has an end doesn't write it, so that
    /// nobody takes for whole what was broken off.
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

/// The same for results, which are at hand as a whole: the table is measured by all of it.
[[nodiscard]] std::unique_ptr<CliWriter> MakeResultWriter(const CliPrinting& printing);

/// Gives a name that came before the suffix _2, _3..., so that records have no two fields of one.
void GiveNames(std::span<CliColumn> columns);

}  // namespace etabulon
