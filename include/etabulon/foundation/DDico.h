#pragma once

#include "etabulon/foundation/EFieldKey.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/IRecordSource.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace etabulon {

class DDico;
class DRubric;

/// A node of the data dictionary. Nodes are owned by their dictionary and don't move.
/// Example    tests/cursors/CacheTableTest.cpp
class ETABULON_API DDicoBase {
public:
    virtual ~DDicoBase() = default;
    [[nodiscard]] const char* GetDDFName() const { return name_.c_str(); }
    [[nodiscard]] const char* GetHeader() const { return header_.c_str(); }
    [[nodiscard]] const Chaine& Name() const noexcept { return name_; }
    [[nodiscard]] const Chaine& Header() const noexcept { return header_; }
    [[nodiscard]] virtual int IsArray() const { return 0; }
    [[nodiscard]] virtual DDico* Dico() const { return dico_; }

protected:
    DDicoBase(DDico* dico, const Chaine& name, const Chaine& header)
        : dico_(dico), name_(name), header_(header) {}

private:
    DDico* dico_;
    Chaine name_;
    Chaine header_;
};

/// A variable of a rubric, or an array of `count` of them.
/// Example    apps/etabulon/request/CliTable.h
class ETABULON_API DVariable : public DDicoBase {
public:
    DVariable(DRubric* rubric, unsigned int index, const Chaine& name, const Chaine& header,
              int type, unsigned int size, unsigned int count, unsigned long accelerator,
              std::size_t offset);
    [[nodiscard]] int IsArray() const override { return count_ > 1 ? 1 : 0; }
    /// As declared in the record: a nullable number is one byte larger than natural.
    [[nodiscard]] virtual unsigned int Size() const { return size_; }
    [[nodiscard]] virtual signed char TypeCode() const { return type_; }
    /// The address within a record of the rubric; null where `record` is null or the index is out
    /// of range.
    [[nodiscard]] const void* GetFieldAdrInMappedRecord(const void* record, int index) const;
    /// The offset of an element within a record of the rubric. Requires index < Count().
    [[nodiscard]] std::size_t Offset(unsigned int index = 0) const noexcept {
        return offset_ + index * stride_;
    }
    /// The bytes that one element takes in a record.
    [[nodiscard]] std::size_t StorageSize() const noexcept { return stride_; }
    /// Describes the field of an element: "name", or "name[index]" of an array, with the number
    /// Accelerator() + index.
    [[nodiscard]] EFieldDesc MakeFieldDesc(unsigned int index = 0) const;
    [[nodiscard]] DRubric* Rubric() const noexcept { return rubric_; }
    /// The index among the rubric's variables.
    [[nodiscard]] unsigned int Index() const noexcept { return index_; }
    [[nodiscard]] unsigned int Count() const noexcept { return count_; }
    [[nodiscard]] unsigned long Accelerator() const noexcept { return accelerator_; }

private:
    DRubric* rubric_;
    unsigned int index_;
    signed char type_;
    unsigned int size_;
    unsigned int count_;
    unsigned long accelerator_;
    std::size_t offset_;
    std::size_t stride_;
};

/// A link by name: own variables whose values are the key of a record of the target rubric.
/// Example    apps/etabulon/request/CliDictionary.cpp
struct ETABULON_API DLink {
    Chaine name;
    std::vector<unsigned int> variables;  // own, by index, in the order of the target's
    DRubric* target = nullptr;
    std::vector<unsigned int> targetVariables;  // of the target, by index; empty: its primary key

    /// The target's variables, in the order of the own ones.
    [[nodiscard]] const std::vector<unsigned int>& TargetVariables() const noexcept;
};

/// A kind of record: variables laid out one after the other as EFieldSet::Attach lays fields out,
/// keys, links, and a source. Variables are added before the first record is made of it.
/// Example    examples/first.cpp
class ETABULON_API DRubric : public DDicoBase {
public:
    DRubric(DDico* dico, const Chaine& name, const Chaine& header);
    ~DRubric() override;

