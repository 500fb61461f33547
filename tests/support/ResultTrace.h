#pragma once

#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ITabulonResGridUI.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {

/// The value's type, size and bytes: equal texts mean identical values, to the last bit.
[[nodiscard]] inline std::string ExactText(const EVariant& value) {
    std::string text = std::to_string(value.Type()) + '/' + std::to_string(value.Size()) + ':';
    const auto* bytes = static_cast<const unsigned char*>(value.GetBuffer());
    if (bytes == nullptr) {
        return text + '-';
    }
    for (std::size_t at = 0; at < value.ByteCount(); ++at) {
        text += "0123456789abcdef"[bytes[at] >> 4];
        text += "0123456789abcdef"[bytes[at] & 15];
    }
    return text;
}

/// What views of results have in common: they render what they hear as one string, which begins
/// with "start reset" and ends with "end". No value shows as "-", values that differ as "<>".
class ResultTrace : public virtual ITabulonResultUI {
public:
    /// What was heard since the last time.
    [[nodiscard]] std::string Take() { return std::exchange(trace_, std::string()); }
    /// Labels show with their data and column, values with all their bytes: for comparing two
    /// senders.
    void ShowAll() noexcept { showsAll_ = true; }

    std::function<void()> onEnd;
    std::vector<ETabulonValue> heard;  // copies of all that were heard

    void StartRefresh() override { Hear("start"); }
    void EndRefresh() override {
        Hear("end");
        if (onEnd) {
            onEnd();
        }
    }
    void Reset() override { Hear("reset"); }

protected:
    void Hear(const std::string& call) { trace_ += (trace_.empty() ? "" : " ") + call; }
    [[nodiscard]] std::string Heard(const ETabulonValue& value) {
        heard.push_back(value);
        return Text(value);
    }
    [[nodiscard]] std::string Text(const ETabulonValue& value) const {
        if (value.Status() != ETabulonValue::ValNormal) {
            return value.IsNull() ? "-" : "<>";
        }
        return value.Data().AsChaine().c_str() + (showsAll_ ? "=" + ExactText(value.Data()) : "");
    }
    [[nodiscard]] std::string Text(const ETabulonGridAxe& axe) const {
        std::string text = showsAll_ ? std::string(axe.DisplayName().c_str()) + "[" : "[";
        for (unsigned int label = 0; label < axe.Size(); ++label) {
            text += (label == 0 ? "" : ",") + Text(axe.Label(label));
        }
        return text + "]";
    }

private:
    [[nodiscard]] std::string Text(const ETabulonGridAxe::AxeLabel& label) const {
        const std::string display = label.DisplayValue().c_str();
        return showsAll_ ? display + "/" + Text(static_cast<const ETabulonValue&>(label)) + "/" +
                               std::to_string(label.ColumnType()) + "/" +
                               std::to_string(label.ColumnBufferSize())
                         : display;
    }

    std::string trace_;
    bool showsAll_ = false;
};

/// The view of a grid: "axes=2 axe0[FR,DE] axe1[2021]", "0,1=5" for column 0 of line 1, "line1=5"
/// for a line's total, "column0=7" for a column's, "total=7".
class GridTrace : public ResultTrace, public ITabulonResGridUI {
public:
    void SetAxeCount(unsigned int count) override { Hear("axes=" + std::to_string(count)); }
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override {
        Hear("axe" + std::to_string(direction) + Text(*axe));
    }
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override {
        Hear(std::to_string(column) + "," + std::to_string(line) + "=" + Heard(value));
    }
    void SetTotal(const ETabulonValue& value) override { Hear("total=" + Heard(value)); }
    void SetTotal(AxeDirection direction, unsigned int index, const ETabulonValue& value) override {
        Hear((direction == AxeColumns ? "line" : "column") + std::to_string(index) + "=" +
             Heard(value));
    }
};

}  // namespace etabulon::test
