#pragma once

#include "apps/etabulon/output/CliWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// Columns for people. The first records are kept to measure the columns by; the others are written
/// as they come, and a wider cell moves its line. `measuresAll` keeps all of them.
///
/// NULL stands bare; a text that could be taken for something else (empty, NULL, with blanks at its
/// ends, a quote at its front, or control characters) stands in quotes with \ escapes.
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
    std::string text_;  // what is shown: of one cell, or of the sample
    std::vector<Shown> sample_;
};

}  // namespace etabulon
