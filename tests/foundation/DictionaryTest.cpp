#include "etabulon/foundation/DDico.h"
#include "support/MemoryTable.h"
#include "support/Rows.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

/// Orders with their customers; a customer is sent by another, an order has two places.
class Dictionary : public ::testing::Test {
protected:
    Dictionary() {
        test::AddVariables(
            *customers,
            {{"id", TYPE_LONG}, {"name", TYPE_CHAINE}, {"sender", TYPE_LONG, test::kNullableLong}},
            {"id"});
        orders->AddVariable("id", "Number", TYPE_LONG, 0);
        orders->AddVariable("flag", "Flag", TYPE_BOOL, 2);
        customer = orders->AddVariable("customer", "Customer", TYPE_LONG, test::kNullableLong);
        places = orders->AddVariable("places", "Places", TYPE_UP_CHAINE, 0, 2);
        orders->AddVariable("code", "Code", TYPE_NC_STR, 3, 3);
        orders->AddVariable("total", "Total", TYPE_DOUBLE, test::kNullableDouble);
        orders->SetKey({"id"});
        orders->AddLink("buyer", {"customer"}, customers);
        customers->AddLink("sent_by", {"sender"}, customers);
    }

    DDico dico;
    DRubric* orders = dico.AddRubric("Orders");
    DRubric* customers = dico.AddRubric("Customers");
    DVariable* customer = nullptr;
    DVariable* places = nullptr;
};

TEST_F(Dictionary, LaysVariablesOutAsTheFieldSetDoes) {
    EFieldSet fields = orders->MakeFields();
    const ERecordBuffer record(fields);
    fields.ChangeBuffer(record.Get(), false);
    std::uint16_t field = 0;
    for (std::size_t i = 0; i < orders->Size(); ++i) {
        const DVariable& variable = *orders->At(i);
        for (unsigned element = 0; element < variable.Count(); ++element, ++field) {
            EXPECT_EQ(variable.GetFieldAdrInMappedRecord(record.Get(), static_cast<int>(element)),
                      fields.At(field).Address())
                << fields.At(field).Name().c_str();
        }
    }
    EXPECT_EQ(field, fields.Size());
}

TEST_F(Dictionary, NamesAndNumbersEveryElementOfAnArray) {
    const EFieldSet fields = orders->MakeFields();
    EXPECT_EQ(fields.IndexOf("Orders.PLACES[1]"), 4);
    EXPECT_EQ(fields.IndexOf("places"), -1);
    EXPECT_EQ(fields.IndexOf(places->Accelerator() + 1), 4);
    EXPECT_EQ(fields.IndexOf(orders->Find("code")->Accelerator()), 5);
    EXPECT_EQ(fields["places[1]"].Infos().Header(), "Places[1]");
    EXPECT_EQ(fields["places[1]"].Infos().GetDicoDescription(), places);
}

TEST_F(Dictionary, SomeVariablesMakeASmallerRecordInTheirOrder) {
    const unsigned only[] = {5, 3};
    const EFieldSet fields = orders->MakeFields(only);
    ASSERT_EQ(fields.Size(), 3U);
    EXPECT_EQ(fields.At(0).Name(), "total");
    EXPECT_EQ(fields.OffsetOf(1), 16U);
}

TEST_F(Dictionary, SignExtendsTypeCodesAndKeepsThemInFields) {
    EXPECT_EQ(places->TypeCode(), static_cast<signed char>(TYPE_UP_CHAINE));
    EXPECT_LT(places->TypeCode(), 0);
    EXPECT_EQ(orders->MakeFields()["places[0]"].Type(), TYPE_UP_CHAINE);
}

TEST_F(Dictionary, RefusesWhatCannotBeAdded) {
    EXPECT_EQ(dico.AddRubric("ORDERS"), nullptr);
    EXPECT_EQ(orders->AddVariable("ID", "", TYPE_LONG, 0), nullptr);
    EXPECT_EQ(orders->AddVariable("", "", TYPE_LONG, 0), nullptr);
    EXPECT_EQ(orders->AddVariable("wide", "", TYPE_LONG, 6), nullptr);
    EXPECT_EQ(orders->AddVariable("none", "", TYPE_STR, 0), nullptr);
    EXPECT_EQ(orders->AddVariable("many", "", TYPE_LONG, 0, 70000), nullptr);
    EXPECT_FALSE(orders->SetKey({"id", "ghost"}));
    EXPECT_FALSE(orders->AddLink("BUYER", {"customer"}, customers));
    EXPECT_FALSE(orders->AddLink("a", {"customer", "id"}, customers));
    EXPECT_FALSE(orders->AddLink("a", {}, customers));
    EXPECT_FALSE(orders->AddLink("a", {"customer"}, customers, {"ghost"}));
    EXPECT_EQ(orders->Size(), 6U);
    EXPECT_EQ(orders->Links().size(), 1U);
}

