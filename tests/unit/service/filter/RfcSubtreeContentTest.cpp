// Conditions on the live model: what is read, of which object, in which transaction, and which of these end.
#include <algorithm>

#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class RfcSubtreeContentTest : public RfcFilterTest
{
protected:
    // A condition on a member of a struct.
    static Attribute member(const std::string& name, int32_t value) { return int32Attribute(name, value); }
    static MemberOfStruct held(const std::string& name, int32_t value)
    {
        return {name, ZelMoAttributeInt32_3, {numberValue(value)}};
    }
};

TEST_F(RfcSubtreeContentTest, AConditionHoldsForThePresentValueNotForTheNotifications)
{
    filterOf({node("A").match(int32Attribute("x", 1))});
    objects.setInt32("A=1", "x", 1);
    EXPECT_TRUE(match("A=1", attributeChanged, {int32Attribute("x", 2)}));

    objects.setInt32("A=1", "x", 2);
    EXPECT_FALSE(match("A=1", attributeChanged, {int32Attribute("x", 1)}));
}

TEST_F(RfcSubtreeContentTest, EachConditionHasATransactionOfItsOwn)
{
    filterOf({node("A").match(int32Attribute("x", 1)).match(stringAttribute("y", "two"))});
    objects.setInt32("A=1", "x", 1);
    objects.setString("A=1", "y", "two");

    EXPECT_TRUE(avc("A=1,B=2"));

    EXPECT_THAT(objects.calls(),
                ElementsAre("openTransaction(1, 3600)", "getMoAttribute(T1, A=1, x)", "closeTransaction(T1)",
                            "openTransaction(1, 3600)", "getMoAttribute(T2, A=1, y)", "closeTransaction(T2)"));
}

