#include "AttributeLookup.h"

#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include "ModelTestSupport.h"

using namespace OrvElement;

namespace
{

const std::string BOX = "ManagedElement=1,box=1";

// The data of the awkward model, and what is found in them.
class AttributeLookup : public ::testing::Test
{
protected:
    // The values as texts, "none" for no value and "not found" for no attribute.
    std::vector<std::string> find(const std::string& dn, const std::string& attribute)
    {
        const std::shared_ptr<const DataTree> data = _element.data().snapshot();
        const auto found = findAttribute(ModelTest::awkwardModel(), *data, dn, attribute);
        if (!found)
        {
            return {"not found"};
        }
        EXPECT_EQ(found->attribute->name, attribute);
        std::vector<std::string> texts;
        for (const lyd_node* node : found->nodes)
        {
            texts.push_back(valueText(node));
        }
        return texts.empty() ? Texts{"none"} : texts;
    }

    typedef std::vector<std::string> Texts;
    const Texts NOT_FOUND = {"not found"};
    const Texts NO_VALUE = {"none"};

    ModelTest::AwkwardElement _element;
};

TEST_F(AttributeLookup, FindsTheLeafOfAnObjectAtAnyDepth)
{
    _element.edit(
        "<settings><deep><depth>3</depth></deep></settings>"
        "<item><name>a</name><settings><part><id>7</id><text>t</text></part></settings></item>");
    EXPECT_EQ(find(BOX + ",settings=1,deep=1", "depth"), Texts{"3"});
    EXPECT_EQ(find(BOX + ",item=a,settings=1,part=7", "text"), Texts{"t"});
}

TEST_F(AttributeLookup, TheRootObjectHasTheTopLeaves)
{
    _element.data().applyEdit("<top-leaf xmlns=\"urn:orv:awkward\">t</top-leaf>", EditFormat::Xml);
    EXPECT_EQ(find("ManagedElement=1", "top-leaf"), Texts{"t"});
    EXPECT_EQ(find("ManagedElement=node-7", "top-leaf"), Texts{"t"});
}

TEST_F(AttributeLookup, TakesTheDnInEitherForm)
{
    EXPECT_EQ(find("ManagedElement=node-7,box=1", "level"), Texts{"5"});
    EXPECT_EQ(find("ManagedElement=other,box=1", "level"), NOT_FOUND);
    EXPECT_EQ(find("ManagedElement=node-7", "managedElementId"), NO_VALUE);
}

TEST_F(AttributeLookup, ADefaultInUseIsAValue)
{
    EXPECT_EQ(find(BOX, "level"), Texts{"5"});
    EXPECT_EQ(find(BOX, "dialects"), (Texts{"en", "de"}));
    EXPECT_EQ(find(BOX + ",settings=1", "colour"), Texts{"grey"});
}

TEST_F(AttributeLookup, ALeafListHasAllItsValuesInTheirOrder)
{
    _element.edit("<order>z</order><order>a</order><order>m</order><colours>red</colours>");
    EXPECT_EQ(find(BOX, "order"), (Texts{"z", "a", "m"}));
    EXPECT_EQ(find(BOX, "colours"), Texts{"red"});
}

TEST_F(AttributeLookup, AnAttributeWithoutAValueIsFoundAndEmpty)
{
    EXPECT_EQ(find(BOX, "limit"), NO_VALUE);
    EXPECT_EQ(find(BOX, "colours"), NO_VALUE);
    EXPECT_EQ(find(BOX, "observed"), NO_VALUE);  // state data, which nobody provides
    EXPECT_EQ(find(BOX, "tcp-port"), NO_VALUE);  // of the case that is not chosen
}

TEST_F(AttributeLookup, AContainerWithoutPresenceExistsWithItsParentOnly)
{
    EXPECT_EQ(find(BOX + ",state=1", "uptime"), NO_VALUE);  // has no node
    EXPECT_EQ(find(BOX + ",state=1", "stateId"), NO_VALUE);
    EXPECT_EQ(find(BOX + ",item=a,settings=1", "colour"), NOT_FOUND);
    _element.edit("<item><name>a</name></item>");
    EXPECT_EQ(find(BOX + ",item=a,settings=1", "colour"), Texts{"grey"});
}

TEST_F(AttributeLookup, AContainerWithPresenceExistsWhenItWasMade)
{
    EXPECT_EQ(find(BOX + ",option=1", "mode"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",option=1", "optionId"), NOT_FOUND);
    _element.edit("<option/>");
    EXPECT_EQ(find(BOX + ",option=1", "mode"), Texts{"plain"});
    EXPECT_EQ(find(BOX + ",option=1", "optionId"), NO_VALUE);
}

TEST_F(AttributeLookup, AContainersKeyIsOne)
{
    EXPECT_EQ(find("ManagedElement=1,box=2", "level"), NOT_FOUND);
    EXPECT_EQ(find("ManagedElement=1,box=*", "level"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",state=2", "uptime"), NOT_FOUND);
}

TEST_F(AttributeLookup, ALackingEntryIsNotFound)
{
    EXPECT_EQ(find(BOX + ",item=a", "value"), NOT_FOUND);  // not even a list
    _element.edit("<item><name>b</name></item>");
    EXPECT_EQ(find(BOX + ",item=a", "value"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",item=*", "value"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",item=b", "value"), NO_VALUE);
}

TEST_F(AttributeLookup, AnEntryWithAnEmptyKeyIsFound)
{
    _element.edit("<item><name></name><value>3</value></item>");
    EXPECT_EQ(find(BOX + ",item=", "value"), Texts{"3"});
}

TEST_F(AttributeLookup, FindsAnEntryAmongManyAndAtTheTop)
{
    std::string items;
    std::string rows;
    for (int i = 0; i < 300; ++i)
    {
        const std::string number = std::to_string(i);
        items += "<item><name>n" + number + "</name><value>" + number + "</value></item>";
        rows += "<row xmlns=\"urn:orv:awkward\"><id>" + number + "</id><text>r" + number + "</text></row>";
    }
    _element.edit(items);
    _element.data().applyEdit(rows, EditFormat::Xml);
    EXPECT_EQ(find(BOX + ",item=n299", "value"), Texts{"299"});
    EXPECT_EQ(find(BOX + ",item=n300", "value"), NOT_FOUND);
    EXPECT_EQ(find("ManagedElement=1,row=299", "text"), Texts{"r299"});
    EXPECT_EQ(find("ManagedElement=1,row=300", "text"), NOT_FOUND);
}

TEST_F(AttributeLookup, AKeyIsTakenInItsEncodedFormOnly)
{
    _element.edit("<item><name>a,b=c%d</name><value>1</value></item><item><name>x;y</name><value>2</value></item>");
    EXPECT_EQ(find(BOX + ",item=a%2Cb%3Dc%25d", "value"), Texts{"1"});
    EXPECT_EQ(find(BOX + ",item=a%2cb%3dc%25d", "value"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",item=a,b=c%d", "value"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",item=a%2Cb=c%25d", "value"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",item=x;y", "value"), Texts{"2"});
    EXPECT_EQ(find(BOX + ",item=x%3By", "value"), NOT_FOUND);
}

TEST_F(AttributeLookup, AKeyMayHoldQuotesOfBothKinds)
{
    _element.edit(
        "<item><name>it's</name><value>1</value></item>"
        "<item><name>\"x\"</name><value>2</value></item>"
        "<item><name>it's \"x\"</name><value>3</value></item>"
        "<item><name>a']['b</name><value>4</value></item>");
    EXPECT_EQ(find(BOX + ",item=it's", "value"), Texts{"1"});
    EXPECT_EQ(find(BOX + ",item=\"x\"", "value"), Texts{"2"});
    EXPECT_EQ(find(BOX + ",item=it's \"x\"", "value"), Texts{"3"});
    EXPECT_EQ(find(BOX + ",item=it's \"y\"", "value"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",item=a']['b", "value"), Texts{"4"});
}

TEST_F(AttributeLookup, SeveralKeysAreJoinedBySemicolons)
{
    _element.edit(
        "<pair><left>a</left><right>b</right><value>1</value></pair>"
        "<pair><left>a;b</left><right></right><value>2</value></pair>"
        "<pair><left>,</left><right>it's \"x\"</right><value>3</value></pair>");
    EXPECT_EQ(find(BOX + ",pair=a;b", "value"), Texts{"1"});
    EXPECT_EQ(find(BOX + ",pair=a;b", "right"), Texts{"b"});
    EXPECT_EQ(find(BOX + ",pair=a%3Bb;", "value"), Texts{"2"});
    EXPECT_EQ(find(BOX + ",pair=%2C;it's \"x\"", "value"), Texts{"3"});
    for (const char* key : {"a", "a;b;c", "b;a", ";", "a;b;"})
    {
        EXPECT_EQ(find(BOX + ",pair=" + key, "value"), NOT_FOUND) << key;
    }
}

TEST_F(AttributeLookup, AKeyThatIsNotCanonicalOrNoValueOfItsTypeIsNotFound)
{
    _element.data().applyEdit("<row xmlns=\"urn:orv:awkward\"><id>7</id><text>t</text></row>", EditFormat::Xml);
    EXPECT_EQ(find("ManagedElement=1,row=7", "text"), Texts{"t"});
    for (const char* key : {"07", "+7", " 7", "seven", "70000", "-1", "", "%00", "7%00"})
    {
        EXPECT_EQ(find(std::string("ManagedElement=1,row=") + key, "text"), NOT_FOUND) << key;
    }
}

TEST_F(AttributeLookup, ARefusedKeyLeavesNoErrorBehind)
{
    _element.data().applyEdit("<row xmlns=\"urn:orv:awkward\"><id>7</id><text>t</text></row>", EditFormat::Xml);
    EXPECT_EQ(find("ManagedElement=1,row=seven", "text"), NOT_FOUND);
    EXPECT_EQ(ly_err_first(ModelTest::awkwardModel().context()), nullptr);
}

TEST_F(AttributeLookup, AListWithoutKeysHasNoObjects)
{
    EXPECT_EQ(find(BOX + ",unkeyed=1", "text"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",unkeyed=", "text"), NOT_FOUND);
}

TEST_F(AttributeLookup, WhatTheModelDoesNotKnowIsNotFound)
{
    EXPECT_EQ(find(BOX, "nothing"), NOT_FOUND);
    EXPECT_EQ(find(BOX, ""), NOT_FOUND);
    EXPECT_EQ(find(BOX, "settings"), NOT_FOUND);
    EXPECT_EQ(find(BOX + ",nothing=1", "level"), NOT_FOUND);
    for (const char* dn : {"", "box=1", "ManagedElement", "ManagedElement=1,", "ManagedElement=1,box", ",", "="})
    {
        EXPECT_EQ(find(dn, "level"), NOT_FOUND) << dn;
    }
}

TEST_F(AttributeLookup, NamesakesOfTwoModulesAreToldApart)
{
    _element.edit("<cost xmlns=\"urn:orv:augment-one\">1</cost><cost xmlns=\"urn:orv:augment-two\">2</cost>");
    EXPECT_EQ(find(BOX, "cost"), Texts{"1"});
    EXPECT_EQ(find(BOX, "orv-augment-two:cost"), Texts{"2"});
}

TEST_F(AttributeLookup, APointInAClassNameIsAnUnderscore)
{
    _element.edit("<dotted.name><dotted.leaf>t</dotted.leaf></dotted.name>");
    EXPECT_EQ(find(BOX + ",dotted_name=1", "dotted.leaf"), Texts{"t"});
    EXPECT_EQ(find(BOX + ",dotted.name=1", "dotted.leaf"), NOT_FOUND);
}

}  // namespace
