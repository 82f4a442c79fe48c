// What matching does with deleted objects: which nodes they reach, and what is skipped for them.
#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::ElementsAre;
using testing::IsEmpty;

class RfcSubtreeDeletionTest : public RfcFilterTest
{
};

TEST_F(RfcSubtreeDeletionTest, ADeletedObjectPassesAtTheNodeOfItsLastComponent)
{
    filterOf({node("A").child(node("B").match(int32Attribute("gone", 1)).structure("gone", {}).select({"x"}))});

    EXPECT_TRUE(removed("A=1,B=2"));

    EXPECT_THAT(roots(), ElementsAre("B"));
}

TEST_F(RfcSubtreeDeletionTest, ADeletedObjectBelowALeafPassesAsItStands)
{
    filterOf({node("A").child(node("B"))});

    EXPECT_TRUE(removed("A=1,B=2,C=3"));

    EXPECT_THAT(roots(), IsEmpty());
    EXPECT_THAT(deleteDns(), IsEmpty());
}

TEST_F(RfcSubtreeDeletionTest, ADeletedObjectIsStillHeldAgainstTheKey)
{
    filterOf({node("A").key("1").child(node("B"))});

    EXPECT_FALSE(removed("A=2"));
    EXPECT_THAT(roots(), IsEmpty());
    EXPECT_FALSE(removed("A=2,B=1"));
    EXPECT_THAT(roots(), IsEmpty());
    EXPECT_FALSE(removed("C=1"));
    EXPECT_THAT(roots(), IsEmpty());
}

TEST_F(RfcSubtreeDeletionTest, OnlyADeletionPassesAtTheLastComponent)
{
    filterOf({node("A").child(node("B"))});
    for (const int32_t type : {1, 3, 7, 8, 9})
    {
        EXPECT_FALSE(match("A=1", type)) << type;
        EXPECT_THAT(roots(), IsEmpty()) << type;
    }
}

TEST_F(RfcSubtreeDeletionTest, ADeletedObjectNeedsNoSelectedAttributeOrClass)
{
    filterOf({node("A").select({"x"})});
    EXPECT_TRUE(removed("A=1"));
    filterOf({node("A").select()});
    EXPECT_TRUE(removed("A=1"));
    filterOf({node("A").classes({"B"})});
    EXPECT_TRUE(removed("A=1,B=2"));
    EXPECT_THAT(roots(), IsEmpty()) << "the selection passes it, no node stands for it";
    EXPECT_FALSE(removed("A=1,C=2"));
}

TEST_F(RfcSubtreeDeletionTest, ADeletionNeverSelectsInItsOwnNode)
{
    filterOf({node("A").select({"x"})});

    EXPECT_TRUE(match("A=1", objectDeleted, {int32Attribute("x", 1)}));

    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcSubtreeDeletionTest, SeveralChildrenMayBeReachedByOneDeletion)
{
    filterOf({node("A").child(node("B").key("2")).child(node("C")).child(node("B")).child(node("B").key("3"))});

    EXPECT_TRUE(removed("A=1,B=2"));

    EXPECT_THAT(roots(), ElementsAre("B", "B"));
    EXPECT_THAT(deleteDns(), ElementsAre("A=1,B=2", "A=1,B=2"));
}

TEST_F(RfcSubtreeDeletionTest, ADeletionInOneTreeEndsTheWalk)
{
    filterOf({node("A").key("2"), node("A"), node("A").child(node("B").key("5"))});

    EXPECT_TRUE(removed("A=1"));

    EXPECT_THAT(deleteDns(), ElementsAre("A=1"));
}

// No tree that fails leaves a root behind: a node that is reached passes, and so do all above it. The roots that a tree
// must not see are put there as it is taken up.
TEST_F(RfcSubtreeDeletionTest, EveryTreeStartsWithoutRoots)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("B"), node("A").child(node("B"))});
    const Node stale = node("Stale");
    filter.subTreeRoots.push_back(stale.get());
    std::vector<Texts> seen;
    newTraces();
    framework.log().whenLine(LogLine::trace, "Matching the notification to filter ",
                             [&]
                             {
                                 seen.push_back(roots());
                                 filter.subTreeRoots.push_back(stale.get());
                             });

    EXPECT_TRUE(removed("A=1,B=2"));

    framework.log().whenLine(LogLine::trace, "", nullptr);
    EXPECT_THAT(seen, ElementsAre(IsEmpty(), IsEmpty()));
    EXPECT_THAT(roots(), ElementsAre("B"));
    EXPECT_THAT(deleteDns(), ElementsAre("A=1,B=2"));
}

TEST_F(RfcSubtreeDeletionTest, NothingIsDerivedForAnythingButADeletion)
{
    filterOf({node("A")});
    for (const int32_t type : {1, 3, 7, 8, 9})
    {
        EXPECT_TRUE(match("A=1", type)) << type;
        EXPECT_THAT(deleteDns(), IsEmpty()) << type;
    }
}

}  // namespace OrvTest
