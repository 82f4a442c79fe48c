// What matching tells at trace level: every text, in order, by scenario.
#include <algorithm>

#include "RfcFilterTest.h"

namespace OrvTest
{

namespace
{

// The object A=1,B=2 as the scenarios find it.
void fill(FakeManagedObjects& objects)
{
    objects.setInt32("A=1", "x", 1);
    objects.setAttribute("A=1", "many", ZelMoAttributeInt32_3, {numberValue(3), numberValue(5)});
    objects.setAttribute("A=1", "none", ZelMoAttributeInt32_3, {});
    objects.setStruct("A=1", "s", {{"m", ZelMoAttributeInt32_3, {numberValue(1)}}});
    objects.setStruct("A=1", "t", {{"n", ZelMoAttributeInt32_3, {numberValue(1)}}});
    objects.setInt32("A=1,B=2", "x", 2);
    objects.setStruct("A=1,B=2", "s", {{"m", ZelMoAttributeInt32_3, {numberValue(1)}}});
    objects.addKeyClass("B", {{"bId", true}});
}

struct Scenario
{
    const char* title;
    std::vector<Node> trees;
    const char* dn;
    int32_t type;
    std::vector<Attribute> attributes;
    bool passes;
    Texts texts;
};

std::vector<Scenario> scenariosOfThePath()
{
    return {
        {"no tree", {}, "A=1", attributeChanged, {}, true, {"DN in notification is A=1, type of notification 3 "}},
        {"a type that passes unmatched",
         {node("A")},
         "A=1",
         replayGap,
         {},
         true,
         {"DN in notification is A=1, type of notification 5 "}},
        {"another class",
         {node("A")},
         "B=1",
         attributeChanged,
         {},
         false,
         {"DN in notification is B=1, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Match failed returning false "}},
        {"a node without a class",
         {node(nullptr)},
         "A=1",
         attributeChanged,
         {},
         false,
         {"DN in notification is A=1, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className (null) is 1", "Match failed returning false "}},
        {"the DN ends above the child; two trees",
         {node("A").child(node("B")), node("C")},
         "A=1",
         discardedOld,
         {},
         false,
         {"DN in notification is A=1, type of notification 9 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching Containments",
          "Depth in className B is 2", "Match failed returning false ", "matchFilter, returning 0",
          "Matching the notification to filter ", "Depth in className C is 1", "Match failed returning false "}},
        {"the key fits",
         {node("A").key("1")},
         "A=1",
         objectCreated,
         {},
         true,
         {"DN in notification is A=1, type of notification 1 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching Key Attribute 1, 1",
          " All the matches passed and there are neither containments nor selections."}},
        {"the key does not fit",
         {node("A").key("1")},
         "A=2",
         objectDeleted,
         {},
         false,
         {"DN in notification is A=2, type of notification 2 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching Key Attribute 2, 1",
          "Key Attribute match failed."}},
        {"every child is tried",
         {node("A").child(node("B")).child(node("C")).child(node("B"))},
         "A=1,B=2",
         objectCreated,
         {},
         true,
         {"DN in notification is A=1,B=2, type of notification 1 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching Containments",
          "Depth in className B is 2", "Start checking for matches",
          " All the matches passed and there are neither containments nor selections.", "Depth in className C is 2",
          "Match failed returning false ", "Depth in className B is 2", "Start checking for matches",
          " All the matches passed and there are neither containments nor selections.", "matchFilter, returning 1"}},
        {"a deleted object in its node",
         {node("A").child(node("B").match(int32Attribute("x", 1)))},
         "A=1,B=2",
         objectDeleted,
         {},
         true,
         {"DN in notification is A=1,B=2, type of notification 2 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching Containments",
          "Depth in className B is 2", "Start checking for matches", "Pushing B in subTreeRoot list",
          "matchFilter, returning 1", " buildNotifications "}},
        {"a deleted object below a leaf",
         {node("A")},
         "A=1,B=2",
         objectDeleted,
         {},
         true,
         {"DN in notification is A=1,B=2, type of notification 2 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches",
          " All the matches passed and there are neither containments nor selections."}},
    };
}

std::vector<Scenario> scenariosOfSelections()
{
    return {
        {"a selected attribute, named twice",
         {node("A").select({"y", "x", "x"}).classes({"B"}).child(node("B"))},
         "A=1",
         attributeChanged,
         {int32Attribute("x", 1)},
         true,
         {"DN in notification is A=1, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching AttributeSelection",
          "AttributeSelection: Attributes in subscription y", "AttributeSelection: Attributes in subscription x",
          "AttributeSelection: Attributes in notification x", "AttributeSelection: Attributes in subscription x",
          "AttributeSelection: Attributes in notification x", "matchFilter, returning 1"}},
        {"no selected attribute, then classes and children in vain",
         {node("A").select({"y"}).classes({"B"}).child(node("B"))},
         "A=1",
         attributeChanged,
         {int32Attribute("x", 1)},
         false,
         {"DN in notification is A=1, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching AttributeSelection",
          "AttributeSelection: Attributes in subscription y", "Matching classSelection", "Matching Containments",
          "Depth in className B is 2", "Match failed returning false ", "matchFilter, returning 0"}},
        {"the DN goes on below a selection; every class is compared",
         {node("A").select({"x"}).classes({"C", "B", "D"}).child(node("B"))},
         "A=1,B=2",
         attributeChanged,
         {int32Attribute("x", 1)},
         true,
         {"DN in notification is A=1,B=2, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching AttributeSelection",
          "Matching classSelection", "Matching B, C", "Matching B, B", "Matching B, D", "matchFilter, returning 1"}},
        {"no class, a child",
         {node("A").classes({"C"}).child(node("B").select({"x"}))},
         "A=1,B=2",
         attributeChanged,
         {int32Attribute("x", 1)},
         true,
         {"DN in notification is A=1,B=2, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching classSelection", "Matching B, C",
          "Matching Containments", "Depth in className B is 2", "Start checking for matches",
          "Matching AttributeSelection", "AttributeSelection: Attributes in subscription x",
          "AttributeSelection: Attributes in notification x", "matchFilter, returning 1", "matchFilter, returning 1"}},
        {"empty arrays",
         {node("A").select().classes().child()},
         "A=1,B=2",
         attributeChanged,
         {},
         false,
         {"DN in notification is A=1,B=2, type of notification 3 ", "Matching the notification to filter ",
          "Depth in className A is 1", "Start checking for matches", "Matching AttributeSelection",
          "Matching classSelection", "Matching Containments", "matchFilter, returning 0"}},
    };
}

std::vector<Scenario> scenariosOfContent()
{
    const std::string begin = "DN in notification is A=1, type of notification 3 ";
    const std::string tree = "Matching the notification to filter ";
    const std::string depth = "Depth in className A is 1";
    const std::string start = "Start checking for matches";
    const std::string call = " Calling getMOAtrribute  ";
    const std::string leaf = " All the matches passed and there are neither containments nor selections.";
    return {
        {"conditions that hold, one at the second value",
         {node("A").match(int32Attribute("x", 1)).match(int32Attribute("many", 5))},
         "A=1",
         attributeChanged,
         {},
         true,
         {begin, tree, depth, start, "getMoAttribute : Getting value of MO Attribute x ", call, "compareAttributes ",
          "getMoAttribute : Getting value of MO Attribute many ", call, "compareAttributes ", "compareAttributes ",
          leaf}},
        {"a read that fails",
         {node("A").match(int32Attribute("unknown", 1)).match(int32Attribute("x", 1))},
         "A=1",
         attributeChanged,
         {},
         false,
         {begin, tree, depth, start, "getMoAttribute : Getting value of MO Attribute unknown ", call,
          "Unable to retrieve MO Attributes "}},
        {"another type",
         {node("A").match(stringAttribute("x", "1"))},
         "A=1",
         attributeChanged,
         {},
         false,
         {begin, tree, depth, start, "getMoAttribute : Getting value of MO Attribute x ", call,
          "In Attribute match, types mismatch !"}},
        {"another value",
         {node("A").match(int32Attribute("many", 7))},
         "A=1",
         attributeChanged,
         {},
         false,
         {begin, tree, depth, start, "getMoAttribute : Getting value of MO Attribute many ", call, "compareAttributes ",
          "compareAttributes ", "Attribute match fails"}},
        {"no value",
         {node("A").match(int32Attribute("none", 0))},
         "A=1",
         attributeChanged,
         {},
         false,
         {begin, tree, depth, start, "getMoAttribute : Getting value of MO Attribute none ", call,
          "Attribute match fails"}},
        {"no conditions in the array",
         {node("A").match()},
         "A=1",
         attributeChanged,
         {},
         true,
         {begin, tree, depth, start, leaf}},
        {"content of an ancestor",
         {node("A").match(int32Attribute("x", 1)).child(node("B").key("2").match(int32Attribute("x", 1)))},
         "A=1,B=2",
         attributeChanged,
         {},
         false,
         {"DN in notification is A=1,B=2, type of notification 3 ", tree, depth, start,
          "getMoAttribute : Getting value of MO Attribute x ", call, "compareAttributes ", "Matching Containments",
          "Depth in className B is 2", start, "Matching Key Attribute 2, 2",
          "getMoAttribute : Getting value of MO Attribute x ", call, "compareAttributes ", "Attribute match fails",
          "matchFilter, returning 0"}},
    };
}

std::vector<Scenario> scenariosOfStructs()
{
    const std::string begin = "DN in notification is A=1, type of notification 3 ";
    const std::string tree = "Matching the notification to filter ";
    const std::string depth = "Depth in className A is 1";
    const std::string start = "Start checking for matches";
    const std::string call = " Calling getMOAtrribute  ";
    const std::string leaf = " All the matches passed and there are neither containments nor selections.";
    const std::string structs = "Matching Structure Containments, DN A";
    const std::string passed = "Matching Structure Containments. returning 1";
    const std::string pass = "Matching Structure Containments pass";
    const std::string failed = "Attribute Match within Structure Containments failed.";
    return {
        {"no structs in the array",
         {node("A").structure()},
         "A=1",
         attributeChanged,
         {},
         true,
         {begin, tree, depth, start, structs, passed, pass, leaf}},
        {"two structs that hold",
         {node("A").structure("s", {int32Attribute("m", 1)}).structure("t", {})},
         "A=1",
         attributeChanged,
         {},
         true,
         {begin,
          tree,
          depth,
          start,
          structs,
          "Matching Structure Containments A=1 s ",
          "getMoAttribute : Getting value of MO Attribute s ",
          call,
          "Matching Structure Containments struct member name m  ",
          "compareAttributes ",
          "Match occured ",
          "returning 1 ",
          "Transaction ended",
          "Matching Structure Containments A=1 t ",
          "getMoAttribute : Getting value of MO Attribute t ",
          call,
          "returning 1 ",
          "Transaction ended",
          passed,
          pass,
          leaf}},
        {"a member of another value",
         {node("A").structure("s", {int32Attribute("m", 2)}).structure("t", {})},
         "A=1",
         attributeChanged,
         {},
         false,
         {begin, tree, depth, start, structs, "Matching Structure Containments A=1 s ",
          "getMoAttribute : Getting value of MO Attribute s ", call,
          "Matching Structure Containments struct member name m  ", "compareAttributes ", "returning false ",
          "Structure s match fails ", failed}},
        {"a struct that cannot be read",
         {node("A").structure("unknown", {}).structure("t", {})},
         "A=1",
         attributeChanged,
         {},
         false,
         {begin, tree, depth, start, structs, "Matching Structure Containments A=1 unknown ",
          "getMoAttribute : Getting value of MO Attribute unknown ", call, "Unable to retrieve MO Attributes ",
          failed}},
        {"the DN is told in full where the struct is read, the class before",
         {node("A").child(node("B").structure("s", {}))},
         "A=1,B=2",
         attributeChanged,
         {},
         true,
         {"DN in notification is A=1,B=2, type of notification 3 ", tree, depth, start, "Matching Containments",
          "Depth in className B is 2", start, "Matching Structure Containments, DN B",
          "Matching Structure Containments A=1,B=2 s ", "getMoAttribute : Getting value of MO Attribute s ", call,
          "returning 1 ", "Transaction ended", passed, pass, leaf, "matchFilter, returning 1"}},
        {"content, struct, selection",
         {node("A").match(int32Attribute("x", 1)).structure("t", {}).select({"x"})},
         "A=1",
         attributeChanged,
         {int32Attribute("x", 1)},
         true,
         {begin, tree, depth, start, "getMoAttribute : Getting value of MO Attribute x ", call, "compareAttributes ",
          structs, "Matching Structure Containments A=1 t ", "getMoAttribute : Getting value of MO Attribute t ", call,
          "returning 1 ", "Transaction ended", passed, pass, "Matching AttributeSelection",
          "AttributeSelection: Attributes in subscription x", "AttributeSelection: Attributes in notification x",
          "matchFilter, returning 1"}},
    };
}

}  // namespace

class RfcSubtreeTraceTest : public RfcFilterTest
{
protected:
    void expectTexts(const std::vector<Scenario>& scenarios)
    {
        fill(objects);
        for (const Scenario& scenario : scenarios)
        {
            SCOPED_TRACE(scenario.title);
            filterOf(scenario.trees);
            newTraces();
            EXPECT_EQ(match(scenario.dn, scenario.type, scenario.attributes), scenario.passes);
            EXPECT_EQ(newTraces(), scenario.texts);
        }
    }
};

TEST_F(RfcSubtreeTraceTest, ThePathOfTheDnIsTold)
{
    expectTexts(scenariosOfThePath());
}

TEST_F(RfcSubtreeTraceTest, SelectionsAreTold)
{
    expectTexts(scenariosOfSelections());
}

TEST_F(RfcSubtreeTraceTest, ContentConditionsAreTold)
{
    expectTexts(scenariosOfContent());
}

TEST_F(RfcSubtreeTraceTest, StructConditionsAreTold)
{
    expectTexts(scenariosOfStructs());
}

TEST_F(RfcSubtreeTraceTest, ATransactionThatDoesNotCloseIsNotToldToHaveEnded)
{
    fill(objects);
    filterOf({node("A").structure("s", {}).structure("t", {})});
    framework.plan().fail("closeTransaction", 1, OrvFailure);
    newTraces();

    EXPECT_TRUE(avc("A=1"));

    const Texts texts = newTraces();
    const auto second = std::find(texts.begin(), texts.end(), "Matching Structure Containments A=1 t ");
    EXPECT_EQ(std::count(texts.begin(), second, "Transaction ended"), 0);
    EXPECT_EQ(std::count(second, texts.end(), "Transaction ended"), 1);
}

TEST_F(RfcSubtreeTraceTest, AFailureIsToldBeforeItsTransactionIsClosed)
{
    fill(objects);
    std::string toldLast;
    framework.plan().whenCalled("closeTransaction",
                                [&]
                                {
                                    const Texts texts = newTraces();
                                    toldLast = texts.empty() ? "" : texts.back();
                                });
    const std::vector<std::pair<Node, const char*>> failures = {
        {node("A").match(stringAttribute("x", "1")), "In Attribute match, types mismatch !"},
        {node("A").match(int32Attribute("x", 2)), "Attribute match fails"},
        {node("A").structure("s", {int32Attribute("m", 2)}), "Structure s match fails "}};
    for (const auto& failure : failures)
    {
        filterOf({failure.first});
        newTraces();
        EXPECT_FALSE(avc("A=1"));
        EXPECT_EQ(toldLast, failure.second);
    }
    EXPECT_EQ(transactions(), Transactions(3, 3));
}

TEST_F(RfcSubtreeTraceTest, ARecordWithoutADnIsToldAsSuch)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({});
    newTraces();

    EXPECT_TRUE(filter.match(*Notification(TIME, nullptr, heartbeatNotification, {})));

    EXPECT_EQ(newTraces(), Texts({"DN in notification is (null), type of notification 8 "}));
}

TEST_F(RfcSubtreeTraceTest, NothingIsToldBelowTraceLevel)
{
    fill(objects);
    filterOf({node("A").match(int32Attribute("x", 1)).structure("s", {}).child(node("B"))});
    framework.setLevel(7);

    EXPECT_TRUE(avc("A=1,B=2"));
    EXPECT_TRUE(removed("A=1,B=2"));

    EXPECT_EQ(framework.lines().size(), 0u);
}

}  // namespace OrvTest