TEST_F(RfcSubtreeContentTest, TheObjectReadIsTheOneOfTheNodesLevel)
{
    filterOf({node("A").match(int32Attribute("x", 1)).child(node("B").match(int32Attribute("y", 2)))});
    objects.setInt32("A=1", "x", 1);
    objects.setInt32("A=1,B=2", "y", 2);

    EXPECT_TRUE(avc("A=1,B=2,C=3"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 x", "A=1,B=2 y"));
}

TEST_F(RfcSubtreeContentTest, TheObjectReadIsNamedByClassAndKeyAlone)
{
    filterOf({node("A").child(node("B").match(int32Attribute("y", 2)).structure("s", {}))});
    objects.setInt32("A=1,B=2", "y", 2);
    objects.setStruct("A=1,B=2", "s", {});

    EXPECT_TRUE(avc("A.more=1=9,B=2=8"));

    EXPECT_THAT(newReads(), ElementsAre("A=1,B=2 y", "A=1,B=2 s"));
}

TEST_F(RfcSubtreeContentTest, TheConditionsOfAnAncestorHoldForADeletionToo)
{
    filterOf({node("A").match(int32Attribute("x", 1)).child(node("B").match(int32Attribute("y", 2)))});
    objects.setInt32("A=1", "x", 1);

    EXPECT_TRUE(removed("A=1,B=2"));
    EXPECT_THAT(newReads(), ElementsAre("A=1 x"));

    objects.setInt32("A=1", "x", 7);
    EXPECT_FALSE(removed("A=1,B=2"));
    EXPECT_EQ(transactions(), Transactions(2, 2));
}

TEST_F(RfcSubtreeContentTest, ADeletedObjectIsNotRead)
{
    filterOf({node("A").match(int32Attribute("x", 1)).structure("s", {member("m", 1)})});

    EXPECT_TRUE(removed("A=1"));

    EXPECT_THAT(objects.calls(), IsEmpty());
}

TEST_F(RfcSubtreeContentTest, NothingIsReadOffThePath)
{
    filterOf({node("B").match(int32Attribute("x", 1)), node("A").key("2").match(int32Attribute("x", 1)),
              node("A")
                  .child(node("B").match(int32Attribute("x", 1)))
                  .child(node("C").key("2").structure("s", {member("m", 1)}))});

    EXPECT_FALSE(avc("A=1"));
    EXPECT_FALSE(avc("A=1,C=1"));

    EXPECT_THAT(objects.calls(), IsEmpty());
}

TEST_F(RfcSubtreeContentTest, ReadsOfOneObjectAreRepeatedForEveryNode)
{
    const Node tree = node("A").match(int32Attribute("x", 1)).match(int32Attribute("x", 1)).classes({"B"});
    filterOf({tree, tree});
    objects.setInt32("A=1", "x", 1);

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 x", "A=1 x", "A=1 x", "A=1 x"));
    EXPECT_EQ(transactions(), Transactions(4, 4));
}

TEST_F(RfcSubtreeContentTest, NoTransactionStaysOpenAcrossARecursion)
{
    filterOf({node("A")
                  .match(int32Attribute("x", 1))
                  .structure("s", {member("m", 1)})
                  .child(node("B").match(int32Attribute("x", 1)).structure("s", {member("m", 1)}))});
    for (const char* dn : {"A=1", "A=1,B=2"})
    {
        objects.setInt32(dn, "x", 1);
        objects.setStruct(dn, "s", {held("m", 1)});
    }
    std::vector<size_t> openAtRead;
    framework.plan().whenCalled("getMoAttribute", [&] { openAtRead.push_back(objects.openHandles().size()); });

    EXPECT_TRUE(avc("A=1,B=2"));

    EXPECT_THAT(openAtRead, ElementsAre(1, 1, 1, 1));
    EXPECT_EQ(transactions(), Transactions(4, 4));
}

TEST_F(RfcSubtreeContentTest, AFailedReadLeavesItsTransactionOpen)
{
    filterOf({node("A").match(int32Attribute("x", 1)).match(int32Attribute("y", 2))});

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 x"));
    EXPECT_EQ(transactions(), Transactions(1, 0));
}

TEST_F(RfcSubtreeContentTest, EveryCodeOfAFailedReadCounts)
{
    filterOf({node("A").match(int32Attribute("x", 1))});
    objects.setInt32("A=1", "x", 1);
    for (const int code : std::vector<int>{OrvRetry, OrvNotRunning, OrvFailure, OrvNotFound, OrvBadArgument, 4711})
    {
        framework.plan().failAlways("getMoAttribute", code);
        EXPECT_FALSE(avc("A=1")) << code;
    }
    EXPECT_EQ(transactions(), Transactions(6, 0));
    framework.plan().succeed("getMoAttribute");
    EXPECT_TRUE(avc("A=1"));
}

TEST_F(RfcSubtreeContentTest, NothingIsClosedThatWasNotOpened)
{
    filterOf({node("A").match(int32Attribute("x", 1)), node("A").structure("s", {})});
    objects.setInt32("A=1", "x", 1);
    framework.plan().failAlways("openTransaction", OrvFailure);
    EXPECT_FALSE(avc("A=1"));
    framework.plan().succeed("openTransaction");
    framework.withdraw("ZelOamSpiTransactionMaster");
    EXPECT_FALSE(avc("A=1"));
    framework.restore("ZelOamSpiTransactionMaster");
    framework.withdraw("ZelOamSpiManagedObject");
    EXPECT_FALSE(avc("A=1"));

    EXPECT_EQ(transactions(), Transactions(0, 0));
    EXPECT_EQ(framework.plan().count("closeTransaction"), 0u);
}

TEST_F(RfcSubtreeContentTest, AnotherTypeFailsAndEndsTheTransaction)
{
    filterOf({node("A").match({"x", ZelMoAttributeUint32_3, 1, ""}).match(int32Attribute("y", 1))});
    objects.setInt32("A=1", "x", 1);

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(objects.calls(),
                ElementsAre("openTransaction(1, 3600)", "getMoAttribute(T1, A=1, x)", "closeTransaction(T1)"));
}

TEST_F(RfcSubtreeContentTest, AnotherValueFailsAndEndsTheTransaction)
{
    filterOf({node("A").match(int32Attribute("x", 1)).match(int32Attribute("y", 1))});
    objects.setInt32("A=1", "x", 2);

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 x"));
    EXPECT_EQ(transactions(), Transactions(1, 1));
}

TEST_F(RfcSubtreeContentTest, NoValueAtAllFailsAndEndsTheTransaction)
{
    filterOf({node("A").match(int32Attribute("x", 1))});
    objects.setAttribute("A=1", "x", ZelMoAttributeInt32_3, {});
    EXPECT_FALSE(avc("A=1"));
    objects.setNoValue("A=1", "x");
    EXPECT_FALSE(avc("A=1"));

    EXPECT_EQ(transactions(), Transactions(2, 2));
}

TEST_F(RfcSubtreeContentTest, ValuesThatAreCountedAndNotThereFailAndEndTheTransaction)
{
    filterOf({node("A").match(int32Attribute("x", 0))});
    objects.setNullValues("A=1", "x", ZelMoAttributeInt32_3, 2);
    newTraces();
    EXPECT_FALSE(avc("A=1"));
    const Texts texts = newTraces();
    EXPECT_EQ(texts.back(), "Attribute match fails");
    EXPECT_THAT(texts, Not(Contains("compareAttributes ")));

    objects.setNullValues("A=1", "x", ZelMoAttributeUint32_3, 2);
    EXPECT_FALSE(avc("A=1"));
    EXPECT_EQ(newTraces().back(), "In Attribute match, types mismatch !") << "which comes first";

    EXPECT_EQ(transactions(), Transactions(2, 2));
}

TEST_F(RfcSubtreeContentTest, ALaterConditionMayFail)
{
    filterOf({node("A").match(int32Attribute("x", 1)).match(int32Attribute("y", 1)).match(int32Attribute("z", 1))});
    objects.setInt32("A=1", "x", 1);
    objects.setInt32("A=1", "y", 2);
    objects.setInt32("A=1", "z", 1);

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 x", "A=1 y"));
    EXPECT_EQ(transactions(), Transactions(2, 2));
}

TEST_F(RfcSubtreeContentTest, AnyOfSeveralValuesIsEnoughAndTheWalkEndsThere)
{
    filterOf({node("A").match(int32Attribute("x", 5))});
    objects.setAttribute("A=1", "x", ZelMoAttributeInt32_3,
                         {numberValue(3), numberValue(5), numberValue(5), numberValue(7)});
    newTraces();

    EXPECT_TRUE(avc("A=1"));

    const Texts texts = newTraces();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "compareAttributes "), 2);
}

