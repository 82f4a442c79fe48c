#include "ModelRepository.h"

#include <gtest/gtest.h>

#include <thread>

#include "ModelTestSupport.h"

using namespace OrvElement;

namespace
{

OrvOamSpiModelRepository_2& table()
{
    return *ModelRepository::table();
}

class ModelRepositoryTable : public ::testing::Test
{
protected:
    uint64_t moc(const char* dn)
    {
        uint64_t handle = 0;
        EXPECT_EQ(table().getMocFromDn(dn, &handle), OrvOk);
        return handle;
    }

    std::vector<std::string> walk(uint64_t mocHandle)
    {
        std::vector<std::string> names;
        uint64_t handle = 0;
        for (ZelReturnT code = table().getFirstAttribute(mocHandle, &handle); code != OrvNotFound;
             code = table().getNextAttribute(handle, &handle))
        {
            const char* name = nullptr;
            bool notifiable = false;
            EXPECT_EQ(code, OrvOk);
            EXPECT_EQ(table().getAttributeName(handle, &name), OrvOk);
            EXPECT_EQ(table().getAttributeNotifiable(handle, &notifiable), OrvOk);
            names.push_back(name + std::string(notifiable ? "" : "(state)"));
        }
        return names;
    }

    ModelRepository _repository{ModelTest::awkwardModel()};
};

}  // namespace

TEST(ModelRepository, ItsTableBearsTheInterfacesIdentity)
{
    EXPECT_STREQ(table().id.componentName, "OrvOamSpiModelRepositoryService");
    EXPECT_STREQ(table().id.interfaceName, "OrvOamSpiModelRepository");
    EXPECT_STREQ(table().id.interfaceVersion, "2");
}

TEST(ModelRepository, WithoutALivingRepositoryEveryFunctionFails)
{
    uint64_t handle = 17;
    const char* name = nullptr;
    bool notifiable = false;
    EXPECT_EQ(table().getMocFromDn("ManagedElement=1", &handle), OrvFailure);
    EXPECT_EQ(table().getMocName(1, &name), OrvFailure);
    EXPECT_EQ(table().getFirstAttribute(1, &handle), OrvFailure);
    EXPECT_EQ(table().getNextAttribute(1, &handle), OrvFailure);
    EXPECT_EQ(table().getAttributeName(1, &name), OrvFailure);
    EXPECT_EQ(table().getAttributeNotifiable(1, &notifiable), OrvFailure);
    EXPECT_EQ(handle, 17u);
}

TEST(ModelRepository, ASecondLivingOneIsRefused)
{
    const ModelRepository first(ModelTest::awkwardModel());
    EXPECT_NE(ModelTest::errorOf([] { ModelRepository second(ModelTest::ietfModel()); }), "");
    uint64_t handle = 0;
    EXPECT_EQ(table().getMocFromDn("ManagedElement=1,box=1", &handle), OrvOk);
}

TEST(ModelRepository, AnotherMayFollowWhenTheFirstIsGone)
{
    {
        const ModelRepository first(ModelTest::awkwardModel());
    }
    const ModelRepository second(ModelTest::ietfModel());
    uint64_t handle = 0;
    EXPECT_EQ(table().getMocFromDn("ManagedElement=1,interfaces=1", &handle), OrvOk);
}

TEST_F(ModelRepositoryTable, GivesTheClassOfADnInEitherForm)
{
    const char* name = nullptr;
    EXPECT_EQ(table().getMocName(moc("ManagedElement=1,box=1,item=a"), &name), OrvOk);
    EXPECT_STREQ(name, "item");
    EXPECT_EQ(moc("ManagedElement=1,box=1,item=a"), moc("ManagedElement=node-7,box=1,item=b"));
}

TEST_F(ModelRepositoryTable, ADnWithoutAClassIsNotFound)
{
    uint64_t handle = 17;
    EXPECT_EQ(table().getMocFromDn("ManagedElement=1,nothing=1", &handle), OrvNotFound);
    EXPECT_EQ(table().getMocFromDn("", &handle), OrvNotFound);
    EXPECT_EQ(handle, 17u);
}

