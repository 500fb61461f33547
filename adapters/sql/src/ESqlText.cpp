#include "etabulon/sql/ESqlText.h"

namespace etabulon {

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

bool StaysInCode(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_';
}

int HexDigit(char c) noexcept {
    if (IsDigit(c)) {
        return c - '0';
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

void AppendEscaped(std::string& code, char c) {
    const auto byte = static_cast<unsigned char>(c);
    code.push_back('%');
    code.push_back(kHex[byte >> 4]);
    code.push_back(kHex[byte & 15]);
}

}  // namespace

Chaine SqlCode(std::string_view name) {
    if (name.empty()) {
        return Chaine("%00");  // unambiguous: no name contains a NUL
    }
    std::string code;
    code.reserve(name.size());
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (StaysInCode(name[i]) && (i > 0 || !IsDigit(name[i]))) {
            code.push_back(name[i]);
        } else {
            AppendEscaped(code, name[i]);
        }
    }
    return Chaine(std::string_view(code));
}

bool SqlNameOfCode(const Chaine& code, std::string& name) {
    const std::string_view text = code.View();
    name.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (StaysInCode(text[i])) {
            name.push_back(text[i]);
            continue;
        }
        const int high = text[i] == '%' && i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
        if (low < 0) {
            return false;
        }
        name.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    if (name == std::string(1, '\0')) {
        name.clear();
    }
    return SqlCode(name) == code;
}

bool SqlQuote(std::string& statement, std::string_view name) {
    if (name.find('\0') != std::string_view::npos) {
        return false;
    }
    statement.push_back('"');
    for (const char c : name) {
        if (c == '"') {
            statement.push_back('"');
        }
        statement.push_back(c);
    }
    statement.push_back('"');
    return true;
}

}  // namespace etabulon
