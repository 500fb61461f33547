#include "apps/etabulon/walk/CliWalk.h"

#include "apps/etabulon/output/CliCell.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/walk/CliExplanation.h"
#include "apps/etabulon/walk/CliInterrupt.h"
#include "apps/etabulon/walk/CliProgress.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/UseColumns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <typeinfo>
#include <utility>

namespace etabulon {
namespace {

/// Searches all records for each value of a tag separately, and keeps some existing values of each
/// level.
class SearchListener final : public ECursorListener {
public:
    explicit SearchListener(const ETabulonTag& wanted) : wanted_(wanted) {
        sought_.resize(wanted.KnownLevelsCount());
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        bool areAllFound = true;
        for (unsigned int place = 0; place < sought_.size(); ++place) {
            Sought& sought = sought_[place];
            if (sought.isFound) {
                continue;
            }
            const ETabulonValue& met = cursor.CurrentTag().Value(wanted_.LevelAt(place));
            if (met == wanted_.ValueAt(place)) {
                sought.isFound = true;
                continue;
            }
            areAllFound = false;
            if (sought.existing.size() < kMostKept) {
                sought.existing.insert(WrittenValue(met.Data()));
            }
        }
        return areAllFound ? StatusEnd : StatusOk;
    }
    [[nodiscard]] bool IsFound(unsigned int place) const { return sought_[place].isFound; }
    [[nodiscard]] std::vector<std::string> Existing(unsigned int place) const {
        const auto& existing = sought_[place].existing;
        return {existing.begin(), existing.end()};
    }

private:
    static constexpr std::size_t kMostKept = 1000;
    struct Sought {
        bool isFound = false;
        std::set<std::string> existing;
    };
    const ETabulonTag& wanted_;
    std::vector<Sought> sought_;
};

std::string ShownValue(const ETabulonValue& value) {
    CliCellMaker maker;
    const CliCell cell = maker.Of(value.Data());
    if (cell.kind == CliCellKind::Bytes) {
        return Quoted(WrittenValue(value.Data()));
    }
    return cell.kind == CliCellKind::Null ? "NULL" : Quoted(cell.text);
}

std::string ShownPlace(const CliLevels& levels, const ETabulonTag& tag) {
    std::string shown;
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        shown +=
            fmt::format("{}{} = {}", place == 0 ? "" : ", ",
                        levels.all[tag.LevelAt(place)].data.shown, ShownValue(tag.ValueAt(place)));
    }
    return shown;
}

std::string ShownTable(const CliWalkContext& context) {
    return fmt::format("table {} of {}", Quoted(context.table.Info().name.View()),
                       Quoted(context.table.Source().Location().View()));
}

/// Walks all records of its source and filters them by the place itself. Edits may move records
/// into the place, and a source that reads only the place wouldn't meet them.
class MovedRecords final : public ETabulonCursorRelay {
public:
    using ETabulonCursorRelay::ETabulonCursorRelay;

protected:
    CursorStatus Reset(const ETabulonTag& /*tag*/) override {
        const CursorStatus status = CallReset(ETabulonTag::Null);
        return status == StatusRefused ? CallGetNext() : status;
    }
    CursorStatus GetNext() override { return CallGetNext(); }
    [[nodiscard]] bool IsInFilter() const override {
        return FilterTag().IsRoot() || CurrentTag().IsAtOrBelow(FilterTag());
    }
};

/// How many records a walk meets, where the source counts them faster than the walk; 0 elsewhere.
std::uint64_t CountOf(const CliWalkContext& context, const ETabulonTag& tag) {
    if (!tag.IsRoot() || !context.condition.filter.IsEmpty() || context.changes != nullptr ||
        context.table.Info().isView) {
        return 0;
    }
    ESqlError error;
    const std::int64_t count = context.table.Source().CountRows(context.table.Info(), error);
    return std::min(static_cast<std::uint64_t>(std::max<std::int64_t>(count, 0)),
                    context.mostRecords);
}

constexpr std::uint64_t kSome = static_cast<std::uint64_t>(-1);  // there is no count
constexpr std::string_view kReadAsNull = "aren't of its type and read as NULL";
constexpr std::string_view kAreCut = "have more than three decimals of a second, which are cut";

void TellMisread(std::string_view columns, std::uint64_t count, std::string_view what) {
    if (!columns.empty() && count != 0) {
        WriteError(fmt::format("etabulon: column {}: {} of the values {}\n", columns,
                               count == kSome ? "some" : std::to_string(count), what));
    }
}

/// Tells of values that the result shows as NULL, or less exactly, than the database has them.
void TellMisreads(const ESqlTable& table, const ESqlSource& source) {
    TellMisread(source.MisreadLinks().View(), kSome, kReadAsNull);
    TellMisread(source.CutLinks().View(), kSome, kAreCut);
    for (const unsigned int column : table.Columns()) {
        const std::string name = Quoted(table.Info().columns[column].name.View());
        const ESqlMisreads misreads = table.Misreads(column);
        TellMisread(name, misreads.mismatches, kReadAsNull);
        TellMisread(name, misreads.cuts, kAreCut);
    }
}

/// Whether an edit updates what decides where a record is shown.
bool MovesRecords(const CliWalkContext& context, const ETabulonLevels& levels) {
    std::vector<ETabulonVariableID> deciding;
    const auto add = [&](const ETabulonVariableID& id) {
        const CliDerived* const derived = context.table.Dictionary().FindDerived(id.Code());
        deciding.push_back(derived != nullptr ? ETabulonVariableID(derived->base) : id);
    };
    for (unsigned int place = 0; place < levels.Size(); ++place) {
        add(levels.GetLevel(levels.GetLevelID(place)).DataID());
    }
    const auto updates = context.changes->Script(ETabulonPendingChanges::Update);
    return std::any_of(updates.begin(), updates.end(), [&deciding](const auto& update) {
        return std::find(deciding.begin(), deciding.end(), update.VarDataID()) != deciding.end();
    });
}

bool UsesLinks(const ETabulonLevels& levels, const std::vector<ETabulonVariableID>& others) {
    for (unsigned int index = 0; index < levels.Size(); ++index) {
        const ETabulonLevels::Level& level = levels.GetLevel(levels.GetLevelID(index));
        if (level.DataID().IsLink() || level.DescID().IsLink()) {
            return true;
        }
    }
    return std::any_of(others.begin(), others.end(),
                       [](const ETabulonVariableID& id) { return id.IsLink(); });
}

/// Finds the lowest and the highest number of a field.
class BoundsListener final : public ECursorListener {
public:
    explicit BoundsListener(const Chaine& code) : id_(code) {}
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        const EField& field = cursor.Field(id_);
        const double number = field.AsDouble();
        if (!field.IsMissing() && std::isfinite(number)) {
            lowest_ = hasAny_ ? std::min(lowest_, number) : number;
            highest_ = hasAny_ ? std::max(highest_, number) : number;
            hasAny_ = true;
        }
        return StatusOk;
    }
    /// Without numbers the groups don't matter.
    [[nodiscard]] EDerivation Bins(std::uint32_t groups) const {
        return EDerivation::Bins(lowest_, highest_, groups);
    }

private:
    ETabulonVariableID id_;
    bool hasAny_ = false;
    double lowest_ = 0;
    double highest_ = 0;
};

