// Which notifications a subtree filter passes, and what it keeps of them, where no condition reads the model.
#include <algorithm>

#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::ElementsAre;
using testing::IsEmpty;

class RfcSubtreeMatchingTest : public RfcFilterTest
{
};

TEST_F(RfcSubtreeMatchingTest, AnEmptyListPassesEveryType)
{
    filterOf({});
    for (int32_t type = objectCreated; type <= discardedOld; ++type)
    {
        EXPECT_TRUE(match("A=1", type)) << type;
    }
}

TEST_F(RfcSubtreeMatchingTest, ANullArrayIsAnEmptyList)
{
    OrvNbiNotificationService::RfcSubscriptionFilter filter(nullptr);

    EXPECT_THAT(filter.filters, IsEmpty());
    EXPECT_TRUE(filter.match(*makeNotification(TIME, "A=1", objectCreated)));
}

TEST_F(RfcSubtreeMatchingTest, OnlyANullArrayIsTold)
{
    const std::string told = "In RfcSubscriptionFilter::createFilters Filters are empty";
    newTraces();
    OrvNbiNotificationService::RfcSubscriptionFilter nothing(nullptr);
    EXPECT_THAT(newTraces(), ElementsAre(told));
    filterOf({});
    EXPECT_THAT(newTraces(), IsEmpty());
    filterOf({node("A")});
    EXPECT_THAT(newTraces(), IsEmpty());
}

TEST_F(RfcSubtreeMatchingTest, TheTreesAreKeptInOrderUpToTheNull)
{
    const Node first = node("A");
    const Node second = node("B");
    OrvOamSpiNbiNotificationSubTree_1* array[] = {first.get(), second.get(), nullptr, first.get()};

    OrvNbiNotificationService::RfcSubscriptionFilter filter(array);

    EXPECT_THAT(filter.filters, ElementsAre(first.get(), second.get()));
}

TEST_F(RfcSubtreeMatchingTest, TheArrayIsNotReadAfterConstruction)
{
    const Node tree = node("A");
    std::vector<OrvOamSpiNbiNotificationSubTree_1*> array = {tree.get(), nullptr};
    OrvNbiNotificationService::RfcSubscriptionFilter filter(array.data());
    array.assign(2, nullptr);

    EXPECT_TRUE(filter.match(*makeNotification(TIME, "A=1", objectCreated)));
    EXPECT_FALSE(filter.match(*makeNotification(TIME, "B=1", objectCreated)));
}

TEST_F(RfcSubtreeMatchingTest, TheTreeIsNotCopied)
{
    Node tree = node("A");
    filterOf({tree});
    EXPECT_FALSE(avc("B=1"));

    char other[] = "B";
    tree->className = other;

    EXPECT_TRUE(avc("B=1"));
}

// Types 4, 5 and 6 alone pass unmatched; their records have no DN.
TEST_F(RfcSubtreeMatchingTest, OverflowAndTheReplayRecordsPassWithoutADn)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    for (const int32_t type : {overflowNotification, replayGap, replayComplete})
    {
        EXPECT_TRUE(filter.match(*Notification(TIME, nullptr, type, {}))) << type;
    }
}

TEST_F(RfcSubtreeMatchingTest, EveryOtherTypeIsMatchedByItsDn)
{
    filterOf({node("A")});
    for (const int32_t type : {-1, 0, 1, 2, 3, 7, 8, 9, 10, 1000})
    {
        EXPECT_TRUE(match("A=1", type)) << type;
        EXPECT_FALSE(match("B=1", type)) << type;
    }
}

