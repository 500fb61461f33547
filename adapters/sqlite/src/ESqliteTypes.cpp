#include "ESqliteSchema.h"
#include "etabulon/foundation/EDataType.h"

#include <cstdlib>
#include <string>

namespace etabulon {

namespace {

constexpr int kWholeDigits = 18;  // every number of so many digits fits 64 bits

std::string Capitals(std::string_view text) {
    std::string capitals(text);
    for (char& c : capitals) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return capitals;
}

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool Holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// NUMERIC(precision, scale): the smallest type that holds every such number.
int ScaledType(std::string_view declared) {
    const std::size_t open = declared.find('(');
    if (open == std::string_view::npos) {
        return TYPE_DOUBLE;
    }
    const std::string arguments(declared.substr(open + 1));
    char* rest = nullptr;
    const long precision = std::strtol(arguments.c_str(), &rest, 10);
    while (*rest == ' ') {
        ++rest;
    }
    const long scale = *rest == ',' ? std::strtol(rest + 1, nullptr, 10) : 0;
    if (precision < 1 || scale < 0) {
        return TYPE_DOUBLE;
    }
    if (scale == 0) {
        return precision <= kWholeDigits ? TYPE_INT64 : TYPE_DOUBLE;
    }
    if (scale <= 2 && precision - scale + 2 <= kWholeDigits) {
        return TYPE_DECIMAL64;
    }
    return scale <= 4 && precision - scale + 4 <= kWholeDigits ? TYPE_CURRENCY : TYPE_DOUBLE;
}

}  // namespace

SqliteAffinity SqliteAffinityOf(std::string_view declaredType) {
    // SQLite's rules of affinity, in SQLite's order.
    const std::string declared = Capitals(declaredType);
    if (Holds(declared, "INT")) {
        return SqliteAffinity::Integer;
    }
    if (Holds(declared, "CHAR") || Holds(declared, "CLOB") || Holds(declared, "TEXT")) {
        return SqliteAffinity::Text;
    }
    if (Holds(declared, "BLOB")) {
        return SqliteAffinity::Blob;
    }
    if (declared.empty()) {
        return SqliteAffinity::None;
    }
    if (Holds(declared, "REAL") || Holds(declared, "FLOA") || Holds(declared, "DOUB")) {
        return SqliteAffinity::Real;
    }
    return SqliteAffinity::Numeric;
}

int SqliteColumnType(std::string_view declaredType) {
    const std::string declared = Capitals(declaredType);
    if (StartsWith(declared, "BOOL")) {
        return TYPE_BOOL;
    }
    if (StartsWith(declared, "TIMESTAMP") || StartsWith(declared, "DATETIME")) {
        return TYPE_TIMESTAMP;
    }
    if (declared == "DATE") {
        return TYPE_DATE;
    }
    if (StartsWith(declared, "TIME")) {
        return TYPE_TIME;
    }
    if (StartsWith(declared, "NUMERIC") || StartsWith(declared, "DEC") ||
        StartsWith(declared, "NUMBER")) {
        return ScaledType(declared);
    }
    switch (SqliteAffinityOf(declared)) {
        case SqliteAffinity::Integer:
            return TYPE_INT64;
        case SqliteAffinity::Blob:
            return TYPE_BLOB;
        case SqliteAffinity::Text:
        case SqliteAffinity::None:
            return TYPE_CHAINE;
        default:
            return TYPE_DOUBLE;
    }
}

}  // namespace etabulon
