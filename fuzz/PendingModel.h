#pragma once

#include "etabulon/pending/ETabulonPendingChanges.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace etabulon::fuzz {

using ChangeType = ETabulonPendingChanges::ChangeType;
inline constexpr auto kUpdate = ETabulonPendingChanges::Update;
inline constexpr auto kInsert = ETabulonPendingChanges::Insert;
inline constexpr auto kDelete = ETabulonPendingChanges::Delete;

// A literal model of change scripts: plain values in vectors and maps, and the rules as loops over
// them. Of the library it only uses the constants, and what makes the same values for both sides.

struct Datum {
    enum class Kind { None, Whole, Real, Text, FoldingText };

    Kind kind = Kind::None;
    int number = 0;
    const char* text = "";

    [[nodiscard]] bool IsNone() const { return kind == Kind::None; }
    [[nodiscard]] bool IsNumber() const { return kind == Kind::Whole || kind == Kind::Real; }
    [[nodiscard]] bool IsText() const { return !IsNone() && !IsNumber(); }
    [[nodiscard]] EVariant AsVariant() const;
};

[[nodiscard]] bool IsEqual(const Datum& a, const Datum& b);

/// A value for each level that is known.
using Place = std::map<unsigned int, Datum>;

[[nodiscard]] bool IsSamePlace(const Place& a, const Place& b);
[[nodiscard]] bool IsAtOrBelow(const Place& place, const Place& parent);
[[nodiscard]] ETabulonTag TagOf(const Place& place);

struct Variable {
    const char* code = "";
    unsigned int number = 0;  // 0: identified by its code

    [[nodiscard]] ETabulonVariableID Id() const { return ETabulonVariableID(Chaine(code)); }
};

/// `asked` says by what the two are compared.
[[nodiscard]] bool IsSameVariable(const Variable& asked, const Variable& known);

enum Column : unsigned int { Group = 0, Name = 1, Id = 2, Value = 3 };
inline constexpr const char* kColumns[] = {"group", "name", "id", "value"};
inline constexpr unsigned int kLevels = 3;  // the first columns; the cursor has no level after them

using Record = std::array<Datum, std::size(kColumns)>;

/// The value as a column keeps it: names are texts, the others whole numbers.
[[nodiscard]] Datum Kept(unsigned int column, const Datum& datum);

struct LiteralChange {
    ChangeType type = kUpdate;
    Place place;
    Variable variable;
    Datum value;
};

/// A record as a walk shows it.
struct Shown {
    Place place;
    Record record;
    bool isNew = false;
};

/// A table whose ids are unique, and a script of changes.
class PendingModel {
public:
    std::vector<Record> records;
    std::vector<LiteralChange> script;

    void Append(const LiteralChange& added);
    /// The changes that apply at a place.
    [[nodiscard]] std::vector<LiteralChange> At(ChangeType type, const Place& place) const;
    /// The changes that lie at and under a place.
    [[nodiscard]] std::vector<LiteralChange> Under(ChangeType type, const Place& place) const;
    [[nodiscard]] bool IsDeleted(const Place& place) const;
    /// What the overlay shows under a place.
    [[nodiscard]] std::vector<Shown> Walk(const Place& under) const;
    /// Saves what lies under a place, and all inserts. The status is that of the last record
    /// changed, or of the first insert that fails.
    std::int32_t Save(const Place& under);
    /// Another record than the one at `except` has the id.
    [[nodiscard]] bool HasId(const Datum& id, std::size_t except) const;

private:
    [[nodiscard]] bool Has(ChangeType type) const;
    [[nodiscard]] static Place PlaceOf(const Record& record);
    void Apply(const Place& place, Record& record) const;
    [[nodiscard]] Record NewRecord(const LiteralChange& insert) const;
    std::int32_t SaveRecords(const Place& under);
};

}  // namespace etabulon::fuzz
