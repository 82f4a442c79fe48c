#include "Element.h"

#include <gtest/gtest.h>

#include "ModelTestSupport.h"
#include "ZelOamSpiCm.h"

namespace OrvElement
{
namespace
{

// An element with the awkward model and a component that does nothing.
class ElementTest : public testing::Test
{
protected:
    static ElementOptions options()
    {
        ElementOptions options;
        options.model = ModelTest::awkwardOptions();
        options.componentPath = std::string(ORV_FAULTY_COMPONENTS) + "/libcomponent_healthy.so";
        options.componentConfigPath = options.componentPath;  // it does not read it
        options.watchClock = false;
        return options;
    }

    static void* lookUp(const char* component, const char* interface, const char* version)
    {
        void* found = nullptr;
        EXPECT_EQ(Element::portal().getInterface({component, interface, version}, &found), OrvOk)
            << interface << " " << version;
        return found;
    }

    void edit(const std::string& boxContent)
    {
        const ModelTest::TemporaryFile file(".xml", ModelTest::AwkwardElement::text(boxContent));
        element.applyEditFile(file.path());
    }

    unsigned long open(unsigned int timeout)
    {
        unsigned long transaction = 0;
        EXPECT_EQ(master().openTransaction(ZelOamSpiTransactionRead_2, timeout, &transaction), OrvOk);
        return transaction;
    }

    static ZelOamSpiTransactionMaster_2& master()
    {
        return *static_cast<ZelOamSpiTransactionMaster_2*>(
            lookUp("ZelOamSpiTransactionService", "ZelOamSpiTransactionMaster", "2"));
    }

    Element element{options()};
};

TEST_F(ElementTest, OffersWhatComponentsLookUp)
{
    EXPECT_NE(lookUp(nullptr, "OrvMwSpiLog", "1"), nullptr);
    EXPECT_NE(lookUp(nullptr, "ZelMwSpiTrace", nullptr), nullptr);
    EXPECT_NE(lookUp("OrvOamSpiEventService", "OrvOamSpiEventRouter", "1"), nullptr);
    EXPECT_NE(lookUp("OrvOamSpiModelRepositoryService", "OrvOamSpiModelRepository", "2"), nullptr);
    EXPECT_NE(lookUp("OrvCommonPortal", "OrvMgmtSpiInterfacePortal", "1"), nullptr);
}

TEST_F(ElementTest, BothManagedObjectInterfacesReadItsData)
{
    edit("<level>9</level>");
    const unsigned long transaction = open(3600);
    for (const auto& [component, interface] :
         {std::pair<const char*, const char*>("ZelOamSpiCmRouterService", "ZelOamSpiManagedObject"),
          std::pair<const char*, const char*>("OrvOamSpiExtCmRouterService", "OrvOamSpiManagedObject")})
    {
        const auto* const object = static_cast<ZelOamSpiManagedObject_3*>(lookUp(component, interface, "3"));
        ZelMoAttributeValueResult_3 result{};
        ASSERT_EQ(object->getMoAttribute(transaction, "ManagedElement=node-7,box=1", "level", &result), OrvOk);
        EXPECT_EQ(ModelTest::text(*result.value), "5: 9");
    }
    EXPECT_EQ(master().closeTransaction(transaction), OrvOk);
}

TEST_F(ElementTest, TheModelRepositoryOfVersion3NamesTheKeyOfAClass)
{
    const auto* const repository = static_cast<ZelOamSpiModelRepository_3*>(
        lookUp("ZelOamSpiModelRepositoryService", "ZelOamSpiModelRepository", "3"));
    uint64_t moc = 0;
    uint64_t attribute = 0;
    uint64_t properties = 0;
    bool isKey = false;
    const char* name = nullptr;
    EXPECT_EQ(repository->t1->getMocFromDn("ManagedElement=node-7,box=1,pair=*", 0, &moc), OrvOk);
    EXPECT_EQ(repository->t4->getFirstAttribute(moc, &attribute), OrvOk);
    EXPECT_EQ(repository->t9->getAttributeFlag(attribute, 0, &isKey), OrvOk);
    EXPECT_TRUE(isKey);
    EXPECT_EQ(repository->t9->getGeneralProperties(attribute, &properties), OrvOk);
    EXPECT_EQ(repository->t2->getPropertyText(properties, 0, &name), OrvOk);
    EXPECT_STREQ(name, "left");
}

TEST_F(ElementTest, CountsItsTransactions)
{
    EXPECT_EQ(master().closeTransaction(open(3600)), OrvOk);
    open(3600);
    const TransactionCounters counters = element.transactionCounters();
    EXPECT_EQ(counters.opened, 2u);
    EXPECT_EQ(counters.closed, 1u);
    EXPECT_EQ(counters.reclaimed, 0u);
    EXPECT_EQ(counters.openNow, 1u);
}

TEST_F(ElementTest, AnEditReclaimsForgottenTransactions)
{
    std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
    element._managedObjects._transactions._clock = [&now] { return now; };
    const std::weak_ptr<const DataTree> old = element._data.snapshot();
    open(3600);
    edit("<level>8</level>");
    EXPECT_FALSE(old.expired());
    now += std::chrono::seconds(3600);
    edit("<level>9</level>");
    EXPECT_TRUE(old.expired());
    EXPECT_EQ(element.transactionCounters().reclaimed, 1u);
}

TEST_F(ElementTest, ItsCountersCanBeReadAfterItsStop)
{
    EXPECT_EQ(master().closeTransaction(open(3600)), OrvOk);
    element.stop();
    EXPECT_EQ(element.transactionCounters().opened, element.transactionCounters().closed);
}

}  // namespace
}  // namespace OrvElement