    /// Adds a variable. Null where the name exists or is empty, or the type can't have that size (0
    /// is the natural one). An accelerator of 0 gives the next number above all; an array takes
    /// `count` numbers.
    DVariable* AddVariable(const Chaine& name, const Chaine& header, int type, unsigned int size,
                           unsigned int count = 1, unsigned long accelerator = 0);
    /// The primary key. False where a name is unknown.
    bool SetKey(const std::vector<Chaine>& variables);
    /// A link by these own variables to the target's key, or to the variables named. False where a
    /// name is unknown, the link exists, or the two sides differ in number. The target's key may be
    /// set later; a link that doesn't fit it then is never resolved.
    bool AddLink(const Chaine& name, const std::vector<Chaine>& variables, DRubric* target,
                 const std::vector<Chaine>& targetVariables = {});
    void SetSource(std::shared_ptr<IRecordSource> source) {
        source_ = std::move(source);
        ++sourceNumber_;
    }

    [[nodiscard]] std::size_t Size() const noexcept { return variables_.size(); }
    [[nodiscard]] DVariable* At(std::size_t index) const { return variables_[index].get(); }
    /// The variable of that name, whatever its case; null if there is none.
    [[nodiscard]] DVariable* Find(const Chaine& name) const;
    /// The link of that name, otherwise the only one whose first own variable has it; or null.
    [[nodiscard]] const DLink* FindLink(const Chaine& name) const;
    [[nodiscard]] const std::deque<DLink>& Links() const noexcept { return links_; }
    [[nodiscard]] const std::vector<unsigned int>& Key() const noexcept { return key_; }
    [[nodiscard]] IRecordSource* Source() const noexcept { return source_.get(); }
    /// Different for each source that was set: a new source may have the address of a released one.
    [[nodiscard]] std::uint64_t SourceNumber() const noexcept { return sourceNumber_; }

    /// Fields for a record of the whole rubric, without a buffer: arrays have a field an element,
    /// named "name[index]". `only` limits them to some variables, in the order given; offsets are
    /// then those of the smaller record.
    [[nodiscard]] EFieldSet MakeFields() const;
    [[nodiscard]] EFieldSet MakeFields(std::span<const unsigned int> only) const;

private:
    [[nodiscard]] bool IndexesOf(const std::vector<Chaine>& names,
                                 std::vector<unsigned int>& indexes) const;

    std::vector<std::unique_ptr<DVariable>> variables_;
    std::unordered_map<std::string, unsigned int> byName_;  // folded
    std::vector<unsigned int> key_;
    std::deque<DLink> links_;  // resolved paths point at them
    std::shared_ptr<IRecordSource> source_;
    std::uint64_t sourceNumber_ = 0;
    std::size_t recordSize_ = 0;
    std::size_t fieldCount_ = 0;
    unsigned long lastAccelerator_ = 0;
};

/// The data dictionary: rubrics in order. It outlives every table and cursor that names its nodes.
/// Example    examples/first.cpp
class ETABULON_API DDico {
public:
    DDico();
    ~DDico();
    DDico(const DDico&) = delete;
    DDico& operator=(const DDico&) = delete;
    /// Null where the name exists or is empty.
    DRubric* AddRubric(const Chaine& name, const Chaine& header = {});
    [[nodiscard]] DRubric* Find(const Chaine& name) const;  // folded
    [[nodiscard]] std::size_t Size() const noexcept { return rubrics_.size(); }
    [[nodiscard]] DRubric* At(std::size_t index) const { return rubrics_[index].get(); }

private:
    std::vector<std::unique_ptr<DRubric>> rubrics_;
    std::unordered_map<std::string, unsigned int> byName_;
};

/// The node at `path`: a rubric, a variable ("Rubric.name[2]"), or the variable that a link path
/// ends in ("Rubric.link>name", see ELinkEngine.h). Null where it doesn't resolve. `flag` is
/// ignored.
[[nodiscard]] ETABULON_API DDicoBase* GetObj(DDico* dico, const char* path, bool flag);
/// The array index written at the end of `path`; 0 without one, -1 for a bad one.
[[nodiscard]] ETABULON_API int GetIndiceFromPath(const char* path);

}  // namespace etabulon
