#include "UnservedInterfaces.h"

#include <gtest/gtest.h>

namespace OrvElement
{
namespace
{

TEST(UnservedInterfaces, HaveTheIdentitiesThatComponentsDeclare)
{
    const ZelMgmtSpiInterface_1& object = UnservedInterfaces::managedObject().id;
    EXPECT_STREQ(object.componentName, "OrvOamSpiExtCmRouterService");
    EXPECT_STREQ(object.interfaceName, "OrvOamSpiManagedObject");
    EXPECT_STREQ(object.interfaceVersion, "3");
    const ZelMgmtSpiInterface_1& model = UnservedInterfaces::modelRepository().id;
    EXPECT_STREQ(model.componentName, "ZelOamSpiModelRepositoryService");
    EXPECT_STREQ(model.interfaceName, "ZelOamSpiModelRepository");
    EXPECT_STREQ(model.interfaceVersion, "3");
}

TEST(UnservedInterfaces, AnswerFailureForReadsAndTouchNoResult)
{
    ZelOamSpiManagedObject_3& object = UnservedInterfaces::managedObject();
    ZelMoAttributeValueResult_3 result = {42, nullptr};
    object.reserved1();
    EXPECT_EQ(object.getMoAttribute(1, "ManagedElement=1", "name", &result), OrvFailure);
    EXPECT_EQ(result.status, 42);
}

TEST(UnservedInterfaces, AnswerFailureForEveryFunctionOfTheModelRepository)
{
    ZelOamSpiModelRepository_3& model = UnservedInterfaces::modelRepository();
    uint64_t handle = 42;
    const char* text = "untouched";
    bool flag = true;
    EXPECT_EQ(model.t1->getMocFromDn("ManagedElement=1", 0, &handle), OrvFailure);
    EXPECT_EQ(model.t2->getPropertyText(1, 0, &text), OrvFailure);
    EXPECT_EQ(model.t4->getFirstAttribute(1, &handle), OrvFailure);
    EXPECT_EQ(model.t9->getGeneralProperties(1, &handle), OrvFailure);
    EXPECT_EQ(model.t9->getNextAttribute(1, &handle), OrvFailure);
    EXPECT_EQ(model.t9->getAttributeFlag(1, 0, &flag), OrvFailure);
    EXPECT_EQ(handle, 42u);
    EXPECT_STREQ(text, "untouched");
    EXPECT_TRUE(flag);
}

TEST(UnservedInterfaces, CanBeCalledAtTheirReservedEntriesToo)
{
    ZelOamSpiModelRepository_3& model = UnservedInterfaces::modelRepository();
    for (void (*entry)(void) :
         {model.t1->reserved1, model.t1->reserved2, model.t4->reserved1, model.t4->reserved2, model.t4->reserved3,
          model.t4->reserved4, model.t4->reserved5, model.t9->reserved2, model.t9->reserved3, model.t9->reserved5})
    {
        ASSERT_NE(entry, nullptr);
        entry();
    }
}

}  // namespace
}  // namespace OrvElement
