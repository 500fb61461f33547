#include "etabulon/report/EReportXlsx.h"

#include "XlsxBook.h"
#include "XlsxText.h"
#include "etabulon/report/EReportWidth.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

using detail::XlsxLook;

constexpr std::uint32_t kMostRows = 1'048'576;
constexpr std::size_t kMostColumns = 16'384;
constexpr std::size_t kMostUnits = 32'767;  // of a text
constexpr std::uint32_t kMostDepth = 7;
constexpr std::uint32_t kMostIndent = 15;
constexpr double kMostWidth = 60;  // of a column, in digits
constexpr double kLeastWidth = 6;

XlsxLook::Pattern NumberPattern(const EReportColumn& column, double number, EReportForm form) {
    if (!column.isResult) {
        return XlsxLook::Plain;  // a key isn't grouped
    }
    if (form == EReportForm::Whole) {
        return XlsxLook::Whole;
    }
    constexpr double kSmall = 0.1;
    constexpr double kTiny = 0.001;
    const double size = std::abs(number);
    return size >= kSmall || size == 0 ? XlsxLook::Real
           : size >= kTiny             ? XlsxLook::Small
                                       : XlsxLook::Tiny;
}

XlsxLook::Pattern MomentPattern(std::string_view text, EReportForm form) {
    const bool isFine = text.find('.') != std::string_view::npos;
    switch (form) {
        case EReportForm::Date:
            return XlsxLook::Date;
        case EReportForm::Time:
            return isFine ? XlsxLook::FineTime : XlsxLook::Time;
        default:
            return isFine ? XlsxLook::FineMoment : XlsxLook::Moment;
    }
}

bool IsMoment(EReportForm form) noexcept { return form >= EReportForm::Date; }

}  // namespace

class EReportXlsxWriter::Sheet {
public:
    Sheet(EReportSink& sink, std::span<const EReportColumn> columns)
        : sink_(sink), columns_(columns.begin(), columns.end()) {
        widths_.resize(columns_.size(), kLeastWidth);
    }
    [[nodiscard]] bool Open(const std::string& folder, const std::string& title);
    void SetDepth(std::uint32_t depth);
    void BeginTotal() { isTotal_ = true; }
    void Put(const EReportCell& cell);
    void EndRecord();
    void Deliver();

private:
    void PutHeads();
    void PutText(std::string_view text, XlsxLook look);
    void PutNumber(const EReportCell& cell, XlsxLook look);
    void PutMoment(const EReportCell& cell, XlsxLook look);
    void PutBlank(XlsxLook look);
    [[nodiscard]] bool HasRoom();
    void Widen(double width) { widths_[place_] = std::max(widths_[place_], width); }

    EReportSink& sink_;
    std::vector<EReportColumn> columns_;
    std::vector<double> widths_;
    detail::XlsxBook book_;
    lxw_row_t row_ = 0;
    lxw_col_t place_ = 0;  // of the next cell
    std::uint32_t depth_ = 0;
    bool isTotal_ = false;
    bool isOutline_ = false;
    std::uint64_t largeNumbers_ = 0;  // written as texts
    std::string text_;
};

bool EReportXlsxWriter::Sheet::Open(const std::string& folder, const std::string& title) {
    if (columns_.size() > kMostColumns) {
        sink_.Fail("a spreadsheet has at most 16,384 columns, not " +
                   std::to_string(columns_.size()));
        return false;
    }
    if (const std::string trouble = book_.Open(folder, title); !trouble.empty()) {
        sink_.Fail(trouble);
        return false;
    }
    PutHeads();
    return true;
}

void EReportXlsxWriter::Sheet::PutHeads() {
    for (const EReportColumn& column : columns_) {
        PutText(column.name, {column.isNumber ? XlsxLook::NumberHead : XlsxLook::Head});
        ++place_;
    }
    place_ = 0;
    row_ = 1;
}

void EReportXlsxWriter::Sheet::SetDepth(std::uint32_t depth) {
    depth_ = std::min(depth, kMostDepth);
    isOutline_ = isOutline_ || depth != 0;
}

bool EReportXlsxWriter::Sheet::HasRoom() {
    if (row_ < kMostRows) {
        return true;
    }
    sink_.Fail("a spreadsheet has at most 1,048,576 rows, the heads among them");
    return false;
}

void EReportXlsxWriter::Sheet::Put(const EReportCell& cell) {
    if (sink_.IsBroken() || !HasRoom()) {
        return;
    }
    if (place_ == 0 && depth_ != 0) {
        lxw_row_col_options options{};
        options.level = static_cast<std::uint8_t>(depth_);
        worksheet_set_row_opt(book_.Sheet(), row_, LXW_DEF_ROW_HEIGHT, nullptr, &options);
    }
    XlsxLook look;
    look.isTotal = isTotal_;
    look.indent = static_cast<std::uint8_t>(std::min(cell.indent, kMostIndent));
    switch (cell.kind) {
        case EReportKind::Null:
        case EReportKind::Absent:
            PutBlank(look);
            break;
        case EReportKind::Number:
            PutNumber(cell, look);
            break;
        case EReportKind::Boolean:
            worksheet_write_boolean(book_.Sheet(), row_, place_, cell.text == "true" ? 1 : 0,
                                    book_.Format(look));
            break;
        case EReportKind::Bytes:
            text_.clear();
            AppendHex(text_, cell.text);
            PutText(std::string(text_), look);
            break;
        case EReportKind::Differing:
            look.pattern = XlsxLook::Differing;
            PutText(kDiffering, look);
            break;
        default:
            IsMoment(cell.form) ? PutMoment(cell, look) : PutText(cell.text, look);
            break;
    }
    ++place_;
}

