#include "etabulon/foundation/ELinkEngine.h"

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
    void Need(unsigned variable);
    /// Opens the lookup if it isn't, or lacks a column, or the rubric has another source. False
    /// where that fails.
    bool Open();
    /// What is in the buffer doesn't count any more.
    void Forget();
    /// What is in the buffer may be anybody's.
    void ForgetBuffer() noexcept { isKnown_ = isBlank_ = false; }
    /// Brings the buffer up to date with the record that the hop starts from, null if there is
    /// none. False, and a blank buffer, where there is no target.
    bool Follow(const std::byte* from);

private:
    void Blank(bool isKnown);

    DRubric* rubric_;
    std::int32_t number_;
    detail::PathHop hop_;
    Step* start_ = this;
    std::vector<Step*> way_;
    std::vector<Step*> children_;
    std::vector<unsigned> columns_;  // rising
    std::optional<detail::ELinkKey> key_;
    ERecordBuffer buffer_;
    std::unique_ptr<IRecordLookup> lookup_;
    IRecordSource* source_ = nullptr;  // of the lookup
    std::uint64_t version_ = 0;
    bool needsOpening_ = true;
    bool isKnown_ = false;  // the buffer is what the key taken last leads to
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

void LinkEngineEDataTable::Step::Need(unsigned variable) {
    const auto place = std::lower_bound(columns_.begin(), columns_.end(), variable);
    if (place == columns_.end() || *place != variable) {
        columns_.insert(place, variable);
        needsOpening_ = true;
    }
}

bool LinkEngineEDataTable::Step::Open() {
    if (!needsOpening_ && source_ == rubric_->Source()) {
        return lookup_ != nullptr;
    }
    lookup_.reset();
    isKnown_ = false;
    source_ = rubric_->Source();
    if (source_ != nullptr) {
        lookup_ = source_->OpenLookup(*rubric_, hop_.KeyVariables(), columns_);
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

bool LinkEngineEDataTable::Step::Follow(const std::byte* from) {
    if (from == nullptr || lookup_ == nullptr) {
        Blank(/*isKnown=*/false);
        return false;
    }
    const std::uint64_t version = lookup_->Version();
    if (isKnown_ && version == version_ && key_->IsSame(from)) {
        return !isBlank_;
    }
    isKnown_ = false;
    if (!key_->Take(from)) {
        Blank(/*isKnown=*/true);
    } else {
        isBlank_ = false;
        isBlank_ = !lookup_->Read(key_->Values(), Buffer());
    }
    version_ = version;
    isKnown_ = true;
    return !isBlank_;
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
    explicit State(DDico* dictionary) : dico(dictionary) {}
    Step* StartAt(DRubric* rubric);
    Step* Descend(Step& from, const detail::PathHop& hop);

    DDico* dico;
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
    for (const unsigned variable : hop.OwnVariables()) {
        from.Need(variable);
    }
    return step;
}

LinkEngineEDataTable::LinkEngineEDataTable(DDico* dico) : state_(std::make_unique<State>(dico)) {}

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
    for (const auto& step : state_->steps) {
        if (!step->IsStart()) {
            areOpen = step->Open() && areOpen;
            step->Forget();
        }
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
    const Step* const last = FindStep(descriptor);
    if (last == nullptr || provider == nullptr) {
        return nullptr;
    }
    const auto* record =
        static_cast<const std::byte*>(provider->FindRubricToReport(last->StartRubric()->Name()));
    for (Step* const step : last->Way()) {
        record = step->Follow(record) ? step->Buffer() : nullptr;
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
        static_cast<void>(step->Open());  // what can't be read shows as blank
    }
    return last->Buffer();
}

LinkEngineEDataTable::Step* LinkEngineEDataTable::FindStep(const LinkDescriptor& descriptor) const {
    const auto count = static_cast<std::int32_t>(state_->steps.size());
    if (!descriptor.resolved || descriptor.node < 1 || descriptor.node > count) {
        return nullptr;
    }
    return state_->steps[static_cast<std::size_t>(descriptor.node) - 1].get();
}

}  // namespace etabulon
