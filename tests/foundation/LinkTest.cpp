#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "support/AllocationCount.h"
#include "support/FailingSource.h"
#include "support/MemoryTable.h"
#include "support/Rows.h"

#include <gtest/gtest.h>

namespace etabulon::test {
namespace {

/// Orders point at customers, customers at a town by its country and name and at who sent them.
class Links : public ::testing::Test {
protected:
    Links() {
        AddVariables(*towns,
                     {{"country", TYPE_CHAINE}, {"name", TYPE_CHAINE}, {"people", TYPE_LONG}},
                     {"country", "name"});
        AddVariables(*customers,
                     {{"id", TYPE_LONG},
                      {"country", TYPE_CHAINE},
                      {"town", TYPE_CHAINE},
                      {"sender", TYPE_LONG},
                      {"name", TYPE_CHAINE}},
                     {"id"});
        customers->AddLink("home", {"country", "town"}, towns);
        customers->AddLink("sent_by", {"sender"}, customers);
        orders->AddVariable("id", "", TYPE_LONG, 0);
        orders->AddVariable("buyers", "", TYPE_INT64, 9, 2);
        orders->AddVariable("total", "", TYPE_DOUBLE, kNullableDouble);
        orders->SetKey({"id"});
        orders->AddLink("buyer", {"buyers"}, customers);

        townTable = MakeTable(towns, {{"FR", "Paris", 2100}, {"DE", "Paris", 1}});
        customerTable = MakeTable(customers, {{1, "FR", "Paris", 3, "Anne"},
                                              {2, "DE", "Paris", 1, "Bert"},
                                              {3, "DE", Missing(), 1, "Carl"}});
        orderTable = MakeTable(orders, {{14, 1, 2, 10},
                                        {13, 1, 3, 20},
                                        {12, 2, Missing(), 30},
                                        {11, Missing(), 1, 40},
                                        {10, 9, 1, 50},
                                        {9, 3, 1, 60}});
        counted = FailingSource::Before(*customers);
        engine.RegisterLink(kBuyer, link);
    }

    /// Registers `path` for the table's rubric and says what it reads in each record of the table;
    /// "!" where there is no target, "?1001" where it can't be read, and the buffer is blank.
    std::string Walk(EData& table, const char* path) {
        LinkEngineEDataTable own(&dico);
        LinkDescriptor registered;
        own.RegisterLink(path, registered);
        own.InitializeLinks();
        return Walk(table, path, own, registered);
    }
    /// Through the buyers, by the engine that stays.
    std::string Walk() { return Walk(*orderTable, kBuyer, engine, link); }
    std::string Walk(EData& table, const char* path, ILinkEngine& by,
                     const LinkDescriptor& registered) {
        const CSingleBufferProvider provider(table.dico->Name(), table.GetBuffer());
        PTableau<DRubric*> rubrics{dynamic_cast<DRubric*>(table.dico)};
        const void* const buffer = by.FindBuffer(registered, rubrics, &provider);
        const auto* const variable = dynamic_cast<DVariable*>(GetObj(&dico, path, /*flag=*/false));
        if (buffer == nullptr || variable == nullptr) {
            return "unresolved";
        }
        const void* const place =
            variable->GetFieldAdrInMappedRecord(buffer, GetIndiceFromPath(path));
        EField field;
        field.Attach(variable->MakeFieldDesc(), const_cast<void*>(place), /*takeOwnership=*/false);
        std::string seen;
        for (EPosition at = table.GetFirst(); at != kNoPosition; at = table.GetNext()) {
            const bool isFound = by.ResolveLink(registered, &provider) != nullptr;
            const std::string text = field.AsChaine().c_str();
            EXPECT_TRUE(isFound || text.empty() || text == "0") << text;
            const std::int32_t failure = by.LastError().status;
            EXPECT_FALSE(isFound && failure != DataOk);
            seen += (seen.empty() ? "" : " ") + (isFound             ? text
                                                 : failure != DataOk ? "?" + std::to_string(failure)
                                                                     : "!");
        }
        return seen;
    }

