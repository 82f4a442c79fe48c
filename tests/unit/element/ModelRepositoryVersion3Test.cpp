#include <gtest/gtest.h>

#include "ModelRepository.h"
#include "ModelTestSupport.h"

using namespace OrvElement;

namespace
{

ZelOamSpiModelRepository_3& table()
{
    return *ModelRepository::tableOfVersion3();
}

class ModelRepositoryVersion3 : public ::testing::Test
{
protected:
    uint64_t moc(const char* dn)
    {
        uint64_t handle = 0;
        EXPECT_EQ(table().t1->getMocFromDn(dn, 0, &handle), OrvOk) << dn;
        return handle;
    }

    uint64_t firstAttribute(const char* dn)
    {
        uint64_t handle = 0;
        EXPECT_EQ(table().t4->getFirstAttribute(moc(dn), &handle), OrvOk) << dn;
        return handle;
    }

    uint64_t properties(uint64_t attribute)
    {
        uint64_t handle = 0;
        EXPECT_EQ(table().t9->getGeneralProperties(attribute, &handle), OrvOk);
        return handle;
    }

    std::string name(uint64_t attribute)
    {
        const char* text = nullptr;
        EXPECT_EQ(table().t2->getPropertyText(properties(attribute), 0, &text), OrvOk);
        return text ? text : "";
    }

    // The attributes in their order, keys with a star.
    std::vector<std::string> walk(const char* dn)
    {
        std::vector<std::string> names;
        uint64_t handle = 0;
        for (ZelReturnT code = table().t4->getFirstAttribute(moc(dn), &handle); code != OrvNotFound;
             code = table().t9->getNextAttribute(handle, &handle))
        {
            bool isKey = false;
            EXPECT_EQ(code, OrvOk);
            EXPECT_EQ(table().t9->getAttributeFlag(handle, 0, &isKey), OrvOk);
            names.push_back(name(handle) + (isKey ? "*" : ""));
        }
        return names;
    }

