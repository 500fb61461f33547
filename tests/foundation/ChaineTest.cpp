#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/foundation/EStringTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace etabulon {
namespace {

int Sign(int n) { return (n > 0) - (n < 0); }

TEST(FoldingTable, FoldsSmallLettersButForItsHoles) {
    for (unsigned int byte = 0; byte < 256; ++byte) {
        const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 0xE0 && byte <= 0xFD);
        const bool hole = byte == 0xED || byte == 0xF0 || byte == 0xF7;
        EXPECT_EQ(Chaine::Fold(static_cast<unsigned char>(byte)),
                  letter && !hole ? byte - 0x20 : byte);
    }
    EXPECT_TRUE(Chaine("\xE9").EqualsFolded("\xC9"));   // é É
    EXPECT_FALSE(Chaine("\xED").EqualsFolded("\xCD"));  // í Í
}

TEST(FoldedOrder, ComparesSignedBytesOverTheShorterStoredLength) {
    const Chaine accented("caf\xE9");
    EXPECT_GT(Chaine("caf").CompareFolded(accented), 0);  // the terminator is above 0xC9
    EXPECT_LT(accented.CompareFolded("cafe"), 0);
    EXPECT_LT(Chaine("ABC").CompareFolded("abcd"), 0);
    EXPECT_EQ(Chaine("ABC").CompareFolded("aBc"), 0);
    EXPECT_LT(Chaine("a").CompareFolded(Chaine("a\0", 2)), 0);  // no difference: the shorter
}

TEST(PlainOrder, ComparesUnsignedBytesWithTheTerminator) {
    EXPECT_LT(Chaine("abc").ComparePlain("abcd"), 0);
    EXPECT_GT(Chaine("\xE9").ComparePlain("z"), 0);
    EXPECT_LT(Chaine("a").ComparePlain(Chaine("a\0", 2)), 0);
    EXPECT_NE(Chaine("a"), Chaine("A"));
}

TEST(FoldHash, IsOneForTextsThatFoldingMakesEqual) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 21, ' ');
        std::string folded = text;
        for (std::size_t i = 0; i < text.size(); ++i) {
            text[i] = static_cast<char>(random() % 3 == 0 ? random() : 'A' + random() % 60);
            folded[i] = static_cast<char>(Chaine::Fold(static_cast<unsigned char>(text[i])));
        }
        ASSERT_EQ(Chaine(text).FoldHash(), Chaine(folded).FoldHash()) << text;
        ASSERT_NE(Chaine(text).FoldHash(), Chaine(text + "!").FoldHash());
    }
    Chaine changed("one");
    const std::uint32_t before = changed.FoldHash();
    changed.Append("s");
    EXPECT_NE(changed.FoldHash(), before);
    EXPECT_EQ(changed.FoldHash(), Chaine("ONES").FoldHash());
}

TEST(DecimalNumber, IsUpToTenDigitsBetweenBlanks) {
    for (const char* text : {"0", "0123456789", "  7", "7  ", "\t42 "}) {
        EXPECT_TRUE(Chaine(text).IsDecimalNumber()) << text;
    }
    for (const char* text : {"", " ", "12345678901", "-1", "+1", "1 2", "1a", "a1", "1."}) {
        EXPECT_FALSE(Chaine(text).IsDecimalNumber()) << text;
    }
    EXPECT_FALSE(Chaine("1\0", 2).IsDecimalNumber());
}

TEST(DecimalNumber, IsReadWithoutItsBlanks) {
    EXPECT_EQ(Chaine(" 12 34x5").ToUnsigned(), 1234U);
    EXPECT_EQ(Chaine("x5").ToUnsigned(), 0U);
    EXPECT_EQ(Chaine("18446744073709551615").ToUnsigned(), ~0ULL);
    EXPECT_EQ(Chaine("18446744073709551616").ToUnsigned(), ~0ULL);
    EXPECT_EQ(Chaine("99999999999999999999999").ToUnsigned(), ~0ULL);
    EXPECT_EQ(Chaine::FromUnsigned(~0ULL), Chaine("18446744073709551615"));
}

