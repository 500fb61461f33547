#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// Aligned columns for people. The widths come from the first records, which are kept; later ones
/// are written at once, and a wider cell shifts its line. `measuresAll` keeps all records.
///
/// NULL is written bare. A text that could be mistaken (empty, NULL, with blanks at its ends, a
/// quote at its front, or control characters) is written in quotes with \ escapes.
class CliTableWriter final : public CliWriter {
public:
    CliTableWriter(CliOutput& output, bool hasStyle, bool measuresAll = false)
        : CliWriter(output), hasStyle_(hasStyle), measuresAll_(measuresAll) {}
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
    };
    struct Column {
        std::string name;
        std::size_t nameWidth = 0;
        std::size_t width = 0;
        Side side = Side::Left;
    };
    [[nodiscard]] Shown Show(const CliCell& cell);
    [[nodiscard]] Shown ShowValue(const CliCell& cell);
    [[nodiscard]] std::size_t ShowText(std::string_view text);
    void EndSample();
    void PutHeader();
    void Put(std::size_t place, const Shown& shown, std::string_view text);

    std::vector<Column> columns_;
    std::size_t place_ = 0;  // of the next cell
    bool hasStyle_;
    bool measuresAll_;
    bool isSampling_ = true;
    std::string text_;  // the shown text of one cell, or of all kept records
    std::vector<Shown> sample_;
};

}  // namespace etabulon
