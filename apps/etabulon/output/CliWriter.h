#pragma once

#include "apps/etabulon/output/CliBars.h"
#include "apps/etabulon/output/CliCell.h"
#include "etabulon/report/EReportWriter.h"

#include <array>
#include <cstdint>
#include <memory>
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
    Xlsx = 7,
    Svg = 8,  // of results only
};

inline constexpr std::array<std::pair<const char*, CliFormat>, 9> kCliFormats = {{
    {"table", CliFormat::Table},
    {"csv", CliFormat::Csv},
    {"tsv", CliFormat::Tsv},
    {"json", CliFormat::Json},
    {"ndjson", CliFormat::NdJson},
    {"markdown", CliFormat::Markdown},
    {"html", CliFormat::Html},
    {"xlsx", CliFormat::Xlsx},
    {"svg", CliFormat::Svg},
}};

using CliColumn = EReportColumn;

/// What the output is shown on.
struct CliScreen {
    bool isTerminal = false;
    std::size_t columns = 0;  // of the terminal; 0 if unknown
    bool hasStyle = false;    // may be coloured
};

/// Where a command prints to, and how.
struct CliPrinting {
    CliOutput& output;
    CliFormat format = CliFormat::Table;
    CliScreen screen = {};
    std::string temporaryFolder = {};  // for a format that needs files; empty: the system's
    bool isDark = false;               // a picture is for a dark background
    CliBarStyle bars = CliBarStyle::None;
};

/// Requires another format than Svg.
[[nodiscard]] std::unique_ptr<EReportWriter> MakeWriter(const CliPrinting& printing);

/// The same for a result, which is in memory as a whole: a table measures all of its lines.
[[nodiscard]] std::unique_ptr<EReportWriter> MakeResultWriter(const CliPrinting& printing);

}  // namespace etabulon
