#pragma once

#include "etabulon/foundation/EDataMemory.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {

inline constexpr unsigned int kNullableLong = 5;    // with the mark byte
inline constexpr unsigned int kNullableDouble = 9;  // with the mark byte

inline EVariant Missing() { return EVariant::Missing(TYPE_LONG, 0); }

struct Variable {
    const char* name;
    int type;
    unsigned int size = 0;
};
inline void AddVariables(DRubric& rubric, std::initializer_list<Variable> variables,
                         const std::vector<Chaine>& key = {}) {
    for (const auto& [name, type, size] : variables) {
        rubric.AddVariable(name, name, type, size);
    }
    if (!key.empty()) {
        rubric.SetKey(key);
    }
}
/// A table on `rubric`, which has its variables and key, from literal rows in field order.
inline std::unique_ptr<EDataMemory> MakeTable(
    DRubric* rubric, std::initializer_list<std::vector<EVariant>> rows = {}) {
    auto table = std::make_unique<EDataMemory>(rubric);
    for (const std::vector<EVariant>& row : rows) {
        table->Append(row);
    }
    return table;
}

/// The status that an operation leaves in `table`. It must have failed: `result` is no position.
inline std::int32_t Failure(const EData& table, EPosition result) {
    EXPECT_EQ(result, kNoPosition);
    return table.status;
}
inline std::int32_t Failure(const EData& table, bool isDone) {
    EXPECT_FALSE(isDone);
    return table.status;
}

/// Five sales. Each of country, city, year and amount has a twin (a value that comes twice) and a
/// gap (a record without it); "Berlin" lies in a country and in none.
///
///     id  country  city    year  amount
///     1   FR       Paris   2021  10
///     2   FR       Paris   2022  10
///     3   FR       -       2021  5.5
///     4   DE       Berlin  -     -
///     5   -        Berlin  2022  2.25
struct VentesData {
    VentesData() : rubric(dico.AddRubric("Ventes", "Sales")) {
        AddVariables(*rubric,
                     {{"id", TYPE_LONG},
                      {"country", TYPE_CHAINE},
                      {"city", TYPE_CHAINE},
                      {"year", TYPE_LONG, kNullableLong},
                      {"amount", TYPE_DOUBLE, kNullableDouble}},
                     {"id"});
        table = MakeTable(rubric, {{1, "FR", "Paris", 2021, 10},
                                   {2, "FR", "Paris", 2022, 10},
                                   {3, "FR", Missing(), 2021, EVariant::FromDouble(5.5)},
                                   {4, "DE", "Berlin", Missing(), Missing()},
                                   {5, Missing(), "Berlin", 2022, EVariant::FromDouble(2.25)}});
    }

    DDico dico;
    DRubric* rubric;
    std::unique_ptr<EDataMemory> table;
};

/// A table that writes down what is asked of it, and fails where it is told to.
///
/// It stands beside `inner` on the same records. The trace is "first next lock(-1,1) update(-1)",
/// with begin and end for a session of writes. An operation is named by its word in the trace.
class FailingTable : public EDataMemory {
public:
    explicit FailingTable(const EDataMemory& inner) : EDataMemory(inner) {}

    /// The `count`-th call of `operation` from here (from 1) fails with `failure`, and that one
    /// only, or with all that follow. A step or move that fails leaves no current record; a write
    /// that fails changes nothing.
    void FailAt(const std::string& operation, int count, std::int32_t failure,
                bool forEver = false) {
        plans_[operation] = {count, failure, forEver};
    }
    /// What was asked since the last Take.
    [[nodiscard]] std::string Take() { return std::exchange(trace_, {}); }

    EPosition GetFirst() override {
        return Fails("first") ? LeaveRecord(failure_) : EDataMemory::GetFirst();
    }
    EPosition GetLast() override {
        return Fails("last") ? LeaveRecord(failure_) : EDataMemory::GetLast();
    }
    EPosition GetNext() override {
        return Fails("next") ? LeaveRecord(failure_) : EDataMemory::GetNext();
    }
    EPosition GetPrevious() override {
        return Fails("previous") ? LeaveRecord(failure_) : EDataMemory::GetPrevious();
    }
    EPosition RePos(EPosition to, bool flag) override {
        return Fails("repos", Arguments(to)) ? LeaveRecord(failure_) : EDataMemory::RePos(to, flag);
    }
    EPosition Insert() override { return Fails("insert") ? Fail(failure_) : EDataMemory::Insert(); }
    EPosition Update(EPosition where) override {
        return Fails("update", Arguments(where)) ? Fail(failure_) : EDataMemory::Update(where);
    }
    bool DeleteOne(EPosition where) override {
        if (Fails("delete", Arguments(where))) {
            status = failure_;
            return false;
        }
        return EDataMemory::DeleteOne(where);
    }
    void BeginDelete() override { Note("begin"); }
    void EndDelete() override { Note("end"); }
    std::int32_t Lock(EPosition where, bool wait) override {
        return Fails("lock", Arguments(where, wait)) ? status = failure_
                                                     : EDataMemory::Lock(where, wait);
    }
    void Unlock() override {
        Note("unlock");
        EDataMemory::Unlock();
    }
    std::int32_t LockRecord(EPosition where, bool wait) override {
        return Fails("lockrecord", Arguments(where, wait)) ? status = failure_
                                                           : EDataMemory::LockRecord(where, wait);
    }
    std::int32_t UnlockRecord(EPosition where) override {
        return Fails("unlockrecord", Arguments(where)) ? status = failure_
                                                       : EDataMemory::UnlockRecord(where);
    }
    bool LoadBuffer() override {
        if (Fails("load")) {
            LeaveRecord(failure_);
            return false;
        }
        return EDataMemory::LoadBuffer();
    }

private:
    struct Plan {
        int callsLeft = 0;
        std::int32_t failure = DataOk;
        bool forEver = false;
    };

    static std::string Arguments(EPosition where) { return "(" + std::to_string(where) + ")"; }
    static std::string Arguments(EPosition where, bool wait) {
        return "(" + std::to_string(where) + (wait ? ",1)" : ",0)");
    }
    void Note(const std::string& call) { trace_ += (trace_.empty() ? "" : " ") + call; }
    bool Fails(const std::string& operation, const std::string& arguments = {}) {
        Note(operation + arguments);
        const auto plan = plans_.find(operation);
        if (plan == plans_.end() || --plan->second.callsLeft > 0) {
            return false;
        }
        failure_ = plan->second.failure;
        if (!plan->second.forEver) {
            plans_.erase(plan);
        }
        return true;
    }

    std::map<std::string, Plan> plans_;
    std::int32_t failure_ = DataOk;
    std::string trace_;
};

}  // namespace etabulon::test
