#include "apps/etabulon/request/CliViewFile.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFiles.h"
#include "apps/etabulon/request/CliSource.h"
#include "etabulon/report/EReportJson.h"

#include <fmt/format.h>
#include <simdjson.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace etabulon {
namespace {

namespace json = simdjson::ondemand;

constexpr std::string_view kVersionKey = "version";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Reads the JSON of a view.
class ViewReader {
public:
    ViewReader(const std::string& path, std::string_view text)
        : path_(path), text_(text), begin_(text_.data()) {}

    [[nodiscard]] CliResult<CliViewFile> Read();

private:
    using Take = CliResult<> (ViewReader::*)(json::value& value, const std::string& key);

    [[nodiscard]] CliResult<> ReadAll();
    /// Gives each key of an object to `take`.
    template <class TakeValue>
    [[nodiscard]] CliResult<> ReadKeys(json::object& object, const TakeValue& take);
    [[nodiscard]] CliResult<> TakeTop(json::value& value, const std::string& key);
    [[nodiscard]] CliResult<> TakeVersion(json::value& value);
    [[nodiscard]] CliResult<> TakePart(json::value& value, const std::string& key);
    [[nodiscard]] CliResult<CliViewValue> ReadValue(json::value& value, const std::string& key);
    [[nodiscard]] CliResult<> ReadItems(json::value& value, const std::string& key,
                                        std::vector<std::string>& items);
    [[nodiscard]] CliResult<> AddItem(json::value& value, const std::string& key,
                                      std::vector<std::string>& items);

    [[nodiscard]] std::size_t LineOf(const char* place) const {
        return 1 + static_cast<std::size_t>(std::count(begin_, place, '\n'));
    }
    [[nodiscard]] CliFailure Fail(const std::string& what) const {
        return {CliExit::Failed, InViewFile(path_, line_) + what};
    }
    [[nodiscard]] CliFailure NoJson(simdjson::error_code error);

