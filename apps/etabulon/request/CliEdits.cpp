#include "apps/etabulon/request/CliEdits.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/values/ETabulonValue.h"

#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

bool IsLink(const CliVariable& variable) { return ETabulonVariableID(variable.code).IsLink(); }

}  // namespace

bool CliEdits::AddLevelsOf(const CliEditChoice& edit, CliFailure& failure) {
    return std::all_of(edit.places.begin(), edit.places.end(), [&](const CliPlaceChoice& place) {
        unsigned int id = 0;
        return FindOrAddLevel(dictionary_, table_, place.path, place.path.shown, levels_, id,
                              failure);
    });
}

bool CliEdits::MakePlace(const CliEditChoice& edit, ETabulonTag& place, CliFailure& failure) const {
    for (const CliPlaceChoice& choice : edit.places) {
        CliVariable data;
        if (!dictionary_.FindVariable(table_, choice.path, data, failure)) {
            return false;
        }
        const unsigned int id = *levels_.Find(data.code);
        if (place.HasValue(id)) {
            return failure.Set(CliExit::Usage, fmt::format("{} has two values for level {}",
                                                           WordOf(edit.kind), Quoted(data.shown)));
        }
        ETabulonValue value;
        if (!ReadValue(data, "level", {choice.value, choice.isQuoted}, value, failure)) {
            return false;
        }
        place.SetValue(id, value);
    }
    return true;
}

bool CliEdits::IsWritten(const CliVariable& variable) const {
    return !IsLink(variable) && !table_.columns[variable.variable->Index()].generated;
}

bool CliEdits::CheckWritten(const CliVariable& variable, std::string_view what,
                            CliFailure& failure) const {
    if (IsLink(variable)) {
        return failure.Set(CliExit::Failed,
                           fmt::format("{} {} is of another table than {}: it isn't written here",
                                       what, Quoted(variable.shown), Quoted(table_.name.View())));
    }
    return IsWritten(variable) ||
           failure.Set(CliExit::Failed,
                       fmt::format("{} {} of table {} is calculated by the database: it can't be "
                                   "written",
                                   what, Quoted(variable.shown), Quoted(table_.name.View())));
}

bool CliEdits::AppendSet(const CliEditChoice& edit, const ETabulonTag& place, CliFailure& failure) {
    CliVariable column;
    ETabulonValue value;
    if (!dictionary_.FindVariable(table_, edit.column, column, failure) ||
        !CheckWritten(column, "column", failure) ||
        !ReadValue(column, "column", edit.value, value, failure) ||
        !CheckSuperseded(edit.kind, place, &column, failure)) {
        return false;
    }
    changes_.AppendUpdate(place, ETabulonVariableID(column.code), value.Data());
    const bool isKnown =
        std::any_of(columns_.begin(), columns_.end(),
                    [&column](const CliVariable& each) { return each.code == column.code; });
    if (!isKnown) {
        columns_.push_back(std::move(column));
    }
    return true;
}

bool CliEdits::AppendInsert(ETabulonTag& place, CliFailure& failure) {
    for (unsigned int id = 0; id < levels_.all.size(); ++id) {
        if (!place.HasValue(id)) {
            place.SetValue(id, ETabulonValue());
        } else if (!CheckWritten(levels_.all[id].data, "level", failure)) {
            return false;
        }
    }
    changes_.AppendInsert(place);
    return true;
}

bool CliEdits::Append(const CliEditChoice& edit, CliFailure& failure) {
    ETabulonTag place;
    if (!MakePlace(edit, place, failure)) {
        return false;
    }
    switch (edit.kind) {
        case CliEditKind::Set:
            return AppendSet(edit, place, failure);
        case CliEditKind::Insert:
            return AppendInsert(place, failure);
        case CliEditKind::Delete:
            if (!CheckSuperseded(edit.kind, place, nullptr, failure)) {
                return false;
            }
            changes_.AppendDelete(place);
            break;
    }
    return true;
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

/// The levels that the change's place is written with.
std::vector<unsigned int> CliEdits::LevelsOf(const ETabulonPendingChanges::Change& change) const {
    std::vector<unsigned int> levels;
    const ETabulonTag& place = change.Selection();
    const bool isInsert = change.Type() == ETabulonPendingChanges::Insert;
    for (unsigned int index = 0; index < place.KnownLevelsCount(); ++index) {
        const unsigned int level = place.LevelAt(index);
        // A level that an insert can't write is NULL in it, and can't be told.
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

/// The levels of a place are written in the order in which the script brings them in: whoever reads
/// it numbers them so, whatever their numbers are here, and writes the same script again.
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

/// A place of more levels counts as below one of less if it agrees on those that both have. Where
/// it lacks a level of the other, that may be so or not: nothing is dropped on a guess.
bool CliEdits::CheckSuperseded(CliEditKind kind, const ETabulonTag& place,
                               const CliVariable* column, CliFailure& failure) const {
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
                return failure.Set(
                    CliExit::Usage,
                    fmt::format("{} {} would take the place of {}, which may lie elsewhere: put "
                                "it first, or name the same levels in both",
                                WordOf(kind), Quoted(WrittenPlace(place)),
                                Quoted(Written(change))));
            }
        }
    }
    return true;
}

std::string CliEdits::WrittenLevels() const {
    std::string written;
    for (const CliLevel& level : levels_.all) {
        written += written.empty() ? "" : ",";
        written += level.data.written;
        written += level.HasLabel() ? ':' + level.label.written : "";
    }
    return written;
}

bool CliEdits::ChangesLinks() const {
    const DRubric& rubric = *dictionary_.Source().Rubric(table_);
    const auto isOfLink = [&rubric](const CliVariable& column) {
        const unsigned int index = column.variable->Index();
        return std::any_of(
            rubric.Links().begin(), rubric.Links().end(), [index](const DLink& link) {
                return std::find(link.variables.begin(), link.variables.end(), index) !=
                       link.variables.end();
            });
    };
    return std::any_of(columns_.begin(), columns_.end(), isOfLink) ||
           std::any_of(levels_.all.begin(), levels_.all.end(), [this](const CliLevel& level) {
               return IsLink(level.data) && changes_.Script(ETabulonPendingChanges::Insert).Size();
           });
}

}  // namespace etabulon
