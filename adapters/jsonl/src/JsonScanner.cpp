#include "JsonScanner.h"

#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTypes.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace etabulon {

namespace {

namespace json = simdjson::ondemand;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::size_t kPieceBytes = std::size_t{1} << 18;
// The parser's limit is 4 GiB.
constexpr std::size_t kMostBytes = std::size_t{1} << 31;
constexpr std::size_t kMostColumns = 0xFFFF;                 // of a record's fields
constexpr std::int64_t kExactWhole = std::int64_t{1} << 53;  // reals hold all whole numbers to it

std::string_view Trimmed(std::string_view text) {
    const std::size_t last = text.find_last_not_of(kBlanks);
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

/// The spelling of a whole number as JSON has it, however large.
bool IsWhole(std::string_view token) {
    const std::string_view digits = token.substr(token.starts_with('-') ? 1 : 0);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos &&
           (digits.size() == 1 || digits[0] != '0');
}

/// The spelling of a real number that is too large for one.
bool IsTooLarge(std::string_view token) {
    double number = 0;
    const char* const end = token.data() + token.size();
    const auto read = std::from_chars(token.data(), end, number);
    return read.ec == std::errc::result_out_of_range && read.ptr == end;
}

}  // namespace

JsonScanner::JsonScanner(ECsvInput& input, const EJsonReadOptions& options)
    : input_(input), options_(options) {}

bool JsonScanner::Fail(const std::string& what) {
    error_ = CsvError(input_.Name(), line_, what);
    return false;
}

bool JsonScanner::Read(JsonColumns& columns, bool isSecond, EDataError& error) {
    columns_ = &columns;
    isSecond_ = isSecond;
    for (std::size_t column = 0; column < columns.keys.size(); ++column) {
        byKey_.emplace(columns.keys[column], column);
    }
    input_.Rewind();
    bool isRead = Refill();
    if (isRead && std::string_view(buffer_.get(), end_).starts_with(kByteOrderMark)) {
        offset_ = kByteOrderMark.size();
    }
    while (isRead && ReadLines()) {
        if (isFinal_) {
            Flush();
            return true;
        }
        Flush();  // their texts are in the buffer
        isRead = Refill();
    }
    error = error_;
    return false;
}

bool JsonScanner::Refill() {
    const std::size_t kept = end_ - offset_;
    if (capacity_ < 2 * kept || capacity_ == 0) {
        const std::size_t larger = std::max(2 * capacity_, kPieceBytes);
        if (larger > kMostBytes) {
            ++line_;
            return Fail("a line of more than " + std::to_string(kept) + " bytes");
        }
        std::unique_ptr<char[]> buffer(new char[larger + simdjson::SIMDJSON_PADDING]());
        std::copy_n(buffer_.get() + offset_, kept, buffer.get());
        buffer_ = std::move(buffer);
        capacity_ = larger;
    } else {
        std::memmove(buffer_.get(), buffer_.get() + offset_, kept);
    }
    offset_ = 0;
    std::size_t count = 0;
    const bool isRead = input_.Read(buffer_.get() + kept, capacity_ - kept, count);
    end_ = kept + count;
    isFinal_ = end_ < capacity_;
    if (!isRead) {
        return Fail(input_.Problem());
    }
    if (options_.goesOn && !options_.goesOn(input_.ReadBytes(), input_.Size())) {
        line_ = 0;
        static_cast<void>(Fail(kCsvCancelled));
        error_.status = kDataInterrupted;
        return false;
    }
    return true;
}

/// Reads the whole lines of the buffer; at the end of the file its rest is one.
bool JsonScanner::ReadLines() {
    for (;;) {
        const char* const begin = buffer_.get() + offset_;
        const auto* const feed = static_cast<const char*>(std::memchr(begin, '\n', end_ - offset_));
        if (feed == nullptr && (!isFinal_ || offset_ == end_)) {
            return true;
        }
        const auto length =
            static_cast<std::size_t>((feed != nullptr ? feed : buffer_.get() + end_) - begin);
        ++line_;
        if (!ReadLine({begin, length})) {
            return false;
        }
        offset_ += length + (feed != nullptr ? 1 : 0);
        if (pending_ == JsonColumn::kMostRecords) {
            Flush();
        }
    }
}

bool JsonScanner::ReadLine(std::string_view line) {
    if (line.find_first_not_of(kBlanks) == std::string_view::npos) {
        return true;
    }
    const std::size_t room = capacity_ + simdjson::SIMDJSON_PADDING -
                             static_cast<std::size_t>(line.data() - buffer_.get());
    json::object object;
    const auto begun = parser_.iterate(simdjson::padded_string_view(line.data(), line.size(), room))
                           .get(document_);
    if (begun == simdjson::UTF8_ERROR) {
        return Fail("this isn't UTF-8");
    }
    if (begun != simdjson::SUCCESS || document_.get_object().get(object) != simdjson::SUCCESS) {
        return NoJson();
    }
    std::size_t place = 0;
    for (auto each : object) {
        json::field field;
        if (std::move(each).get(field) != simdjson::SUCCESS) {
            return NoJson();
        }
        if (!ReadField(field, place++)) {
            return false;
        }
    }
    if (document_.current_location().error() != simdjson::OUT_OF_BOUNDS) {
        return NoJson();
    }
    ++count_;
    ++pending_;
    return true;
}

bool JsonScanner::ReadField(json::field& field, std::size_t place) {
    std::string_view key;
    if (field.unescaped_key().get(key) != simdjson::SUCCESS) {
        return NoJson();
    }
    const std::size_t at = ColumnOf(key, place);
    if (at == columns_->columns.size()) {
        return Fail(isSecond_ ? std::string(kCsvChanged)
                              : "more keys than the " + std::to_string(kMostColumns) +
                                    " columns that are possible");
    }
    JsonColumn& column = *columns_->columns[at];
    if (column.IsDone()) {
        return true;
    }
    if (column.Has(pending_)) {
        return Fail("the key '" + columns_->keys[at] + "' is there twice");
    }
    JsonValue value;
    if (!ReadValue(field.value(), column.Type() != ECsvType::Text, value)) {
        return false;
    }
    column.Put(pending_, value);
    return true;
}

std::size_t JsonScanner::ColumnOf(std::string_view key, std::size_t place) {
    if (place < order_.size() && columns_->keys[order_[place]] == key) {
        return order_[place];
    }
    const auto known = byKey_.find(key);
    std::size_t at = columns_->columns.size();
    if (known != byKey_.end()) {
        at = known->second;
    } else if (isSecond_ || at == kMostColumns) {
        return at;
    } else {
        byKey_.emplace(key, at);
        columns_->keys.emplace_back(key);
        columns_->columns.push_back(std::make_unique<JsonColumn>(count_ - pending_));
    }
    order_.resize(std::max(order_.size(), place + 1));
    order_[place] = at;
    return at;
}

bool JsonScanner::ReadValue(json::value& from, bool wantsDates, JsonValue& value) {
    const std::string_view token = Trimmed(from.raw_json_token());
    json::json_type type{};
    if (from.type().get(type) != simdjson::SUCCESS) {
        return NoJson();
    }
    bool flag = false;
    switch (type) {
        case json::json_type::null:
            return token == "null" || NoJson();
        case json::json_type::string:
            return ReadString(from, wantsDates, value);
        case json::json_type::number:
            return ReadNumber(from, token, value);
        case json::json_type::boolean:
            value.type = ECsvType::Bool;
            value.text = token;
            if (from.get_bool().get(flag) != simdjson::SUCCESS) {
                return NoJson();
            }
            value.whole = flag ? 1 : 0;
            return true;
        default:
            return ReadNested(from, type, token, value);
    }
}

/// The text of an object or an array, all of whose parts are read, as they may not be JSON.
bool JsonScanner::ReadNested(json::value& from, json::json_type type, std::string_view token,
                             JsonValue& value) {
    JsonValue part;
    const auto readPart = [&](json::value& item) {
        return ReadValue(item, /*wantsDates=*/false, part);
    };
    json::array array;
    json::object object;
    if (type == json::json_type::array) {
        if (from.get_array().get(array) != simdjson::SUCCESS) {
            return NoJson();
        }
        for (auto each : array) {
            json::value item;
            if (each.get(item) != simdjson::SUCCESS) {
                return NoJson();
            }
            if (!readPart(item)) {
                return false;
            }
        }
    } else {
        if (from.get_object().get(object) != simdjson::SUCCESS) {
            return NoJson();
        }
        for (auto each : object) {
            json::field field;
            if (std::move(each).get(field) != simdjson::SUCCESS ||
                field.unescaped_key().error() != simdjson::SUCCESS) {
                return NoJson();
            }
            if (!readPart(field.value())) {
                return false;
            }
        }
    }
    const char* end = nullptr;
    if (document_.current_location().get(end) != simdjson::SUCCESS) {
        return NoJson();
    }
    value.type = ECsvType::Text;
    value.text = Trimmed({token.data(), static_cast<std::size_t>(end - token.data())});
    return true;
}

bool JsonScanner::ReadString(json::value& from, bool wantsDates, JsonValue& value) {
    std::string_view token = from.raw_json_token();
    if (from.get_string().get(value.text) != simdjson::SUCCESS) {
        return NoJson();
    }
    // Without escapes it stands in the buffer as it is; the parser's own copy is short-lived.
    token.remove_prefix(1);
    if (token.size() >= value.text.size() &&
        std::memcmp(token.data(), value.text.data(), value.text.size()) == 0) {
        value.text = token.substr(0, value.text.size());
    } else {
        char* const copy = texts_.Take(value.text.size());
        std::copy(value.text.begin(), value.text.end(), copy);
        value.text = {copy, value.text.size()};
    }
    value.type = ECsvType::Text;
    if (wantsDates && !value.text.empty() && value.text[0] >= '0' && value.text[0] <= '9') {
        const ECsvType type = CsvTypeOf(value.text);
        const bool isMoment =
            type == ECsvType::Date || type == ECsvType::Time || type == ECsvType::Timestamp;
        value.type = isMoment ? type : ECsvType::Text;
    }
    return true;
}

bool JsonScanner::ReadNumber(json::value& from, std::string_view token, JsonValue& value) {
    value.text = token;
    if (IsWhole(token)) {
        const bool fits = from.get_int64().get(value.whole) == simdjson::SUCCESS;
        value.type = !fits                                                     ? ECsvType::Text
                     : value.whole > kExactWhole || value.whole < -kExactWhole ? ECsvType::Large
                                                                               : ECsvType::Whole;
        return true;
    }
    const bool isReal = from.get_double().get(value.real) == simdjson::SUCCESS;
    value.type = isReal ? ECsvType::Real : ECsvType::Text;
    value.real += 0.0;  // a negative zero becomes zero, as in a database
    return isReal || IsTooLarge(token) || NoJson();
}

void JsonScanner::Flush() {
    for (const auto& column : columns_->columns) {
        column->Flush(pending_);
    }
    pending_ = 0;
    texts_.Clear();
}

}  // namespace etabulon
