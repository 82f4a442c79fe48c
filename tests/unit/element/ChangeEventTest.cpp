#include "ChangeEvent.h"

#include <gtest/gtest.h>

#include "ModelTestSupport.h"

using namespace OrvElement;

TEST(ChangeEvent, WithoutOperationsItIsEmptyAndItsArrayEndsAtOnce)
{
    const ChangeEvent event(7, 99);
    EXPECT_TRUE(event.empty());
    ASSERT_NE(event.record().txOperations, nullptr);
    EXPECT_EQ(event.record().txOperations[0], nullptr);
}

TEST(ChangeEvent, TheRecordCarriesHandleTimeAndTheConstantSource)
{
    const ChangeEvent event(7, 99);
    EXPECT_EQ(event.record().txHandle, 7u);
    EXPECT_EQ(event.record().eventTime, 99u);
    EXPECT_EQ(event.record().sourceIndicator, int(ChangeEvent::SOURCE_INDICATOR));
}

TEST(ChangeEvent, OperationsKeepTheirOrderAndTheirAddressesWhileMoreAreAdded)
{
    ChangeEvent event(1, 1);
    event.add(ChangeKind::Created, "first", {event.arena().attribute("a", 9, {})});
    ZelOamSpiCmEvent_TxOperation_1* const first = event.record().txOperations[0];
    for (int i = 0; i < 1000; ++i)
    {
        event.add(ChangeKind::Deleted, "dn" + std::to_string(i), {});
    }
    EXPECT_EQ(event.record().txOperations[0], first);
    EXPECT_STREQ(first->dn, "first");
    EXPECT_STREQ(first->attributes[0]->name, "a");
    EXPECT_EQ(first->attributes[1], nullptr);
    EXPECT_STREQ(event.record().txOperations[1000]->dn, "dn999");
    EXPECT_EQ(event.record().txOperations[1000]->attributes[0], nullptr);
    EXPECT_EQ(event.record().txOperations[1001], nullptr);
}

TEST(ChangeEvent, ItsDnsAreThoseOfTheOperations)
{
    ChangeEvent event(1, 1);
    event.add(ChangeKind::Created, "a", {});
    event.add(ChangeKind::AttributeChanged, "b", {});
    EXPECT_EQ(event.dns(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(ModelTest::operations(event), (std::vector<std::string>{"created a", "changed b"}));
    EXPECT_FALSE(event.empty());
}