/// The variables among the levels and `ids` that are made from others.
std::vector<std::pair<ETabulonVariableID, const CliDerived*>> FindDerived(
    const CliDictionary& dictionary, const ETabulonLevels& levels,
    const std::vector<ETabulonVariableID>& ids) {
    std::vector<ETabulonVariableID> all = ids;
    for (unsigned int place = 0; place < levels.Size(); ++place) {
        const ETabulonLevels::Level& level = levels.GetLevel(levels.GetLevelID(place));
        all.push_back(level.DataID());
        all.push_back(level.DescID());
    }
    std::vector<std::pair<ETabulonVariableID, const CliDerived*>> found;
    for (const ETabulonVariableID& id : all) {
        if (const CliDerived* const derived = dictionary.FindDerived(id.Code())) {
            found.emplace_back(id, derived);
        }
    }
    return found;
}

/// The derivation, with the bounds of the table's values where it needs them.
CliResult<EDerivation> Complete(const CliWalkContext& context, const CliDerived& derived) {
    if (derived.derivation.groups == 0) {
        return derived.derivation.how;
    }
    CliVariable base;
    base.code = derived.base;
    CliWalkContext whole = context;
    whole.condition = {};  // the groups are those of the table
    CliCursor cursor(context.interrupt);
    if (const CliResult<> opened = OpenCursor(whole, ETabulonLevels(), {base}, cursor); !opened) {
        return opened.Failure();
    }
    if (context.explanation != nullptr) {
        context.explanation->WalksAgain("before it one of all records, for the bounds of .bins");
        return EDerivation::Bins(0, 1, derived.derivation.groups);
    }
    BoundsListener bounds(derived.base);
    if (const CliResult<> walked = Walk(whole, cursor, ETabulonTag(), bounds); !walked) {
        return walked.Failure();
    }
    return bounds.Bins(derived.derivation.groups);
}

}  // namespace