    const std::string& path_;
    simdjson::padded_string text_;
    const char* begin_;
    json::parser parser_;
    json::document document_;
    CliViewFile file_;
    std::size_t line_ = 0;  // of the last key
    bool hasVersion_ = false;
};

CliFailure ViewReader::NoJson(simdjson::error_code error) {
    const char* place = nullptr;
    if (document_.current_location().get(place) == simdjson::SUCCESS && place >= begin_ &&
        place <= begin_ + text_.size()) {
        line_ = LineOf(place);
    }
    return Fail(error == simdjson::UTF8_ERROR ? "it isn't UTF-8" : "this isn't JSON");
}

template <class TakeValue>
CliResult<> ViewReader::ReadKeys(json::object& object, const TakeValue& take) {
    std::vector<std::string> met;
    for (auto field : object) {
        json::raw_json_string raw;
        std::string_view key;
        json::value value;
        simdjson::error_code error = field.key().get(raw);
        if (error == simdjson::SUCCESS) {
            line_ = LineOf(raw.raw());
            error = field.unescaped_key().get(key);
        }
        if (error == simdjson::SUCCESS) {
            error = field.value().get(value);
        }
        if (error != simdjson::SUCCESS) {
            return NoJson(error);
        }
        if (std::find(met.begin(), met.end(), key) != met.end()) {
            return Fail(fmt::format("{} is there twice", Quoted(key)));
        }
        if (const CliResult<> taken = take(value, met.emplace_back(key)); !taken) {
            return taken;
        }
    }
    return {};
}

CliResult<> ViewReader::ReadItems(json::value& value, const std::string& key,
                                  std::vector<std::string>& items) {
    json::array array;
    if (const auto error = value.get_array().get(array); error != simdjson::SUCCESS) {
        return NoJson(error);
    }
    for (auto each : array) {
        json::value item;
        if (const auto error = each.get(item); error != simdjson::SUCCESS) {
            return NoJson(error);
        }
        if (const CliResult<> added = AddItem(item, key, items); !added) {
            return added;
        }
    }
    return {};
}

CliResult<> ViewReader::AddItem(json::value& value, const std::string& key,
                                std::vector<std::string>& items) {
    std::string_view text;
    std::int64_t number = 0;
    if (value.get_string().get(text) == simdjson::SUCCESS) {
        items.emplace_back(text);
    } else if (value.get_int64().get(number) == simdjson::SUCCESS) {
        items.push_back(std::to_string(number));
    } else {
        return Fail(
            fmt::format("{} has an item that is neither a text nor a whole number", Quoted(key)));
    }
    return {};
}

CliResult<CliViewValue> ViewReader::ReadValue(json::value& value, const std::string& key) {
    CliViewValue read;
    read.line = line_;
    json::json_type type{};
    if (const auto error = value.type().get(type); error != simdjson::SUCCESS) {
        return NoJson(error);
    }
    CliResult<> done;
    bool flag = false;
    switch (type) {
        case json::json_type::array:
            read.kind = CliViewValue::List;
            done = ReadItems(value, key, read.texts);
            break;
        case json::json_type::boolean:
            read.kind = CliViewValue::Flag;
            if (const auto error = value.get_bool().get(flag); error != simdjson::SUCCESS) {
                return NoJson(error);
            }
            read.texts = {flag ? "true" : "false"};
            break;
        case json::json_type::string:
        case json::json_type::number:
            read.kind = type == json::json_type::string ? CliViewValue::Text : CliViewValue::Number;
            done = AddItem(value, key, read.texts);
            break;
        default:
            return Fail(fmt::format("{} has no value that an option could have", Quoted(key)));
    }
    if (!done) {
        return done.Failure();
    }
    return read;
}

CliResult<> ViewReader::TakeVersion(json::value& value) {
    std::int64_t version = 0;
    if (value.get_int64().get(version) != simdjson::SUCCESS || version != CliViewFile::kVersion) {
        return Fail(fmt::format("{} isn't {}: this program reads no other views",
                                Quoted(kVersionKey), CliViewFile::kVersion));
    }
    hasVersion_ = true;
    return {};
}

CliResult<> ViewReader::TakePart(json::value& value, const std::string& key) {
    json::object object;
    if (const auto error = value.get_object().get(object); error != simdjson::SUCCESS) {
        return NoJson(error);
    }
    CliViewFile::Part part{key, line_, {}};
    CliResult<> read = ReadKeys(object, [&](json::value& each, const std::string& name) {
        CliResult<CliViewValue> found = ReadValue(each, name);
        if (!found) {
            return CliResult<>(found.Failure());
        }
        part.values.emplace_back(name, std::move(*found));
        return CliResult<>();
    });
    file_.parts.push_back(std::move(part));
    return read;
}

CliResult<> ViewReader::TakeTop(json::value& value, const std::string& key) {
    if (key == kVersionKey) {
        return TakeVersion(value);
    }
    json::json_type type{};
    if (value.type().get(type) == simdjson::SUCCESS && type == json::json_type::object) {
        return TakePart(value, key);
    }
    CliResult<CliViewValue> read = ReadValue(value, key);
    if (!read) {
        return read.Failure();
    }
    file_.shared.emplace_back(key, std::move(*read));
    return {};
}

CliResult<> ViewReader::ReadAll() {
    if (const auto error = parser_.iterate(text_).get(document_); error != simdjson::SUCCESS) {
        return Fail(error == simdjson::UTF8_ERROR ? "it isn't UTF-8" : "this isn't JSON");
    }
    json::object object;
    if (const auto error = document_.get_object().get(object); error != simdjson::SUCCESS) {
        return error == simdjson::INCORRECT_TYPE
                   ? CliResult<>(Fail("a view is an object of JSON, between { and }"))
                   : CliResult<>(NoJson(error));
    }
    CliResult<> read = ReadKeys(
        object, [this](json::value& value, const std::string& key) { return TakeTop(value, key); });
    if (!read) {
        return read;
    }
    if (document_.current_location().error() != simdjson::OUT_OF_BOUNDS) {
        return Fail("there is more behind the end of the object");
    }
    return hasVersion_
               ? CliResult<>()
               : Fail(fmt::format("it has no {}: {}", Quoted(kVersionKey), CliViewFile::kVersion));
}

CliResult<CliViewFile> ViewReader::Read() {
    const CliResult<> read = ReadAll();
    if (!read) {
        return read.Failure();
    }
    return std::move(file_);
}

/// The path of a file from the folder of another one. Only folders are resolved: a link to a file
/// keeps its name.
std::string FromFolderOf(const std::string& file, const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path target = fs::absolute(path, error);
    const fs::path there = fs::weakly_canonical(target.parent_path(), error) / target.filename();
    const fs::path here = fs::weakly_canonical(fs::absolute(file, error).parent_path(), error);
    const fs::path relative = there.lexically_relative(here);
    if (relative == kStandardInput) {
        return "./" + relative.string();  // a file of that name
    }
    return relative.empty() ? path : relative.string();
}

/// Writes the lines of an object.
class ViewWriter {
public:
    ViewWriter(std::string& text, const std::string& path) : text_(text), path_(path) {}