TEST_F(RfcSubtreeMatchingTest, TypesThatPassUnmatchedLeaveTheFindingsAlone)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"}).classes({"B"})});
    ASSERT_TRUE(avc("A=1", {"x"}));
    for (const int32_t type : {overflowNotification, replayGap, replayComplete})
    {
        EXPECT_TRUE(filter.match(*Notification(TIME, nullptr, type, {})));
        EXPECT_THAT(selected(), ElementsAre("x")) << type;
        EXPECT_THAT(filter.classes, ElementsAre("A")) << type;
        EXPECT_THAT(filter.keys, ElementsAre("1")) << type;
    }

    filterOf({node("A")});
    ASSERT_TRUE(removed("A=1"));
    for (const int32_t type : {overflowNotification, replayGap, replayComplete})
    {
        match("", type);
        EXPECT_THAT(deleteDns(), ElementsAre("A=1")) << type;
        EXPECT_THAT(roots(), ElementsAre("A")) << type;
    }
}

TEST_F(RfcSubtreeMatchingTest, AnEmptyListLeavesTheFindingsAlone)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({});
    const Node root = node("B");
    const AttributeArray attributes({int32Attribute("x", 1)});
    filter.classes = {"B"};
    filter.keys = {"2"};
    filter.deleteDns = {"B=2"};
    filter.subTreeRoots = {root.get()};
    filter.selectedAttributes = {attributes.get()[0]};
    for (const int32_t type : {+objectDeleted, +attributeChanged, +heartbeatNotification})
    {
        EXPECT_TRUE(match("A=1", type, {int32Attribute("y", 1)}));
        EXPECT_THAT(filter.classes, ElementsAre("B")) << type;
        EXPECT_THAT(filter.keys, ElementsAre("2")) << type;
        EXPECT_THAT(deleteDns(), ElementsAre("B=2")) << type;
        EXPECT_THAT(roots(), ElementsAre("B")) << type;
        EXPECT_THAT(selected(), ElementsAre("x")) << type;
    }
}

TEST_F(RfcSubtreeMatchingTest, EveryMatchedTypeClearsTheFindingsFirst)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    for (const int32_t type : {1, 3, 7, 8, 9})
    {
        ASSERT_TRUE(removed("A=1"));
        EXPECT_FALSE(match("B=7,C=8", type));
        EXPECT_THAT(deleteDns(), IsEmpty()) << type;
        EXPECT_THAT(roots(), IsEmpty()) << type;
        EXPECT_THAT(filter.classes, ElementsAre("B", "C")) << type;
        EXPECT_THAT(filter.keys, ElementsAre("7", "8")) << type;
    }
}

TEST_F(RfcSubtreeMatchingTest, ASelectionIsGoneWithTheNextMatch)
{
    filterOf({node("A").select({"x"})});
    ASSERT_TRUE(avc("A=1", {"x"}));
    ASSERT_THAT(selected(), ElementsAre("x"));

    EXPECT_FALSE(avc("B=1", {"x"}));

    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcSubtreeMatchingTest, ANodeAlonePassesItsObjectAndAllBelow)
{
    filterOf({node("A").key("1")});

    EXPECT_TRUE(avc("A=1"));
    EXPECT_TRUE(avc("A=1,B=2,C=3"));
    EXPECT_FALSE(avc("A=2"));
    EXPECT_FALSE(avc("B=1"));
}

TEST_F(RfcSubtreeMatchingTest, ATreeStartsAtTheFirstComponent)
{
    filterOf({node("B")});

    EXPECT_FALSE(avc("A=1,B=2"));
    EXPECT_TRUE(avc("B=2"));
}

TEST_F(RfcSubtreeMatchingTest, AChildStandsForTheNextComponent)
{
    filterOf({node("A").child(node("B"))});

    EXPECT_FALSE(avc("A=1"));
    EXPECT_TRUE(avc("A=1,B=7"));
    EXPECT_TRUE(avc("A=1,B=7,C=3"));
    EXPECT_FALSE(avc("A=1,C=7"));
    EXPECT_FALSE(avc("A=1,C=7,B=7"));
}

TEST_F(RfcSubtreeMatchingTest, ClassesAreComparedWhole)
{
    for (const char* other : {"a", "AA", "AAA", "AAaA", "BAAA", ""})
    {
        filterOf({node("AAAA")});
        EXPECT_FALSE(avc(std::string(other) + "=1")) << other;
        filterOf({node(other)});
        EXPECT_FALSE(avc("AAAA=1")) << other;
    }
}