TEST_F(RfcSubtreeContentTest, OnlyTheFirstValueOfAConditionCounts)
{
    Node tree = node("A").match(int32Attribute("x", 1));
    ZelMoAttributeValue_3 values[2] = {};
    values[0].i32 = 1;
    values[1].i32 = 2;
    tree->attributeMatch[0]->values = values;
    tree->attributeMatch[0]->noOfValues = 2;
    filterOf({tree});

    objects.setInt32("A=1", "x", 1);
    EXPECT_TRUE(avc("A=1"));
    objects.setInt32("A=1", "x", 2);
    EXPECT_FALSE(avc("A=1"));
}

TEST_F(RfcSubtreeContentTest, AConditionWithoutAValueHoldsForNothing)
{
    Node tree = node("A").match(int32Attribute("x", 0));
    tree->attributeMatch[0]->values = nullptr;
    tree->attributeMatch[0]->noOfValues = 0;
    filterOf({tree});
    objects.setInt32("A=1", "x", 0);

    EXPECT_FALSE(avc("A=1"));

    EXPECT_EQ(transactions(), Transactions(1, 1));
}

TEST_F(RfcSubtreeContentTest, TheStatusInAResultIsNotLookedAt)
{
    filterOf({node("A").match(int32Attribute("x", 1)).structure("s", {member("m", 1)})});
    objects.setInt32("A=1", "x", 1);
    objects.setStruct("A=1", "s", {held("m", 1)});
    objects.setStatus(17);

    EXPECT_TRUE(avc("A=1"));

    EXPECT_EQ(transactions(), Transactions(2, 2));
}

TEST_F(RfcSubtreeContentTest, ATransactionThatDoesNotCloseChangesNothing)
{
    filterOf({node("A").match(int32Attribute("x", 1)).structure("s", {member("m", 1)})});
    objects.setInt32("A=1", "x", 1);
    objects.setStruct("A=1", "s", {held("m", 1)});
    framework.plan().failAlways("closeTransaction", OrvFailure);

    EXPECT_TRUE(avc("A=1"));

    EXPECT_EQ(framework.plan().count("closeTransaction"), 2u);
}

TEST_F(RfcSubtreeContentTest, AStructIsReadAtTheNodesLevelInATransactionOfItsOwn)
{
    filterOf({node("A")
                  .structure("s", {member("m", 1)})
                  .structure("t", {member("n", 2)})
                  .child(node("B").structure("u", {}))});
    objects.setStruct("A=1", "s", {held("m", 1)});
    objects.setStruct("A=1", "t", {held("n", 2)});
    objects.setStruct("A=1,B=2", "u", {held("m", 1)});

    EXPECT_TRUE(avc("A=1,B=2,C=3"));

    EXPECT_THAT(objects.calls(),
                ElementsAre("openTransaction(1, 3600)", "getMoAttribute(T1, A=1, s)", "closeTransaction(T1)",
                            "openTransaction(1, 3600)", "getMoAttribute(T2, A=1, t)", "closeTransaction(T2)",
                            "openTransaction(1, 3600)", "getMoAttribute(T3, A=1,B=2, u)", "closeTransaction(T3)"));
}

