#include "apps/etabulon/output/CliTableWriter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "etabulon/report/EReportWidth.h"

#include <algorithm>

namespace etabulon {
namespace {

constexpr std::size_t kSampleRecords = 1000;
constexpr std::size_t kSampleBytes = std::size_t{1} << 20U;
/// The widest that a cell makes its column; a wider one shifts its line instead of all others.
constexpr std::size_t kWidest = 500;
/// A column with longer texts isn't made narrower than this.
constexpr std::size_t kNarrowest = 8;
constexpr std::string_view kCut = "\xE2\x80\xA6";  // …
constexpr std::string_view kIsolate = "\xE2\x81\xA8";
constexpr std::string_view kIsolateEnd = "\xE2\x81\xA9";
constexpr std::string_view kGap = "  ";
constexpr std::string_view kDim = "\x1B[2m";
constexpr std::string_view kPlain = "\x1B[0m";

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
        added.width = std::min(added.nameWidth, kWidest);
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
            shown.isWhole = cell.form != EReportForm::None;
            return shown;
        case CliCellKind::Bytes:
            shown.isWhole = false;
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
        const std::size_t width = std::min(shown.width, kWidest);
        column.width = std::max(column.width, width);
        column.wholeWidth = std::max(column.wholeWidth, shown.isWhole ? width : 0);
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
    FitColumns();
    PutHeader();
    std::string_view rest = text_;
    for (std::size_t index = 0; index < sample_.size(); ++index) {
        const Shown& shown = sample_[index];
        Put(index % columns_.size(), shown, rest.substr(0, shown.length));
        rest.remove_prefix(shown.length);
    }
    sample_ = {};
}

/// The width of a line whose columns of texts are at most `level` wide.
std::size_t CliTableWriter::LineWidth(std::size_t level) const noexcept {
    std::size_t width = 0;
    for (const Column& column : columns_) {
        width += std::max(column.wholeWidth, std::min(column.width, level)) + kGap.size();
    }
    return width - std::min(width, kGap.size());
}

void CliTableWriter::FitColumns() {
    if (!screen_.isTerminal) {
        return;
    }
    std::size_t level = kWidest;
    while (level > kNarrowest && LineWidth(level) > screen_.columns) {
        --level;
    }
    const std::size_t width = LineWidth(level);
    if (width > screen_.columns) {
        return;
    }
    cuts_ = true;
    // If texts are cut, a text that isn't measured yet has no more room than those.
    free_ = level == kWidest ? screen_.columns - width : 0;
    for (Column& column : columns_) {
        column.width = std::max(column.wholeWidth, std::min(column.width, level));
    }
}

void CliTableWriter::PutHeader() {
    for (std::size_t place = 0; place < columns_.size(); ++place) {
        const Column& column = columns_[place];
        Put(place, {column.name.size(), column.nameWidth, column.side, false, false}, column.name);
    }
    for (std::size_t place = 0; place < columns_.size(); ++place) {
        Output().Append(place == 0 ? "" : kGap);
        for (std::size_t width = columns_[place].width; width != 0; --width) {
            Output().Append('-');
        }
    }
    Output().EndLine();
}

void CliTableWriter::Put(std::size_t place, Shown shown, std::string_view text) {
    CliOutput& output = Output();
    const Column& column = columns_[place];
    const bool isLast = place + 1 == columns_.size();
    freeOfLine_ = place == 0 ? free_ : freeOfLine_;
    const std::size_t room = std::max<std::size_t>(column.width + freeOfLine_, 1);
    const bool isCut = cuts_ && !shown.isWhole && shown.width > room;
    if (isCut) {
        const EReportCluster front = FrontOfWidth(text, room - 1);
        text = text.substr(0, front.length);
        shown.width = front.width + 1;
    }
    const std::size_t blanks = column.width - std::min(column.width, shown.width);
    const std::size_t over = shown.width - std::min(column.width, shown.width);
    freeOfLine_ -= std::min(freeOfLine_, over);
    output.Append(place == 0 ? "" : kGap);
    if (shown.side == Side::Right) {
        output.AppendBlanks(blanks);
    }
    PutText(shown, text, isCut);
    if (shown.side == Side::Left && !isLast) {
        output.AppendBlanks(blanks);
    }
    if (isLast) {
        output.EndLine();
    }
}

void CliTableWriter::PutText(const Shown& shown, std::string_view text, bool isCut) {
    CliOutput& output = Output();
    const bool isDim = shown.isNull && screen_.hasStyle;
    const bool isIsolated = screen_.isTerminal && HasRightToLeft(text);
    output.Append(isDim ? kDim : "");
    // The blanks at its front are a node's indent, which stays on the left.
    const std::size_t indent = isIsolated ? std::min(text.find_first_not_of(' '), text.size()) : 0;
    output.Append(text.substr(0, indent));
    output.Append(isIsolated ? kIsolate : "");
    output.Append(text.substr(indent));
    output.Append(isCut ? kCut : "");
    output.Append(isIsolated ? kIsolateEnd : "");
    output.Append(isDim ? kPlain : "");
}

void CliTableWriter::Finish(bool /*isWhole*/) {
    if (isSampling_) {
        EndSample();
    }
}

}  // namespace etabulon