TEST_F(RfcSubtreeMatchingTest, TheClassOfAComponentEndsAtTheFirstDot)
{
    filterOf({node("Foo")});
    EXPECT_TRUE(avc("Foo.bar=1"));
    EXPECT_TRUE(avc("Foo.bar.baz=1"));

    filterOf({node("Foo.bar")});
    EXPECT_FALSE(avc("Foo.bar=1"));
}

TEST_F(RfcSubtreeMatchingTest, KeysAreComparedAsStringsAndTheirNamesNotAtAll)
{
    filterOf({node("A").key("07", "any name")});

    EXPECT_TRUE(avc("A=07"));
    EXPECT_FALSE(avc("A=7"));
    EXPECT_FALSE(avc("A=07 "));
    EXPECT_FALSE(avc("A="));
    EXPECT_TRUE(avc("A=07=8"));
    EXPECT_TRUE(avc("A.name=07"));
}

TEST_F(RfcSubtreeMatchingTest, AKeyIsReadAsTextWhateverItsType)
{
    filterOf({node("A").key({"id", ZelMoAttributeReference_3, 0, "7"})});

    EXPECT_TRUE(avc("A=7"));
    EXPECT_FALSE(avc("A=8"));
}

TEST_F(RfcSubtreeMatchingTest, EveryLevelHasItsOwnKey)
{
    filterOf({node("A").key("1").child(node("B").key("2"))});

    EXPECT_TRUE(avc("A=1,B=2"));
    EXPECT_FALSE(avc("A=2,B=2"));
    EXPECT_FALSE(avc("A=1,B=1"));
}

TEST_F(RfcSubtreeMatchingTest, AClassSelectionLooksOneLevelDownAndNoFurther)
{
    filterOf({node("A").classes({"B"})});

    EXPECT_TRUE(avc("A=1,B=9"));
    EXPECT_TRUE(avc("A=1,B=9,C=3"));
    EXPECT_TRUE(avc("A=1,B.more=9"));
    EXPECT_FALSE(avc("A=1,C=9"));
    EXPECT_FALSE(avc("A=1,C=9,B=3"));
    EXPECT_FALSE(avc("A=1"));
    EXPECT_FALSE(avc("A=1,BB=9"));
}

TEST_F(RfcSubtreeMatchingTest, AnyOfTheSelectedClassesIsEnough)
{
    filterOf({node("A").classes({"B", "C", "D"})});

    EXPECT_TRUE(avc("A=1,B=1"));
    EXPECT_TRUE(avc("A=1,C=1"));
    EXPECT_TRUE(avc("A=1,D=1"));
    EXPECT_FALSE(avc("A=1,E=1"));
}

TEST_F(RfcSubtreeMatchingTest, AClassSelectionInALowerNodeLooksBelowThatNode)
{
    filterOf({node("A").child(node("B").classes({"C"}))});

    EXPECT_TRUE(avc("A=1,B=2,C=3"));
    EXPECT_FALSE(avc("A=1,B=2"));
    EXPECT_FALSE(avc("A=1,C=2"));
}

TEST_F(RfcSubtreeMatchingTest, AnEmptyArrayIsNoLeafAndSelectsNothing)
{
    for (const char* dn : {"A=1", "A=1,B=2"})
    {
        filterOf({node("A").select()});
        EXPECT_FALSE(avc(dn, {"x"})) << dn;
        filterOf({node("A").classes()});
        EXPECT_FALSE(avc(dn)) << dn;
        filterOf({node("A").child()});
        EXPECT_FALSE(avc(dn)) << dn;
    }
}

TEST_F(RfcSubtreeMatchingTest, EmptyConditionsLeaveALeafALeaf)
{
    filterOf({node("A").match().structure()});

    EXPECT_TRUE(avc("A=1"));
    EXPECT_TRUE(avc("A=1,B=2"));
}