TEST_F(RfcSubtreeContentTest, AStructThatCannotBeReadLeavesItsTransactionOpen)
{
    filterOf({node("A").structure("s", {}).structure("t", {})});

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 s"));
    EXPECT_EQ(transactions(), Transactions(1, 0));
}

TEST_F(RfcSubtreeContentTest, AStructThatFailsEndsItsTransactionAndTheWalk)
{
    filterOf({node("A").structure("s", {member("m", 1), member("n", 2)}).structure("t", {})});
    objects.setStruct("A=1", "s", {held("m", 1), held("n", 3)});
    objects.setStruct("A=1", "t", {});

    EXPECT_FALSE(avc("A=1"));

    EXPECT_THAT(newReads(), ElementsAre("A=1 s"));
    EXPECT_EQ(transactions(), Transactions(1, 1));
}

TEST_F(RfcSubtreeContentTest, OnlyTheFirstOfSeveralStructValuesIsLookedAt)
{
    filterOf({node("A").structure("s", {member("m", 1)})});
    objects.setAttribute("A=1", "s", ZelMoAttributeStruct_3,
                         {structValue({held("m", 1)}), structValue({held("m", 2)})});
    EXPECT_TRUE(avc("A=1"));
    objects.setAttribute("A=1", "s", ZelMoAttributeStruct_3,
                         {structValue({held("m", 2)}), structValue({held("m", 1)})});
    EXPECT_FALSE(avc("A=1"));
}

TEST_F(RfcSubtreeContentTest, AStructWithoutAValueHasNoMembersToFail)
{
    filterOf({node("A").structure("s", {member("m", 1)})});
    objects.setAttribute("A=1", "s", ZelMoAttributeStruct_3, {});
    EXPECT_TRUE(avc("A=1"));
    objects.setNoValue("A=1", "s");
    EXPECT_TRUE(avc("A=1"));
    objects.setAttribute("A=1", "s", ZelMoAttributeStruct_3, {nullStructValue()});
    EXPECT_TRUE(avc("A=1"));
    objects.setNullValues("A=1", "s", ZelMoAttributeStruct_3, 2);
    EXPECT_TRUE(avc("A=1"));

    EXPECT_EQ(transactions(), Transactions(4, 4));
}

TEST_F(RfcSubtreeContentTest, ContentIsAskedBeforeStructs)
{
    filterOf({node("A").structure("s", {}).match(int32Attribute("x", 1))});
    objects.setStruct("A=1", "s", {});
    objects.setInt32("A=1", "x", 1);
    EXPECT_TRUE(avc("A=1"));
    EXPECT_THAT(newReads(), ElementsAre("A=1 x", "A=1 s"));

    objects.setInt32("A=1", "x", 2);
    EXPECT_FALSE(avc("A=1"));
    EXPECT_THAT(newReads(), ElementsAre("A=1 x"));
}

TEST_F(RfcSubtreeContentTest, ConditionsHoldBeforeSelectionsAndContainmentsAreLookedAt)
{
    const Node below = node("B");
    objects.setInt32("A=1", "x", 2);
    objects.setStruct("A=1", "s", {held("m", 2)});
    for (const bool ofContent : {true, false})
    {
        Node leaf = node("A");
        Node select = node("A").select({"x"});
        Node classes = node("A").classes({"B"});
        Node children = node("A").child(below);
        for (Node* tree : {&leaf, &select, &classes, &children})
        {
            ofContent ? tree->match(int32Attribute("x", 1)) : tree->structure("s", {member("m", 1)});
            filterOf({*tree});
            EXPECT_FALSE(avc("A=1", {"x"}));
            EXPECT_FALSE(avc("A=1,B=2"));
            EXPECT_FALSE(removed("A=1,B=2"));
        }
    }
}

TEST_F(RfcSubtreeContentTest, ATreeThatFailsByItsContentGivesWayToTheNext)
{
    filterOf({node("A").match(int32Attribute("x", 1)), node("A").match(int32Attribute("x", 2)).select({"y"})});
    objects.setInt32("A=1", "x", 2);

    EXPECT_TRUE(avc("A=1", {"y"}));

    EXPECT_THAT(selected(), ElementsAre("y"));
}

}  // namespace OrvTest
