#pragma once

#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/foundation/EColumnsBuilder.h"
#include "etabulon/foundation/ERecordBlock.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace etabulon {

/// A value of an object. Its text is that of a string, or the JSON of anything else.
struct JsonValue {
    ECsvType type = ECsvType::Unknown;  // Unknown: missing
    std::string_view text;              // null data() if it is missing
    std::int64_t whole = 0;
    double real = 0;
};

/// The values of one key, while they are taken from the first object on. The type is that of all
/// values so far.
///
/// A column whose values were stored as numbers, and that turns out to be text, is postponed: it
/// drops them, and takes all values again as texts.
class JsonColumn {
public:
    /// The most records between two calls of Flush.
    static constexpr std::size_t kMostRecords = ERecordBlock::kMostRecords;

    /// Its values are missing in the first `earlier` records.
    explicit JsonColumn(std::size_t earlier);

    [[nodiscard]] ECsvType Type() const noexcept { return type_; }
    /// How many of its times or timestamps were cut to milliseconds.
    [[nodiscard]] std::uint64_t Cuts() const noexcept { return cuts_; }
    /// Whether it has the value of this record already; the records before it that have none since
    /// the last Flush are missing. The text must be valid until the next Flush.
    [[nodiscard]] bool Has(std::size_t record) const noexcept { return values_.size() > record; }
    void Put(std::size_t record, const JsonValue& value);
    /// Stores the values of as many records.
    void Flush(std::size_t records);

    /// Ends a pass over the file: true if all is stored, so that another pass leaves it out; false
    /// if the column is postponed, and takes its values as texts in the next pass.
    [[nodiscard]] bool EndPass();
    [[nodiscard]] bool IsDone() const noexcept { return isDone_; }
    [[nodiscard]] std::unique_ptr<EColumnWriter> End() noexcept { return std::move(writer_); }

    /// A column of this type in a table.
    [[nodiscard]] static int VariableType(ECsvType type) noexcept;

private:
    [[nodiscard]] bool IsPostponed() const noexcept { return writer_ == nullptr; }
    void Widen(ECsvType type);
    void Store();
    void StoreTexts();
    template <class T, class NumberOf>
    void StoreNumbers(const NumberOf& numberOf);

    ECsvType type_ = ECsvType::Unknown;
    bool isDone_ = false;
    std::size_t size_ = 0;
    std::uint64_t cuts_ = 0;
    std::unique_ptr<EColumnWriter> writer_;  // null: postponed
    std::vector<JsonValue> values_;          // since the last Flush
};

}  // namespace etabulon
