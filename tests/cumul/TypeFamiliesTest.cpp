#include "CumulFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace etabulon::test {
namespace {

const ETabulonType* const kSeenBeforeMain = ETabulonTypeFactory::Get(int{TYPE_DOUBLE});

std::string Codes(const ETabulonType* type) {
    std::string codes;
    for (unsigned index = 0; index < type->Functions().Size(); ++index) {
        const auto function = ERef<ETabulonCumulFunc>::Adopt(type->Functions().GetFunction(index));
        codes += std::string(codes.empty() ? "" : " ") + function->Code().c_str();
    }
    return codes;
}

TEST(TypeFamilies, AreOneObjectEach) {
    EXPECT_EQ(ETabulonTypeFactory::Get(GenericNumeric), kSeenBeforeMain);
    EXPECT_EQ(ETabulonTypeFactory::Get(int{TYPE_BOOL}), kSeenBeforeMain);
    EXPECT_EQ(ETabulonTypeFactory::Get(int{TYPE_TIMESTAMP}),
              ETabulonTypeFactory::Get(int{TYPE_DATE}));
    EXPECT_EQ(Codes(kSeenBeforeMain), "AVG CODEMAX CODEMIN COMMONVAL COUNT LAST MAX MIN SUM");
    EXPECT_EQ(Codes(ETabulonTypeFactory::Get(GenericText)), "COMMONVAL COUNT LAST");
    EXPECT_EQ(ETabulonTypeFactory::Get(GenericDateTime)->Type(), GenericDateTime);
}

TEST(TypeFamilies, EveryOtherFamilyIsUnknown) {
    const ETabulonType* const media = ETabulonTypeFactory::Get(GenericMedia);
    const ETabulonType* const unknown = ETabulonTypeFactory::Get(GenericUnknown);
    EXPECT_NE(media, unknown);
    EXPECT_EQ(media->Type(), GenericUnknown);
    EXPECT_EQ(unknown->Type(), GenericUnknown);
    EXPECT_EQ(Codes(media), "COMMONVAL COUNT LAST");
    EXPECT_EQ(ETabulonTypeFactory::Get(-103), unknown);  // a code above 127 in a signed byte
}

TEST(TypeFamilies, AreAskedForByManyThreads) {
    const auto family = [](int number) { return static_cast<GenericType>(number); };
    std::vector<const ETabulonType*> seen(4);
    std::vector<std::jthread> threads;
    for (auto& type : seen) {
        threads.emplace_back([&type, family] {
            for (int number = 1000; number < 1050; ++number) {
                type = ETabulonTypeFactory::Get(family(number));
                // Functions of a family are shared: so are their counts.
                const auto function = FunctionOf(TYPE_LONG, "SUM");
            }
        });
    }
    threads.clear();
    for (const auto* type : seen) {
        EXPECT_EQ(type, ETabulonTypeFactory::Get(family(1049)));
    }
}

HINSTANCE Module(unsigned short iconID) {
    return reinterpret_cast<HINSTANCE>(std::uintptr_t{iconID});
}
HICON Icon(HINSTANCE module, unsigned short iconID) {
    return reinterpret_cast<HICON>(reinterpret_cast<std::uintptr_t>(module) * 100000U + iconID);
}

TEST(TypeFamilies, TextIconComesFromTheModuleOfTheNumericOne) {
    const ETabulonType* const text = ETabulonTypeFactory::Get(GenericText);
    EXPECT_EQ(text->Icon(), nullptr);  // no platform yet
    SetTypeIconPlatform({&Module, &Icon});
    EXPECT_EQ(text->Icon(), Icon(Module(16805), 16800));
    EXPECT_EQ(ETabulonTypeFactory::Get(GenericDateTime)->Icon(), Icon(Module(16801), 16801));
    EXPECT_EQ(ETabulonType(65536 + 7, Module(3), GenericText).Icon(), Icon(Module(3), 7));
    SetTypeIconPlatform({});
    EXPECT_EQ(text->Icon(), Icon(Module(16805), 16800));  // loaded once
}

}  // namespace
}  // namespace etabulon::test
