#pragma once

#include "JsonColumn.h"
#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/jsonl/EJsonTable.h"

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace etabulon {

/// The keys of all objects, and their columns.
struct JsonColumns {
    std::vector<std::string> keys;
    std::vector<std::unique_ptr<JsonColumn>> columns;
};

/// Takes a file's lines apart, and gives their values to columns. One pass over the file.
class JsonScanner {
public:
    /// `input` and `options` aren't owned.
    JsonScanner(ECsvInput& input, const EJsonReadOptions& options);

    /// Gives all values to these columns, and adds columns for new keys. With `isSecond` there
    /// are none: a new key fails. False with `error`, which names the line.
    [[nodiscard]] bool Read(JsonColumns& columns, bool isSecond, EDataError& error);
    /// The objects that were read.
    [[nodiscard]] std::size_t Count() const noexcept { return count_; }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const noexcept {
            return std::hash<std::string_view>()(key);
        }
    };

    [[nodiscard]] bool Refill();
    [[nodiscard]] bool ReadLines();
    [[nodiscard]] bool ReadLine(std::string_view line);
    [[nodiscard]] bool ReadField(simdjson::ondemand::field& field, std::size_t place);
    [[nodiscard]] bool ReadValue(simdjson::ondemand::value& from, bool wantsDates,
                                 JsonValue& value);
    [[nodiscard]] bool ReadString(simdjson::ondemand::value& from, bool wantsDates,
                                  JsonValue& value);
    [[nodiscard]] bool ReadNested(simdjson::ondemand::value& from,
                                  simdjson::ondemand::json_type type, std::string_view token,
                                  JsonValue& value);
    [[nodiscard]] bool ReadNumber(simdjson::ondemand::value& from, std::string_view token,
                                  JsonValue& value);
    /// The column of a key. The keys of an object mostly stand where they stood in the last one.
    [[nodiscard]] std::size_t ColumnOf(std::string_view key, std::size_t place);
    void Flush();
    [[nodiscard]] bool Fail(const std::string& what);
    [[nodiscard]] bool NoJson() { return Fail("this isn't an object of JSON on one line"); }

    ECsvInput& input_;
    const EJsonReadOptions& options_;
    JsonColumns* columns_ = nullptr;  // not owned
    bool isSecond_ = false;
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> byKey_;
    std::vector<std::size_t> order_;  // the columns of the last object's keys
    simdjson::ondemand::parser parser_;
    simdjson::ondemand::document document_;  // the line that is read
    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;  // without the padding that the parser wants
    std::size_t offset_ = 0;    // of the next line
    std::size_t end_ = 0;       // of the bytes in the buffer
    bool isFinal_ = false;      // the file ends with the buffer
    std::uint64_t line_ = 0;    // that is read, from 1
    std::size_t count_ = 0;
    std::size_t pending_ = 0;  // objects since the last Flush
    EBlockArena texts_;        // of strings with escapes since the last Flush
    EDataError error_;
};

}  // namespace etabulon