void EReportXlsxWriter::Sheet::PutBlank(XlsxLook look) {
    if (look.isTotal) {  // the line above a total goes through
        worksheet_write_blank(book_.Sheet(), row_, place_, book_.Format(look));
    }
}

void EReportXlsxWriter::Sheet::PutText(std::string_view text, XlsxLook look) {
    text_.clear();
    const std::size_t units = detail::AppendXlsxText(text_, text);
    if (units > kMostUnits) {
        sink_.Fail("a spreadsheet's cell has at most 32,767 characters; the text of column '" +
                   columns_[place_].name + "' in row " + std::to_string(row_ + 1) + " has " +
                   std::to_string(units));
        return;
    }
    if (text_.empty()) {
        worksheet_write_formula_str(book_.Sheet(), row_, place_, "=\"\"", book_.Format(look), "");
        return;
    }
    worksheet_write_string(book_.Sheet(), row_, place_, text_.c_str(), book_.Format(look));
    Widen(static_cast<double>(ReportWidth(text_) + look.indent));
}

void EReportXlsxWriter::Sheet::PutNumber(const EReportCell& cell, XlsxLook look) {
    const std::optional<double> number = detail::XlsxNumber(cell.text, cell.form);
    if (!number) {
        ++largeNumbers_;
        PutText(cell.text, look);
        return;
    }
    look.pattern = NumberPattern(columns_[place_], *number, cell.form);
    worksheet_write_number(book_.Sheet(), row_, place_, *number, book_.Format(look));
    constexpr std::size_t kGroup = 3;  // digits between two separators
    constexpr double kDecimals = 3;    // with their point
    const std::size_t digits = std::min(cell.text.find('.'), cell.text.size());
    const std::size_t separators = digits / kGroup;
    const auto grouped = static_cast<double>(digits + separators);
    Widen(look.pattern == XlsxLook::Plain   ? static_cast<double>(cell.text.size())
          : look.pattern == XlsxLook::Whole ? grouped
                                            : grouped + kDecimals);
}

void EReportXlsxWriter::Sheet::PutMoment(const EReportCell& cell, XlsxLook look) {
    const std::optional<double> moment = detail::XlsxMoment(cell.text, cell.form);
    if (!moment) {
        PutText(cell.text, look);
        return;
    }
    look.pattern = MomentPattern(cell.text, cell.form);
    worksheet_write_number(book_.Sheet(), row_, place_, *moment, book_.Format(look));
    Widen(static_cast<double>(cell.text.size()));
}

void EReportXlsxWriter::Sheet::EndRecord() {
    ++row_;
    place_ = 0;
    depth_ = 0;
    isTotal_ = false;
}

void EReportXlsxWriter::Sheet::Deliver() {
    if (sink_.IsBroken()) {
        return;
    }
    lxw_worksheet* const sheet = book_.Sheet();
    constexpr double kMargin = 2;
    for (std::size_t place = 0; place < widths_.size(); ++place) {
        const auto column = static_cast<lxw_col_t>(place);
        worksheet_set_column(sheet, column, column, std::min(widths_[place], kMostWidth) + kMargin,
                             nullptr);
    }
    const auto labels = std::find_if(columns_.begin(), columns_.end(),
                                     [](const EReportColumn& column) { return !column.isLabel; });
    worksheet_freeze_panes(sheet, 1, static_cast<lxw_col_t>(labels - columns_.begin()));
    if (isOutline_) {
        worksheet_outline_settings(sheet, LXW_TRUE, /*symbols_below=*/LXW_FALSE, LXW_TRUE,
                                   LXW_FALSE);
    }
    worksheet_repeat_rows(sheet, 0, 0);
    worksheet_set_landscape(sheet);
    worksheet_fit_to_pages(sheet, 1, 0);
    if (const std::string trouble = book_.Deliver(sink_); !trouble.empty()) {
        sink_.Fail(trouble);
        return;
    }
    if (largeNumbers_ != 0) {
        sink_.Note(std::to_string(largeNumbers_) +
                   (largeNumbers_ == 1 ? " number is" : " numbers are") +
                   " written as text: a spreadsheet's own can't tell all of their digits");
    }
}

EReportXlsxWriter::EReportXlsxWriter(EReportSink& sink, std::string temporaryFolder)
    : sink_(sink), folder_(std::move(temporaryFolder)) {}

EReportXlsxWriter::~EReportXlsxWriter() = default;

void EReportXlsxWriter::SetTitle(std::string_view title) { title_ = title; }

void EReportXlsxWriter::Begin(std::span<const EReportColumn> columns) {
    sheet_ = std::make_unique<Sheet>(sink_, columns);
    if (!sheet_->Open(folder_, title_)) {
        sheet_.reset();
    }
}

void EReportXlsxWriter::Cell(const EReportCell& cell) {
    if (sheet_) {
        sheet_->Put(cell);
    }
}

void EReportXlsxWriter::SetDepth(std::uint32_t depth) {
    if (sheet_) {
        sheet_->SetDepth(depth);
    }
}

void EReportXlsxWriter::BeginTotal() {
    if (sheet_) {
        sheet_->BeginTotal();
    }
}

void EReportXlsxWriter::EndRecord() {
    if (sheet_) {
        sheet_->EndRecord();
    }
}

void EReportXlsxWriter::Finish(bool isWhole) {
    if (sheet_ && isWhole) {
        sheet_->Deliver();
    }
    sheet_.reset();
}

}  // namespace etabulon
