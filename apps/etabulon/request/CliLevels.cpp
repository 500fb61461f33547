#include "apps/etabulon/request/CliLevels.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/values/ETabulonValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

namespace etabulon {
namespace {

ETabulonVariableID IdOf(const CliVariable& variable) { return ETabulonVariableID(variable.code); }

/// Reads hexadecimal digits, the form in which blobs are printed.
bool ReadHex(std::string_view text, std::string& bytes) {
    if (text.size() % 2 != 0) {
        return false;
    }
    for (; !text.empty(); text.remove_prefix(2)) {
        unsigned int byte = 0;
        const auto read = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (read.ec != std::errc() || read.ptr != text.data() + 2) {
            return false;
        }
        bytes += static_cast<char>(byte);
    }
    return true;
}

/// A decimal number without zeros that don't count, so that equal ones compare equal; empty for any
/// other text.
std::string PlainDecimal(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool isDecimal = text.find_first_of("0123456789") != std::string_view::npos &&
                           text.find_first_not_of("0123456789.") == std::string_view::npos &&
                           text.find('.') == text.rfind('.');
    if (!isDecimal) {
        return {};
    }
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    if (text.find('.') != std::string_view::npos) {
        text = text.substr(0, text.find_last_not_of('0') + 1);
        text = text.substr(0, text.find_last_not_of('.') + 1);
    }
    return text.empty() ? "0" : (isNegative ? "-" : "+") + std::string(text);
}

/// The value equals the written text. A nearest number or time of the type doesn't.
bool IsExact(const EVariant& value, std::string_view text) {
    const ETypeInfo& info = TypeInfo(value.Type());
    const std::string plain = PlainDecimal(text);
    if (info.storage == EStorage::Double || info.storage == EStorage::Float) {
        const double number = value.AsDouble();
        if (!plain.empty() && plain.find('.') == plain.npos) {
            return plain == PlainDecimal(fmt::format("{:.0f}", number));
        }
        // NaN is refused: a database stores NULL in its stead.
        return std::isfinite(number) ||
               (std::isinf(number) && text.find_first_of("0123456789") == text.npos);
    }
    const auto isZero = [text](std::size_t from) {
        return text.find_first_of("123456789", from) == std::string_view::npos;
    };
    if (info.storage == EStorage::Time || info.storage == EStorage::Timestamp) {
        constexpr std::size_t kMilliseconds = 3;
        const std::size_t point = text.find('.');
        return point == std::string_view::npos || isZero(point + 1 + kMilliseconds);
    }
    if (info.storage == EStorage::Date) {
        // A time of the day may stand behind a date, which keeps nothing of it.
        const std::size_t hour = text.find(':');
        return hour == std::string_view::npos || isZero(hour - 2);
    }
    if (info.valueClass != EValueClass::Number ||
        (info.storage == EStorage::Bool && (text == "true" || text == "false"))) {
        return true;
    }
    return !plain.empty() && plain == PlainDecimal(value.AsChaine().View());
}

/// The value that a text has in a type; missing if it has none.
EVariant ValueOfType(int type, std::uint16_t size, const std::string& text) {
    const auto code = static_cast<std::uint16_t>(type);
    const ETypeInfo& info = TypeInfo(type);
    if (info.storage == EStorage::Bool && (text == "true" || text == "false")) {
        return EVariant::FromText(code, size, Chaine(text == "true" ? "1" : "0"));
    }
    if (info.storage == EStorage::OwnedBytes && info.valueClass == EValueClass::Bytes) {
        std::string bytes;
        return ReadHex(text, bytes) ? EVariant::FromText(code, size, Chaine(bytes))
                                    : EVariant::Missing(code, size);
    }
    return EVariant::FromText(code, size, Chaine(text));
}

}  // namespace

void CliLevels::Add(CliLevel level) {
    byCode_.emplace(level.data.code.View(), static_cast<unsigned int>(all.size()));
    levels.AddLevel(Chaine(level.shown), IdOf(level.data), IdOf(level.label), nullptr,
                    /*addRef=*/false);
    all.push_back(std::move(level));
}

std::optional<unsigned int> CliLevels::Find(const Chaine& code) const {
    const auto found = byCode_.find(std::string(code.View()));
    return found == byCode_.end() ? std::nullopt : std::optional(found->second);
}

namespace {

/// Why a text isn't read as a value, where that isn't plain.
std::string_view WhatIsWritten(const EVariant& read, std::string_view text) {
    if (text.empty()) {
        return "; NULL is written in capitals";
    }
    const EStorage storage = TypeInfo(read.Type()).storage;
    const bool isTime = storage == EStorage::Time || storage == EStorage::Timestamp;
    return isTime && !read.IsMissing() ? "; seconds have three decimals at most" : "";
}

}  // namespace

CliResult<ETabulonValue> ReadValue(const CliVariable& variable, std::string_view what,
                                   const CliWordChoice& word) {
    if (!word.isQuoted && word.text == "NULL") {
        return ETabulonValue();
    }
    const int type = int{variable.variable->TypeCode()};
    const auto size = static_cast<std::uint16_t>(variable.variable->Size());
    const EVariant data = ValueOfType(type, size, word.text);
    if (data.IsMissing() || !IsExact(data, word.text)) {
        return CliFailure{
            CliExit::Failed,
            fmt::format("{} is no value of {} {}, whose type is {}{}", Quoted(word.text), what,
                        Quoted(variable.shown), TypeName(type), WhatIsWritten(data, word.text))};
    }
    // There is one zero: databases store no other.
    const bool isBelow0 = IsNumber(type) && data.AsDouble() == 0 && word.text.front() == '-';
    return ETabulonValue(isBelow0 ? ValueOfType(type, size, word.text.substr(1)) : data, Chaine(),
                         /*modified=*/false);
}

CliResult<> CliLevels::Add(std::string_view text) {
    const CliResult<std::vector<CliLevelChoice>> choices = ParseLevels(text);
    if (!choices) {
        return choices.Failure();
    }
    for (const CliLevelChoice& choice : *choices) {
        CliResult<CliVariable> data = table_.FindVariable(choice.data);
        if (!data) {
            return data.Failure();
        }
        CliResult<CliVariable> label = choice.label ? table_.FindVariable(*choice.label) : data;
        if (!label) {
            return label.Failure();
        }
        if (Find(data->code)) {
            return CliFailure{CliExit::Usage,
                              fmt::format("level {} is given twice", Quoted(data->shown))};
        }
        const std::string& shown = choice.label ? choice.shown : data->shown;
        Add({shown, *data, std::move(*label)});
    }
    return {};
}

CliResult<unsigned int> CliLevels::FindOrAdd(const CliPath& data, const std::string& shown) {
    const CliResult<CliVariable> variable = table_.FindVariable(data);
    if (!variable) {
        return variable.Failure();
    }
    if (const auto known = Find(variable->code)) {
        return *known;
    }
    const auto id = static_cast<unsigned int>(all.size());
    if (const CliResult<> added = Add(shown); !added) {
        return added.Failure();
    }
    return id;
}

CliResult<> CliLevels::AddPlaces(const std::vector<CliPlaceChoice>& places) {
    for (const CliPlaceChoice& place : places) {
        if (const auto added = FindOrAdd(place.path, place.path.shown); !added) {
            return added.Failure();
        }
    }
    return {};
}

CliResult<ETabulonTag> CliLevels::ReadTag(std::string_view text) const {
    const CliResult<std::vector<CliPlaceChoice>> places = ParsePlaces(text);
    if (!places) {
        return places.Failure();
    }
    std::map<unsigned int, std::vector<ETabulonValue>> values;
    for (const CliPlaceChoice& place : *places) {
        const CliResult<CliVariable> data = table_.FindVariable(place.path);
        if (!data) {
            return data.Failure();
        }
        const auto id = Find(data->code);
        if (!id) {
            return NoSuchLevel(data->shown, "--at");
        }
        const CliVariable& level = all[*id].data;
        const CliResult<ETabulonValue> value =
            ReadValue(level, "level", {place.value, place.isQuoted});
        if (!value) {
            return value.Failure();
        }
        values[*id].push_back(*value);
    }
    ETabulonTag tag;
    for (const auto& [id, ofLevel] : values) {
        if (ofLevel.size() == 1) {
            tag.SetValue(id, ofLevel[0]);
        }
    }
    return tag;
}

CliResult<std::set<unsigned int>> CliLevels::FindAll(std::string_view text,
                                                     std::string_view option) const {
    const CliResult<std::vector<CliLevelChoice>> choices = ParseLevels(text);
    if (!choices) {
        return choices.Failure();
    }
    std::set<unsigned int> found;
    for (const CliLevelChoice& choice : *choices) {
        const CliResult<CliVariable> data = table_.FindVariable(choice.data);
        if (!data) {
            return data.Failure();
        }
        const CliResult<CliVariable> label =
            choice.label ? table_.FindVariable(*choice.label) : data;
        if (!label) {
            return label.Failure();
        }
        const auto id = Find(data->code);
        const bool isLevel = id && (!choice.label || all[*id].label.code == label->code);
        if (!isLevel) {
            return NoSuchLevel(choice.shown, option);
        }
        found.insert(*id);
    }
    return found;
}

CliFailure CliLevels::NoSuchLevel(const std::string& shown, std::string_view option) const {
    std::vector<std::string> names;
    for (const CliLevel& level : all) {
        names.push_back(level.data.written);
    }
    return {CliExit::Usage, fmt::format("{} in {} isn't one of the levels{}", Quoted(shown), option,
                                        WhatThereIs(shown, names))};
}

bool IsNumber(int type) {
    const ETypeInfo& info = TypeInfo(type);
    return info.valueClass == EValueClass::Number && info.storage != EStorage::Bool;
}

std::string TypeName(int type) {
    const ETypeInfo& info = TypeInfo(type);
    switch (info.storage) {
        case EStorage::Bool:
            return "boolean";
        case EStorage::Double:
        case EStorage::Float:
            return "real";
        case EStorage::Scaled32:
        case EStorage::Scaled64:
            return fmt::format("decimal({})", info.scale);
        case EStorage::Date:
            return "date";
        case EStorage::Time:
            return "time";
        case EStorage::Timestamp:
            return "timestamp";
        default:
            break;
    }
    switch (info.valueClass) {
        case EValueClass::Number:
            return "integer";
        case EValueClass::Text:
            return "text";
        default:
            return "bytes";
    }
}

}  // namespace etabulon
