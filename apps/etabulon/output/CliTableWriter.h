#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// Aligned columns for people. The widths come from the first records, which are kept; later ones
/// are written at once, and a wider cell shifts its line. `measuresAll` keeps all records.
///
/// On a terminal that is narrower than the lines, names and texts are cut, which … shows; numbers,
/// dates and bars never are. Where even narrow columns wouldn't fit, nothing is cut. On a terminal
/// a text with letters that run from right to left stands between U+2068 and U+2069, so that it
/// doesn't turn its neighbours.
///
/// NULL is written bare. A text that could be mistaken (empty, NULL, with blanks at its ends, a
/// quote at its front, or control characters) is written in quotes with \ escapes.
class CliTableWriter final : public EReportWriter {
public:
    CliTableWriter(CliOutput& output, const CliScreen& screen, bool measuresAll = false)
        : output_(output), screen_(screen), measuresAll_(measuresAll) {}
    void Begin(std::span<const CliColumn> columns) override;
    void Cell(const CliCell& cell) override;
    void EndRecord() override;
    void Finish(bool isWhole) override;

private:
    enum class Side : std::uint8_t { Left = 0, Right = 1 };
    /// A cell as it is shown.
    struct Shown {
        std::size_t length = 0;  // in bytes
        std::size_t width = 0;
        Side side = Side::Left;
        bool isNull = false;
        bool isWhole = true;  // is never cut
    };
    struct Column {
        std::string name;
        std::size_t nameWidth = 0;
        std::size_t width = 0;
        std::size_t wholeWidth = 0;  // of the cells that are never cut
        Side side = Side::Left;
    };
    [[nodiscard]] Shown Show(const CliCell& cell);
    [[nodiscard]] Shown ShowValue(const CliCell& cell);
    [[nodiscard]] std::size_t ShowText(std::string_view text);
    void EndSample();
    void FitColumns();
    [[nodiscard]] std::size_t LineWidth(std::size_t level) const noexcept;
    void PutHeader();
    void Put(std::size_t place, Shown shown, std::string_view text);
    void PutText(const Shown& shown, std::string_view text, bool isCut);

    [[nodiscard]] CliOutput& Output() const noexcept { return output_; }

    CliOutput& output_;
    std::vector<Column> columns_;
    std::size_t place_ = 0;  // of the next cell
    CliScreen screen_;
    bool measuresAll_;
    bool isSampling_ = true;
    bool cuts_ = false;           // what doesn't fit is cut
    std::size_t free_ = 0;        // columns of the terminal behind the last column
    std::size_t freeOfLine_ = 0;  // what wider cells have left of them
    std::string text_;            // the shown text of one cell, or of all kept records
    std::vector<Shown> sample_;
};

}  // namespace etabulon
