#include "apps/etabulon/output/CliBars.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace etabulon {
namespace {

constexpr double kWidth = 24;  // of the longest bar and its opposite together

/// From one to seven eighths of a cell, from the left.
constexpr std::array kParts = {"",
                               "\xE2\x96\x8F",
                               "\xE2\x96\x8E",
                               "\xE2\x96\x8D",
                               "\xE2\x96\x8C",
                               "\xE2\x96\x8B",
                               "\xE2\x96\x8A",
                               "\xE2\x96\x89"};
constexpr const char* kBlock = "\xE2\x96\x88";

std::optional<double> NumberOf(const EReportCell& cell) noexcept {
    double number = 0;
    const char* const end = cell.text.data() + cell.text.size();
    const bool isNumber = cell.kind == EReportKind::Number &&
                          std::from_chars(cell.text.data(), end, number).ec == std::errc();
    return isNumber ? std::optional(number) : std::nullopt;
}

}  // namespace

void CliBarScale::Add(double number) {
    low = std::min(low, number);
    high = std::max(high, number);
}

void CliBarScale::Add(const EReportCell& cell) {
    if (const std::optional<double> number = NumberOf(cell)) {
        Add(*number);
    }
}

void CliBarsWriter::SetDepth(std::uint32_t depth) {
    isTotal_ = depth == 0;
    inner_->SetDepth(depth);
}

void CliBarsWriter::Begin(std::span<const EReportColumn> columns) {
    std::vector<EReportColumn> all(columns.begin(), columns.end());
    all.insert(all.begin() + static_cast<std::ptrdiff_t>(column_) + 1, EReportColumn{});
    inner_->Begin(all);
}

void CliBarsWriter::BeginTotal() {
    isTotal_ = true;
    inner_->BeginTotal();
}

void CliBarsWriter::EndRecord() {
    place_ = 0;
    isTotal_ = false;
    inner_->EndRecord();
}

void CliBarsWriter::Cell(const EReportCell& cell) {
    inner_->Cell(cell);
    if (place_++ == column_) {
        PutBar(cell);
    }
}

void CliBarsWriter::PutBar(const EReportCell& cell) {
    const double number = NumberOf(cell).value_or(0);
    const double range = scale_.high - scale_.low;
    if (isTotal_ || number == 0 || !(range > 0)) {
        return inner_->Cell({EReportKind::Absent, {}});
    }
    // Bars below zero end where those above begin.
    const double zero = std::round(kWidth * -scale_.low / range);
    const double length = std::abs(number) / range * kWidth;
    const bool isBelow = number < 0;
    const bool isWhole = isBelow || style_ == CliBarStyle::Ascii;
    // A bar that is there has at least the smallest mark.
    const double eighths =
        isWhole ? std::max(std::round(length), 1.0) * 8 : std::max(std::round(length * 8), 1.0);
    const auto blocks = static_cast<std::uint32_t>(eighths / 8);
    bar_.clear();
    for (std::uint32_t block = 0; block < blocks; ++block) {
        bar_ += style_ == CliBarStyle::Blocks ? kBlock : isBelow ? "-" : "#";
    }
    bar_ += kParts[static_cast<std::size_t>(eighths) % 8];
    EReportCell bar = EReportCellMaker::Of(std::string_view(bar_));
    const auto before = static_cast<std::uint32_t>(zero);
    bar.form = EReportForm::Drawing;
    bar.indent = isBelow ? before - std::min(before, blocks) : before;
    inner_->Cell(bar);
}

CliBarStyle BarStyleOfLocale() {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        if (const char* const value = std::getenv(name); value != nullptr && *value != '\0') {
            std::string locale(value);
            std::transform(locale.begin(), locale.end(), locale.begin(), [](char c) {
                return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            });
            const bool isUtf8 = locale.find("utf-8") != std::string::npos ||
                                locale.find("utf8") != std::string::npos;
            return isUtf8 ? CliBarStyle::Blocks : CliBarStyle::Ascii;
        }
    }
    return CliBarStyle::Ascii;
}

}  // namespace etabulon
