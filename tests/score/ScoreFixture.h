#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/score/ETabulonScoreCumulsBuffers.h"
#include "etabulon/score/ITabulonResScoreUI.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/GridFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace etabulon::test {

/// The view of a score: "levels=1 axe[Header of A]", "[Paris]=5,2" for a line, "total=7,3".
class ScoreTrace : public ResultTrace, public ITabulonResScoreUI {
public:
    void SetScoreAxe(const ETabulonSortDesc* /*sortDesc*/, unsigned int levelCount,
                     const ETabulonGridAxe* axe) override {
        Hear("levels=" + std::to_string(levelCount) + " axe" + Text(*axe));
    }
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override {
        Hear(label.DisplayID().c_str() + ("=" + Join(values)));
    }
    void SetScoreTotal(const PTableau<ETabulonValue>& values) override {
        Hear("total=" + Join(values));
    }

private:
    [[nodiscard]] std::string Join(const PTableau<ETabulonValue>& line) {
        std::string text;
        for (const ETabulonValue& value : line) {
            text += (text.empty() ? "" : ",") + Heard(value);
        }
        return text;
    }
};

/// An application's function: the last value, and no result while that isn't positive.
class LastPositive : public ETabulonCumulFunc {
public:
    LastPositive() : ETabulonCumulFunc("LASTPOSITIVE", "Last positive", nullptr) {}
    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override {
        return new Buffer(this, type, size);
    }
    [[nodiscard]] int ResultType(int type) const override { return type; }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override { return size; }

private:
    class Buffer : public ETabulonCumulBuffer {
    public:
        using ETabulonCumulBuffer::ETabulonCumulBuffer;
        void AddValue(const EVariant& value, bool /*modified*/,
                      const ETabulonPrimaryKey& /*context*/) override {
            value > EVariant(0) ? SetResult(value) : SetResultNull();
        }
    };
};

/// As Collect; "LASTPOSITIVE" is LastPositive.
inline ETabulonCumulFuncOnVarCollection CollectAny(const Calculations& calculations) {
    ETabulonCumulFuncOnVarCollection collection;
    for (const auto& [name, code] : calculations) {
        const auto known = Collect((name + " " + code).c_str());
        if (known.Size() != 0) {
            collection.AddCalculations(&known);
            continue;
        }
        const auto variable = ERef<ETabulonVariableDesc>::Adopt(ETabulonVariableDesc::Build(
            ETabulonVariableID(Chaine(code)), TYPE_LONG, 0, Chaine(code), nullptr));
        const auto function = MakeRef<LastPositive>();
        collection.AddCalculation(ETabulonCumulFuncOnVar::Build(function.Get(), variable.Get()),
                                  /*addRef=*/false);
    }
    return collection;
}

/// The parameters of a score on the levels given, in their order.
struct ScoreSetup : GridSetup {
    using GridSetup::GridSetup;
    explicit ScoreSetup(const ETabulonSortDesc::SortKeyArray& keys) : GridSetup{0} {
        sort.SetSortLevels(keys);
    }

    [[nodiscard]] ERef<ETabulonScoreCumuls> Score(const ETabulonTag& root,
                                                  const Calculations& calculations,
                                                  unsigned int levelCount, bool rising) const {
        const auto collection = CollectAny(calculations);
        return ERef<ETabulonScoreCumuls>::Adopt(
            ETabulonScoreCumuls::Build(root, &sort, &collection, levelCount, rising));
    }
};

/// Running results on `score`, with every record folded, wherever it lies.
inline ERef<ETabulonScoreCumulsBuffers> Folded(ETabulonScoreCumuls& score,
                                               const std::vector<Record>& records) {
    auto buffers = ERef<ETabulonScoreCumulsBuffers>::Adopt(score.Start());
    RecordCursor cursor(records);
    ETabulonExtractValue extract;
    extract.Init(&score.Calculations(), nullptr);
    for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status != StatusEnd;
         status = cursor.CallGetNext()) {
        extract.SetCurrent(cursor);
        buffers->AddValue(extract);
    }
    return buffers;
}

/// What a view hears, between "start reset" and "end".
template <class Sender>
std::string Heard(const Sender& sender) {
    ScoreTrace view;
    sender.SendTo(&view);
    std::string heard = view.Take();
    EXPECT_EQ(heard.rfind("start reset ", 0), 0U) << heard;
    EXPECT_EQ(heard.substr(heard.size() - 4), " end") << heard;
    return heard.substr(12, heard.size() - 16);
}

/// The lines and the total of it.
template <class Sender>
std::string HeardLines(const Sender& sender) {
    const std::string heard = Heard(sender);
    return heard.substr(heard.find("] ") + 2);
}

}  // namespace etabulon::test
