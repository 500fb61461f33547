#include "etabulon/foundation/DDico.h"

#include "etabulon/foundation/EExpects.h"
#include "foundation/ELinkPath.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kMaxFields = 0xFFFF;  // a field's index has 16 bits

std::string Folded(std::string_view name) {
    std::string folded(name);
    for (char& c : folded) {
        c = static_cast<char>(Chaine::Fold(static_cast<unsigned char>(c)));
    }
    return folded;
}

}  // namespace

// --------------------------------------------------------------------------------------- DVariable

DVariable::DVariable(DRubric* rubric, unsigned int index, const Chaine& name, const Chaine& header,
                     int type, unsigned int size, unsigned int count, unsigned long accelerator,
                     std::size_t offset)
    : DDicoBase(rubric->Dico(), name, header),
      rubric_(rubric),
      index_(index),
      type_(static_cast<signed char>(type)),
      size_(size),
      count_(count),
      accelerator_(accelerator),
      offset_(offset),
      stride_(TypeInfo(type).IsSlot() ? sizeof(Chaine) : size) {}

const void* DVariable::GetFieldAdrInMappedRecord(const void* record, int index) const {
    if (record == nullptr || index < 0 || static_cast<unsigned int>(index) >= count_) {
        return nullptr;
    }
    return static_cast<const std::byte*>(record) + Offset(static_cast<unsigned int>(index));
}

EFieldDesc DVariable::MakeFieldDesc(unsigned int index) const {
    E_EXPECTS(index < count_);
    Chaine name = Name();
    Chaine header = Header();
    if (count_ > 1) {
        name = Chaine::Format("%s[%u]", GetDDFName(), index);
        header = Chaine::Format("%s[%u]", GetHeader(), index);
    }
    // The code as declared, not sign-extended: the exact code decides the family of a type.
    return {name, static_cast<std::uint8_t>(type_), static_cast<std::uint16_t>(size_),
            static_cast<std::uint16_t>(Offset(index)),
            std::make_shared<EFInfosHandlerLocal>(header, Chaine(),
                                                  static_cast<std::uint16_t>(Offset(index)),
                                                  accelerator_ + index, this)};
}

// ----------------------------------------------------------------------------------------- DRubric

const std::vector<unsigned int>& DLink::TargetVariables() const noexcept {
    return targetVariables.empty() ? target->Key() : targetVariables;
}

DRubric::DRubric(DDico* dico, const Chaine& name, const Chaine& header)
    : DDicoBase(dico, name, header) {}

DRubric::~DRubric() = default;

DVariable* DRubric::AddVariable(const Chaine& name, const Chaine& header, int type,
                                unsigned int size, unsigned int count, unsigned long accelerator) {
    const ETypeInfo& info = TypeInfo(type);
    if (info.IsSlot() || (info.IsFixedSize() && size == 0)) {
        size = info.naturalSize;
    }
    if (info.IsFixedSize() && size != info.naturalSize && size != info.naturalSize + 1U) {
        return nullptr;
    }
    if (size == 0 || size > 0xFFFF || count == 0 || count > kMaxFields - fieldCount_) {
        return nullptr;
    }
    const unsigned int index = static_cast<unsigned int>(variables_.size());
    if (name.IsEmpty() || !byName_.try_emplace(Folded(name.View()), index).second) {
        return nullptr;
    }
    const unsigned long number = accelerator != 0 ? accelerator : lastAccelerator_ + 1;
    lastAccelerator_ = std::max(lastAccelerator_, number + count - 1);
    std::size_t offset = recordSize_;
    if (info.IsSlot()) {
        offset = (offset + sizeof(Chaine) - 1) / sizeof(Chaine) * sizeof(Chaine);
    }
    variables_.push_back(
        std::make_unique<DVariable>(this, index, name, header, type, size, count, number, offset));
    recordSize_ = variables_.back()->Offset(count);
    fieldCount_ += count;
    return variables_.back().get();
}

DVariable* DRubric::Find(const Chaine& name) const {
    const auto found = byName_.find(Folded(name.View()));
    return found == byName_.end() ? nullptr : variables_[found->second].get();
}

