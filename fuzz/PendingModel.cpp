#include "fuzz/PendingModel.h"

#include "etabulon/cursors/CursorStatus.h"
#include "etabulon/foundation/EData.h"

#include <algorithm>

namespace etabulon::fuzz {
namespace {

using Kind = Datum::Kind;

std::string FoldedText(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

/// More levels, and no other value where both have one: levels that only `parent` has don't count.
bool IsBelow(const Place& place, const Place& parent) {
    return place.size() > parent.size() &&
           std::all_of(place.begin(), place.end(), [&parent](const auto& entry) {
               const auto other = parent.find(entry.first);
               return other == parent.end() || IsEqual(entry.second, other->second);
           });
}

}  // namespace

EVariant Datum::AsVariant() const {
    switch (kind) {
        case Kind::Whole:
            return number;
        case Kind::Real:
            return EVariant::FromDouble(number);
        case Kind::Text:
            return text;
        case Kind::FoldingText:
            return EVariant::FromText(TYPE_NC_CHAINE, 0, text);
        default:
            return {};
    }
}

bool IsEqual(const Datum& a, const Datum& b) {
    if (a.IsNumber() && b.IsNumber()) {
        return a.number == b.number;
    }
    if (a.IsText() && b.IsText()) {
        return a.kind == Kind::FoldingText || b.kind == Kind::FoldingText
                   ? FoldedText(a.text) == FoldedText(b.text)
                   : std::string(a.text) == b.text;
    }
    return a.IsNone() && b.IsNone();
}

bool IsSamePlace(const Place& a, const Place& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](const auto& left, const auto& right) {
               return left.first == right.first && IsEqual(left.second, right.second);
           });
}

bool IsAtOrBelow(const Place& place, const Place& parent) {
    return IsSamePlace(place, parent) || IsBelow(place, parent);
}

ETabulonTag TagOf(const Place& place) {
    ETabulonTag tag;
    for (const auto& [level, datum] : place) {
        tag.SetValue(level, ETabulonValue(datum.AsVariant(), Chaine(), /*modified=*/false));
    }
    return tag;
}

bool IsSameVariable(const Variable& asked, const Variable& known) {
    return asked.number != 0 ? asked.number == known.number
                             : FoldedText(asked.code) == FoldedText(known.code);
}

Datum Kept(unsigned int column, const Datum& datum) {
    static const char* const kDigits[] = {"0", "1", "2", "3", "4", "5", "6", "7"};
    if (column == Name) {
        return datum.IsNumber() ? Datum{Kind::Text, 0, kDigits[datum.number]}
               : datum.IsNone() ? datum
                                : Datum{Kind::Text, 0, datum.text};
    }
    if (datum.IsText()) {
        const bool isNumber = datum.text[0] >= '0' && datum.text[0] <= '7';
        return isNumber ? Datum{Kind::Whole, datum.text[0] - '0', ""} : Datum{};
    }
    return datum.IsNone() ? datum : Datum{Kind::Whole, datum.number, ""};
}

void PendingModel::Append(const LiteralChange& added) {
    const auto isCovered = [&added](const LiteralChange& each) {
        return IsAtOrBelow(each.place, added.place);
    };
    const auto isAtPlace = [&added](const LiteralChange& each) {
        return IsSamePlace(each.place, added.place);
    };
    const auto has = [&](ChangeType type) {
        return std::any_of(script.begin(), script.end(), [&](const LiteralChange& each) {
            return each.type == type && isAtPlace(each);
        });
    };
    bool isDropped = false;
    if (added.type == kUpdate) {
        std::erase_if(script, [&](const LiteralChange& each) {
            return each.type == kUpdate && isCovered(each) &&
                   IsSameVariable(added.variable, each.variable);
        });
    } else if (added.type == kInsert) {
        isDropped = has(kInsert);
    } else {
        isDropped = has(kInsert) || has(kDelete);
        std::erase_if(script, [&](const LiteralChange& each) {
            return isCovered(each) && !(each.type == kDelete && isAtPlace(each));
        });
    }
    if (!isDropped) {
        script.push_back(added);
    }
}

bool PendingModel::Has(ChangeType type) const {
    return std::any_of(script.begin(), script.end(),
                       [type](const LiteralChange& each) { return each.type == type; });
}