    ModelRepository _repository{ModelTest::awkwardModel()};
};

TEST_F(ModelRepositoryVersion3, ItsTableBearsTheInterfacesIdentity)
{
    EXPECT_STREQ(table().id.componentName, "ZelOamSpiModelRepositoryService");
    EXPECT_STREQ(table().id.interfaceName, "ZelOamSpiModelRepository");
    EXPECT_STREQ(table().id.interfaceVersion, "3");
}

TEST_F(ModelRepositoryVersion3, KeysComeFirstAndCarryTheFlag)
{
    EXPECT_EQ(walk("ManagedElement=1,box=1,pair=*"), (std::vector<std::string>{"left*", "right*", "value"}));
    EXPECT_EQ(walk("ManagedElement=1,row=*"), (std::vector<std::string>{"id*", "text"}));
}

TEST_F(ModelRepositoryVersion3, TheElementAndAContainerHaveAKeyOfTheirOwn)
{
    EXPECT_EQ(walk("ManagedElement=1"), (std::vector<std::string>{"managedElementId*", "top-leaf"}));
    EXPECT_EQ(walk("ManagedElement=1,box=1,state=*"), (std::vector<std::string>{"stateId*", "uptime"}));
}

TEST_F(ModelRepositoryVersion3, TakesTheDnInEitherFormAndWithAnyKey)
{
    const uint64_t item = moc("ManagedElement=1,box=1,item=*");
    EXPECT_EQ(moc("ManagedElement=node-7,box=1,item=*"), item);
    EXPECT_EQ(moc("ManagedElement=node-7,box=1,item=somewhere"), item);
    EXPECT_NE(moc("ManagedElement=1,box=1,pair=*"), item);
}

TEST_F(ModelRepositoryVersion3, ADnThatTheModelDoesNotKnowIsNotFound)
{
    uint64_t handle = 17;
    for (const char* dn : {"ManagedElement=1,item=*", "ManagedElement=other,box=*", "ManagedElement=1,box", "", "*"})
    {
        EXPECT_EQ(table().t1->getMocFromDn(dn, 0, &handle), OrvNotFound) << dn;
    }
    EXPECT_EQ(handle, 17u);
}

TEST_F(ModelRepositoryVersion3, HasTheHandlesOfVersion2)
{
    uint64_t other = 0;
    EXPECT_EQ(ModelRepository::table()->getMocFromDn("ManagedElement=1,box=1", &other), OrvOk);
    EXPECT_EQ(moc("ManagedElement=1,box=*"), other);
}

TEST_F(ModelRepositoryVersion3, AHandleOfAnotherKindIsABadArgument)
{
    const uint64_t aClass = moc("ManagedElement=1,box=*");
    const uint64_t anAttribute = firstAttribute("ManagedElement=1,box=*");
    const uint64_t someProperties = properties(anAttribute);
    uint64_t handle = 17;
    const char* text = nullptr;
    bool flag = true;
    for (const uint64_t wrong : {uint64_t(0), ~uint64_t(0), anAttribute, someProperties})
    {
        EXPECT_EQ(table().t4->getFirstAttribute(wrong, &handle), OrvBadArgument);
    }
    for (const uint64_t wrong : {uint64_t(0), ~uint64_t(0), aClass, someProperties})
    {
        EXPECT_EQ(table().t9->getNextAttribute(wrong, &handle), OrvBadArgument);
        EXPECT_EQ(table().t9->getGeneralProperties(wrong, &handle), OrvBadArgument);
        EXPECT_EQ(table().t9->getAttributeFlag(wrong, 0, &flag), OrvBadArgument);
    }
    for (const uint64_t wrong : {uint64_t(0), ~uint64_t(0), aClass, anAttribute})
    {
        EXPECT_EQ(table().t2->getPropertyText(wrong, 0, &text), OrvBadArgument);
    }
    EXPECT_EQ(handle, 17u);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(flag);
}

TEST_F(ModelRepositoryVersion3, ANullPointerIsABadArgument)
{
    const uint64_t anAttribute = firstAttribute("ManagedElement=1");
    uint64_t handle = 0;
    EXPECT_EQ(table().t1->getMocFromDn(nullptr, 0, &handle), OrvBadArgument);
    EXPECT_EQ(table().t1->getMocFromDn("ManagedElement=1", 0, nullptr), OrvBadArgument);
    EXPECT_EQ(table().t4->getFirstAttribute(moc("ManagedElement=1"), nullptr), OrvBadArgument);
    EXPECT_EQ(table().t9->getNextAttribute(anAttribute, nullptr), OrvBadArgument);
    EXPECT_EQ(table().t9->getGeneralProperties(anAttribute, nullptr), OrvBadArgument);
    EXPECT_EQ(table().t9->getAttributeFlag(anAttribute, 0, nullptr), OrvBadArgument);
    EXPECT_EQ(table().t2->getPropertyText(properties(anAttribute), 0, nullptr), OrvBadArgument);
}

TEST_F(ModelRepositoryVersion3, ASelectorThatMeansNothingIsABadArgument)
{
    const uint64_t anAttribute = firstAttribute("ManagedElement=1");
    uint64_t handle = 17;
    const char* text = nullptr;
    bool flag = false;
    EXPECT_EQ(table().t1->getMocFromDn("ManagedElement=1", 1, &handle), OrvBadArgument);
    EXPECT_EQ(table().t9->getAttributeFlag(anAttribute, 1, &flag), OrvBadArgument);
    EXPECT_EQ(table().t2->getPropertyText(properties(anAttribute), 1, &text), OrvBadArgument);
    EXPECT_EQ(handle, 17u);
    EXPECT_EQ(text, nullptr);
    EXPECT_FALSE(flag);
}

TEST_F(ModelRepositoryVersion3, ItsReservedEntriesCanBeCalled)
{
    for (void (*entry)(void) :
         {table().t1->reserved1, table().t1->reserved2, table().t4->reserved1, table().t4->reserved2,
          table().t4->reserved3, table().t4->reserved4, table().t4->reserved5, table().t9->reserved2,
          table().t9->reserved3, table().t9->reserved5})
    {
        ASSERT_NE(entry, nullptr);
        entry();
    }
}

TEST(ModelRepositoryTables, WithoutALivingRepositoryEveryFunctionOfVersion3Fails)
{
    uint64_t handle = 17;
    const char* text = nullptr;
    bool flag = false;
    EXPECT_EQ(table().t1->getMocFromDn("ManagedElement=1", 0, &handle), OrvFailure);
    EXPECT_EQ(table().t2->getPropertyText(1, 0, &text), OrvFailure);
    EXPECT_EQ(table().t4->getFirstAttribute(1, &handle), OrvFailure);
    EXPECT_EQ(table().t9->getGeneralProperties(1, &handle), OrvFailure);
    EXPECT_EQ(table().t9->getNextAttribute(1, &handle), OrvFailure);
    EXPECT_EQ(table().t9->getAttributeFlag(1, 0, &flag), OrvFailure);
    EXPECT_EQ(handle, 17u);
}

}  // namespace