TEST(SplitText, GivesWhatStandsBeforeAndBehind) {
    Chaine before("x"), behind("a.b.c");
    const auto split = [&](bool isSplit, const char* first, const char* second) {
        EXPECT_EQ(behind.Split('.', before, behind), isSplit);  // into itself
        EXPECT_EQ(before, Chaine(first));
        EXPECT_EQ(behind, Chaine(second));
    };
    split(true, "a", "b.c");
    split(true, "b", "c");
    split(false, "c", "");
    behind = ".";
    split(true, "", "");
}

TEST(SearchedText, IsFoundFromAPosition) {
    const Chaine text("xAxa>b");
    EXPECT_EQ(text.Find('x', 1), 2U);
    EXPECT_EQ(text.Find('q'), Chaine::npos);
    EXPECT_EQ(text.Find('x', 100), Chaine::npos);
    EXPECT_EQ(text.FindFolded('a'), 1U);
    EXPECT_EQ(text.FindFolded('a', 2), 3U);
    EXPECT_EQ(text.FindOneOf("b>"), 4U);
    Chaine without(text);
    without.RemoveAll('x');
    EXPECT_EQ(without, Chaine("Aa>b"));
    EXPECT_EQ(text, Chaine("xAxa>b"));
}

TEST(SharedText, IsDetachedByWriting) {
    Chaine first("text");
    Chaine second(first);
    EXPECT_TRUE(second.IsSameBody(first));
    second += Chaine("s");
    EXPECT_EQ(first, Chaine("text"));
    EXPECT_EQ(second, Chaine("texts"));
    const Chaine third(second);
    second.Clear();
    EXPECT_EQ(third, Chaine("texts"));
    EXPECT_TRUE(second.IsEmpty());
    EXPECT_TRUE(Chaine().IsSameBody(Chaine("")));
}

TEST(UnsharedText, IsReplacedInPlaceAndMayBeAPartOfItself) {
    Chaine text("a text of some length");
    const auto* body = text.GetBody();
    text.Assign("short");
    EXPECT_EQ(text.GetBody(), body);
    text.Assign(text.View().substr(2));
    EXPECT_EQ(text, Chaine("ort"));
    text.Append(text.View());
    EXPECT_EQ(text, Chaine("ortort"));
    for (int i = 0; i < 6; ++i) {
        text += text;
    }
    EXPECT_EQ(text.Length(), 6U * 64U);
    EXPECT_EQ(text.Mid(381), Chaine("ort"));
}

TEST(FormattedText, IsOfAnyLength) {
    EXPECT_EQ(Chaine::Format("%s[%d]", "name", 3), Chaine("name[3]"));
    const std::string longText(1000, 'x');
    EXPECT_EQ(Chaine::Format("%s!", longText.c_str()), Chaine(longText + "!"));
}