    static constexpr const char* kBuyer = "Orders.buyer>name";
    DDico dico;
    DRubric* orders = dico.AddRubric("Orders");
    DRubric* customers = dico.AddRubric("Customers");
    DRubric* towns = dico.AddRubric("Towns");
    std::unique_ptr<EDataMemory> townTable, customerTable, orderTable;
    std::shared_ptr<FailingSource> counted;
    LinkEngineEDataTable engine{&dico};
    LinkDescriptor link;
};

constexpr const char* kBuyers = "Anne Anne Bert ! ! Carl";

TEST_F(Links, GoForwardBackwardAndRoundAgain) {
    struct Case {
        EData* table;
        const char *path, *seen;
    };
    for (const Case& c :
         {Case{orderTable.get(), "Orders.buyer>name", kBuyers},
          Case{orderTable.get(), "ORDERS.Buyers>Customers.NAME", kBuyers},
          Case{orderTable.get(), "Orders.buyers[1]>name", "Bert Carl ! Anne Anne Anne"},
          Case{orderTable.get(), "Orders.buyer>home>people", "2100 2100 1 ! ! !"},
          Case{orderTable.get(), "Orders.buyer>sent_by>name", "Carl Carl Anne ! ! Anne"},
          Case{orderTable.get(), "Orders.buyer>sent_by>sent_by>name", "Anne Anne Carl ! ! Carl"},
          Case{customerTable.get(), "Customers.id\273Orders.id", "13 12 9"},
          Case{customerTable.get(), "Customers.buyer\273Orders.total", "20 30 60"},
          Case{customerTable.get(), "Customers.sent_by\273Customers.name", "Bert ! Anne"},
          Case{townTable.get(), "Towns.name\273Customers.id\273Orders.id", "13 12"},
          Case{orderTable.get(), "Orders.id", "14 13 12 11 10 9"}}) {
        EXPECT_EQ(Walk(*c.table, c.path), c.seen) << c.path;
    }
}

TEST_F(Links, ThatDoNotResolveHaveNoBuffer) {
    EXPECT_EQ(Walk(*townTable, kBuyer, engine, link), "unresolved");
    const CSingleBufferProvider provider("Towns", townTable->GetBuffer());
    EXPECT_EQ(engine.ResolveLink(link, &provider), nullptr);
    EXPECT_EQ(engine.ResolveLink(link, nullptr), nullptr);
    EXPECT_EQ(LinkEngineEDataTable(nullptr).RegisterLink(kBuyer, link), 0);
    EXPECT_EQ(engine.RegisterLink("Orders.buyer>ghost", link), 0);
    EXPECT_FALSE(link.resolved);
    EXPECT_EQ(Walk(*orderTable, "Orders.buyer>ghost", engine, link), "unresolved");
    EXPECT_EQ(engine.RegisterLink(kBuyer, link), 1);
}

TEST_F(Links, ShareStepsAndReadOnlyWhatIsNeeded) {
    LinkDescriptor people;
    EXPECT_EQ(engine.InitializeLinks(), 1);
    EXPECT_EQ(counted->columns, std::vector<unsigned int>{4});
    engine.RegisterLink("Orders.buyer>home>people", people);
    // The second link is known by its first use at the latest.
    EXPECT_EQ(Walk(*orderTable, "Orders.buyer>home>people", engine, people).substr(0, 4), "2100");
    EXPECT_EQ(counted->columns, (std::vector<unsigned int>{1, 2, 4}));
    const int reads = counted->reads;
    const CSingleBufferProvider provider("Orders", orderTable->GetBuffer());
    orderTable->GetFirst();
    engine.ResolveLink(people, &provider);
    engine.ResolveLink(link, &provider);
    EXPECT_EQ(counted->reads, reads + 1);
}

TEST_F(Links, SeeAWriteToTheTargetAndATargetThatGoes) {
    engine.InitializeLinks();
    EXPECT_EQ(Walk(), kBuyers);
    EXPECT_EQ(customerTable->GetLast(), 2);
    customerTable->Fields()["name"] <<= "Karl";
    customerTable->Update(kNoPosition);
    customerTable->GetFirst();
    customerTable->DeleteOne(kNoPosition);
    EXPECT_EQ(Walk(), "! ! Bert ! ! Karl");

    LinkDescriptor back;
    const char* const backPath = "Customers.id\273Orders.id";
    engine.RegisterLink(backPath, back);
    engine.InitializeLinks();
    EXPECT_EQ(Walk(*customerTable, backPath, engine, back), "12 9");
    orderTable->Append({8, 2, 2, 0});
    orderTable->RePos(2, /*flag=*/false);
    orderTable->Fields()["buyers[0]"] <<= 3;
    orderTable->Fields()["id"] <<= 7;
    orderTable->Update(kNoPosition);
    EXPECT_EQ(Walk(*customerTable, backPath, engine, back), "8 7");
}

TEST_F(Links, WithoutASourceFindNoTargetAndWithAClosedOneFail) {
    customers->SetSource(nullptr);
    EXPECT_EQ(engine.InitializeLinks(), 0);
    EXPECT_EQ(engine.LastError().status, DataOk);
    EXPECT_EQ(Walk(), "! ! ! ! ! !");
    customers->SetSource(counted);
    // A failure that came with no status of one, or with that of the end, is one all the same.
    for (const std::int32_t status : {DataConnectionLost, DataEnd, EDataStatus{-3}}) {
        counted->openFailure = {status, 14, "not there"};
        EXPECT_EQ(engine.InitializeLinks(), 0);
        const EDataError error = engine.LastError();
        EXPECT_EQ(error.status, status == DataConnectionLost ? status : DataOther);
        EXPECT_EQ(error.text, Chaine("not there"));
        const std::string failed = "?" + std::to_string(error.status);
        EXPECT_EQ(Walk().substr(0, 11), failed + " " + failed);
    }
    counted->openFailure = EDataError{};
    EXPECT_EQ(engine.InitializeLinks(), 1);
    EXPECT_EQ(Walk(), kBuyers);
    // A rubric that gets new records is read anew.
    const auto others = MakeTable(customers, {{2, "", "", 0, "Bea"}});
    EXPECT_EQ(engine.InitializeLinks(), 1);
    EXPECT_EQ(Walk(), "! ! Bea ! ! !");
}

TEST_F(Links, FailWhereAReadFailsAndReadItAgain) {
    const char* const path = "Orders.buyer>sent_by>name";
    engine.RegisterLink(path, link);
    const auto walk = [&] { return Walk(*orderTable, path, engine, link); };
    engine.InitializeLinks();
    const std::string whole = "Carl Carl Anne ! ! Anne";
    EXPECT_EQ(walk(), whole);
    const int reads = counted->reads;
    for (int failing = 1; failing <= reads; ++failing) {
        engine.InitializeLinks();
        counted->FailAt(failing, DataLocked);
        const std::string seen = walk();
        const std::size_t at = seen.find("?1001");
        ASSERT_NE(at, std::string::npos) << failing << seen;
        // The records before and after it are as they are, also where they have the same key.
        EXPECT_EQ(seen.substr(0, at), whole.substr(0, at));
        EXPECT_EQ(seen.find("?1001", at + 1), std::string::npos) << seen;
        EXPECT_EQ(walk(), whole);
    }
}

TEST_F(Links, ReadASourceThatLiesWhereAnotherHasGone) {
    engine.InitializeLinks();
    EXPECT_EQ(Walk(), kBuyers);
    // The same object for another one at its address.
    const auto others = MakeTable(customers, {{2, "", "", 0, "Bea"}});
    counted->inner = customers->Source();
    customers->SetSource(counted);
    EXPECT_EQ(engine.InitializeLinks(), 1);
    EXPECT_EQ(Walk(), "! ! Bea ! ! !");
}

TEST_F(Links, ReadNothingWhileTheKeyStaysAndForgetWhenInitialized) {
    engine.InitializeLinks();
    EXPECT_EQ(Walk(), kBuyers);
    // 14 and 13 share a customer, 11 has none, 10 has one that isn't there.
    EXPECT_EQ(counted->reads, 4);
    const int forgotten = counted->forgotten;
    engine.InitializeLinks();
    EXPECT_EQ(Walk(), kBuyers);
    EXPECT_EQ(counted->reads, 8);
    EXPECT_EQ(counted->forgotten, forgotten + 1);
}

TEST_F(Links, KeepTheirBufferWhateverIsRegisteredLater) {
    const CSingleBufferProvider provider("Orders", orderTable->GetBuffer());
    PTableau<DRubric*> rubrics{orders};
    LinkDescriptor other;
    const void* const buffer = engine.FindBuffer(link, rubrics, &provider);
    std::string path = "Orders.buyer>";
    for (int i = 0; i < 40; ++i, path += "sent_by>") {
        EXPECT_EQ(engine.RegisterLink((path + "town").c_str(), other), 1);
    }
    engine.InitializeLinks();
    EXPECT_EQ(engine.FindBuffer(link, rubrics, &provider), buffer);
}

TEST_F(Links, AllocateNothingOnASecondWalk) {
    const CSingleBufferProvider provider("Customers", customerTable->GetBuffer());
    LinkDescriptor town, back;
    engine.RegisterLink("Customers.home>people", town);
    engine.RegisterLink("Customers.id\273Orders.total", back);
    engine.InitializeLinks();
    const auto walk = [&] {
        int found = 0;
        for (EPosition at = customerTable->GetFirst(); at != kNoPosition;
             at = customerTable->GetNext()) {
            found += engine.ResolveLink(town, &provider) != nullptr ? 1 : 0;
            found += engine.ResolveLink(back, &provider) != nullptr ? 1 : 0;
        }
        return found;
    };
    EXPECT_EQ(walk(), 5);
    const AllocationCount count;
    EXPECT_EQ(walk(), 5);
    EXPECT_EQ(count.Taken(), 0U);
}

/// Orders with their customers; a customer is sent by another, an order has two places.
class Dictionary : public ::testing::Test {
protected:
    Dictionary() {
        AddVariables(
            *customers,
            {{"id", TYPE_LONG}, {"name", TYPE_CHAINE}, {"sender", TYPE_LONG, kNullableLong}},
            {"id"});
        orders->AddVariable("id", "Number", TYPE_LONG, 0);
        orders->AddVariable("flag", "Flag", TYPE_BOOL, 2);
        customer = orders->AddVariable("customer", "Customer", TYPE_LONG, kNullableLong);
        places = orders->AddVariable("places", "Places", TYPE_UP_CHAINE, 0, 2);
        orders->AddVariable("code", "Code", TYPE_NC_STR, 3, 3);
        orders->AddVariable("total", "Total", TYPE_DOUBLE, kNullableDouble);
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
    fields.ChangeBuffer(record.Get(), /*takeOwnership=*/false);
    std::uint16_t field = 0;
    for (std::size_t i = 0; i < orders->Size(); ++i) {
        const DVariable& variable = *orders->At(i);
        for (unsigned int element = 0; element < variable.Count(); ++element, ++field) {
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
    const unsigned int only[] = {5, 3};
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
    const unsigned int left = 0xFFFFU - orders->MakeFields().Size();
    EXPECT_EQ(orders->AddVariable("many", "", TYPE_LONG, 0, left + 1), nullptr);
    EXPECT_NE(
        customers->AddVariable("last", "", TYPE_LONG, 0, 0xFFFFU - customers->MakeFields().Size()),
        nullptr);
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
    const auto find = [this](const char* path) { return GetObj(&dico, path, /*flag=*/false); };
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
    for (const char* path :
         Rows("", ".", "Orders.", ".id", "Ghost", "Ghost.id", "id", "Orders.ghost",
              "Orders.places[2]", "Orders.customer[1]", "Orders.places[", "Orders.places]",
              "Orders.places[]", "Orders.places[-1]", "Orders.places[+1]", "Orders.places[ 1]",
              "Orders.places[1]x", "Orders.places[1]]", "Orders.places[99999999999999999999]",
              "[0]", ">", "\273", ">name", "Orders.buyer>", "Orders.buyer>>name",
              "Orders.places>name", "Orders.buyer>Orders.id", "Orders.buyer[1]>name", "buyer>name",
              "Orders.buyer>na'me\"; --", "Orders.buyer.x>name", "Customers.id\273id",
              "Customers.name\273Orders.id", "Customers.id\273Ghost.id",
              "Orders.id\273Customers.id", "Orders.buyer\273Customers.id")) {
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
}  // namespace etabulon::test
