#include "etabulon/foundation/ELinkEngine.h"
#include "support/AllocationCount.h"
#include "support/FailingSource.h"
#include "support/MemoryTable.h"

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
        const auto* const variable = dynamic_cast<DVariable*>(GetObj(&dico, path, false));
        if (buffer == nullptr || variable == nullptr) {
            return "unresolved";
        }
        const void* const place =
            variable->GetFieldAdrInMappedRecord(buffer, GetIndiceFromPath(path));
        EField field;
        field.Attach(variable->MakeFieldDesc(), const_cast<void*>(place), false);
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
    EXPECT_EQ(counted->columns, std::vector<unsigned>{4});
    engine.RegisterLink("Orders.buyer>home>people", people);
    // The second link is known by its first use at the latest.
    EXPECT_EQ(Walk(*orderTable, "Orders.buyer>home>people", engine, people).substr(0, 4), "2100");
    EXPECT_EQ(counted->columns, (std::vector<unsigned>{1, 2, 4}));
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
    orderTable->RePos(2, false);
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
        // The records before and behind it are as they are, also where they have the same key.
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

}  // namespace
}  // namespace etabulon::test
