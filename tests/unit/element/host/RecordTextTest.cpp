#include "RecordText.h"

#include <gtest/gtest.h>

#include <deque>
#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

namespace OrvElement
{
namespace
{

const int64_t TIME = 1700000000000042;  // 2023-11-14T22:13:20.000042Z

ZelMoAttributeValue_3 text(const char* value)
{
    ZelMoAttributeValue_3 result;
    result.str = value;
    return result;
}

// A record of a change of one attribute, or of a control record without a DN.
class TestRecord
{
public:
    explicit TestRecord(int32_t type) : record{TIME, nullptr, 7, 9, type, nullptr} {}

    TestRecord& dn(const char* value)
    {
        _dn = value;
        record.dn = &_dn[0];
        return *this;
    }

    TestRecord& attribute(const char* name, ZelOamSpiMoAttributeType_3 type, std::vector<ZelMoAttributeValue_3> values)
    {
        _values.push_back(std::move(values));
        _containers.push_back(ZelMoNamedAttributeValueContainer_3{
            name, type, static_cast<uint32_t>(_values.back().size()), _values.back().data()});
        _pointers.clear();
        for (ZelMoNamedAttributeValueContainer_3& container : _containers)
        {
            _pointers.push_back(&container);
        }
        _pointers.push_back(nullptr);
        record.attributes = _pointers.data();
        return *this;
    }

