#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace etabulon {
namespace {

class IView : public virtual EUnknown {
public:
    virtual int Shown() const = 0;
};

class Counted : public IView, public virtual ECountedUnknown {
public:
    explicit Counted(int shown, int* ended = nullptr) : shown_(shown), ended_(ended) {}
    ~Counted() override {
        if (ended_ != nullptr) {
            // A destructor may hand the object to someone who counts.
            AddRef();
            Release();
            ++*ended_;
        }
    }
    int Shown() const override { return shown_; }

private:
    int shown_;
    int* ended_;
};

static_assert(!std::is_convertible_v<Counted*, ERef<Counted>>);
static_assert(!std::is_convertible_v<ERef<const Counted>, ERef<Counted>>);
static_assert(!std::is_convertible_v<ERef<IView>, ERef<Counted>>);

std::int32_t CountOf(EUnknown& object) {
    object.AddRef();
    return object.Release();
}

TEST(CountedObject, EndsOnceAtItsLastRelease) {
    int ended = 0;
    auto* object = new Counted(7, &ended);
    object->AddRef();
    EXPECT_EQ(object->Release(), 1);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(object->Release(), 0);
    EXPECT_EQ(ended, 1);
}

TEST(CountedObject, CopyStartsAtOneAndAssignmentLeavesTheCount) {
    const auto source = MakeRef<Counted>(1);
    const auto second = source;
    const auto copy = MakeRef<Counted>(*source);
    EXPECT_EQ(CountOf(*copy), 1);
    *source = *copy;
    EXPECT_EQ(CountOf(*source), 2);
}

TEST(CountedObject, AnswersNoInterface) {
    const auto object = MakeRef<Counted>(1);
    std::uint32_t result = 0;
    EXPECT_EQ(object->QueryInterface(1, &result), nullptr);
    EXPECT_EQ(result, 0x80004002U);
    EXPECT_EQ(object->QueryInterface(1, nullptr), nullptr);
}

TEST(Reference, EveryWayInAndOutKeepsTheCount) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    int ended = 0;
    {
        auto* raw = new Counted(3, &ended);
        auto first = ERef<Counted>::Adopt(raw);
        EXPECT_EQ(CountOf(*raw), 1);
        ERef<const Counted> constant = first;
        const auto view = ERef<IView>::Retain(raw);
        EXPECT_EQ(CountOf(*raw), 3);
        EXPECT_EQ(view->Shown(), 3);
        EXPECT_TRUE(view == first && constant == raw);
        ERef<IView> stolen = std::move(first);
        EXPECT_FALSE(first);
        EXPECT_EQ(CountOf(*raw), 3);
        stolen = stolen.Get() == raw ? stolen : nullptr;
        EXPECT_EQ(CountOf(*raw), 3);
        stolen = nullptr;
        constant = nullptr;
        EXPECT_EQ(CountOf(*raw), 1);
        const auto added = ERef<Counted>::Take(raw, true);
        EXPECT_EQ(CountOf(*raw), 2);
        auto given = added;
        const auto taken = ERef<Counted>::Take(given.Detach(), false);
        EXPECT_EQ(CountOf(*raw), 3);
        EXPECT_EQ(given, nullptr);
    }
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

#ifdef ETABULON_CHECKS
TEST(CountedObject, IsSeenByTheLiveCount) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    const auto object = MakeRef<Counted>(1);
    const auto copy = MakeRef<Counted>(*object);
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before + 2);
}
#endif

}  // namespace
}  // namespace etabulon
