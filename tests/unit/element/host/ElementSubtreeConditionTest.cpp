// Conditions of subtree filters, judged by the loaded service against the element's present data.
#include <future>

#include "LiveElementTest.h"
#include "SubtreeFilter.h"

namespace OrvElement
{
namespace
{

using OrvTest::int32Attribute;
using OrvTest::node;
using OrvTest::stringAttribute;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class ElementSubtreeConditionTest : public LiveElementTest
{
protected:
    // The sequence numbers of what has come, control records aside.
    std::vector<uint32_t> numbersOfChanges(const std::string& name)
    {
        std::vector<uint32_t> numbers;
        for (const LiveRecord& record : records(name))
        {
            if (record.sequenceNumber != 0)
            {
                numbers.push_back(record.sequenceNumber);
            }
        }
        return numbers;
    }
};

const char* const ITEM_A = "ManagedElement=ne1,box=1,item=a";
const char* const TYPES = "ManagedElement=ne1,types=1";
const char* const TYPES_CHANGED = "changed ManagedElement=ne1,types=1 {numbers}";
const char* const BOX_LIMIT = "changed ManagedElement=ne1,box=1 {limit}";

// One leaf of each type: what it is asked for, what meets that, and what only just does not.
struct TypeCase
{
    int32_t type;
    const char* leaf;
    const char* asked;
    const char* met;
    const char* missed;
};

const std::vector<TypeCase>& typeCases()
{
    static const std::vector<TypeCase> cases = {
        {1, "a-int8", "-5", "<a-int8>-5</a-int8>", "<a-int8>5</a-int8>"},
        {2, "a-int16", "1", "<a-int16>1</a-int16>", "<a-int16>257</a-int16>"},
        {3, "a-int32", "1", "<a-int32>1</a-int32>", "<a-int32>65537</a-int32>"},
        {4, "a-int64", "1", "<a-int64>1</a-int64>", "<a-int64>4294967297</a-int64>"},
        {5, "a-uint8", "200", "<a-uint8>200</a-uint8>", "<a-uint8>201</a-uint8>"},
        {6, "a-uint16", "1", "<a-uint16>1</a-uint16>", "<a-uint16>257</a-uint16>"},
        {7, "a-uint32", "1", "<a-uint32>1</a-uint32>", "<a-uint32>65537</a-uint32>"},
        {8, "a-uint64", "1", "<a-uint64>1</a-uint64>", "<a-uint64>4294967297</a-uint64>"},
        {9, "a-string", "yes", "<a-string>yes</a-string>", "<a-string>yes </a-string>"},
        {9, "a-binary", "AQI=", "<a-binary>AQI=</a-binary>", "<a-binary>AQM=</a-binary>"},
        {9, "a-bits", "one two", "<a-bits>two one</a-bits>", "<a-bits>one</a-bits>"},
        {9, "a-union", "300", "<a-union>300</a-union>", "<a-union>30</a-union>"},
        {9, "an-identity", "orv-types:red", "<an-identity>t:red</an-identity>",
         "<an-identity nc:operation=\"remove\"/>"},
        {10, "a-boolean", "true", "<a-boolean>true</a-boolean>", "<a-boolean>false</a-boolean>"},
        {10, "an-empty", "", "<an-empty/>", "<an-empty nc:operation=\"remove\"/>"},
        {11, "a-leafref", "1", "<a-leafref>1</a-leafref>", "<a-leafref>257</a-leafref>"},
        {11, "an-instance", "/orv-types:types/a-string", "<an-instance>/t:types/t:a-string</an-instance>",
         "<an-instance>/t:types/t:a-bits</an-instance>"},
        {12, "an-enum", "low", "<an-enum>low</an-enum>", "<an-enum>high</an-enum>"},
        {16, "a-decimal", "1.125", "<a-decimal>1.125</a-decimal>", "<a-decimal>1.126</a-decimal>"},
    };
    return cases;
}

std::string pathOf(const TypeCase& of)
{
    return std::string("/types[") + of.leaf + "='" + of.asked + "']";
}

// The place as one attribute, with nothing but this in it.
std::string place(const std::string& content)
{
    return "<place nc:operation=\"replace\">" + content + "</place>";
}

TEST_F(ElementSubtreeConditionTest, EveryTypeIsComparedWithItsPresentValue)
{
    std::string met;
    std::string missed;
    for (const TypeCase& of : typeCases())
    {
        const SubtreeFilter filter(element.model(), {pathOf(of)});
        EXPECT_EQ(filter.trees()[0]->containments[0]->attributeMatch[0]->type, of.type) << of.leaf;
        subscribe(of.leaf, {pathOf(of)});
        met += of.met;
        missed += of.missed;
    }
    editTypes(missed);
    EXPECT_THAT(take("all"), Not(IsEmpty()));
    for (const TypeCase& of : typeCases())
    {
        EXPECT_THAT(take(of.leaf), IsEmpty()) << of.leaf;
    }
    editTypes(met);
    EXPECT_THAT(take("all"), testing::SizeIs(typeCases().size())) << "one record for each attribute";
    for (const TypeCase& of : typeCases())
    {
        EXPECT_THAT(take(of.leaf), testing::SizeIs(typeCases().size())) << of.leaf;
    }
    editTypes("<numbers>1</numbers>");
    for (const TypeCase& of : typeCases())
    {
        EXPECT_THAT(take(of.leaf), ElementsAre(TYPES_CHANGED)) << of.leaf << ": what follows passes as well";
    }
    editTypes(missed);
    for (const TypeCase& of : typeCases())
    {
        EXPECT_THAT(take(of.leaf), IsEmpty()) << of.leaf;
    }
}

TEST_F(ElementSubtreeConditionTest, TheDataCountAndNotWhatTheNotificationSays)
{
    TreeSubscriber subscriber(table(),
                              {node("ManagedElement").child(node("types").match(int32Attribute("a-int32", 1)))});
    editTypes("<a-int32>2</a-int32>");
    dns(subscriber);
    const OrvTest::Notification lie =
        OrvTest::makeNotification(1, TYPES, attributeChanged, {int32Attribute("a-int32", 1)});
    EXPECT_EQ(table().pushNotification(*lie), OrvOk);
    EXPECT_THAT(dns(subscriber), IsEmpty());
    EXPECT_EQ(opened(), 2u) << "it was asked for both";
}

TEST_F(ElementSubtreeConditionTest, AnAncestorsConditionIsAskedOfTheAncestor)
{
    subscribe("a", {"/box[level='9']/item[name='a']"});
    editBox("<level>8</level><item><name>a</name><value>1</value></item>");
    EXPECT_THAT(take("a"), IsEmpty());
    editBox("<level>9</level>");
    EXPECT_THAT(take("a"), IsEmpty()) << "the box itself is not asked for";
    editBox("<item><name>a</name><value>2</value></item>");
    EXPECT_THAT(take("a"), ElementsAre(std::string("changed ") + ITEM_A + " {value}"));
    editBox("<level>8</level><item><name>a</name><value>3</value></item>");
    EXPECT_THAT(take("a"), IsEmpty());
}

TEST_F(ElementSubtreeConditionTest, AnyValueOfALeafListWillDo)
{
    subscribe("three", {"/types[numbers='3']"});
    subscribe("both", {"<types xmlns=\"urn:orv:types\"><numbers>1</numbers><numbers>3</numbers></types>"});
    editTypes("<numbers>1</numbers><numbers>2</numbers>");
    EXPECT_THAT(take("three"), IsEmpty());
    EXPECT_THAT(take("both"), IsEmpty());
    editTypes("<numbers>3</numbers>");
    EXPECT_THAT(take("three"), ElementsAre(TYPES_CHANGED));
    EXPECT_THAT(take("both"), ElementsAre(TYPES_CHANGED));
    editTypes("<numbers nc:operation=\"delete\">1</numbers>");
    EXPECT_THAT(take("three"), ElementsAre(TYPES_CHANGED));
    EXPECT_THAT(take("both"), IsEmpty());
}

TEST_F(ElementSubtreeConditionTest, DefaultsInUseCount)
{
    subscribe("leaf", {"/box[level='5']"});
    subscribe("list", {"/box[dialects='de']"});
    subscribe("item", {"/box/item[weight='1']"});
    editBox("<limit>50</limit><item><name>a</name></item>");
    EXPECT_THAT(take("leaf"), ElementsAre("created ManagedElement=ne1,box=1,item=a", BOX_LIMIT));
    EXPECT_THAT(take("list"), ElementsAre("created ManagedElement=ne1,box=1,item=a", BOX_LIMIT));
    EXPECT_THAT(take("item"), ElementsAre("created ManagedElement=ne1,box=1,item=a"));
    editBox("<level>6</level><dialects>fr</dialects><item><name>a</name><weight>2</weight></item>");
    EXPECT_THAT(take("leaf"), IsEmpty());
    EXPECT_THAT(take("list"), IsEmpty());
    EXPECT_THAT(take("item"), IsEmpty());
}

TEST_F(ElementSubtreeConditionTest, AnAttributeWithoutAValueMeetsNothing)
{
    subscribe("a", {"/types[a-string='']"});
    editTypes("<numbers>1</numbers>");
    EXPECT_THAT(take("a"), IsEmpty());
    EXPECT_EQ(opened(), 1u);
    editTypes("<a-string></a-string>");
    EXPECT_THAT(take("a"), ElementsAre("changed ManagedElement=ne1,types=1 {a-string}"));
}

TEST_F(ElementSubtreeConditionTest, EachFailedReadLeavesOneTransactionOpen)
{
    TreeSubscriber attribute(table(),
                             {node("ManagedElement").child(node("types").match(int32Attribute("a-missing", 1)))});
    TreeSubscriber structure(table(), {node("ManagedElement").child(node("types").structure("a-missing", {}))});
    TreeSubscriber object(
        table(), {node("ManagedElement").child(node("box").child(node("item").match(stringAttribute("name", "a"))))});
    editTypes("<numbers>1</numbers>");
    push("ManagedElement=ne1,box=1,item=a", objectCreated);
    push("ManagedElement=ne1,nothing=1", objectCreated);
    EXPECT_THAT(dns(attribute), IsEmpty());
    EXPECT_THAT(dns(structure), IsEmpty());
    EXPECT_THAT(dns(object), IsEmpty());
    failedReads = 3;
    EXPECT_EQ(opened(), 3u);
    EXPECT_EQ(element.transactionCounters().closed, 0u);
}

TEST_F(ElementSubtreeConditionTest, AWrongTypeOrAWrongValueEndsItsTransaction)
{
    TreeSubscriber wrongType(table(),
                             {node("ManagedElement").child(node("types").match(stringAttribute("a-int32", "1")))});
    TreeSubscriber wrongValue(table(),
                              {node("ManagedElement").child(node("types").match(int32Attribute("a-int32", 2)))});
    editTypes("<a-int32>1</a-int32>");
    EXPECT_THAT(dns(wrongType), IsEmpty());
    EXPECT_THAT(dns(wrongValue), IsEmpty());
    EXPECT_EQ(opened(), 2u);
}

TEST_F(ElementSubtreeConditionTest, MembersOfAStructAreAskedTogether)
{
    subscribe("one", {"/types[place/label='x']"});
    subscribe("two", {"/types[place/label='x'][place/latitude='1.5']"});
    editTypes(place("<label>x</label><latitude>1.25</latitude>"));
    EXPECT_THAT(take("one"), ElementsAre("changed ManagedElement=ne1,types=1 {place}"));
    EXPECT_THAT(take("two"), IsEmpty());
    editTypes(place("<label>x</label><latitude>1.5</latitude>"));
    EXPECT_THAT(take("one"), testing::SizeIs(1));
    EXPECT_THAT(take("two"), testing::SizeIs(1));
    editTypes(place("<label>y</label><latitude>1.5</latitude>"));
    EXPECT_THAT(take("one"), IsEmpty());
    EXPECT_THAT(take("two"), IsEmpty());
}

TEST_F(ElementSubtreeConditionTest, AMembersDefaultCountsAndOneThatIsNotThereIsPassedOver)
{
    subscribe("default", {"/types[place/label='here']"});
    subscribe("missing", {"/types[place/latitude='1.5']"});
    editTypes("<numbers>1</numbers>");
    EXPECT_THAT(take("default"), ElementsAre(TYPES_CHANGED));
    EXPECT_THAT(take("missing"), ElementsAre(TYPES_CHANGED));
    editTypes(place("<latitude>2.5</latitude>"));
    EXPECT_THAT(take("default"), testing::SizeIs(1));
    EXPECT_THAT(take("missing"), IsEmpty()) << "it is there now, and has another value";
}

TEST_F(ElementSubtreeConditionTest, AnyValueOfALeafListInAStructWillDo)
{
    subscribe("tag", {"/types[place/tags='b']"});
    editTypes(place("<tags>a</tags><tags>b</tags>"));
    EXPECT_THAT(take("tag"), testing::SizeIs(1));
    editTypes(place("<tags>a</tags><tags>c</tags>"));
    EXPECT_THAT(take("tag"), IsEmpty());
}

// Conditions are read on the service thread and, for replays, on the subscribing thread, while a third one edits.
TEST_F(ElementSubtreeConditionTest, EveryReadDuringEditsSeesOneStateAndIsClosed)
{
    const int rounds = 8;
    const int editsPerRound = 10;  // each of two records
    const char* const always = "/types[numbers='3']";
    subscribe("always", {always});
    subscribe("never", {"/types[place/label='x'][place/latitude='2.5']"});
    const auto editAll = [this]
    {
        for (int i = 0; i < editsPerRound; i += 2)
        {
            editTypes("<numbers>1</numbers><numbers>3</numbers><numbers>2</numbers>" +
                      place("<label>x</label><latitude>1.5</latitude>"));
            editTypes("<numbers nc:operation='delete'>2</numbers>" + place("<label>y</label><latitude>2.5</latitude>"));
        }
    };
    for (int round = 0; round < rounds; ++round)
    {
        std::future<void> edits = std::async(std::launch::async, editAll);
        subscribe("from the start " + std::to_string(round), {always}, 1);
        edits.get();
    }
    flush();
    const std::vector<uint32_t> all = numbersOfChanges("all");
    EXPECT_EQ(all.size(), 2u * rounds * editsPerRound);
    EXPECT_EQ(numbersOfChanges("always"), all);
    EXPECT_THAT(numbersOfChanges("never"), IsEmpty());
    for (int round = 0; round < rounds; ++round)
    {
        // A replay brings records of one time newest first.
        EXPECT_THAT(numbersOfChanges("from the start " + std::to_string(round)),
                    testing::UnorderedElementsAreArray(all));
    }
    const TransactionCounters counters = element.transactionCounters();
    EXPECT_EQ(counters.opened, all.size() * (2 + rounds));
    EXPECT_EQ(counters.openNow, 0u);
}

TEST_F(ElementSubtreeConditionTest, AnEncodedKeyIsMetByItsValue)
{
    subscribe("odd", {"/box/item[name='a,b=c%']"});
    subscribe("plain", {"/box/item[name='a']"});
    editBox("<item><name>a,b=c%</name><value>1</value></item>");
    EXPECT_THAT(take("odd"), ElementsAre("created ManagedElement=ne1,box=1,item=a%2Cb%3Dc%25"));
    EXPECT_THAT(take("plain"), IsEmpty());
    EXPECT_EQ(opened(), 0u) << "a key is a matter of the DN";
}

TEST_F(ElementSubtreeConditionTest, AConditionReadsAnObjectWithAnEncodedKey)
{
    subscribe("value", {"/box/item[value='7']"});
    editBox("<item><name>a,b=c%</name><value>7</value></item>");
    EXPECT_THAT(take("value"), ElementsAre("created ManagedElement=ne1,box=1,item=a%2Cb%3Dc%25"));
}

TEST_F(ElementSubtreeConditionTest, TwoKeysAreOneKeyAndOneOfThemIsRead)
{
    subscribe("both", {"/box/pair[left='a'][right='b']"});
    subscribe("semicolon", {"/box/pair[left='a;b'][right='c']"});
    subscribe("left", {"/box/pair[left='a']"});
    editBox("<pair><left>a</left><right>b</right></pair>");
    EXPECT_THAT(take("both"), ElementsAre("created ManagedElement=ne1,box=1,pair=a;b"));
    EXPECT_THAT(take("left"), ElementsAre("created ManagedElement=ne1,box=1,pair=a;b"));
    EXPECT_THAT(take("semicolon"), IsEmpty());
    editBox("<pair><left>a;b</left><right>c</right></pair>");
    EXPECT_THAT(take("both"), IsEmpty());
    EXPECT_THAT(take("left"), IsEmpty());
    EXPECT_THAT(take("semicolon"), ElementsAre("created ManagedElement=ne1,box=1,pair=a%3Bb;c"));
    EXPECT_EQ(opened(), 2u);
}

TEST_F(ElementSubtreeConditionTest, TheRootHasItsOuterKey)
{
    TreeSubscriber outer(table(), {node("ManagedElement").key("ne1")});
    TreeSubscriber inner(table(), {node("ManagedElement").key("1")});
    editBox("<item><name>a</name></item>");
    EXPECT_THAT(dns(outer), ElementsAre(ITEM_A));
    EXPECT_THAT(dns(inner), IsEmpty());
}

}  // namespace
}  // namespace OrvElement