TEST(TextInFourThreads, KeepsItsCount) {
    const Chaine text("shared between threads");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([text, i] {
            std::vector<Chaine> copies;
            for (int round = 0; round < 5000; ++round) {
                copies.assign(4, text);
                copies.back().Append("!");
                if (text.FoldHash() == 0 || copies[static_cast<std::size_t>(i)].IsEmpty()) {
                    std::abort();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(text.GetBody()->share.load(), 0U);
    EXPECT_EQ(text, Chaine("shared between threads"));
}

TEST(LocaleOrderByDefault, IgnoresCaseAndPutsAccentsBehindLetters) {
    // Each below the next; equal ones stand in one row.
    const std::vector<std::vector<const char*>> rising = {
        {""},       {" "},      {"1"},      {"_"},    {"a", "A"},
        {"à", "À"}, {"ab"},     {"cote"},   {"coté"}, {"côte", "CÔTE"},
        {"côté"},   {"coter"},  {"œ", "Œ"}, {"of"},   {"ss"},
        {"ß"},      {"sst"},    {"z"},      {"ž"},    {"ð", "Ð"},
        {"÷"},      {"ŋ", "Ŋ"}, {"α"},      {"€"},    {"\U0001F600"},
        {"\xC3"},   {"\xE9"}};
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (const char* left : rising[i]) {
            for (std::size_t j = 0; j < rising.size(); ++j) {
                for (const char* right : rising[j]) {
                    EXPECT_EQ(Chaine(left).CompareLocale(right), (i > j) - (i < j))
                        << left << " and " << right;
                }
            }
        }
    }
}

TEST(LocaleOrderByDefault, IsTheOrderOfItsKeys) {
    std::vector<std::string> pieces = {"a", "A",    "é",    "É", "e",    "œ", "oe",
                                       "ß", "ss",   "ŉ",    "'", "n",    "ĳ", "ſ",
                                       "s", "\xC3", "\xA9", "€", "\x7F", "Ω", "z"};
    pieces.insert(pieces.end(),
                  {"\xE2\x82", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80", "\U0001F600"});
    pieces.emplace_back(1, '\0');
    std::mt19937 random(11);
    std::vector<Chaine> texts;
    for (int i = 0; i < 400; ++i) {
        std::string text;
        for (unsigned int n = random() % 5; n > 0; --n) {
            text += pieces[random() % pieces.size()];
        }
        texts.emplace_back(text);
    }
    texts.emplace_back(std::string(300, 'e') + "é");  // a key beyond the first buffer
    texts.emplace_back(std::string(300, 'e') + "e");
    for (const Chaine& left : texts) {
        for (const Chaine& right : texts) {
            ASSERT_EQ(left.CompareLocale(right),
                      left.LocaleSortKey().ComparePlain(right.LocaleSortKey()))
                << left.c_str() << " and " << right.c_str();
        }
    }
}

TEST(InstalledLocaleOrder, IsAskedButForOneBody) {
    static int calls;
    calls = 0;
    Chaine::SetLocaleOrder(
        [](std::string_view left, std::string_view right) {
            ++calls;
            return 7 * Sign(right.compare(left));
        },
        [](std::string_view, char* key, std::size_t capacity) {
            std::fill_n(key, std::min<std::size_t>(capacity, 1), 'k');
            return std::size_t{1};
        });
    const Chaine text("a");
    EXPECT_EQ(text.CompareLocale("b"), 1);
    const Chaine same(text);
    EXPECT_EQ(text.CompareLocale(same), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(text.LocaleSortKey(), Chaine("k"));
    Chaine::SetLocaleOrder(nullptr, nullptr);
    EXPECT_EQ(text.CompareLocale("b"), -1);
}

TEST(StringTable, HoldsItsThirteenTexts) {
    EXPECT_EQ(Chaine::Load(10700), Chaine("Min."));
    EXPECT_EQ(Chaine::Load(10705), Chaine("Dernier élément"));
    EXPECT_EQ(Chaine::Load(10711), Chaine("Calculs"));
    EXPECT_EQ(Chaine::Load(10712), Chaine("Préparation de l'arbre en cours..."));
    EXPECT_TRUE(Chaine::Load(10699).IsEmpty());
    EXPECT_TRUE(Chaine::Load(10713).IsEmpty());
}

TEST(PlatformIcon, IsGivenBackThroughTheInstalledFunction) {
    static int released;
    released = 0;
    int icon = 0;
    auto* const handle = reinterpret_cast<HICON>(&icon);
    DestroyIcon(handle);  // no platform: nothing to give back to
    SetIconRelease([](HICON) { ++released; });
    DestroyIcon(handle);
    DestroyIcon(nullptr);
    SetIconRelease(nullptr);
    DestroyIcon(handle);
    EXPECT_EQ(released, 1);
}

}  // namespace
}  // namespace etabulon
