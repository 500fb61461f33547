#include "etabulon/values/ETabulonVariableID.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon {
namespace {

/// "code|rubric|variable|number"
std::string Parts(const ETabulonVariableID& id) {
    return std::string(id.Code().c_str()) + "|" + id.CodeRub().c_str() + "|" +
           id.CodeVar().c_str() + "|" + std::to_string(id.Accelerator());
}

TEST(Identifier, IsReadFromTextOrNumber) {
    const std::pair<ETabulonVariableID, const char*> cases[] = {
        {"", "|||0"},
        {"Client", "Client|Client||0"},
        {"Client.Code.Sub", "Client.Code.Sub|Client|Code.Sub|0"},
        {".x", ".x||x|0"},
        {"x.", "x.|x||0"},
        {"12", "12|||12"},
        {" 12 ", " 12 |||12"},
        {"0", "0|||0"},
        {"4294967295", "4294967295|||4294967295"},
        {"12345678901", "12345678901|12345678901||0"},
        {"1 2", "1 2|1 2||0"},
        {"1.5", "1.5|1|5|0"},
        {"  ", "  |  ||0"},
        {ETabulonVariableID(34UL), "34|||34"},
        {ETabulonVariableID(0UL), "0|||0"},
    };
    for (const auto& [id, parts] : cases) {
        EXPECT_EQ(Parts(id), parts);
        EXPECT_EQ(id.IsAccelerator(), id.Accelerator() != 0);
        EXPECT_EQ(id.IsValid(), !id.Code().IsEmpty());
        const ETabulonVariableID copy(id);
        EXPECT_EQ(Parts(copy), parts);
    }
    EXPECT_EQ(Parts(ETabulonVariableID::Null), "|||0");
}

TEST(Identifier, IsALinkWithEitherMark) {
    for (const char* link : {"a>b", ">", "a\xBB", "\xBB.b", "a>b\xBB.c"}) {
        EXPECT_TRUE(ETabulonVariableID(link).IsLink()) << link;
    }
    for (const char* plain : {"", "a.b", "a<b", "12", "a\xAB"}) {
        EXPECT_FALSE(ETabulonVariableID(plain).IsLink()) << plain;
    }
}

TEST(IdentifierEquality, FoldsCodes) {
    EXPECT_TRUE(ETabulonVariableID("client.code") == ETabulonVariableID("CLIENT.Code"));
    EXPECT_FALSE(ETabulonVariableID("client.code") != ETabulonVariableID("CLIENT.Code"));
    EXPECT_TRUE(ETabulonVariableID("\xE9t\xE9") == ETabulonVariableID("\xC9T\xC9"));
    EXPECT_FALSE(ETabulonVariableID("\xED") == ETabulonVariableID("\xCD"));
    EXPECT_FALSE(ETabulonVariableID("client") == ETabulonVariableID("client.code"));
    EXPECT_TRUE(ETabulonVariableID(" 12") == ETabulonVariableID("12  "));
}

TEST(IdentifierEquality, NamedAgainstNumberedIsAsymmetric) {
    // One code, but a text of eleven digits is no number.
    const ETabulonVariableID named("12345678901");
    const ETabulonVariableID numbered(12345678901UL);
    EXPECT_TRUE(named == numbered);
    EXPECT_FALSE(named != numbered);
    EXPECT_FALSE(numbered == named);
    EXPECT_TRUE(numbered != named);
}

TEST(IdentifierEquality, GoesByNumberWhateverTheCodesSay) {
    EXPECT_TRUE(ETabulonVariableID("12 ") == ETabulonVariableID(12UL));
    EXPECT_TRUE(ETabulonVariableID(12UL) == ETabulonVariableID(" 0012"));
    EXPECT_FALSE(ETabulonVariableID("x") == ETabulonVariableID(12UL));
    EXPECT_FALSE(ETabulonVariableID(12UL) == ETabulonVariableID("x"));
    // The number 0 goes by name.
    EXPECT_TRUE(ETabulonVariableID(0UL) == ETabulonVariableID("0"));
    EXPECT_FALSE(ETabulonVariableID(0UL) == ETabulonVariableID(" 0"));
}

TEST(IdentifierOrder, GoesByNumberOnlyBetweenNumbers) {
    EXPECT_TRUE(ETabulonVariableID(9UL) < ETabulonVariableID(10UL));
    EXPECT_FALSE(ETabulonVariableID(10UL) < ETabulonVariableID(9UL));
    EXPECT_TRUE(ETabulonVariableID(10UL) < ETabulonVariableID("9x"));
    EXPECT_TRUE(ETabulonVariableID("a") < ETabulonVariableID("B"));
    EXPECT_FALSE(ETabulonVariableID("a") < ETabulonVariableID("A"));
    EXPECT_TRUE(ETabulonVariableID("a") < ETabulonVariableID("aa"));
    // Bytes from 0x80 upward are below the letters.
    EXPECT_TRUE(ETabulonVariableID("\xC9") < ETabulonVariableID("e"));
}

}  // namespace
}  // namespace etabulon
