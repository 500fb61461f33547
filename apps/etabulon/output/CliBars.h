#pragma once

#include "etabulon/report/EReportWriter.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace etabulon {

enum class CliBarStyle : std::uint8_t {
    None = 0,
    Blocks = 1,  // in eighths of a cell
    Ascii = 2,
};

/// The numbers that the bars of a column are drawn for.
struct CliBarScale {
    double low = 0;
    double high = 0;
    void Add(double number);
    /// Adds the number of a cell, if there is one.
    void Add(const EReportCell& cell);
};

/// Puts a column of bars behind one column of numbers. A total and the root of an outline have
/// none.
class CliBarsWriter final : public EReportWriter {
public:
    /// `column` is the position of the numbers.
    CliBarsWriter(std::unique_ptr<EReportWriter> inner, CliBarStyle style, std::size_t column,
                  const CliBarScale& scale)
        : inner_(std::move(inner)), style_(style), column_(column), scale_(scale) {}

    void SetTitle(std::string_view title) override { inner_->SetTitle(title); }
    void Begin(std::span<const EReportColumn> columns) override;
    void Cell(const EReportCell& cell) override;
    void SetDepth(std::uint32_t depth) override;
    void BeginTotal() override;
    void EndRecord() override;
    void Finish(bool isWhole) override { inner_->Finish(isWhole); }

private:
    void PutBar(const EReportCell& cell);

    std::unique_ptr<EReportWriter> inner_;
    CliBarStyle style_;
    std::size_t column_;
    CliBarScale scale_;
    std::size_t place_ = 0;  // of the next cell
    bool isTotal_ = false;
    std::string bar_;
};

/// The bars that the user's terminal can show: blocks where LC_ALL, LC_CTYPE or LANG say UTF-8.
[[nodiscard]] CliBarStyle BarStyleOfLocale();

}  // namespace etabulon
