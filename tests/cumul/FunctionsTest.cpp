#include "CumulFixture.h"
#include "etabulon/cumul/ETabulonCumulFuncCollection.h"
#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace etabulon::test {
namespace {
const EVariant kMissing = EVariant::Missing(TYPE_LONG, 0);

TEST(RunningFunction, CountIgnoresValuesAndFlags) {
    Running count("COUNT", TYPE_DOUBLE);
    count.Add(5, /*modified=*/true).Add(kMissing, /*modified=*/true).Add("text", /*modified=*/true);
    EXPECT_EQ(count.Text(), "3");
    EXPECT_EQ(count.Result().Data().Type(), TYPE_UINT32);
}

TEST(RunningFunction, CommonValueDropsTheFlagOfWhatAgrees) {
    EXPECT_EQ(Running("COMMONVAL", TYPE_LONG).Add(5).Add(5, true).Text(), "5");
    EXPECT_EQ(Running("COMMONVAL", TYPE_LONG).Add(5).Add(7, true).Text(), "?*");
    EXPECT_EQ(Running("COMMONVAL", TYPE_LONG).Add(5, true).Add(7).Text(), "?*");
    EXPECT_EQ(Running("COMMONVAL", TYPE_LONG).Add(5).Add(7).Add(5).Text(), "?");
    EXPECT_EQ(Running("COMMONVAL", TYPE_LONG).Add(5).Add(7).Add(7, true).Text(), "?*");
    EXPECT_EQ(Running("COMMONVAL", TYPE_LONG).Add(kMissing).Add(kMissing).Text(), "()");
}

TEST(RunningFunction, OfEqualExtremesTheFirstKeepsItsContext) {
    Running lowest("MIN", TYPE_LONG);
    lowest.Add(5).Add(3).Add(3);
    EXPECT_EQ(lowest.Text(), "3");
    EXPECT_EQ(lowest.Context(), 2);
}

TEST(RunningFunction, CodeOfExtremeForgetsEarlierFlags) {
    EXPECT_EQ(Running("MAX", TYPE_LONG).Add(5, true).Add(7).Text(), "7*");
    EXPECT_EQ(Running("CODEMAX", TYPE_LONG).Add(5, true).Add(7).Text(), "2");
}

TEST(RunningFunction, CodeFunctionsDifferInResultSize) {
    EXPECT_EQ(FunctionOf(TYPE_LONG, "CODEMIN")->ResultSize(8), 0U);
    EXPECT_EQ(FunctionOf(TYPE_LONG, "CODEMAX")->ResultSize(8), 4U);
}

TEST(RunningFunction, CodeOfExtremeIsTheRecordsCodeAsText) {
    Running code("CODEMIN", TYPE_DOUBLE);
    code.Add(EVariant::FromDouble(2.5));
    EXPECT_EQ(code.Result(), ETabulonValue("1", Chaine(), false));
    EXPECT_EQ(code.Result().Data().Type(), TYPE_CHAINE);
    // A missing value is the lowest, but leaves no mark to beat.
    EXPECT_EQ(code.Add(kMissing).Text(), "2");
    EXPECT_EQ(code.Add(EVariant::FromDouble(9)).Text(), "3");
}

TEST(RunningFunction, ResultsStayInTheVariablesType) {
    Running sum("SUM", TYPE_INT8);
    EXPECT_EQ(ETabulonValue(sum.Add(100).Result()).DisplayValue(), Chaine("100"));
    EXPECT_EQ(ETabulonValue(sum.Add(100).Result()).DisplayValue(), Chaine("127"));
    EXPECT_EQ(sum.Result().Data().Type(), TYPE_INT8);
    Running average("AVG", TYPE_LONG);
    average.Add(1).Add(2);
    EXPECT_EQ(average.Result().Data(), EVariant::FromDouble(1.5));
    EXPECT_EQ(average.Add(kMissing).Text(), "1");  // every record counts
    EXPECT_EQ(Running("AVG", TYPE_LONG).Add(kMissing).Text(), "-");
}

// The rules once more over plain numbers.
struct Record {
    std::optional<int> number;  // no value is below all numbers
    bool modified;
};

struct Rule {
    Rule(const char* ofCode, const Record& first)
        : code(ofCode), best(first.number), flag(first.modified) {}

    void Add(const Record& record) {
        const bool below = record.number < best;
        const bool above = record.number > best;
        ++count;
        sum += record.number.value_or(0);
        if (code == "SUM" || code == "AVG") {
            flag = flag || record.modified;
            best = best || record.number ? std::optional<int>(0) : std::nullopt;
        } else if (code == "COMMONVAL") {
            flag = flag || (record.modified && (differ || below || above));
            differ = differ || below || above;
        } else if (code == "LAST") {
            best = record.number;
            flag = record.modified;
        } else if (code == "CODEMIN" || code == "CODEMAX") {
            if (!best || (code == "CODEMIN" ? below : above)) {
                best = record.number;
                flag = record.modified;
                place = count;
            }
        } else if (code == "MIN" ? below : above) {
            best = record.number;
            flag = flag || record.modified;
        }
    }
    [[nodiscard]] std::string Text() const {
        const std::string mark = flag ? "*" : "";
        if (code == "COUNT") {
            return std::to_string(count);
        }
        if (code == "CODEMIN" || code == "CODEMAX") {
            return std::to_string(place) + mark;
        }
        if (differ) {
            return "?" + mark;
        }
        if (!best) {
            return (code == "AVG" ? "-" : "()") + mark;
        }
        if (code == "AVG") {
            const double average = static_cast<double>(sum) / static_cast<double>(count);
            return std::string(EVariant::FromDouble(average).AsChaine().View()) + mark;
        }
        return std::to_string(code == "SUM" ? sum : *best) + mark;
    }