TEST_F(ModelRepositoryTable, TheWalkGivesEveryAttributeOnceAndEndsWithNotFound)
{
    EXPECT_EQ(walk(moc("ManagedElement=1,box=1,pair=a;b")), (std::vector<std::string>{"left", "right", "value"}));
    EXPECT_EQ(walk(moc("ManagedElement=1,box=1,state=1")),
              (std::vector<std::string>{"stateId(state)", "uptime(state)"}));
}

TEST_F(ModelRepositoryTable, TheLastAttributeOfTheLastClassHasNoNext)
{
    const YangModel& model = ModelTest::awkwardModel();
    uint64_t last = model.rootClass().attributes[0].handle;
    while (model.attributeOfHandle(last + 1))
    {
        ++last;
    }
    uint64_t handle = 17;
    EXPECT_EQ(table().getNextAttribute(last, &handle), OrvNotFound);
    EXPECT_EQ(handle, 17u);
}

TEST_F(ModelRepositoryTable, AValueThatIsNoHandleIsABadArgument)
{
    const uint64_t aClass = moc("ManagedElement=1,box=1");
    uint64_t anAttribute = 0;
    EXPECT_EQ(table().getFirstAttribute(aClass, &anAttribute), OrvOk);
    uint64_t handle = 0;
    const char* name = nullptr;
    bool notifiable = false;
    for (const uint64_t wrong : {uint64_t(0), uint64_t(1), ~uint64_t(0), anAttribute})
    {
        EXPECT_EQ(table().getMocName(wrong, &name), OrvBadArgument);
        EXPECT_EQ(table().getFirstAttribute(wrong, &handle), OrvBadArgument);
    }
    for (const uint64_t wrong : {uint64_t(0), uint64_t(1), ~uint64_t(0), aClass})
    {
        EXPECT_EQ(table().getNextAttribute(wrong, &handle), OrvBadArgument);
        EXPECT_EQ(table().getAttributeName(wrong, &name), OrvBadArgument);
        EXPECT_EQ(table().getAttributeNotifiable(wrong, &notifiable), OrvBadArgument);
    }
}

TEST_F(ModelRepositoryTable, ANullPointerIsABadArgument)
{
    const uint64_t aClass = moc("ManagedElement=1,box=1");
    uint64_t anAttribute = 0;
    EXPECT_EQ(table().getFirstAttribute(aClass, &anAttribute), OrvOk);
    uint64_t handle = 0;
    EXPECT_EQ(table().getMocFromDn(nullptr, &handle), OrvBadArgument);
    EXPECT_EQ(table().getMocFromDn("ManagedElement=1", nullptr), OrvBadArgument);
    EXPECT_EQ(table().getMocName(aClass, nullptr), OrvBadArgument);
    EXPECT_EQ(table().getFirstAttribute(aClass, nullptr), OrvBadArgument);
    EXPECT_EQ(table().getNextAttribute(anAttribute, nullptr), OrvBadArgument);
    EXPECT_EQ(table().getAttributeName(anAttribute, nullptr), OrvBadArgument);
    EXPECT_EQ(table().getAttributeNotifiable(anAttribute, nullptr), OrvBadArgument);
}

TEST_F(ModelRepositoryTable, AHandleOfAnEarlierModelIsABadArgument)
{
    uint64_t stale = 0;
    {
        const YangModel earlier(ModelTest::typesOptions());
        stale = earlier.rootClass().handle;
    }
    const char* name = nullptr;
    EXPECT_EQ(table().getMocName(stale, &name), OrvBadArgument);
}

TEST_F(ModelRepositoryTable, SeveralThreadsMayWalkAtOnce)
{
    const uint64_t aClass = moc("ManagedElement=1,box=1");
    const std::vector<std::string> expected = walk(aClass);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back([&] { EXPECT_EQ(walk(aClass), expected); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}
