#include "apps/etabulon/request/CliEdits.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/values/ETabulonValue.h"

#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

bool IsLink(const CliVariable& variable) { return ETabulonVariableID(variable.code).IsLink(); }

}  // namespace

CliResult<ETabulonTag> CliEdits::MakePlace(const CliEditChoice& edit) const {
    ETabulonTag place;
    for (const CliPlaceChoice& choice : edit.places) {
        const CliResult<CliVariable> data = Table().FindVariable(choice.path);
        if (!data) {
            return data.Failure();
        }
        const unsigned int id = *levels_.Find(data->code);
        if (place.HasValue(id)) {
            return CliFailure{CliExit::Usage, fmt::format("{} has two values for level {}",
                                                          WordOf(edit.kind), Quoted(data->shown))};
        }
        const CliResult<ETabulonValue> value =
            ReadValue(*data, "level", {choice.value, choice.isQuoted});
        if (!value) {
            return value.Failure();
        }
        place.SetValue(id, *value);
    }
    return place;
}

bool CliEdits::IsWritten(const CliVariable& variable) const {
    return !variable.isDerived && !IsLink(variable) &&
           !Table().Info().columns[variable.variable->Index()].generated;
}

CliResult<> CliEdits::CheckWritten(const CliVariable& variable, std::string_view what) const {
    const std::string table = Quoted(Table().Info().name.View());
    if (variable.isDerived) {
        return CliFailure{CliExit::Failed,
                          fmt::format("{} {} is made from another one: it isn't written", what,
                                      Quoted(variable.shown))};
    }
    if (IsLink(variable)) {
        return CliFailure{CliExit::Failed,
                          fmt::format("{} {} is of another table than {}: it isn't written here",
                                      what, Quoted(variable.shown), table)};
    }
    if (!IsWritten(variable)) {
        return CliFailure{CliExit::Failed,
                          fmt::format("{} {} of table {} is calculated by the database: it can't "
                                      "be written",
                                      what, Quoted(variable.shown), table)};
    }
    return {};
}

CliResult<> CliEdits::AppendSet(const CliEditChoice& edit, const ETabulonTag& place) {
    CliResult<CliVariable> column = Table().FindVariable(edit.column);
    if (!column) {
        return column.Failure();
    }
    if (CliResult<> checked = CheckWritten(*column, "column"); !checked) {
        return checked;
    }
    const CliResult<ETabulonValue> value = ReadValue(*column, "column", edit.value);
    if (!value) {
        return value.Failure();
    }
    if (CliResult<> checked = CheckSuperseded(edit.kind, place, &*column); !checked) {
        return checked;
    }
    changes_.AppendUpdate(place, ETabulonVariableID(column->code), value->Data());
    const bool isKnown =
        std::any_of(columns_.begin(), columns_.end(),
                    [&column](const CliVariable& each) { return each.code == column->code; });
    if (!isKnown) {
        columns_.push_back(std::move(*column));
    }
    return {};
}

CliResult<> CliEdits::AppendInsert(ETabulonTag& place) {
    for (unsigned int id = 0; id < levels_.all.size(); ++id) {
        if (!place.HasValue(id)) {
            place.SetValue(id, ETabulonValue());
        } else if (CliResult<> checked = CheckWritten(levels_.all[id].data, "level"); !checked) {
            return checked;
        }
    }
    changes_.AppendInsert(place);
    return {};
}

CliResult<> CliEdits::Append(const CliEditChoice& edit) {
    CliResult<ETabulonTag> place = MakePlace(edit);
    if (!place) {
        return place.Failure();
    }
    switch (edit.kind) {
        case CliEditKind::Set:
            return AppendSet(edit, *place);
        case CliEditKind::Insert:
            return AppendInsert(*place);
        case CliEditKind::Delete:
            if (CliResult<> checked = CheckSuperseded(edit.kind, *place, nullptr); !checked) {
                return checked;
            }
            changes_.AppendDelete(*place);
            break;
    }
    return {};
}

std::string CliEdits::WrittenPlace(const ETabulonTag& place) const {
    std::vector<unsigned int> levels;
    for (unsigned int index = 0; index < place.KnownLevelsCount(); ++index) {
        levels.push_back(place.LevelAt(index));
    }
    return WrittenPlace(place, levels);
}

std::string CliEdits::WrittenPlace(const ETabulonTag& place,
                                   const std::vector<unsigned int>& levels) const {
    std::string written;
    for (const unsigned int level : levels) {
        written +=
            fmt::format("{}{}={}", written.empty() ? "" : ",", levels_.all[level].data.written,
                        WrittenValue(place.Value(level).Data()));
    }
    return written;
}

