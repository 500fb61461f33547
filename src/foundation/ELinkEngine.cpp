#include "etabulon/foundation/ELinkEngine.h"

#include "etabulon/foundation/EData.h"
#include "foundation/ELinkKey.h"
#include "foundation/ELinkPath.h"

#include <algorithm>
#include <optional>

namespace etabulon {

const void* CSingleBufferProvider::FindRubricToReport(const Chaine& name) const {
    if (name.IsSameBody(lastAsked_) && !name.IsEmpty()) {
        return buffer_;
    }
    if (!name.EqualsFolded(name_)) {
        return nullptr;
    }
    lastAsked_ = name;
    return buffer_;
}

namespace {

/// Replaces a status that callers would take for success or for the end of the data.
EDataError AsFailure(EDataError error) {
    if (error.status <= DataOk || error.status == DataEnd) {
        error.status = DataOther;
    }
    return error;
}

}  // namespace

/// A node of the trie: a record that paths reach, or, without a hop, the one that they start from.
class LinkEngineEDataTable::Step {
public:
    Step(DRubric* rubric, std::int32_t number) : rubric_(rubric), number_(number) {}
    Step(Step& from, const detail::PathHop& hop, std::int32_t number);

    [[nodiscard]] DRubric* Rubric() const noexcept { return rubric_; }
    [[nodiscard]] std::int32_t Number() const noexcept { return number_; }
    [[nodiscard]] bool IsStart() const noexcept { return way_.empty(); }
    /// The steps from the first hop to this one; none for a start.
    [[nodiscard]] const std::vector<Step*>& Way() const noexcept { return way_; }
    [[nodiscard]] DRubric* StartRubric() const noexcept { return start_->rubric_; }
    [[nodiscard]] std::byte* Buffer() const noexcept {
        return static_cast<std::byte*>(buffer_.Get());
    }
    [[nodiscard]] Step* FindChild(const detail::PathHop& hop) const;
    void AddChild(Step* child) { children_.push_back(child); }

    /// Paths read this variable here, or a hop starts from it.
    void Need(unsigned int variable);
    /// Opens the lookup if it is closed, lacks a column, or the rubric has another source. False
    /// where there is no source, and where opening fails, with the cause in LastError.
    bool Open(EData* table);
    /// Drops the buffer's record and the rows that the lookup has cached.
    void Forget();
    /// The caller may have written into the buffer.
    void ForgetBuffer() noexcept { isKnown_ = isBlank_ = false; }
    /// Brings the buffer up to date with the record that the hop starts from, null if there is
    /// none. It is blank unless the target is found.
    [[nodiscard]] ERecordRead Follow(const std::byte* from);
    [[nodiscard]] std::uint64_t Version() const {
        return lookup_ == nullptr ? 0 : lookup_->Version();
    }
    /// Why Open or Follow failed.
    [[nodiscard]] EDataError LastError() const {
        return lookup_ == nullptr ? openError_ : lookup_->LastError();
    }

private:
    void Blank(bool isKnown);