std::vector<LiteralChange> PendingModel::At(ChangeType type, const Place& place) const {
    std::vector<LiteralChange> applying;
    for (const LiteralChange& each : script) {
        if (each.type == type && IsAtOrBelow(place, each.place)) {
            applying.push_back(each);
        }
    }
    return applying;
}

std::vector<LiteralChange> PendingModel::Under(ChangeType type, const Place& place) const {
    std::vector<LiteralChange> under;
    for (const LiteralChange& each : script) {
        if (each.type == type && IsAtOrBelow(each.place, place)) {
            under.push_back(each);
        }
    }
    return under;
}

bool PendingModel::IsDeleted(const Place& place) const {
    bool isDeleted = false;
    for (const LiteralChange& each : script) {
        if (each.type == (isDeleted ? kInsert : kDelete) && IsAtOrBelow(place, each.place)) {
            isDeleted = !isDeleted;
        }
    }
    return isDeleted;
}

std::vector<Shown> PendingModel::Walk(const Place& under) const {
    std::vector<Shown> shown;
    for (std::size_t index = 0; index < records.size(); ++index) {
        Record record = records[index];
        const Place before = PlaceOf(record);
        // Records that lie elsewhere are passed over before they are changed, but the first.
        if (index > 0 && !IsAtOrBelow(before, under)) {
            continue;
        }
        Apply(before, record);
        const Place after = PlaceOf(record);
        if (IsAtOrBelow(after, under) && !IsDeleted(after)) {
            shown.push_back({after, record});
        }
    }
    for (const LiteralChange& insert : Under(kInsert, under)) {
        shown.push_back({insert.place, NewRecord(insert), true});
    }
    return shown;
}

std::int32_t PendingModel::SaveRecords(const Place& under) {
    std::int32_t status = StatusOk;
    for (std::size_t index = 0; index < records.size();) {
        const Place place = PlaceOf(records[index]);
        const bool isMet = IsAtOrBelow(place, under);
        if (isMet && !At(kDelete, place).empty()) {
            records.erase(records.begin() + static_cast<std::ptrdiff_t>(index));
            status = StatusOk;
            continue;
        }
        if (isMet && !At(kUpdate, place).empty()) {
            Record changed = records[index];
            Apply(place, changed);
            const bool isTwin = HasId(changed[Id], index);
            status = isTwin ? DataDuplicate : DataOk;
            records[index] = isTwin ? records[index] : changed;
        }
        ++index;
    }
    return status;
}

std::int32_t PendingModel::Save(const Place& under) {
    const bool walks = Has(kUpdate) || Has(kDelete);
    const std::int32_t status = walks ? SaveRecords(under) : StatusOk;
    if (status != StatusOk) {
        return status;
    }
    for (const LiteralChange& each : script) {
        if (each.type == kInsert) {
            const Record added = NewRecord(each);
            if (HasId(added[Id], records.size())) {
                return DataDuplicate;
            }
            records.push_back(added);
        }
    }
    return StatusOk;
}

bool PendingModel::HasId(const Datum& id, std::size_t except) const {
    for (std::size_t index = 0; index < records.size(); ++index) {
        if (index != except && IsEqual(records[index][Id], id)) {
            return true;
        }
    }
    return false;
}

Place PendingModel::PlaceOf(const Record& record) {
    return {{Group, record[Group]}, {Name, record[Name]}, {Id, record[Id]}};
}

void PendingModel::Apply(const Place& place, Record& record) const {
    for (const LiteralChange& update : At(kUpdate, place)) {
        for (unsigned int column = 0; column < record.size(); ++column) {
            if (update.variable.number != 0
                    ? update.variable.number == column + 1
                    : FoldedText(update.variable.code) == kColumns[column]) {
                record[column] = Kept(column, update.value);
            }
        }
    }
}

Record PendingModel::NewRecord(const LiteralChange& insert) const {
    Record record;
    for (const auto& [level, datum] : insert.place) {
        if (level < kLevels) {
            record[level] = Kept(level, datum);
        }
    }
    Apply(insert.place, record);
    return record;
}

}  // namespace etabulon::fuzz