TEST_F(RfcSubtreeMatchingTest, SelectionsAndContainmentsAreAlternatives)
{
    filterOf({node("A").select({"x"}).classes({"B"}).child(node("C").key("1"))});

    EXPECT_TRUE(avc("A=1", {"x"}));
    EXPECT_FALSE(avc("A=1", {"y"}));
    EXPECT_TRUE(avc("A=1,B=1", {"y"}));
    EXPECT_TRUE(avc("A=1,C=1", {"y"}));
    EXPECT_FALSE(avc("A=1,C=2", {"y"}));
    EXPECT_FALSE(avc("A=1,D=1", {"x"}));
}

TEST_F(RfcSubtreeMatchingTest, ASelectionInTheTopNodeStaysAlive)
{
    filterOf({node("A").select({"x"})});

    EXPECT_TRUE(avc("A=1", {"x", "y"}));
    EXPECT_THAT(selected(), ElementsAre("x"));
    EXPECT_FALSE(avc("A=1", {"y"}));
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcSubtreeMatchingTest, ASelectionInALowerNodeOnlyDecides)
{
    filterOf({node("A").child(node("B").select({"x"}))});

    EXPECT_TRUE(avc("A=1,B=2", {"x"}));
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_FALSE(avc("A=1,B=2", {"y"}));
    EXPECT_FALSE(avc("A=1", {"x"}));
}

TEST_F(RfcSubtreeMatchingTest, ASelectionCountsOnlyWhereTheDnEnds)
{
    filterOf({node("A").select({"x"})});
    EXPECT_FALSE(avc("A=1,B=2", {"x"}));
    EXPECT_THAT(selected(), IsEmpty());

    filterOf({node("A").select({"x"}).child(node("B"))});
    EXPECT_TRUE(avc("A=1,B=2", {"x"}));
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcSubtreeMatchingTest, BothASelectionAboveAndOneBelowLeaveTheNotificationWhole)
{
    filterOf({node("A").select({"x"}).child(node("B").select({"x"}))});

    EXPECT_TRUE(avc("A=1,B=2", {"x"}));
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_TRUE(avc("A=1", {"x"}));
    EXPECT_THAT(selected(), ElementsAre("x"));
}

TEST_F(RfcSubtreeMatchingTest, ASelectionNeedsAttributes)
{
    filterOf({node("A").select({"x"})});
    EXPECT_FALSE(avc("A=1"));

    Notification bare = makeNotification(TIME, "A=1", attributeChanged);
    bare->attributes = nullptr;
    EXPECT_FALSE(filterOf({node("A").select({"x"})}).match(*bare));
    EXPECT_TRUE(filterOf({node("A").select({"x"}), node("A")}).match(*bare));
}

TEST_F(RfcSubtreeMatchingTest, ASelectionAppliesToCreatedObjectsToo)
{
    filterOf({node("A").select({"x"})});

    EXPECT_TRUE(match("A=1", objectCreated, {int32Attribute("x", 1), int32Attribute("y", 2)}));
    EXPECT_THAT(selected(), ElementsAre("x"));
}

// Two children of one class: the first selects, the second is a leaf, which forgets what was selected.
TEST_F(RfcSubtreeMatchingTest, EveryChildIsTriedAfterASuccess)
{
    filterOf({node("A").child(node("B").select({"x"})).child(node("B"))});
    newTraces();

    EXPECT_TRUE(avc("A=1,B=2", {"x"}));

    const Texts texts = newTraces();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Depth in className B is 2"), 2);
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcSubtreeMatchingTest, ASuccessOutlastsTheFailureOfALaterChild)
{
    filterOf({node("A").child(node("B")).child(node("C"))});
    EXPECT_TRUE(avc("A=1,B=2"));
    EXPECT_TRUE(avc("A=1,C=2"));
}

