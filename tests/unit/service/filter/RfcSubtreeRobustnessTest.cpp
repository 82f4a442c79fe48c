// Matching with trees and DNs that nobody should write.
#include <algorithm>

#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::ElementsAre;
using testing::IsEmpty;

class RfcSubtreeRobustnessTest : public RfcFilterTest
{
};

TEST_F(RfcSubtreeRobustnessTest, ANodeWithoutAClassMatchesNothing)
{
    filterOf({node(nullptr)});
    EXPECT_FALSE(avc("A=1"));
    EXPECT_FALSE(avc("=1"));
    EXPECT_FALSE(avc(""));
    EXPECT_FALSE(removed("A=1"));

    filterOf({node("A").child(node(nullptr)).child(node("B"))});
    EXPECT_TRUE(avc("A=1,B=2"));
    EXPECT_FALSE(avc("A=1,C=2"));
}

TEST_F(RfcSubtreeRobustnessTest, AKeyWithoutAValueIsAnEmptyKey)
{
    Node tree = node("A").key("1");
    tree->keyAttribute->values = nullptr;
    filterOf({tree});
    EXPECT_FALSE(avc("A=1"));
    EXPECT_TRUE(avc("A="));

    ZelMoAttributeValue_3 nothing = ZelMoAttributeValue_3();
    tree->keyAttribute->values = &nothing;
    EXPECT_FALSE(avc("A=1"));
    EXPECT_TRUE(avc("A="));
}

TEST_F(RfcSubtreeRobustnessTest, ComponentsWithoutAKeyOrAClassAreMatchedAsEmptyTexts)
{
    filterOf({node("A").child(node("B").key(""))});
    EXPECT_TRUE(avc("A,B"));
    EXPECT_TRUE(avc("A=,B="));
    EXPECT_FALSE(avc("A,B=1"));
    EXPECT_FALSE(avc(""));
    EXPECT_FALSE(avc(",B="));

    filterOf({node("").child(node("B"))});
    EXPECT_TRUE(avc(",B=1"));
    EXPECT_TRUE(avc("=7,B=1"));
    EXPECT_TRUE(avc(".x=7,B=1"));
    EXPECT_FALSE(avc("")) << "an empty DN has no component";
}

TEST_F(RfcSubtreeRobustnessTest, ATreeOfFiveHundredLevelsIsWalkedToItsEnd)
{
    const unsigned int levels = 500;
    Node tree = node("L");
    for (unsigned int i = 1; i < levels; ++i)
    {
        tree = node("L").child(tree);
    }
    std::string dn = "L=1";
    filterOf({tree});
    for (unsigned int i = 1; i < levels; ++i)
    {
        EXPECT_FALSE(i % 50 == 1 && avc(dn)) << i;
        dn += ",L=1";
    }

    EXPECT_TRUE(avc(dn));
    EXPECT_TRUE(avc(dn + ",L=1"));
    EXPECT_TRUE(removed(dn));
    EXPECT_THAT(deleteDns(), ElementsAre(dn));
}

TEST_F(RfcSubtreeRobustnessTest, ADeletedTreeOfNineHundredLevelsIsDerivedToItsEnd)
{
    const unsigned int levels = 900;
    Node tree = node("L").key("k");
    std::string dn = "L=k";
    for (unsigned int i = 1; i < levels; ++i)
    {
        tree = node("L").key("k").child(tree);
        dn += ",L=k";
    }
    filterOf({tree});

    EXPECT_TRUE(removed("L=k"));

    EXPECT_THAT(deleteDns(), ElementsAre(dn));
}

TEST_F(RfcSubtreeRobustnessTest, ANodeWithTenThousandChildrenFindsItsLast)
{
    const unsigned int children = 10000;
    Node tree = node("A");
    for (unsigned int i = 0; i < children; ++i)
    {
        tree.child(node("B").key(std::to_string(i)));
    }
    filterOf({tree});

    EXPECT_TRUE(avc("A=1,B=9999"));
    EXPECT_FALSE(avc("A=1,B=10000"));
}

// Matching goes no deeper than the DN, so it ends for a tree that does not.
TEST_F(RfcSubtreeRobustnessTest, ATreeThatRefersToItselfIsWalkedAsFarAsTheDnGoes)
{
    Node tree = node("A");
    tree.lentChild(tree);
    filterOf({tree});
    newTraces();

    EXPECT_FALSE(avc("A=1,A=2,A=3"));

    const Texts texts = newTraces();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Start checking for matches"), 3);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Match failed returning false "), 1);
    EXPECT_FALSE(removed("A=1,B=2"));
}

TEST_F(RfcSubtreeRobustnessTest, NothingOfAMatchIsAMessage)
{
    filterOf({node("A").key("1").child(node("B").select({"x"})), node("A").classes({"C"}), node("A").structure("s", {}),
              node("A").match(int32Attribute("x", 1))});
    framework.setLevel(8);

    avc("A=2,B=1");
    avc("A=1,B=1", {"x"});
    avc("A=1,C=1");
    removed("A=1,B=1");

    EXPECT_THAT(messages(framework.lines()), IsEmpty());
}

}  // namespace OrvTest