    DRubric* rubric_;
    std::int32_t number_;
    detail::PathHop hop_;
    Step* start_ = this;
    std::vector<Step*> way_;
    std::vector<Step*> children_;
    std::vector<unsigned int> columns_;  // rising
    std::optional<detail::ELinkKey> key_;
    ERecordBuffer buffer_;
    std::unique_ptr<IRecordLookup> lookup_;
    std::uint64_t sourceNumber_ = 0;  // of the lookup
    EDataError openError_;            // why there is no lookup; status 0 without a source
    std::uint64_t version_ = 0;
    bool needsOpening_ = true;
    bool isKnown_ = false;  // the buffer has the record of the key taken last
    bool isBlank_ = true;
};

LinkEngineEDataTable::Step::Step(Step& from, const detail::PathHop& hop, std::int32_t number)
    : rubric_(hop.to),
      number_(number),
      hop_(hop),
      start_(from.start_),
      way_(from.way_),
      key_(std::in_place, *from.rubric_, hop),
      buffer_(hop.to->MakeFields()) {
    way_.push_back(this);
}

LinkEngineEDataTable::Step* LinkEngineEDataTable::Step::FindChild(
    const detail::PathHop& hop) const {
    for (Step* const child : children_) {
        if (child->hop_ == hop) {
            return child;
        }
    }
    return nullptr;
}

void LinkEngineEDataTable::Step::Need(unsigned int variable) {
    const auto found = std::lower_bound(columns_.begin(), columns_.end(), variable);
    if (found == columns_.end() || *found != variable) {
        columns_.insert(found, variable);
        needsOpening_ = true;
    }
}

bool LinkEngineEDataTable::Step::Open(EData* table) {
    if (!needsOpening_ && sourceNumber_ == rubric_->SourceNumber()) {
        return lookup_ != nullptr;
    }
    lookup_.reset();
    openError_ = EDataError{};
    isKnown_ = false;
    sourceNumber_ = rubric_->SourceNumber();
    if (IRecordSource* const source = rubric_->Source(); source != nullptr) {
        lookup_ = source->OpenLookup(*rubric_, hop_.KeyVariables(), columns_, table, openError_);
        if (lookup_ == nullptr) {
            openError_ = AsFailure(std::move(openError_));
        }
    }
    needsOpening_ = lookup_ == nullptr;
    return lookup_ != nullptr;
}

void LinkEngineEDataTable::Step::Forget() {
    isKnown_ = false;
    if (lookup_ != nullptr) {
        lookup_->Forget();
    }
}

ERecordRead LinkEngineEDataTable::Step::Follow(const std::byte* from) {
    if (from == nullptr || lookup_ == nullptr) {
        Blank(/*isKnown=*/false);
        const bool isUnread = from != nullptr && openError_.status != DataOk;
        return isUnread ? ERecordRead::Failed : ERecordRead::Missing;
    }
    const std::uint64_t version = lookup_->Version();
    if (isKnown_ && version == version_ && key_->IsSame(from)) {
        return isBlank_ ? ERecordRead::Missing : ERecordRead::Found;
    }
    isKnown_ = false;
    ERecordRead read = ERecordRead::Missing;
    if (!key_->Take(from)) {
        Blank(/*isKnown=*/true);
    } else {
        isBlank_ = false;
        read = lookup_->Read(key_->Values(), Buffer());
        isBlank_ = read != ERecordRead::Found;
    }
    version_ = version;
    isKnown_ = read != ERecordRead::Failed;
    return read;
}

void LinkEngineEDataTable::Step::Blank(bool isKnown) {
    if (!isBlank_) {
        buffer_.Clear();
        isBlank_ = true;
    }
    isKnown_ = isKnown;
}

/// The trie. Steps don't move: ways and children point at them.
struct LinkEngineEDataTable::State {
    State(DDico* dictionary, EData* from) : dico(dictionary), table(from) {}
    Step* StartAt(DRubric* rubric);
    Step* Descend(Step& from, const detail::PathHop& hop);