TEST_F(RfcSubtreeMatchingTest, ALeafForgetsWhatWasSelected)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    const Notification notification = makeNotification(TIME, "A=1", attributeChanged, {int32Attribute("x", 1)});
    const Node leaf = node("A");
    const Node select = node("A").select({"x"});
    bool flag = false;
    filter.createListFromDN("A=1");
    ASSERT_TRUE(filter.matchFilter(select.get(), *notification, 0, flag));
    ASSERT_TRUE(flag);
    ASSERT_THAT(selected(), ElementsAre("x"));

    EXPECT_TRUE(filter.matchFilter(leaf.get(), *notification, 0, flag));

    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_TRUE(flag) << "a leaf leaves the flag alone";
}

TEST_F(RfcSubtreeMatchingTest, ASelectionThatFailsTakesTheFlagBack)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    const Notification notification = makeNotification(TIME, "A=1,B=2", attributeChanged, {int32Attribute("x", 1)});
    filter.createListFromDN("A=1,B=2");
    const Node higher = node("A").select({"x"}).classes({"B"});
    const Node other = node("B").select({"y"});
    const Node none = node("B").classes({"C"});

    bool flag = true;
    EXPECT_TRUE(filter.matchFilter(higher.get(), *notification, 0, flag));
    EXPECT_FALSE(flag) << "the DN does not end here";
    flag = true;
    EXPECT_FALSE(filter.matchFilter(other.get(), *notification, 1, flag));
    EXPECT_FALSE(flag) << "no such attribute";
    flag = true;
    EXPECT_FALSE(filter.matchFilter(none.get(), *notification, 1, flag));
    EXPECT_TRUE(flag) << "no selection, no change";
}

TEST_F(RfcSubtreeMatchingTest, AChildThatPassesTakesTheFlagBackUnlessItSelects)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    const Notification notification = makeNotification(TIME, "A=1,B=2", attributeChanged, {int32Attribute("x", 1)});
    filter.createListFromDN("A=1,B=2");
    const Node leafBelow = node("A").child(node("B"));
    const Node selectionBelow = node("A").child(node("B").select({"x"}));
    const Node failureBelow = node("A").child(node("C"));

    bool flag = true;
    EXPECT_TRUE(filter.matchFilter(leafBelow.get(), *notification, 0, flag));
    EXPECT_FALSE(flag);
    flag = true;
    EXPECT_TRUE(filter.matchFilter(selectionBelow.get(), *notification, 0, flag));
    EXPECT_TRUE(flag);
    flag = false;
    EXPECT_TRUE(filter.matchFilter(selectionBelow.get(), *notification, 0, flag));
    EXPECT_FALSE(flag) << "a child's flag is not passed upwards";
    flag = true;
    EXPECT_FALSE(filter.matchFilter(failureBelow.get(), *notification, 0, flag));
    EXPECT_TRUE(flag);
}

TEST_F(RfcSubtreeMatchingTest, TheFirstTreeThatPassesEndsTheWalk)
{
    filterOf({node("A"), node("A").select({"x"})});
    EXPECT_TRUE(avc("A=1", {"x"}));
    EXPECT_THAT(selected(), IsEmpty());

    filterOf({node("A").select({"x"}), node("A")});
    EXPECT_TRUE(avc("A=1", {"x"}));
    EXPECT_THAT(selected(), ElementsAre("x"));
    EXPECT_TRUE(avc("A=1", {"y"}));
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcSubtreeMatchingTest, AnyTreeMayPassAndTheLastOneTriedDecides)
{
    filterOf({node("A"), node("B"), node("C")});

    EXPECT_TRUE(avc("A=1"));
    EXPECT_TRUE(avc("B=1"));
    EXPECT_TRUE(avc("C=1"));
    EXPECT_FALSE(avc("D=1"));
}

TEST_F(RfcSubtreeMatchingTest, EveryTreeSelectsForItself)
{
    filterOf({node("A").select({"x"}), node("A").select({"y", "z"})});

    EXPECT_TRUE(avc("A=1", {"z", "y"}));

    EXPECT_THAT(selected(), ElementsAre("y", "z"));
}

}  // namespace OrvTest