    void Begin(std::string_view key) {
        text_ += isFirst_ ? "\n" : ",\n";
        isFirst_ = false;
        text_.append(indent_, ' ');
        text_ += JsonName(key);
        text_ += ": ";
    }
    [[nodiscard]] CliResult<> Write(const std::string& key, const CliViewValue& value) {
        Begin(key);
        std::string items;
        for (const std::string& each : value.texts) {
            const std::string text =
                value.isPath && value.isRelative ? FromFolderOf(path_, each) : each;
            if (!IsUtf8(text)) {
                return CliFailure{
                    CliExit::Failed,
                    fmt::format("the view can't be saved: {} of {} isn't UTF-8, which JSON is",
                                Quoted(text), Quoted(key))};
            }
            items += items.empty() ? "" : ", ";
            const bool isBare =
                value.kind == CliViewValue::Number || value.kind == CliViewValue::Flag;
            items += isBare ? text : JsonName(text);
        }
        text_ += value.kind == CliViewValue::List ? "[" + items + "]" : items;
        return {};
    }
    [[nodiscard]] CliResult<> Write(const CliViewValues& values) {
        for (const auto& [key, value] : values) {
            if (CliResult<> written = Write(key, value); !written) {
                return written;
            }
        }
        return {};
    }
    void Open(std::string_view key) {
        Begin(key);
        text_ += '{';
        indent_ += 2;
        isFirst_ = true;
    }
    void Close() {
        indent_ -= 2;
        text_ += '\n';
        text_.append(indent_, ' ');
        text_ += '}';
        isFirst_ = false;
    }

private:
    std::string& text_;
    const std::string& path_;
    std::size_t indent_ = 2;
    bool isFirst_ = true;
};

}  // namespace

CliViewValues* CliViewFile::ValuesOf(std::string_view command) {
    if (command.empty()) {
        return &shared;
    }
    const auto part = std::find_if(parts.begin(), parts.end(),
                                   [command](const Part& each) { return each.command == command; });
    return part == parts.end() ? nullptr : &part->values;
}

CliViewValue* CliViewFile::Find(std::string_view command, std::string_view key) {
    CliViewValues* const values = ValuesOf(command);
    if (values == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(values->begin(), values->end(),
                                    [key](const auto& each) { return each.first == key; });
    return found == values->end() ? nullptr : &found->second;
}

void CliViewFile::Set(std::string_view command, std::string_view key, CliViewValue value) {
    if (CliViewValue* const found = Find(command, key)) {
        *found = std::move(value);
        return;
    }
    if (ValuesOf(command) == nullptr) {
        parts.push_back({std::string(command), 0, {}});
    }
    ValuesOf(command)->emplace_back(key, std::move(value));
}

void CliViewFile::Remove(std::string_view command, std::string_view key) {
    if (CliViewValues* const values = ValuesOf(command)) {
        std::erase_if(*values, [key](const auto& each) { return each.first == key; });
    }
}

std::string InViewFile(const std::string& path, std::size_t line) {
    return line == 0 ? fmt::format("view {}: ", Quoted(path))
                     : fmt::format("view {}, line {}: ", Quoted(path), line);
}

CliResult<CliViewFile> ReadViewFile(const std::string& path) {
    std::string held;
    if (!ReadWholeFile(path, held)) {
        return CliFailure{CliExit::Failed, fmt::format("view {} can't be read: {}", Quoted(path),
                                                       std::generic_category().message(errno))};
    }
    std::string_view text = held;
    if (text.starts_with(kByteOrderMark)) {
        text.remove_prefix(kByteOrderMark.size());
    }
    return ViewReader(path, text).Read();
}

CliResult<std::string> WriteViewFile(const CliViewFile& file, const std::string& path) {
    std::string text = "{";
    ViewWriter writer(text, path);
    writer.Begin(kVersionKey);
    text += std::to_string(CliViewFile::kVersion);
    CliResult<> written = writer.Write(file.shared);
    for (const CliViewFile::Part& part : file.parts) {
        if (written && !part.values.empty()) {
            writer.Open(part.command);
            written = writer.Write(part.values);
            writer.Close();
        }
    }
    if (!written) {
        return written.Failure();
    }
    return text + "\n}\n";
}

}  // namespace etabulon
