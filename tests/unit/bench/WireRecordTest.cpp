#include "WireRecord.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "Records.h"

namespace
{

using OrvBench::DecodedRecord;
using OrvTest::Attribute;

std::vector<char> encoded(const OrvOamSpiNbiNotificationValue_1& record)
{
    std::vector<char> bytes(OrvBench::encodedSize(record));
    OrvBench::encode(record, bytes.data());
    return bytes;
}

TEST(WireRecord, GivesBackEveryFieldAndAttribute)
{
    const OrvTest::Notification record = OrvTest::makeNotification(
        1700000000000001, "ManagedElement=me,interface=eth0", attributeChanged,
        {OrvTest::int32Attribute("mtu", -1500), OrvTest::stringAttribute("description", "uplink"),
         Attribute{"parent", ZelMoAttributeReference_3, 0, "ManagedElement=me"}});
    record->txHandle = 17;
    record->sequenceNumber = 4000000000;
    std::vector<char> bytes = encoded(*record);
    const DecodedRecord decoded(bytes.data(), bytes.size());
    // Nothing of it may stand in the bytes that it was made of.
    bytes.assign(bytes.size(), '?');

    EXPECT_EQ((*decoded).eventTime, 1700000000000001);
    EXPECT_STREQ((*decoded).dn, "ManagedElement=me,interface=eth0");
    EXPECT_EQ((*decoded).txHandle, 17U);
    EXPECT_EQ((*decoded).sequenceNumber, 4000000000U);
    EXPECT_EQ((*decoded).notificationType, attributeChanged);
    ZelMoNamedAttributeValueContainer_3** const attributes = (*decoded).attributes;
    EXPECT_STREQ(attributes[0]->name, "mtu");
    EXPECT_EQ(attributes[0]->type, ZelMoAttributeInt32_3);
    ASSERT_EQ(attributes[0]->noOfValues, 1U);
    EXPECT_EQ(attributes[0]->values[0].i32, -1500);
    EXPECT_STREQ(attributes[1]->name, "description");
    EXPECT_EQ(attributes[1]->type, ZelMoAttributeString_3);
    ASSERT_EQ(attributes[1]->noOfValues, 1U);
    EXPECT_STREQ(attributes[1]->values[0].str, "uplink");
    EXPECT_STREQ(attributes[2]->name, "parent");
    EXPECT_EQ(attributes[2]->type, ZelMoAttributeReference_3);
    ASSERT_EQ(attributes[2]->noOfValues, 1U);
    EXPECT_STREQ(attributes[2]->values[0].ref, "ManagedElement=me");
    EXPECT_EQ(attributes[3], nullptr);
}

TEST(WireRecord, GivesBackARecordWithoutAttributes)
{
    const OrvTest::Notification record = OrvTest::makeNotification(1, "a=1", objectDeleted);
    const std::vector<char> bytes = encoded(*record);
    const DecodedRecord decoded(bytes.data(), bytes.size());
    EXPECT_STREQ((*decoded).dn, "a=1");
    EXPECT_EQ((*decoded).attributes[0], nullptr);
}

TEST(WireRecord, ReadsBytesAtAnOddAddress)
{
    const OrvTest::Notification record =
        OrvTest::makeNotification(1, "a=1", objectCreated, {OrvTest::int32Attribute("mtu", 9000)});
    const std::vector<char> bytes = encoded(*record);
    std::vector<char> shifted(1, '?');
    shifted.insert(shifted.end(), bytes.begin(), bytes.end());
    const DecodedRecord decoded(shifted.data() + 1, bytes.size());
    EXPECT_EQ((*decoded).attributes[0]->values[0].i32, 9000);
}

TEST(WireRecord, RefusesAStruct)
{
    const OrvTest::Notification record =
        OrvTest::makeNotification(1, "a=1", objectCreated, {OrvTest::int32Attribute("state", 1)});
    record->attributes[0]->type = ZelMoAttributeStruct_3;
    EXPECT_THROW(OrvBench::encodedSize(*record), std::runtime_error);
}

}  // namespace
