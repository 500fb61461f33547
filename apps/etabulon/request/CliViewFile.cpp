#include "apps/etabulon/request/CliViewFile.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFiles.h"
#include "apps/etabulon/request/CliSource.h"
#include "etabulon/report/EReportJson.h"

#include <fmt/format.h>
#include <simdjson.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace etabulon {
namespace {

namespace json = simdjson::ondemand;

constexpr std::string_view kVersionKey = "version";
constexpr off_t kMostBytes = off_t{1} << 20U;  // thousands of times what a long command line has
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// A number as JSON writes it.
bool IsNumber(std::string_view text) {
    const auto skipDigits = [&text] {
        const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
        text.remove_prefix(count);
        return count != 0;
    };
    text.remove_prefix(text.starts_with('-') ? 1 : 0);
    const bool isZero = text.starts_with('0');
    text.remove_prefix(isZero ? 1 : 0);
    if (!isZero && !skipDigits()) {
        return false;
    }
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (!skipDigits()) {
            return false;
        }
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        text.remove_prefix(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
        if (!skipDigits()) {
            return false;
        }
    }
    return text.empty();
}

/// The line of the first text that doesn't end in it, or else of the first one that isn't UTF-8; 0
/// if there is none.
std::size_t LineOfBrokenText(std::string_view text) {
    for (std::size_t line = 1; !text.empty(); ++line) {
        const std::string_view each = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(each.size() + 1, text.size()));
        bool isInText = false;
        for (std::size_t at = 0; at < each.size(); ++at) {
            if (isInText && each[at] == '\\') {
                ++at;  // what it escapes
            } else {
                isInText = isInText != (each[at] == '"');
            }
        }
        if (isInText || !IsUtf8(each)) {
            return line;
        }
    }
    return 0;
}

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
    /// Adds a text or a whole number; `wrong` is what is said of anything else.
    [[nodiscard]] CliResult<> AddItem(json::value& value, const std::string& wrong,
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
        if (CliResult<> taken = take(value, met.emplace_back(key)); !taken) {
            return taken;
        }
    }
    return {};
}

CliResult<> ViewReader::ReadItems(json::value& value, const std::string& key,
                                  std::vector<std::string>& items) {
    const std::string wrong =
        fmt::format("{} has an item that is neither a text nor a whole number", Quoted(key));
    json::array array;
    if (const auto error = value.get_array().get(array); error != simdjson::SUCCESS) {
        return NoJson(error);
    }
    for (auto each : array) {
        json::value item;
        if (const auto error = each.get(item); error != simdjson::SUCCESS) {
            return NoJson(error);
        }
        if (CliResult<> added = AddItem(item, wrong, items); !added) {
            return added;
        }
    }
    return {};
}

CliResult<> ViewReader::AddItem(json::value& value, const std::string& wrong,
                                std::vector<std::string>& items) {
    json::json_type type{};
    auto error = value.type().get(type);
    std::string_view text;
    std::int64_t number = 0;
    if (error == simdjson::SUCCESS && type == json::json_type::string) {
        error = value.get_string().get(text);
        items.emplace_back(text);
    } else if (error == simdjson::SUCCESS && type == json::json_type::number) {
        const std::string_view token = value.raw_json_token();
        if (!IsNumber(token.substr(0, token.find_last_not_of(" \t\r\n") + 1))) {
            return NoJson(simdjson::NUMBER_ERROR);
        }
        if (value.get_int64().get(number) != simdjson::SUCCESS) {
            return Fail(wrong);
        }
        items.push_back(std::to_string(number));
    } else if (error == simdjson::SUCCESS) {
        return Fail(wrong);
    }
    return error == simdjson::SUCCESS ? CliResult<>() : NoJson(error);
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
            done = AddItem(value, fmt::format("{} isn't a whole number", Quoted(key)), read.texts);
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
    const std::string wrong = fmt::format("{} isn't {}: this program reads no other views",
                                          Quoted(kVersionKey), CliViewFile::kVersion);
    json::json_type type{};
    if (value.type().get(type) == simdjson::SUCCESS && type != json::json_type::number) {
        return Fail(wrong);
    }
    std::vector<std::string> version;
    if (CliResult<> read = AddItem(value, wrong, version); !read) {
        return read;
    }
    if (version.front() != std::to_string(CliViewFile::kVersion)) {
        return Fail(wrong);
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
        line_ = LineOfBrokenText({begin_, text_.size()});
        return Fail(error == simdjson::UTF8_ERROR ? "it isn't UTF-8"
                    : line_ != 0 ? "this isn't JSON: a text doesn't end in its line"
                                 : "this isn't JSON");
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

const CliViewValues* CliViewFile::ValuesOf(std::string_view command) const {
    if (command.empty()) {
        return &shared;
    }
    const auto part = std::find_if(parts.begin(), parts.end(),
                                   [command](const Part& each) { return each.command == command; });
    return part == parts.end() ? nullptr : &part->values;
}

const CliViewValue* CliViewFile::Find(std::string_view command, std::string_view key) const {
    const CliViewValues* const values = ValuesOf(command);
    if (values == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(values->begin(), values->end(),
                                    [key](const auto& each) { return each.first == key; });
    return found == values->end() ? nullptr : &found->second;
}

void CliViewFile::Set(std::string_view command, std::string_view key, CliViewValue value) {
    if (ValuesOf(command) == nullptr) {
        parts.push_back({std::string(command), 0, {}});
    }
    CliViewValues& values = *ValuesOf(command);
    const auto found = std::find_if(values.begin(), values.end(),
                                    [key](const auto& each) { return each.first == key; });
    if (found != values.end()) {
        found->second = std::move(value);
    } else {
        values.emplace_back(key, std::move(value));
    }
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
    const auto fail = [&path](const std::string& why) {
        return CliFailure{CliExit::Failed,
                          fmt::format("view {} can't be read: {}", Quoted(path), why)};
    };
    struct stat found {};
    const bool isThere = stat(path.c_str(), &found) == 0;
    if (isThere && !S_ISREG(found.st_mode)) {
        return fail("it isn't a regular file");  // a pipe may never end
    }
    if (isThere && found.st_size > kMostBytes) {
        return fail("a view has at most 1 MB");
    }
    std::string held;
    if (!isThere || !ReadWholeFile(path, held)) {
        return fail(std::generic_category().message(errno));
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