    std::string code;
    std::optional<int> best;
    bool flag;
    std::size_t count = 0;
    std::size_t place = 1;
    bool differ = false;
    long long sum = 0;
};

std::string Expected(const char* code, const std::vector<Record>& records) {
    Rule rule(code, records.front());
    for (const Record& record : records) {
        rule.Add(record);
    }
    return rule.Text();
}

TEST(RunningFunction, AgreesWithItsRuleOnRandomRecords) {
    std::mt19937 random(11);
    for (int round = 0; round < 400; ++round) {
        std::vector<Record> records(1 + random() % 6);
        for (Record& record : records) {
            record.modified = random() % 3 == 0;
            if (random() % 4 != 0) {
                record.number = static_cast<int>(random() % 4);
            }
        }
        for (const char* code :
             {"COUNT", "LAST", "COMMONVAL", "MIN", "MAX", "CODEMIN", "CODEMAX", "SUM", "AVG"}) {
            Running running(code, TYPE_LONG);
            ASSERT_EQ(running.Text(), "-") << code;
            for (const Record& record : records) {
                running.Add(record.number ? EVariant(*record.number) : kMissing, record.modified);
            }
            ASSERT_EQ(running.Text(), Expected(code, records)) << code << " round " << round;
        }
    }
}

std::string Codes(const ETabulonCumulFuncCollection& functions) {
    std::string codes;
    for (unsigned int index = 0; index < functions.Size(); ++index) {
        const auto function = ERef<ETabulonCumulFunc>::Adopt(functions.GetFunction(index));
        codes += std::string(codes.empty() ? "" : " ") + function->Code().c_str();
    }
    return codes;
}

class Named : public ETabulonCumulFuncCount {
public:
    explicit Named(const char* code) : code_(code) {}
    const Chaine& Code() const override { return code_; }

private:
    Chaine code_;
};

TEST(FunctionCollection, KeepsTheFirstOfTwoFunctionsWithOneCode) {
    const std::int64_t live = ECountedUnknown::LiveObjects();
    {
        ETabulonCumulFuncCollection functions;
        ASSERT_EQ(functions.Size(), 3U);
        const auto count = ERef<ETabulonCumulFunc>::Adopt(functions.GetFunction("count"));
        functions.AddFunction(new Named("Count"), /*addRef=*/false);  // given away, and gone
        const auto kept = MakeRef<Named>("Mode");
        functions.AddFunction(kept.Get(), /*addRef=*/true);
        EXPECT_EQ(Codes(functions), "COMMONVAL COUNT LAST Mode");
        EXPECT_EQ(ERef<ETabulonCumulFunc>::Adopt(functions.GetFunction("Count")), count);
        EXPECT_EQ(functions.GetFunction("absent"), nullptr);
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), live);
}

const ETabulonType* const kSeenBeforeMain = ETabulonTypeFactory::Get(int{TYPE_DOUBLE});

TEST(TypeFamilies, AreOneObjectEach) {
    EXPECT_EQ(ETabulonTypeFactory::Get(GenericNumeric), kSeenBeforeMain);
    EXPECT_EQ(ETabulonTypeFactory::Get(int{TYPE_BOOL}), kSeenBeforeMain);
    EXPECT_EQ(ETabulonTypeFactory::Get(int{TYPE_TIMESTAMP}),
              ETabulonTypeFactory::Get(int{TYPE_DATE}));
    EXPECT_EQ(Codes(kSeenBeforeMain->Functions()),
              "AVG CODEMAX CODEMIN COMMONVAL COUNT LAST MAX MIN SUM");
    EXPECT_EQ(Codes(ETabulonTypeFactory::Get(GenericText)->Functions()), "COMMONVAL COUNT LAST");
    EXPECT_EQ(ETabulonTypeFactory::Get(GenericDateTime)->Type(), GenericDateTime);
}

TEST(TypeFamilies, EveryOtherFamilyIsUnknown) {
    const ETabulonType* const media = ETabulonTypeFactory::Get(GenericMedia);
    const ETabulonType* const unknown = ETabulonTypeFactory::Get(GenericUnknown);
    EXPECT_NE(media, unknown);
    EXPECT_EQ(media->Type(), GenericUnknown);
    EXPECT_EQ(unknown->Type(), GenericUnknown);
    EXPECT_EQ(Codes(media->Functions()), "COMMONVAL COUNT LAST");
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
    static int released = 0;
    SetIconRelease([](HICON) { ++released; });
    static_cast<void>(ETabulonType(Icon(Module(3), 7), GenericText));
    EXPECT_EQ(released, 0);
    static_cast<void>(ETabulonType(7, Module(3), GenericText));
    EXPECT_EQ(released, 1);
    SetIconRelease(nullptr);
    SetTypeIconPlatform({});
    EXPECT_EQ(text->Icon(), Icon(Module(16805), 16800));  // loaded once
}

}  // namespace
}  // namespace etabulon::test
