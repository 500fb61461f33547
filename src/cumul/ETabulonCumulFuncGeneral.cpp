#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"

#include "etabulon/foundation/EDataType.h"

namespace etabulon {
namespace {

constexpr unsigned kCountText = 10704;
constexpr unsigned kLastText = 10705;
constexpr unsigned kCommonValText = 10706;

}  // namespace

class ETabulonCumulFuncCount::Exec final : public ETabulonCumulBuffer {
public:
    using ETabulonCumulBuffer::ETabulonCumulBuffer;
    // Deliberate: every record counts, also one without a value, and a count is never marked as
    // modified, whatever the values are. CountIgnoresValuesAndFlags holds it.
    void AddValue(const EVariant& /*value*/, bool /*modified*/,
                  const ETabulonPrimaryKey& /*context*/) override {
        ++counter_;
        SetResult(EVariant(counter_));
    }

private:
    std::uint32_t counter_ = 0;
};

class ETabulonCumulFuncLast::Exec final : public ETabulonCumulBufferContext {
public:
    using ETabulonCumulBufferContext::ETabulonCumulBufferContext;
    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& context) override {
        SetResult(value, modified);
        SetContext(context);
    }
};

class ETabulonCumulFuncCommonVal::Exec final : public ETabulonCumulBuffer {
public:
    using ETabulonCumulBuffer::ETabulonCumulBuffer;
    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& /*context*/) override {
        if (first_) {
            SetResult(value, modified);
            first_ = false;
            return;
        }
        const ETabulonValue& common = Result();
        if (common.Status() == ETabulonValue::ValNormal && value == common.Data()) {
            // Deliberate: agreement doesn't mark the result, also where the new value is modified.
            // CommonValueDropsTheFlagOfWhatAgrees holds it.
            return;
        }
        const bool anyModified = modified || common.IsModified();
        SetResultSpecial(anyModified);
    }

private:
    bool first_ = true;
};

ETabulonCumulFuncCount::ETabulonCumulFuncCount()
    : ETabulonCumulFunc("COUNT", Chaine::Load(kCountText), nullptr) {}

ETabulonCumulBuffer* ETabulonCumulFuncCount::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

int ETabulonCumulFuncCount::ResultType(int /*type*/) const { return TYPE_UINT32; }

ETabulonCumulFuncLast::ETabulonCumulFuncLast()
    : ETabulonCumulFunc("LAST", Chaine::Load(kLastText), nullptr) {}

ETabulonCumulBuffer* ETabulonCumulFuncLast::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

ETabulonCumulFuncCommonVal::ETabulonCumulFuncCommonVal()
    : ETabulonCumulFunc("COMMONVAL", Chaine::Load(kCommonValText), nullptr) {}

ETabulonCumulBuffer* ETabulonCumulFuncCommonVal::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

}  // namespace etabulon
