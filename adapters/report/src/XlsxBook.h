#pragma once

#include "etabulon/report/EReportWriter.h"

#include <xlsxwriter.h>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

namespace etabulon::detail {

/// How a cell looks. Each look that is used becomes one format of the book.
struct XlsxLook {
    enum Pattern : std::uint8_t {
        Plain = 0,
        Head = 1,
        NumberHead = 2,
        Whole = 3,     // 1,234
        Real = 4,      // 1,234.50
        Small = 5,     // 0.0123
        Tiny = 6,      // 1.23E-05
        Date = 7,      // 2001-02-09
        Time = 8,      // 12:30:00
        FineTime = 9,  // 12:30:00.500
        Moment = 10,   // 2001-02-09 12:30:00
        FineMoment = 11,
        Differing = 12,
    };
    Pattern pattern = Plain;
    bool isTotal = false;
    std::uint8_t indent = 0;

    friend bool operator==(const XlsxLook&, const XlsxLook&) = default;
    friend bool operator<(const XlsxLook& a, const XlsxLook& b) noexcept {
        return std::tie(a.pattern, a.isTotal, a.indent) < std::tie(b.pattern, b.isTotal, b.indent);
    }
};

/// A book of one sheet, in files of the temporary folder.
///
/// Failure    Open and Deliver return the reason, empty where there is none.
class XlsxBook {
public:
    XlsxBook() = default;
    XlsxBook(const XlsxBook&) = delete;
    XlsxBook& operator=(const XlsxBook&) = delete;
    ~XlsxBook();

    [[nodiscard]] std::string Open(const std::string& folder, const std::string& title);
    /// Not owned. Requires that Open succeeded.
    [[nodiscard]] lxw_worksheet* Sheet() const noexcept { return sheet_; }
    /// Null for a plain look. Not owned.
    [[nodiscard]] lxw_format* Format(const XlsxLook& look);
    /// Ends the book and gives its bytes to the sink.
    [[nodiscard]] std::string Deliver(EReportSink& sink);

private:
    [[nodiscard]] lxw_format* MakeFormat(const XlsxLook& look);
    [[nodiscard]] std::string Close();

    std::string folder_;
    std::string hidden_;  // the name of the file, where it has one
    int descriptor_ = -1;
    lxw_workbook* book_ = nullptr;  // owned; workbook_close frees it
    lxw_worksheet* sheet_ = nullptr;
    std::map<XlsxLook, lxw_format*> formats_;
};

}  // namespace etabulon::detail
