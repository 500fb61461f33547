#include "etabulon/foundation/Chaine.h"
#include "etabulon/icu/EIcuLocaleOrder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unicode/uclean.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

class IcuOrder : public testing::Test {
protected:
    ~IcuOrder() override { Chaine::SetLocaleOrder(nullptr, nullptr); }

    static void Install(const char* locale) {
        std::string error;
        ASSERT_TRUE(InstallIcuLocaleOrder(locale, error)) << error;
    }
    // 0, or the same below or above 0 by comparison and by keys.
    static int Compare(const Chaine& left, const Chaine& right) {
        const int order = left.CompareLocale(right);
        EXPECT_EQ(order, left.LocaleSortKey().ComparePlain(right.LocaleSortKey()))
            << left.c_str() << " and " << right.c_str();
        EXPECT_EQ(order, -right.CompareLocale(left)) << left.c_str() << " and " << right.c_str();
        return order;
    }
    // Each row's texts are equal and below the next row's.
    static void ExpectRising(const std::vector<std::vector<Chaine>>& rows) {
        std::vector<std::pair<std::size_t, Chaine>> texts;
        for (std::size_t row = 0; row < rows.size(); ++row) {
            for (const Chaine& text : rows[row]) {
                texts.emplace_back(row, text);
            }
        }
        for (const auto& [i, left] : texts) {
            for (const auto& [j, right] : texts) {
                EXPECT_EQ(Compare(left, right), (i > j) - (i < j))
                    << left.c_str() << " and " << right.c_str();
            }
        }
    }
};

TEST_F(IcuOrder, IgnoresCaseAndPutsAccentsBehindLetters) {
    Install("fr");
    ExpectRising({{"", Chaine("\0", 1)},
                  {" "},
                  {"-"},
                  {"2"},
                  {"cote", "COTE", "Cote", Chaine("co\0te", 5)},
                  {"coté", "COTÉ", "cote\u0301"},
                  {"côte", "CÔTE"},
                  {"coter"},
                  {"e", "E"},
                  {"é", "É"},
                  {"ea"},
                  {"z"},
                  {"Ω", "ω"},
                  {"中"},
                  {"\x80"},
                  {"\xC3"},
                  {"\xE9", Chaine("\0\xE9", 2)},
                  {"\xE9t\xE9"},
                  {"\xFF"}});
}

TEST_F(IcuOrder, FollowsItsLanguage) {
    const auto above = [](const char* locale, const char* left, const char* right) {
        Install(locale);
        return Compare(left, right) > 0;
    };
    EXPECT_TRUE(above("cs_CZ.UTF-8", "chata", "hrad"));
    EXPECT_FALSE(above("en", "chata", "hrad"));
    EXPECT_TRUE(above("sv", "ö", "z"));
    EXPECT_FALSE(above("de", "ö", "z"));
    EXPECT_TRUE(above("de-u-co-phonebk", "ö", "od"));
    EXPECT_FALSE(above("de", "ö", "od"));
    EXPECT_TRUE(above("fr", "coté", "cote"));
    EXPECT_TRUE(above("fr_CA", "coté", "côte"));  // the last accent decides there
    EXPECT_FALSE(above("fr", "coté", "côte"));
}

TEST_F(IcuOrder, IgnoresCaseWhateverTheLocaleAsksFor) {
    for (const char* locale : {"", "root", "C", "POSIX", "en_US_POSIX", "en@colStrength=tertiary",
                               "en@colCaseLevel=yes", "en-u-kc-ks-identic"}) {
        Install(locale);
        EXPECT_EQ(Compare("Straße B", "straße b"), 0) << locale;
        EXPECT_EQ(Compare("a", "B"), -1) << locale;
        EXPECT_EQ(Compare("a", "á"), -1) << locale;
    }
}

TEST_F(IcuOrder, IsTheOrderOfItsKeys) {
    std::vector<std::string> pieces = {
        "a", "A",      "e",      "E",      "é",      "É",    "\u0301", "\u0327", "œ",    "oe",
        "ß", "ss",     "c",      "h",      "ch",     "CH",   "Aa",     "å",      "ø",    "ll",
        "ŉ", "ſ",      " ",      "-",      "'",      "0",    "12",     "\x7F",   "\x01", "Ω",
        "я", "가",     "\u1100", "\u1161", "中",     "あ",   "ア",     "ー",     "ไ",    "ก",
        "เ", "\uFFFD", "\uFFFE", "\uFFFF", "\u200D", "\xC3", "\xA9",   "\xFF"};
    pieces.insert(pieces.end(), {"e\u0301", "\U0001F600", "\U0010FFFF", "\xE2\x82", "\xED\xA0\x80",
                                 "\xED\xB2\x80", "\xC0\x80", "\xF4\x90\x80\x80"});
    pieces.emplace_back(1, '\0');
    for (const char* locale : {"", "fr_CA", "da", "cs", "th", "vi", "ja", "zh", "ko",
                               "de-u-co-phonebk", "en-u-kn", "en-u-ka-shifted"}) {
        Install(locale);
        std::mt19937 random(11);
        std::vector<Chaine> texts;
        for (int i = 0; i < 120; ++i) {
            std::string text;
            for (unsigned int n = random() % 6; n > 0; --n) {
                text += pieces[random() % pieces.size()];
            }
            texts.emplace_back(text);
        }
        for (const Chaine& left : texts) {
            for (const Chaine& right : texts) {
                Compare(left, right);
                ASSERT_FALSE(HasFailure()) << locale;
            }
        }
    }
}