    DDico* dico;
    EData* table;
    EDataError error;
    std::vector<std::unique_ptr<Step>> steps;  // step number n at n - 1
};

LinkEngineEDataTable::Step* LinkEngineEDataTable::State::StartAt(DRubric* rubric) {
    for (const auto& step : steps) {
        if (step->IsStart() && step->Rubric() == rubric) {
            return step.get();
        }
    }
    const std::int32_t number = static_cast<std::int32_t>(steps.size()) + 1;
    return steps.emplace_back(std::make_unique<Step>(rubric, number)).get();
}

LinkEngineEDataTable::Step* LinkEngineEDataTable::State::Descend(Step& from,
                                                                 const detail::PathHop& hop) {
    if (Step* const known = from.FindChild(hop)) {
        return known;
    }
    const std::int32_t number = static_cast<std::int32_t>(steps.size()) + 1;
    Step* const step = steps.emplace_back(std::make_unique<Step>(from, hop, number)).get();
    from.AddChild(step);
    for (const unsigned int variable : hop.OwnVariables()) {
        from.Need(variable);
    }
    return step;
}

LinkEngineEDataTable::LinkEngineEDataTable(DDico* dico, EData* from)
    : state_(std::make_unique<State>(dico, from)) {}

LinkEngineEDataTable::~LinkEngineEDataTable() = default;

int LinkEngineEDataTable::RegisterLink(const Chaine& code, LinkDescriptor& descriptor) {
    descriptor = LinkDescriptor();
    descriptor.code = code;
    detail::LinkPath path;
    if (state_->dico == nullptr || !detail::ResolveLinkPath(*state_->dico, code.View(), path)) {
        return 0;
    }
    Step* step = state_->StartAt(path.start);
    for (const detail::PathHop& hop : path.hops) {
        step = state_->Descend(*step, hop);
        descriptor.steps.Add(step->Number());
    }
    step->Need(path.variable->Index());
    descriptor.variable = path.variable->Name();
    descriptor.node = step->Number();
    descriptor.resolved = true;
    return 1;
}

int LinkEngineEDataTable::InitializeLinks() {
    bool areOpen = true;
    state_->error = EDataError{};
    for (const auto& step : state_->steps) {
        if (step->IsStart()) {
            continue;
        }
        if (!step->Open(state_->table)) {
            areOpen = false;
            state_->error = state_->error.status == DataOk ? step->LastError() : state_->error;
        }
        step->Forget();
    }
    return areOpen ? 1 : 0;
}

void LinkEngineEDataTable::ForgetBuffers() {
    for (const auto& step : state_->steps) {
        if (!step->IsStart()) {
            step->ForgetBuffer();
        }
    }
}

const void* LinkEngineEDataTable::ResolveLink(const LinkDescriptor& descriptor,
                                              const IBufferProvider* provider) {
    if (state_->error.status != DataOk) {
        state_->error = EDataError{};
    }
    const Step* const last = FindStep(descriptor);
    if (last == nullptr || provider == nullptr) {
        return nullptr;
    }
    const auto* record =
        static_cast<const std::byte*>(provider->FindRubricToReport(last->StartRubric()->Name()));
    for (Step* const step : last->Way()) {
        const ERecordRead read = step->Follow(record);
        record = read == ERecordRead::Found ? step->Buffer() : nullptr;
        if (read == ERecordRead::Failed) {
            state_->error = AsFailure(step->LastError());
        }
    }
    return record;
}

const void* LinkEngineEDataTable::FindBuffer(const LinkDescriptor& descriptor,
                                             PTableau<DRubric*>& rubrics,
                                             const IBufferProvider* provider) {
    const Step* const last = FindStep(descriptor);
    if (last == nullptr ||
        std::find(rubrics.begin(), rubrics.end(), last->StartRubric()) == rubrics.end()) {
        return nullptr;
    }
    if (last->IsStart()) {
        return provider == nullptr ? nullptr
                                   : provider->FindRubricToReport(last->StartRubric()->Name());
    }
    for (Step* const step : last->Way()) {
        static_cast<void>(step->Open(state_->table));  // ResolveLink reports a failure
    }
    return last->Buffer();
}

const EDataError& LinkEngineEDataTable::LastError() const { return state_->error; }

std::uint64_t LinkEngineEDataTable::Version() const {
    std::uint64_t sum = 0;  // of numbers that only grow
    for (const auto& step : state_->steps) {
        sum += step->Version();
    }
    return sum;
}

LinkEngineEDataTable::Step* LinkEngineEDataTable::FindStep(const LinkDescriptor& descriptor) const {
    const auto count = static_cast<std::int32_t>(state_->steps.size());
    if (!descriptor.resolved || descriptor.node < 1 || descriptor.node > count) {
        return nullptr;
    }
    return state_->steps[static_cast<std::size_t>(descriptor.node) - 1].get();
}

}  // namespace etabulon
