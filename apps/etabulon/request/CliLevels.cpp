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

namespace etabulon {
namespace {

ETabulonVariableID IdOf(const CliVariable& variable) { return ETabulonVariableID(variable.code); }

bool NoSuchLevel(const CliLevels& levels, const std::string& shown, std::string_view option,
                 CliFailure& failure) {
    std::vector<std::string> names;
    for (const CliLevel& level : levels.all) {
        names.push_back(level.data.written);
    }
    return failure.Set(CliExit::Usage,
                       fmt::format("{} in {} isn't one of the levels{}", Quoted(shown), option,
                                   WhatThereIs(shown, names)));
}

/// Hexadecimal digits, as blobs are printed.
bool ReadHex(std::string_view text, std::string& bytes) {
    if (text.size() % 2 != 0) {
        return false;
    }
    for (; !text.empty(); text.remove_prefix(2)) {
        unsigned byte = 0;
        const auto read = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (read.ec != std::errc() || read.ptr != text.data() + 2) {
            return false;
        }
        bytes += static_cast<char>(byte);
    }
    return true;
}

/// Sign, digits, point and digits without what doesn't count; empty for any other text.
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

/// The value is what was written: not the nearest number or time that its type has.
bool IsExact(const EVariant& value, std::string_view text) {
    const ETypeInfo& info = TypeInfo(value.Type());
    const std::string plain = PlainDecimal(text);
    if (info.storage == EStorage::Double || info.storage == EStorage::Float) {
        const double number = value.AsDouble();
        if (!plain.empty() && plain.find('.') == plain.npos) {
            return plain == PlainDecimal(fmt::format("{:.0f}", number));
        }
        // NaN is none: a database keeps NULL for it.
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

/// Missing where the text is none of the type's values.
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

bool ReadValue(const CliVariable& variable, std::string_view what, const CliWordChoice& word,
               ETabulonValue& value, CliFailure& failure) {
    if (!word.isQuoted && word.text == "NULL") {
        return true;
    }
    const int type = variable.variable->TypeCode();
    const EVariant data =
        ValueOfType(type, static_cast<std::uint16_t>(variable.variable->Size()), word.text);
    if (data.IsMissing() || !IsExact(data, word.text)) {
        return failure.Set(
            CliExit::Failed,
            fmt::format("{} is no value of {} {}, whose type is {}{}", Quoted(word.text), what,
                        Quoted(variable.shown), TypeName(type),
                        word.text.empty() ? "; NULL is written in capitals" : ""));
    }
    value = ETabulonValue(data, Chaine(), false);
    return true;
}

bool MakeLevels(const CliDictionary& dictionary, const ESqlTableInfo& table, std::string_view text,
                CliLevels& levels, CliFailure& failure) {
    std::vector<CliLevelChoice> choices;
    if (!ParseLevels(text, choices, failure)) {
        return false;
    }
    for (const CliLevelChoice& choice : choices) {
        CliLevel level;
        if (!dictionary.FindVariable(table, choice.data, level.data, failure)) {
            return false;
        }
        level.label = level.data;
        if (choice.label && !dictionary.FindVariable(table, *choice.label, level.label, failure)) {
            return false;
        }
        level.shown = choice.label ? choice.shown : level.data.shown;
        if (levels.Find(level.data.code)) {
            return failure.Set(CliExit::Usage,
                               fmt::format("level {} is given twice", Quoted(level.data.shown)));
        }
        levels.Add(std::move(level));
    }
    return true;
}

bool FindOrAddLevel(const CliDictionary& dictionary, const ESqlTableInfo& table,
                    const CliPath& data, const std::string& shown, CliLevels& levels,
                    unsigned int& id, CliFailure& failure) {
    CliVariable variable;
    if (!dictionary.FindVariable(table, data, variable, failure)) {
        return false;
    }
    if (const auto known = levels.Find(variable.code)) {
        id = *known;
        return true;
    }
    id = static_cast<unsigned int>(levels.all.size());
    return MakeLevels(dictionary, table, shown, levels, failure);
}

bool MakeTag(const CliDictionary& dictionary, const ESqlTableInfo& table, const CliLevels& levels,
             std::string_view text, ETabulonTag& tag, CliFailure& failure) {
    std::vector<CliPlaceChoice> places;
    if (!ParsePlaces(text, places, failure)) {
        return false;
    }
    for (const CliPlaceChoice& place : places) {
        CliVariable data;
        if (!dictionary.FindVariable(table, place.path, data, failure)) {
            return false;
        }
        const auto id = levels.Find(data.code);
        if (!id) {
            return NoSuchLevel(levels, data.shown, "--at", failure);
        }
        const CliVariable& level = levels.all[*id].data;
        if (tag.HasValue(*id)) {
            return failure.Set(CliExit::Usage, fmt::format("--at has two values for level {}",
                                                           Quoted(level.shown)));
        }
        ETabulonValue value;
        if (!ReadValue(level, "level", {place.value, place.isQuoted}, value, failure)) {
            return false;
        }
        tag.SetValue(*id, value);
    }
    return true;
}

bool FindLevels(const CliDictionary& dictionary, const ESqlTableInfo& table,
                const CliLevels& levels, std::string_view text, std::string_view option,
                std::set<unsigned int>& found, CliFailure& failure) {
    std::vector<CliLevelChoice> choices;
    if (!ParseLevels(text, choices, failure)) {
        return false;
    }
    for (const CliLevelChoice& choice : choices) {
        CliVariable data;
        if (!dictionary.FindVariable(table, choice.data, data, failure)) {
            return false;
        }
        CliVariable label = data;
        if (choice.label && !dictionary.FindVariable(table, *choice.label, label, failure)) {
            return false;
        }
        const auto id = levels.Find(data.code);
        const bool isLevel = id && (!choice.label || levels.all[*id].label.code == label.code);
        if (!isLevel) {
            return NoSuchLevel(levels, choice.shown, option, failure);
        }
        found.insert(*id);
    }
    return true;
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
