#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {

/// A cursor on literal rows, each column of which is a level and a field, of text if not said. It
/// writes down the steps that it is asked for ("prepare reset calc accept next"), and gives the
/// statuses that it is told to.
class ScriptCursor : public ETabulonCursor {
public:
    using Row = std::vector<EVariant>;

    ScriptCursor(std::initializer_list<const char*> columns, std::vector<Row> rows,
                 std::uint16_t type = TYPE_CHAINE)
        : rows_(std::move(rows)), layout_(Layout(columns, type)), record_(layout_) {
        layout_.ChangeBuffer(record_.Get(), false);
        ETabulonLevels levels;
        for (const char* column : columns) {
            levels.AddLevel(column, column, nullptr, /*addRef=*/false);
        }
        Init(levels);
    }

    /// The n-th call (from 1, since the last TakeSteps) of "reset", "next" or "accept" gives this.
    void GiveAt(const std::string& step, int count, CursorStatus status) {
        plans_[step + std::to_string(count)] = status;
    }
    /// The steps since the last time; the counting begins anew.
    [[nodiscard]] std::string TakeSteps() {
        counts_.clear();
        return std::exchange(steps_, std::string());
    }

    using ETabulonCursor::CallGetNext;
    using ETabulonCursor::CallReset;
    using ETabulonCursor::FieldsDirty;
    using ETabulonCursor::iField;
    using ETabulonCursor::iFields;
    mutable int tagsBuilt = 0;
    mutable int keysBuilt = 0;
    std::string cancelsIn;  // a step
    bool isQuiet = false;   // writes nothing down, gives nothing planned, and allocates nothing

protected:
    CursorStatus Reset(const ETabulonTag& /*tag*/) override {
        at_ = 0;
        return Step("reset", Load());
    }
    CursorStatus GetNext() override {
        ++at_;
        return Step("next", Load());
    }
    void DeclareFields() override {
        Step("declare");
        ResetDeclaredFields();
        DeclareMasterFields(layout_);
    }
    void PrepareFields() override { Step("prepare"); }
    void CalcFields() override { Step("calc"); }
    CursorStatus OnAcceptedByFilter() override { return Step("accept"); }
    void OnRefusedByFilter() override { Step("refuse"); }
    void ExtractCurrentTag(ETabulonTag& tag) const override {
        ++tagsBuilt;
        ETabulonCursor::ExtractCurrentTag(tag);
    }
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override {
        ++keysBuilt;
        key.Set(EFieldKey(), static_cast<EPosition>(at_));
    }

private:
    static EFieldSet Layout(std::initializer_list<const char*> columns, std::uint16_t type) {
        PTableau<EFieldDesc> descs;
        for (const char* column : columns) {
            descs.Add(EFieldDesc(column, type, 0, 0, nullptr));
        }
        EFieldSet layout;
        layout.Attach(descs, nullptr, 0, static_cast<std::uint16_t>(columns.size()));
        return layout;
    }
    CursorStatus Load() {
        if (at_ >= rows_.size()) {
            record_.Clear();
            return StatusEnd;
        }
        for (std::size_t index = 0; index < rows_[at_].size(); ++index) {
            layout_.At(static_cast<std::uint16_t>(index)) <<= rows_[at_][index];
        }
        return StatusOk;
    }
    CursorStatus Step(const char* step, CursorStatus status = StatusOk) {
        if (isQuiet) {
            return status;
        }
        steps_ += std::string(steps_.empty() ? "" : " ") + step;
        if (cancelsIn == step) {
            Cancel();
        }
        const auto plan = plans_.find(step + std::to_string(++counts_[step]));
        return plan == plans_.end() ? status : plan->second;
    }

    std::vector<Row> rows_;
    std::size_t at_ = 0;
    EFieldSet layout_;
    ERecordBuffer record_;
    std::string steps_;
    std::map<std::string, int> counts_;
    std::map<std::string, CursorStatus> plans_;
};

}  // namespace etabulon::test
