#include "XlsxBook.h"

#include "TemporaryFile.h"
#include "XlsxText.h"
#include "ZipEntry.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace etabulon::detail {
namespace {

constexpr std::size_t kMostNameUnits = 31;  // of a sheet's name

std::string FolderOr(const std::string& folder) {
    if (!folder.empty()) {
        return folder;
    }
    const char* const named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/tmp";
}

std::string FileTrouble(int error) {
    return "the spreadsheet's temporary file failed: " + std::generic_category().message(error);
}

/// A title as a sheet may be called: without []:*?/\ and apostrophes at its ends, and short.
std::string SheetName(const std::string& title) {
    constexpr std::string_view kRefused = "[]:*?/\\\n\r\t";
    std::string name;
    std::size_t units = 0;
    for (std::size_t at = 0; at < title.size(); ++at) {
        const auto byte = static_cast<unsigned char>(title[at]);
        const bool isContinued = (byte & 0xC0U) == 0x80U;
        units += isContinued ? 0 : byte >= 0xF0U ? 2 : 1;
        if (units > kMostNameUnits) {
            break;
        }
        name += byte < ' ' || kRefused.find(title[at]) != std::string_view::npos ? ' ' : title[at];
    }
    const std::size_t first = name.find_first_not_of("' ");
    const std::size_t last = name.find_last_not_of("' ");
    return first == std::string::npos ? std::string() : name.substr(first, last - first + 1);
}

}  // namespace

XlsxBook::~XlsxBook() {
    if (book_ != nullptr) {
        static_cast<void>(Close());
    }
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    if (!hidden_.empty()) {
        ::unlink(hidden_.c_str());
    }
}

std::string XlsxBook::Open(const std::string& folder, const std::string& title) {
    folder_ = FolderOr(folder);
    descriptor_ = OpenTemporary(folder_, hidden_);
    if (descriptor_ < 0) {
        return FileTrouble(errno);
    }
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.tmpdir = folder_.data();
    options.use_zip64 = LXW_FALSE;
    const std::string path = hidden_.empty() ? PathOf(descriptor_) : hidden_;
    book_ = workbook_new_opt(path.c_str(), &options);
    if (book_ == nullptr) {
        return "there isn't enough memory for a spreadsheet";
    }
    std::string shown;
    AppendXlsxText(shown, title);
    std::string name = SheetName(shown);
    if (name.empty() || workbook_validate_sheet_name(book_, name.c_str()) != LXW_NO_ERROR) {
        name = "Sheet1";
    }
    sheet_ = workbook_add_worksheet(book_, name.c_str());
    if (sheet_ == nullptr || sheet_->optimize_tmpfile == nullptr) {
        return FileTrouble(errno);
    }
    if (!title.empty()) {
        lxw_doc_properties properties{};
        properties.title = shown.data();
        workbook_set_properties(book_, &properties);
    }
    return {};
}

lxw_format* XlsxBook::Format(const XlsxLook& look) {
    if (look == XlsxLook()) {
        return nullptr;
    }
    lxw_format*& format = formats_[look];
    if (format == nullptr) {
        format = MakeFormat(look);
    }
    return format;
}

lxw_format* XlsxBook::MakeFormat(const XlsxLook& look) {
    static constexpr std::array kNumbers = {"",
                                            "",
                                            "",
                                            "#,##0",
                                            "#,##0.00",
                                            "0.0000",
                                            "0.00E+00",
                                            "yyyy\\-mm\\-dd",
                                            "hh:mm:ss",
                                            "hh:mm:ss.000",
                                            "yyyy\\-mm\\-dd hh:mm:ss",
                                            "yyyy\\-mm\\-dd hh:mm:ss.000",
                                            ""};
    lxw_format* const format = workbook_add_format(book_);
    if (const char* const number = kNumbers[look.pattern]; *number != '\0') {
        format_set_num_format(format, number);
    }
    if (look.pattern == XlsxLook::Head || look.pattern == XlsxLook::NumberHead) {
        format_set_bold(format);
        format_set_bottom(format, LXW_BORDER_THIN);
        format_set_align(format, LXW_ALIGN_VERTICAL_BOTTOM);
        format_set_text_wrap(format);
        if (look.pattern == XlsxLook::NumberHead) {
            format_set_align(format, LXW_ALIGN_RIGHT);
        }
    }
    if (look.pattern == XlsxLook::Differing) {
        format_set_align(format, LXW_ALIGN_RIGHT);
        format_set_italic(format);
    }
    if (look.isTotal) {
        format_set_bold(format);
        format_set_top(format, LXW_BORDER_THIN);
    }
    if (look.indent != 0) {
        format_set_indent(format, look.indent);
    }
    return format;
}

std::string XlsxBook::Close() {
    errno = 0;
    const lxw_error error = workbook_close(book_);
    const int cause = errno;
    book_ = nullptr;
    sheet_ = nullptr;
    if (error == LXW_NO_ERROR) {
        return {};
    }
    return cause != 0 ? FileTrouble(cause) : lxw_strerror(error);
}

std::string XlsxBook::Deliver(EReportSink& sink) {
    // The library doesn't look at what its writes to temporary files return.
    FILE* const rows = sheet_->optimize_tmpfile;
    if (std::fflush(rows) != 0 || std::ferror(rows) != 0) {
        return FileTrouble(errno);
    }
    constexpr std::int64_t kMostBytes = std::int64_t{4} * 1000 * 1000 * 1000;  // of a zip's entry
    const std::int64_t least = ftello(rows);
    if (least > kMostBytes) {
        return "the sheet would have more than 4 GB; a spreadsheet can't hold that";
    }
    if (std::string trouble = Close(); !trouble.empty()) {
        return trouble;
    }
    const std::optional<std::uint32_t> size = ZipEntrySize(descriptor_, "xl/worksheets/sheet1.xml");
    if (!size || *size < least) {
        return "the spreadsheet's temporary file lost bytes: its disk may be full";
    }
    std::array<char, std::size_t{1} << 16U> bytes{};
    for (off_t at = 0;;) {
        const ssize_t count = ::pread(descriptor_, bytes.data(), bytes.size(), at);
        if (count < 0) {
            return FileTrouble(errno);
        }
        if (count == 0) {
            return {};
        }
        sink.Append({bytes.data(), static_cast<std::size_t>(count)});
        at += count;
    }
}

}  // namespace etabulon::detail