/// The levels that a printed place of the change consists of.
std::vector<unsigned int> CliEdits::LevelsOf(const ETabulonPendingChanges::Change& change) const {
    std::vector<unsigned int> levels;
    const ETabulonTag& place = change.Selection();
    const bool isInsert = change.Type() == ETabulonPendingChanges::Insert;
    for (unsigned int index = 0; index < place.KnownLevelsCount(); ++index) {
        const unsigned int level = place.LevelAt(index);
        // An insert can't write such a level: it is NULL in the place, and isn't printed.
        if (!isInsert || IsWritten(levels_.all[level].data)) {
            levels.push_back(level);
        }
    }
    return levels;
}

std::string CliEdits::Written(const ETabulonPendingChanges::Change& change) const {
    return Written(change, LevelsOf(change));
}

std::string CliEdits::Written(const ETabulonPendingChanges::Change& change,
                              const std::vector<unsigned int>& levels) const {
    const std::string place = WrittenPlace(change.Selection(), levels);
    switch (change.Type()) {
        case ETabulonPendingChanges::Update: {
            const auto column =
                std::find_if(columns_.begin(), columns_.end(), [&change](const CliVariable& each) {
                    return ETabulonVariableID(each.code) == change.VarDataID();
                });
            return fmt::format("set {}:{}={}", place, column->written,
                               WrittenValue(change.Value()));
        }
        case ETabulonPendingChanges::Insert:
            return fmt::format("insert {}", place);
        case ETabulonPendingChanges::Delete:
            break;
    }
    return fmt::format("delete {}", place);
}

/// The levels of a place are printed in the order of their first use in the script. A program that
/// reads the script numbers its levels in that order, and so prints the same script again.
std::vector<std::string> CliEdits::ScriptLines() const {
    std::vector<std::string> lines;
    lines.reserve(changes_.Size());
    std::vector<unsigned int> ranks(levels_.all.size(), 0);
    unsigned int known = 0;
    for (const ETabulonPendingChanges::Change& change : changes_.Script()) {
        std::vector<unsigned int> levels = LevelsOf(change);
        for (const unsigned int level : levels) {
            ranks[level] = ranks[level] == 0 ? ++known : ranks[level];
        }
        std::sort(levels.begin(), levels.end(),
                  [&ranks](unsigned int a, unsigned int b) { return ranks[a] < ranks[b]; });
        lines.push_back(Written(change, levels));
    }
    return lines;
}

/// A change is superseded if its place lies below `place`: if it agrees on the levels that both
/// have. If it lacks a level of `place`, it may lie elsewhere, and the edit is refused.
CliResult<> CliEdits::CheckSuperseded(CliEditKind kind, const ETabulonTag& place,
                                      const CliVariable* column) const {
    const auto knowsAll = [&place](const ETabulonTag& other) {
        for (unsigned int index = 0; index < place.KnownLevelsCount(); ++index) {
            if (!other.HasValue(place.LevelAt(index))) {
                return false;
            }
        }
        return true;
    };
    for (const auto type : {ETabulonPendingChanges::Update, ETabulonPendingChanges::Delete}) {
        if (kind == CliEditKind::Set && type == ETabulonPendingChanges::Delete) {
            continue;
        }
        for (const auto& change : changes_.ScriptUnder(type, place)) {
            const bool isOther =
                column != nullptr && !(change.VarDataID() == ETabulonVariableID(column->code));
            if (!isOther && !knowsAll(change.Selection())) {
                return CliFailure{
                    CliExit::Usage,
                    fmt::format("{} {} would take the place of {}, which may lie elsewhere: put "
                                "it first, or name the same levels in both",
                                WordOf(kind), Quoted(WrittenPlace(place)),
                                Quoted(Written(change)))};
            }
        }
    }
    return {};
}

std::string CliEdits::WrittenLevels() const {
    std::string written;
    for (const CliLevel& level : levels_.all) {
        written += written.empty() ? "" : ",";
        written += level.Written();
    }
    return written;
}

bool CliEdits::ChangesLinks() const {
    const DRubric& rubric = Table().Rubric();
    const auto isOfLink = [&rubric](const CliVariable& column) {
        const unsigned int index = column.variable->Index();
        return std::any_of(
            rubric.Links().begin(), rubric.Links().end(), [index](const DLink& link) {
                return std::find(link.variables.begin(), link.variables.end(), index) !=
                       link.variables.end();
            });
    };
    return std::any_of(columns_.begin(), columns_.end(), isOfLink);
}

}  // namespace etabulon