bool DRubric::IndexesOf(const std::vector<Chaine>& names,
                        std::vector<unsigned int>& indexes) const {
    indexes.clear();
    for (const Chaine& name : names) {
        const DVariable* const variable = Find(name);
        if (variable == nullptr) {
            return false;
        }
        indexes.push_back(variable->Index());
    }
    return true;
}

bool DRubric::SetKey(const std::vector<Chaine>& variables) {
    std::vector<unsigned int> key;
    if (!IndexesOf(variables, key)) {
        return false;
    }
    key_ = std::move(key);
    return true;
}

bool DRubric::AddLink(const Chaine& name, const std::vector<Chaine>& variables, DRubric* target,
                      const std::vector<Chaine>& targetVariables) {
    DLink link;
    link.name = name;
    link.target = target;
    if (target == nullptr || variables.empty() || !IndexesOf(variables, link.variables) ||
        !target->IndexesOf(targetVariables, link.targetVariables)) {
        return false;
    }
    const std::vector<unsigned int>& there = link.TargetVariables();
    if (!there.empty() && there.size() != variables.size()) {
        return false;
    }
    const auto isNamed = [&name](const DLink& other) { return other.name.EqualsFolded(name); };
    if (std::any_of(links_.begin(), links_.end(), isNamed)) {
        return false;
    }
    links_.push_back(std::move(link));
    return true;
}

const DLink* DRubric::FindLink(const Chaine& name) const {
    for (const DLink& link : links_) {
        if (link.name.EqualsFolded(name)) {
            return &link;
        }
    }
    const DVariable* const variable = Find(name);
    const DLink* only = nullptr;
    for (const DLink& link : links_) {
        if (variable != nullptr && link.variables.front() == variable->Index()) {
            if (only != nullptr) {
                return nullptr;
            }
            only = &link;
        }
    }
    return only;
}

EFieldSet DRubric::MakeFields() const {
    std::vector<unsigned int> all(variables_.size());
    for (unsigned int i = 0; i < all.size(); ++i) {
        all[i] = i;
    }
    return MakeFields(all);
}

EFieldSet DRubric::MakeFields(std::span<const unsigned int> only) const {
    PTableau<EFieldDesc> descs;
    for (const unsigned int index : only) {
        E_EXPECTS(index < variables_.size());
        for (unsigned int element = 0; element < variables_[index]->Count(); ++element) {
            descs.Add(variables_[index]->MakeFieldDesc(element));
        }
    }
    EFieldSet fields;
    fields.Attach(descs, nullptr, 0, static_cast<std::uint16_t>(descs.Size()));
    fields.SetRubricName(Name());
    return fields;
}

// ------------------------------------------------------------------------------------------- DDico

DDico::DDico() = default;

DDico::~DDico() {
    // Sources first: what they hold may refer to any rubric.
    for (const auto& rubric : rubrics_) {
        rubric->SetSource(nullptr);
    }
}

DRubric* DDico::AddRubric(const Chaine& name, const Chaine& header) {
    const unsigned int index = static_cast<unsigned int>(rubrics_.size());
    if (name.IsEmpty() || !byName_.try_emplace(Folded(name.View()), index).second) {
        return nullptr;
    }
    rubrics_.push_back(std::make_unique<DRubric>(this, name, header));
    return rubrics_.back().get();
}

DRubric* DDico::Find(const Chaine& name) const {
    const auto found = byName_.find(Folded(name.View()));
    return found == byName_.end() ? nullptr : rubrics_[found->second].get();
}

DDicoBase* GetObj(DDico* dico, const char* path, bool) {
    if (dico == nullptr || path == nullptr) {
        return nullptr;
    }
    if (DRubric* const rubric = dico->Find(path)) {
        return rubric;
    }
    detail::LinkPath resolved;
    return detail::ResolveLinkPath(*dico, path, resolved) ? resolved.variable : nullptr;
}

int GetIndiceFromPath(const char* path) {
    if (path == nullptr) {
        return -1;
    }
    const std::string_view text(path);
    const std::size_t mark = text.find_last_of(detail::kLinkMarks);
    const detail::PathStep step =
        detail::ReadPathStep(mark == std::string_view::npos ? text : text.substr(mark + 1));
    return step.isBad ? -1 : step.index;
}

}  // namespace etabulon