Chaine CliCursor::FailureText() const {
    const auto* const table = dynamic_cast<const EDataTable*>(Data());
    return table != nullptr ? table->LastErrorText() : Chaine();
}

void CliCursor::ResetCancel() {
    ETabulonCursorSql::ResetCancel();
    if (IsInterrupted()) {
        Cancel();
    }
}

void CliCursor::AddLink(const ETabulonVariableID& id) {
    std::string path(id.Code().View());
    if (id.IsLink() && std::find(links_.begin(), links_.end(), path) == links_.end()) {
        links_.push_back(std::move(path));
    }
}

bool CliCursor::HasOwnSteps() const noexcept { return typeid(*this) != typeid(CliCursor); }

bool CliCursor::IsInterrupted() const noexcept { return interrupt_.IsRaised(); }

ETabulonCursor& CliCursor::Seen() noexcept {
    if (moved_ != nullptr) {
        return *moved_;
    }
    return overlay_ != nullptr ? static_cast<ETabulonCursor&>(*overlay_) : *this;
}

void CliCursor::ShowPending(const ETabulonPendingChanges& changes, bool moveRecords) {
    overlay_ = std::make_unique<ETabulonCursorPending>(this, &changes);
    overlay_->Init(Levels());
    overlay_->ShowInsertsByTheirFields();  // a view may have levels that the inserts don't name
    if (moveRecords) {
        moved_ = std::make_unique<MovedRecords>(overlay_.get());
        moved_->Init(Levels());
    }
}

CliResult<> OpenCursor(const CliWalkContext& context, const ETabulonLevels& levels,
                       const std::vector<CliVariable>& others, CliCursor& cursor) {
    std::vector<ETabulonVariableID> ids;
    for (const CliVariable& other : others) {
        ids.emplace_back(other.code);
    }
    for (const CliVariable& variable : context.condition.variables) {
        ids.emplace_back(variable.code);
    }
    const auto allDerived = FindDerived(context.table.Dictionary(), levels, ids);
    for (const auto& [id, derived] : allDerived) {
        ids.emplace_back(derived->base);
    }
    ESqlError error;
    const std::vector<unsigned int> columns = UseColumns(levels, ids, context.table.Rubric());
    auto table = context.table.Source().OpenTable(context.table.Info(), columns, error);
    if (context.table.Source().Database() == nullptr) {
        cursor.SetColumnsInMemory(columns);
    }
    if (table == nullptr) {
        return CliFailure{CliExit::Failed, error.text.IsEmpty()
                                               ? fmt::format("{} can't be opened (status {})",
                                                             ShownTable(context), error.status)
                                               : std::string(error.text.View())};
    }
    cursor.Init(levels, table.release(), /*ownsTable=*/true);
    for (unsigned int place = 0; place < levels.Size(); ++place) {
        const ETabulonLevels::Level& level = levels.GetLevel(levels.GetLevelID(place));
        cursor.AddLink(level.DataID());
        cursor.AddLink(level.DescID());
    }
    for (const ETabulonVariableID& id : ids) {
        cursor.AddLink(id);
        if (id.IsLink() && context.table.Dictionary().FindDerived(id.Code()) == nullptr) {
            cursor.DeclareLinkField(id);
        }
    }
    for (const auto& [id, derived] : allDerived) {
        const CliResult<EDerivation> derivation = Complete(context, *derived);
        if (!derivation) {
            return derivation.Failure();
        }
        cursor.DeclareDerivedField(id, ETabulonVariableID(derived->base), *derivation);
    }
    if (context.changes != nullptr) {
        cursor.ShowPending(*context.changes, MovesRecords(context, levels));
        if (!*context.hasToldLinks &&
            context.changes->Script(ETabulonPendingChanges::Insert).Size() != 0 &&
            UsesLinks(levels, ids)) {
            *context.hasToldLinks = true;
            TellUser("what is reached through links is shown as missing for new records");
        }
    }
    cursor.Seen().SetFilter(context.condition.filter);
    return {};
}