    OrvOamSpiNbiNotificationValue_1 record;

private:
    std::string _dn;
    std::deque<std::vector<ZelMoAttributeValue_3>> _values;
    std::deque<ZelMoNamedAttributeValueContainer_3> _containers;
    std::vector<ZelMoNamedAttributeValueContainer_3*> _pointers;
};

nlohmann::json json(const TestRecord& record)
{
    return nlohmann::json::parse(recordAsJson("sub", record.record));
}

nlohmann::json valuesOf(const TestRecord& record)
{
    return json(record)["attributes"][0]["values"];
}

TEST(RecordText, NamesEveryTypeByItsEnumerator)
{
    const char* const names[] = {"objectCreated", "objectDeleted",  "attributeChanged",     "overflowNotification",
                                 "replayGap",     "replayComplete", "notificationComplete", "heartbeatNotification",
                                 "discardedOld"};
    for (int32_t type = 1; type <= 9; ++type)
    {
        EXPECT_EQ(notificationTypeName(type), names[type - 1]);
    }
    EXPECT_EQ(notificationTypeName(0), "type0");
    EXPECT_EQ(notificationTypeName(10), "type10");
}

TEST(RecordText, WritesAControlRecordWithoutDnAndNumbers)
{
    const TestRecord record(replayComplete);
    EXPECT_EQ(recordAsText("sub", record.record), "sub replayComplete 2023-11-14T22:13:20.000042Z");
    EXPECT_EQ(recordAsJson("sub", record.record),
              R"({"subscription":"sub","type":"replayComplete","eventTime":"2023-11-14T22:13:20.000042Z"})");
    EXPECT_EQ(recordSummary(record.record), "replayComplete");
}

// A subtree filter that has judged a deletion gives a control record once for each DN that went with it.
TEST(RecordText, WritesAControlRecordThatHasADnWithIt)
{
    TestRecord record(heartbeatNotification);
    record.record.txHandle = 0;
    record.record.sequenceNumber = 0;
    record.dn("a=1,b=*");
    EXPECT_EQ(recordAsText("sub", record.record),
              "sub heartbeatNotification 2023-11-14T22:13:20.000042Z a=1,b=* tx=0 seq=0");
    EXPECT_EQ(recordAsJson("sub", record.record),
              R"({"subscription":"sub","type":"heartbeatNotification","eventTime":"2023-11-14T22:13:20.000042Z",)"
              R"("dn":"a=1,b=*","txHandle":0,"sequenceNumber":0,"attributes":[]})");
    EXPECT_EQ(recordSummary(record.record), "heartbeatNotification a=1,b=*");
}

TEST(RecordText, WritesAChangeWithEverythingThatItHolds)
{
    TestRecord record(attributeChanged);
    record.dn("ManagedElement=1,a=1").attribute("first", ZelMoAttributeString_3, {text("x")});
    record.attribute("second", ZelMoAttributeString_3, {text("y"), text("z")});
    EXPECT_EQ(recordAsText("sub", record.record),
              "sub attributeChanged 2023-11-14T22:13:20.000042Z ManagedElement=1,a=1 tx=7 seq=9 first=\"x\" "
              "second=[\"y\", \"z\"]");
    EXPECT_EQ(recordAsJson("sub", record.record),
              R"({"subscription":"sub","type":"attributeChanged","eventTime":"2023-11-14T22:13:20.000042Z",)"
              R"("dn":"ManagedElement=1,a=1","txHandle":7,"sequenceNumber":9,"attributes":[)"
              R"({"name":"first","type":"string","values":["x"]},)"
              R"({"name":"second","type":"string","values":["y","z"]}]})");
}

TEST(RecordText, SummarisesAChangeByItsFirstAttributeOnly)
{
    TestRecord record(attributeChanged);
    record.dn("a=1").attribute("first", ZelMoAttributeString_3, {text("x")});
    record.attribute("second", ZelMoAttributeString_3, {text("y")});
    EXPECT_EQ(recordSummary(record.record), "attributeChanged a=1 first=\"x\"");
    record.record.notificationType = objectCreated;
    EXPECT_EQ(recordSummary(record.record), "objectCreated a=1 first=\"x\" second=\"y\"");
}

TEST(RecordText, WritesADeletedObjectWithoutAttributes)
{
    TestRecord record(objectDeleted);
    record.dn("a=1");
    EXPECT_EQ(recordAsText("sub", record.record), "sub objectDeleted 2023-11-14T22:13:20.000042Z a=1 tx=7 seq=9");
    EXPECT_EQ(json(record)["attributes"], nlohmann::json::array());
}

TEST(RecordText, WritesAnAttributeWithoutValues)
{
    TestRecord record(attributeChanged);
    record.dn("a=1").attribute("gone", ZelMoAttributeInt32_3, {});
    EXPECT_EQ(recordSummary(record.record), "attributeChanged a=1 gone=[]");
    EXPECT_EQ(json(record)["attributes"][0]["type"], "int32");
    EXPECT_EQ(valuesOf(record), nlohmann::json::array());
}

TEST(RecordText, WritesEachTypeCodeFromItsOwnMemberOfTheUnion)
{
    const auto written = [](ZelOamSpiMoAttributeType_3 type, const ZelMoAttributeValue_3& value)
    {
        TestRecord record(objectCreated);
        record.dn("a=1").attribute("x", type, {value});
        const nlohmann::json attribute = json(record)["attributes"][0];
        return attribute["type"].get<std::string>() + " " + attribute["values"][0].dump();
    };
    // All bits set around each member, so that the wrong width shows.
    ZelMoAttributeValue_3 value;
    const auto fresh = [&value]() -> ZelMoAttributeValue_3&
    {
        value.u64 = ~uint64_t(0);
        return value;
    };
    fresh().i8 = -8;
    EXPECT_EQ(written(ZelMoAttributeInt8_3, value), "int8 -8");
    fresh().i16 = -16;
    EXPECT_EQ(written(ZelMoAttributeInt16_3, value), "int16 -16");
    fresh().i32 = -32;
    EXPECT_EQ(written(ZelMoAttributeInt32_3, value), "int32 -32");
    fresh().i64 = std::numeric_limits<int64_t>::min();
    EXPECT_EQ(written(ZelMoAttributeInt64_3, value), "int64 \"-9223372036854775808\"");
    fresh().u8 = 8;
    EXPECT_EQ(written(ZelMoAttributeUint8_3, value), "uint8 8");
    fresh().u16 = 16;
    EXPECT_EQ(written(ZelMoAttributeUint16_3, value), "uint16 16");
    fresh().u32 = 32;
    EXPECT_EQ(written(ZelMoAttributeUint32_3, value), "uint32 32");
    fresh();
    EXPECT_EQ(written(ZelMoAttributeUint64_3, value), "uint64 \"18446744073709551615\"");
    fresh().str = "text";
    EXPECT_EQ(written(ZelMoAttributeString_3, value), "string \"text\"");
    fresh().boolean = 0;
    EXPECT_EQ(written(ZelMoAttributeBoolean_3, value), "boolean false");
    fresh().boolean = 2;
    EXPECT_EQ(written(ZelMoAttributeBoolean_3, value), "boolean true");
    fresh().ref = "ref";
    EXPECT_EQ(written(ZelMoAttributeReference_3, value), "reference \"ref\"");
    fresh().enumeration = -3;
    EXPECT_EQ(written(ZelMoAttributeEnumeration_3, value), "enumeration -3");
    fresh().f64 = 0.5;
    EXPECT_EQ(written(ZelMoAttributeDouble_3, value), "double 0.5");
    EXPECT_EQ(written(14, value), "type14 null");
    EXPECT_EQ(written(77, value), "type77 null");
    EXPECT_EQ(written(-1, value), "type-1 null");
}

TEST(RecordText, WritesNumbersOf64BitsWithoutQuotesInText)
{
    ZelMoAttributeValue_3 most = {};
    most.u64 = std::numeric_limits<uint64_t>::max();
    ZelMoAttributeValue_3 least = {};
    least.i64 = std::numeric_limits<int64_t>::min();
    TestRecord record(objectCreated);
    record.dn("a=1")
        .attribute("u", ZelMoAttributeUint64_3, {most, most})
        .attribute("i", ZelMoAttributeInt64_3, {least});
    EXPECT_EQ(recordSummary(record.record),
              "objectCreated a=1 u=[18446744073709551615, 18446744073709551615] i=-9223372036854775808");
}

TEST(RecordText, WritesTheMembersOfAStruct)
{
    ZelMoAttributeValue_3 number = {};
    number.i32 = 5;
    ZelMoAttributeValue_3 word = text("w");
    ZelMoAttributeValueContainer_3 numberContainer = {ZelMoAttributeInt32_3, 1, &number};
    ZelMoAttributeValueContainer_3 wordContainer = {ZelMoAttributeString_3, 1, &word};
    char wordName[] = "word";
    char numberName[] = "number";
    ZelMoStructMember_3 last = {wordName, &wordContainer, nullptr};
    ZelMoStructMember_3 first = {numberName, &numberContainer, &last};
    ZelMoAttributeValue_3 value = {};
    value.structMembers = &first;
    TestRecord record(objectCreated);
    record.dn("a=1").attribute("s", ZelMoAttributeStruct_3, {value});
    EXPECT_EQ(recordSummary(record.record), "objectCreated a=1 s={number=5 word=\"w\"}");
    EXPECT_EQ(valuesOf(record).dump(),
              R"([[{"name":"number","type":"int32","values":[5]},{"name":"word","type":"string","values":["w"]}]])");
}

TEST(RecordText, KeepsALineOneLineWhateverAValueHolds)
{
    TestRecord record(objectCreated);
    record.dn("a=1").attribute("x", ZelMoAttributeString_3, {text("two\nlines \"quoted\" \xff")});
    EXPECT_EQ(recordAsText("sub", record.record).find('\n'), std::string::npos);
    EXPECT_EQ(recordAsJson("sub", record.record).find('\n'), std::string::npos);
    EXPECT_EQ(valuesOf(record)[0], "two\nlines \"quoted\" \xef\xbf\xbd");
}

TEST(RecordText, WritesANullStringAsNull)
{
    TestRecord record(objectCreated);
    record.dn("a=1").attribute("x", ZelMoAttributeString_3, {text(nullptr)});
    EXPECT_TRUE(valuesOf(record)[0].is_null());
}

}  // namespace
}  // namespace OrvElement
