#include "apps/etabulon/output/CliTableWriter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"

#include <algorithm>

namespace etabulon {
namespace {

constexpr std::size_t kSampleRecords = 200;
constexpr std::size_t kSampleBytes = std::size_t{1} << 20U;
/// The widest that a kept cell makes its column; wider cells shift their line.
constexpr std::size_t kWidest = 60;
/// The same limit where all records are measured.
constexpr std::size_t kWidestOfAll = 120;
constexpr std::string_view kGap = "  ";
constexpr std::string_view kDim = "\x1B[2m";
constexpr std::string_view kPlain = "\x1B[0m";

bool IsPlainByte(char c) noexcept { return c >= ' ' && c < '\x7F'; }

/// The text can't be mistaken for NULL or for a quoted text.
bool IsUnmistakable(std::string_view text) noexcept {
    if (IsMistakable(text)) {
        return false;
    }
    if (std::all_of(text.begin(), text.end(), IsPlainByte)) {
        return true;
    }
    while (!text.empty()) {
        const detail::Utf8Character character = FirstCharacter(text);
        if (character.length == 0 || IsControl(character.code)) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

}  // namespace

void CliTableWriter::Begin(std::span<const CliColumn> columns) {
    for (const CliColumn& column : columns) {
        Column& added = columns_.emplace_back();
        added.nameWidth = AppendShown(added.name, column.name);
        added.width = added.nameWidth;
        added.side = column.isNumber ? Side::Right : Side::Left;
    }
}

std::size_t CliTableWriter::ShowText(std::string_view text) {
    return IsUnmistakable(text) ? AppendShown(text_, text) : AppendInQuotes(text_, text);
}

CliTableWriter::Shown CliTableWriter::Show(const CliCell& cell) {
    text_.append(cell.indent, ' ');
    const std::size_t before = text_.size();
    Shown shown = ShowValue(cell);
    if (cell.indent != 0) {
        shown.side = Side::Left;
    }
    shown.length = text_.size() - before + cell.indent;
    shown.width += cell.indent;
    return shown;
}

CliTableWriter::Shown CliTableWriter::ShowValue(const CliCell& cell) {
    const std::size_t before = text_.size();
    Shown shown;
    switch (cell.kind) {
        case CliCellKind::Null:
            text_ += "NULL";
            shown.isNull = true;
            shown.side = columns_[place_].side;
            break;
        case CliCellKind::Text:
            shown.width = ShowText(cell.text);
            return shown;
        case CliCellKind::Bytes:
            cell.text.empty() ? text_ += "\"\"" : text_;
            AppendHex(text_, cell.text);
            break;
        case CliCellKind::Absent:
            break;
        case CliCellKind::Differing:
            text_ += kDiffering;
            shown.width = 1;
            shown.side = columns_[place_].side;
            return shown;
        default:
            text_ += cell.text;
            shown.side = cell.kind == CliCellKind::Number ? Side::Right : Side::Left;
            break;
    }
    shown.width = text_.size() - before;
    return shown;
}

void CliTableWriter::Cell(const CliCell& cell) {
    if (isSampling_) {
        const Shown shown = Show(cell);
        Column& column = columns_[place_];
        column.width =
            std::max(column.width, std::min(shown.width, measuresAll_ ? kWidestOfAll : kWidest));
        sample_.push_back(shown);
    } else {
        text_.clear();
        const Shown shown = Show(cell);
        Put(place_, shown, text_);
    }
    ++place_;
}

void CliTableWriter::EndRecord() {
    place_ = 0;
    if (isSampling_ && !measuresAll_ &&
        (sample_.size() >= kSampleRecords * columns_.size() || text_.size() >= kSampleBytes)) {
        EndSample();
        Output().Flush();
    }
}

void CliTableWriter::EndSample() {
    isSampling_ = false;
    PutHeader();
    std::string_view rest = text_;
    for (std::size_t index = 0; index < sample_.size(); ++index) {
        const Shown& shown = sample_[index];
        Put(index % columns_.size(), shown, rest.substr(0, shown.length));
        rest.remove_prefix(shown.length);
    }
    sample_ = {};
}

void CliTableWriter::PutHeader() {
    for (std::size_t place = 0; place < columns_.size(); ++place) {
        const Column& column = columns_[place];
        Put(place, {column.name.size(), column.nameWidth, column.side, false}, column.name);
    }
    for (std::size_t place = 0; place < columns_.size(); ++place) {
        Output().Append(place == 0 ? "" : kGap);
        for (std::size_t width = columns_[place].width; width != 0; --width) {
            Output().Append('-');
        }
    }
    Output().EndLine();
}

void CliTableWriter::Put(std::size_t place, const Shown& shown, std::string_view text) {
    CliOutput& output = Output();
    const Column& column = columns_[place];
    const bool isLast = place + 1 == columns_.size();
    const std::size_t blanks = column.width - std::min(column.width, shown.width);
    output.Append(place == 0 ? "" : kGap);
    if (shown.side == Side::Right) {
        output.AppendBlanks(blanks);
    }
    if (shown.isNull && hasStyle_) {
        output.Append(kDim);
        output.Append(text);
        output.Append(kPlain);
    } else {
        output.Append(text);
    }
    if (shown.side == Side::Left && !isLast) {
        output.AppendBlanks(blanks);
    }
    if (isLast) {
        output.EndLine();
    }
}

void CliTableWriter::Finish(bool /*isWhole*/) {
    if (isSampling_) {
        EndSample();
    }
}

}  // namespace etabulon