TEST_F(IcuOrder, LosesNothingOfLongTexts) {
    Install("");
    for (const std::size_t length : {254U, 255U, 256U, 257U, 1000U}) {
        const std::string text(length, 'e');
        EXPECT_EQ(Compare(Chaine(text + "a"), Chaine(text + "b")), -1) << length;
        EXPECT_EQ(Compare(Chaine(text + "\xC3"), Chaine(text + "é")), 1) << length;
        EXPECT_EQ(Compare(Chaine(text + "\U0001F600"), Chaine(text)), 1) << length;
    }
}

TEST_F(IcuOrder, IsOneForAllThreads) {
    Install("fr");
    std::vector<std::string> keys(4);
    std::vector<std::thread> threads;
    for (std::string& key : keys) {
        threads.emplace_back([&key] {
            for (int i = 0; i < 500; ++i) {
                const Chaine text = Chaine::Format("été %d", i);
                EXPECT_LT(text.CompareLocale(Chaine::Format("Étés %d", i)), 0);
                key += text.LocaleSortKey().View();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::string& key : keys) {
        EXPECT_EQ(key, keys[0]);
    }
}

TEST_F(IcuOrder, StaysWhereALocaleIsRefused) {
    Install("sv");
    const std::string tooLong(300, 'x');
    for (const char* locale :
         {"xx", "notalocale", "français", "en@colStrength=foo", "fr FR", tooLong.c_str()}) {
        std::string error;
        EXPECT_FALSE(InstallIcuLocaleOrder(locale, error));
        EXPECT_NE(error.find(std::string(locale).substr(0, 2)), std::string::npos) << error;
        EXPECT_EQ(Compare("ö", "z"), 1);
    }
    Chaine::SetLocaleOrder(nullptr, nullptr);
    EXPECT_EQ(Compare("ö", "z"), -1);
}

enum class Outcome : int { Installed = 0, OutOfMemory = 1, ReportedAsLocale = 2, OtherError = 3 };

// Installs an order in a process of its own, in which ICU's allocations fail after `allowed` ones.
Outcome InstallWithMemoryFor(int allowed) {
    const pid_t child = ::fork();
    if (child == 0) {
        static int left;
        left = allowed;
        UErrorCode status = U_ZERO_ERROR;
        u_setMemoryFunctions(
            nullptr,
            [](const void*, std::size_t size) { return left-- > 0 ? std::malloc(size) : nullptr; },
            [](const void*, void* block, std::size_t size) {
                return left-- > 0 ? std::realloc(block, size) : nullptr;
            },
            [](const void*, void* block) { std::free(block); }, &status);
        auto outcome = Outcome::OutOfMemory;
        std::string error;
        try {
            const bool isInstalled = InstallIcuLocaleOrder("de-u-co-phonebk", error);
            const bool namesMemory = error.find("U_MEMORY_ALLOCATION_ERROR") != std::string::npos;
            outcome = isInstalled   ? Outcome::Installed
                      : namesMemory ? Outcome::ReportedAsLocale
                                    : Outcome::OtherError;
        } catch (const std::bad_alloc&) {
        }
        ::_exit(static_cast<int>(outcome));
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return static_cast<Outcome>(WEXITSTATUS(status));
}

TEST_F(IcuOrder, LackOfMemoryIsNoMissingLocale) {
    Install("");  // loads the data that all locales share
    int exceptions = 0;
    for (int allowed = 0; allowed < 40; ++allowed) {
        const Outcome outcome = InstallWithMemoryFor(allowed);
        EXPECT_NE(outcome, Outcome::ReportedAsLocale) << allowed;
        exceptions += outcome == Outcome::OutOfMemory ? 1 : 0;
    }
    EXPECT_GT(exceptions, 0);
    EXPECT_EQ(InstallWithMemoryFor(1'000'000), Outcome::Installed);
}

TEST_F(IcuOrder, OfTheUserIsThere) {
    Install(nullptr);
    EXPECT_EQ(Compare("A", "a"), 0);
}

}  // namespace
}  // namespace etabulon