CliResult<> Walk(const CliWalkContext& context, CliCursor& cursor, const ETabulonTag& tag,
                 ETabulonCursor::INotifier& listener) {
    if (context.explanation != nullptr) {
        const bool byBlocks = dynamic_cast<IBlockNotifier*>(&listener) != nullptr;
        context.explanation->Tell(context, cursor, tag, byBlocks);
        return CliFailure{CliExit::Done, {}};
    }
    const std::uint64_t all = context.showsProgress ? CountOf(context, tag) : 0;
    CliProgress progress;
    progress.ExpectRecords(all);
    CursorStatus status = StatusOk;
    {
        ETabulonCursor& seen = cursor.Seen();
        if (ESqlSource* const database = context.table.Source().Database(); database != nullptr) {
            database->ForgetMisreadLinks();
        }
        const CliInterrupt::Cancelling cancelling(context.interrupt, seen);
        const ECursorListening listening(seen, listener);
        if (context.showsProgress) {
            seen.AddNotifier(&progress);
        }
        status = seen.Browse(tag);
        seen.RemNotifier(&progress);
    }
    progress.End();
    if (context.interrupt.IsRaised()) {
        return CliFailure{CliExit::Cancelled, {}};
    }
    if (status == StatusOk) {
        if (cursor.Table() != nullptr) {
            TellMisreads(*cursor.Table(), *context.table.Source().Database());
        }
        for (const unsigned int column : cursor.ColumnsInMemory()) {
            TellMisread(Quoted(context.table.Info().columns[column].name.View()),
                        context.table.Source().CutCount(column), kAreCut);
        }
        return {};
    }
    const Chaine text = cursor.FailureText();
    return CliFailure{CliExit::Failed,
                      text.IsEmpty() ? fmt::format("{} can't be read (status {})",
                                                   ShownTable(context), static_cast<int>(status))
                                     : std::string(text.View())};
}

CliFailure ExplainNothingThere(const CliWalkContext& context, const CliLevels& levels,
                               const ETabulonTag& tag) {
    if (!context.condition.filter.IsEmpty()) {
        return {
            CliExit::Failed,
            fmt::format(
                "{} has no record with {} that {}", ShownTable(context), ShownPlace(levels, tag),
                context.condition.isOfPlaces ? "has the other values of --at" : "meets --where")};
    }
    CliCursor cursor(context.interrupt);
    SearchListener search(tag);
    if (const CliResult<> opened = OpenCursor(context, levels.levels, {}, cursor); !opened) {
        return opened.Failure();
    }
    if (const CliResult<> walked = Walk(context, cursor, ETabulonTag(), search); !walked) {
        return walked.Failure();
    }
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        if (!search.IsFound(place)) {
            const std::string shown = ShownValue(tag.ValueAt(place));
            const auto existing = search.Existing(place);
            return {CliExit::Failed,
                    fmt::format("{} has no {} at level {}{}", ShownTable(context), shown,
                                Quoted(levels.all[tag.LevelAt(place)].data.shown),
                                WhatThereIs(WrittenValue(tag.ValueAt(place).Data()), existing))};
        }
    }
    return {CliExit::Failed, fmt::format("{} has no record with {} together", ShownTable(context),
                                         ShownPlace(levels, tag))};
}

}  // namespace etabulon