TEST_F(Dictionary, AVariableIsNoLinkOnceTwoLinksStartThere) {
    EXPECT_EQ(orders->FindLink("customer"), orders->FindLink("buyer"));
    orders->AddLink("payer", {"customer"}, customers);
    EXPECT_EQ(orders->FindLink("customer"), nullptr);
    EXPECT_NE(orders->FindLink("payer"), nullptr);
}

TEST_F(Dictionary, HasNoAddressOutsideOfTheArray) {
    const char record[256] = {};
    EXPECT_EQ(places->GetFieldAdrInMappedRecord(record, 2), nullptr);
    EXPECT_EQ(places->GetFieldAdrInMappedRecord(record, -1), nullptr);
    EXPECT_EQ(places->GetFieldAdrInMappedRecord(nullptr, 0), nullptr);
    EXPECT_EQ(customer->GetFieldAdrInMappedRecord(record, 1), nullptr);
}

TEST_F(Dictionary, FindsNodesByPath) {
    const auto find = [this](const char* path) { return GetObj(&dico, path, false); };
    EXPECT_EQ(find("orders"), orders);
    EXPECT_EQ(find("Orders.Customer"), customer);
    EXPECT_EQ(find("Orders.places[1]"), places);
    EXPECT_EQ(find("Orders.buyer>name"), customers->Find("name"));
    EXPECT_EQ(find("Orders.customer>Customers.name"), customers->Find("name"));
    EXPECT_EQ(find("Orders.customer>sent_by>sender>name"), customers->Find("name"));
    EXPECT_EQ(find("Customers.id\xBBOrders.places[1]"), places);
    EXPECT_EQ(find("Customers.buyer\xBBOrders.id"), orders->Find("id"));
    EXPECT_EQ(find("Customers.customer\xBBOrders.buyer>name"), customers->Find("name"));
    EXPECT_EQ(find("Customers.id\273Customers.name"), customers->Find("name"));
}

TEST_F(Dictionary, FindsNothingByABadPath) {
    for (const char* path : test::Rows(
             "", ".", "Orders.", ".id", "Ghost", "Ghost.id", "id", "Orders.ghost",
             "Orders.places[2]", "Orders.customer[1]", "Orders.places[", "Orders.places]",
             "Orders.places[]", "Orders.places[-1]", "Orders.places[+1]", "Orders.places[ 1]",
             "Orders.places[1]x", "Orders.places[1]]", "Orders.places[99999999999999999999]", "[0]",
             ">", "\273", ">name", "Orders.buyer>", "Orders.buyer>>name", "Orders.places>name",
             "Orders.buyer>Orders.id", "Orders.buyer[1]>name", "buyer>name",
             "Orders.buyer>na'me\"; --", "Orders.buyer.x>name", "Customers.id\273id",
             "Customers.name\273Orders.id", "Customers.id\273Ghost.id", "Orders.id\273Customers.id",
             "Orders.buyer\273Customers.id")) {
        EXPECT_EQ(GetObj(&dico, path, false), nullptr) << path;
    }
    EXPECT_EQ(GetObj(nullptr, "Orders", false), nullptr);
    EXPECT_EQ(GetObj(&dico, nullptr, false), nullptr);
}

TEST_F(Dictionary, TakesPathsOfSixtyFourStepsAndNoLonger) {
    std::string path = "Customers.sent_by";
    for (int step = 2; step < 64; ++step) {
        path += ">sent_by";
    }
    EXPECT_NE(GetObj(&dico, (path + ">name").c_str(), false), nullptr);
    EXPECT_EQ(GetObj(&dico, (path + ">sent_by>name").c_str(), false), nullptr);
}

TEST(IndexInAPath, IsThatOfItsEndAndMinusOneWhereItIsBad) {
    EXPECT_EQ(GetIndiceFromPath("Orders.name[12]"), 12);
    EXPECT_EQ(GetIndiceFromPath("Orders.name"), 0);
    EXPECT_EQ(GetIndiceFromPath("Orders.list[3]>name"), 0);
    EXPECT_EQ(GetIndiceFromPath("Orders.list>name[4]"), 4);
    for (const char* bad : {"", "a[", "a]", "a[]", "a[x]", "a[-1]", "a[1", "a[1]b", "a[[1]]",
                            "a[4294967297]", "a>", "[1]"}) {
        EXPECT_EQ(GetIndiceFromPath(bad), -1) << bad;
    }
    EXPECT_EQ(GetIndiceFromPath(nullptr), -1);
}

}  // namespace
}  // namespace etabulon
