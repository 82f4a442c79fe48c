// Which CM event an edit becomes.
#include "ChangeCollector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModelTestSupport.h"

using namespace OrvElement;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace
{

const std::string BOX = "ManagedElement=1,box=1";

class ChangeCollectorEvents : public ::testing::Test
{
protected:
    std::vector<std::string> edit(const std::string& content, const std::string& boxAttributes = "")
    {
        return _element.edit(content, boxAttributes);
    }

    ModelTest::AwkwardElement _element;
};

}  // namespace

TEST_F(ChangeCollectorEvents, ACreatedObjectCarriesAllItsAttributesWithTheKeyFirst)
{
    EXPECT_THAT(edit("<item><value>3</value><name>a</name></item>"),
                ElementsAre("created " + BOX + ",item=a {name=a, value=3, weight=1}"));
}

TEST_F(ChangeCollectorEvents, ACreatedContainerCarriesItsOwnKey)
{
    EXPECT_THAT(edit("<option/>"), ElementsAre("created " + BOX + ",option=1 {optionId=1, mode=plain}"));
}

TEST_F(ChangeCollectorEvents, ParentsAreCreatedFirstAndChildrenDeletedFirst)
{
    EXPECT_THAT(edit("<item><name>a</name><settings><part><id>1</id></part></settings><extra/></item>"),
                ElementsAre("created " + BOX + ",item=a {name=a, weight=1}",
                            "created " + BOX + ",item=a,settings=1,part=1 {id=1}",
                            "created " + BOX + ",item=a,extra=1 {extraId=1}"));
    EXPECT_THAT(edit("<item nc:operation=\"delete\"><name>a</name></item>"),
                ElementsAre("deleted " + BOX + ",item=a,settings=1,part=1", "deleted " + BOX + ",item=a,extra=1",
                            "deleted " + BOX + ",item=a"));
}

TEST_F(ChangeCollectorEvents, CreationsComeBeforeChangesAndChangesBeforeDeletions)
{
    edit("<item><name>old</name></item>");
    EXPECT_THAT(
        edit("<item nc:operation=\"delete\"><name>old</name></item><level>9</level><item><name>new</name></item>"),
        ElementsAre("created " + BOX + ",item=new {name=new, weight=1}", "changed " + BOX + " {level=9}",
                    "deleted " + BOX + ",item=old"));
}

TEST_F(ChangeCollectorEvents, AChangedObjectIsOneOperationWithTheChangedAttributesOnly)
{
    edit("<item><name>a</name><value>1</value></item>");
    EXPECT_THAT(edit("<item><name>a</name><value>2</value><weight>4</weight></item><limit>7</limit><level>6</level>"),
                UnorderedElementsAre("changed " + BOX + ",item=a {value=2, weight=4}",
                                     "changed " + BOX + " {level=6, limit=7}"));
    EXPECT_THAT(edit("<item><name>a</name><value>2</value><weight>5</weight></item>"),
                ElementsAre("changed " + BOX + ",item=a {weight=5}"));
}

TEST_F(ChangeCollectorEvents, AnEditWithoutEffectGivesAnEmptyEvent)
{
    edit("<item><name>a</name><value>1</value></item>");
    EXPECT_THAT(edit("<item><name>a</name><value>1</value></item>"), IsEmpty());
    EXPECT_THAT(edit(""), IsEmpty());
    EXPECT_TRUE(_element.data().applyEdit("{}", EditFormat::Json)->empty());
}

TEST_F(ChangeCollectorEvents, AnExplicitValueEqualToTheDefaultIsNoChange)
{
    EXPECT_THAT(edit("<level>5</level>"), IsEmpty());
    EXPECT_THAT(edit("<level nc:operation=\"delete\"/>"), IsEmpty());
}

TEST_F(ChangeCollectorEvents, ADeletedLeafShowsItsDefaultOrNoValue)
{
    edit("<level>9</level><limit>50</limit>");
    EXPECT_THAT(edit("<level nc:operation=\"delete\"/>"), ElementsAre("changed " + BOX + " {level=5}"));
    EXPECT_THAT(edit("<limit nc:operation=\"delete\"/>"), ElementsAre("changed " + BOX + " {limit=none}"));
}

TEST_F(ChangeCollectorEvents, AContainerWithoutPresenceIsNeverCreatedNorDeleted)
{
    EXPECT_THAT(edit("<settings><colour>red</colour><deep><depth>3</depth></deep></settings>"),
                UnorderedElementsAre("changed " + BOX + ",settings=1 {colour=red}",
                                     "changed " + BOX + ",settings=1,deep=1 {depth=3}"));
    EXPECT_THAT(edit("<settings nc:operation=\"remove\"/>"),
                UnorderedElementsAre("changed " + BOX + ",settings=1 {colour=grey}",
                                     "changed " + BOX + ",settings=1,deep=1 {depth=none}"));
}

TEST_F(ChangeCollectorEvents, AContainerInANewObjectChangesByWhatIsNotItsDefault)
{
    EXPECT_THAT(
        edit("<item><name>a</name><settings><colour>grey</colour><size>2</size></settings></item>"),
        ElementsAre("created " + BOX + ",item=a {name=a, weight=1}", "changed " + BOX + ",item=a,settings=1 {size=2}"));
    EXPECT_THAT(edit("<item nc:operation=\"delete\"><name>a</name></item>"), ElementsAre("deleted " + BOX + ",item=a"));
}

TEST_F(ChangeCollectorEvents, AReplacedObjectChangesWhereItDiffers)
{
    edit(
        "<item><name>a</name><value>1</value><weight>4</weight>"
        "<settings><size>2</size><part><id>1</id></part><part><id>2</id><text>t</text></part></settings></item>");
    EXPECT_THAT(
        edit("<item nc:operation=\"replace\"><name>a</name><value>1</value>"
             "<settings><part><id>2</id><text>u</text></part><part><id>3</id></part></settings></item>"),
        ElementsAre("created " + BOX + ",item=a,settings=1,part=3 {id=3}", "changed " + BOX + ",item=a {weight=1}",
                    "changed " + BOX + ",item=a,settings=1 {size=none}",
                    "changed " + BOX + ",item=a,settings=1,part=2 {text=u}",
                    "deleted " + BOX + ",item=a,settings=1,part=1"));
}

TEST_F(ChangeCollectorEvents, ALeafListIsOneAttributeWithAllItsValues)
{
    EXPECT_THAT(edit("<colours>red</colours><colours>blue</colours>"),
                ElementsAre("changed " + BOX + " {colours=red|blue}"));
    EXPECT_THAT(edit("<colours nc:operation=\"delete\">red</colours>"),
                ElementsAre("changed " + BOX + " {colours=blue}"));
    EXPECT_THAT(edit("<colours nc:operation=\"delete\">blue</colours>"),
                ElementsAre("changed " + BOX + " {colours=none}"));
}

TEST_F(ChangeCollectorEvents, AMoveInAUserOrderedLeafListIsAChange)
{
    edit("<order>x</order><order>y</order>");
    EXPECT_THAT(edit("<order yang:insert=\"first\">y</order>"), ElementsAre("changed " + BOX + " {order=y|x}"));
    EXPECT_THAT(edit("<order yang:insert=\"first\">y</order>"), IsEmpty());
}

TEST_F(ChangeCollectorEvents, AnotherOrderOfALeafListThatTheSystemOrdersIsNoChange)
{
    edit("<item><name>a</name></item><colours>red</colours><colours>blue</colours>");
    EXPECT_THAT(edit("<colours nc:operation=\"delete\">red</colours>"),
                ElementsAre("changed " + BOX + " {colours=blue}"));
    edit("<colours>red</colours>");
    EXPECT_THAT(
        edit("<item><name>a</name></item><colours>red</colours><colours>blue</colours>", "nc:operation=\"replace\""),
        IsEmpty());
}

TEST_F(ChangeCollectorEvents, AnExplicitValueTakesThePlaceOfALeafListsDefaults)
{
    EXPECT_THAT(edit("<dialects>fr</dialects>"), ElementsAre("changed " + BOX + " {dialects=fr}"));
    EXPECT_THAT(edit("<dialects nc:operation=\"delete\">fr</dialects>"),
                ElementsAre("changed " + BOX + " {dialects=en|de}"));
}

TEST_F(ChangeCollectorEvents, ASwitchedCaseBelongsToTheSameEvent)
{
    edit("<tcp-port>80</tcp-port>");
    EXPECT_THAT(edit("<udp-port>99</udp-port>"),
                ElementsAre("changed " + BOX + " {udp-port=99, tcp-port=none, keep-alive=none}"));
    EXPECT_THAT(edit("<custom/>"),
                ElementsAre("created " + BOX + ",custom=1 {customId=1}", "changed " + BOX + " {udp-port=none}"));
    EXPECT_THAT(edit("<tcp-port>80</tcp-port>"),
                ElementsAre("changed " + BOX + " {tcp-port=80, keep-alive=60}", "deleted " + BOX + ",custom=1"));
}

TEST_F(ChangeCollectorEvents, TheDefaultCaseComesBackWhenNoOtherIsChosen)
{
    EXPECT_THAT(edit("<tcp-port>80</tcp-port>"),
                ElementsAre("changed " + BOX + " {udp-port=none, tcp-port=80, keep-alive=60}"));
    EXPECT_THAT(edit("<tcp-port nc:operation=\"delete\"/>"),
                ElementsAre("changed " + BOX + " {udp-port=161, tcp-port=none, keep-alive=none}"));
}

TEST_F(ChangeCollectorEvents, ADefaultThatAConditionBringsOrTakesBelongsToTheSameEvent)
{
    edit("<item><name>a</name><value>1</value></item>");
    EXPECT_THAT(edit("<item><name>a</name><value>11</value></item>"),
                ElementsAre("changed " + BOX + ",item=a {value=11, needed=much}"));
    EXPECT_THAT(edit("<item><name>a</name><value>2</value></item>"),
                ElementsAre("changed " + BOX + ",item=a {value=2, needed=none}"));
}

TEST_F(ChangeCollectorEvents, AnExplicitLeafWhoseConditionEndsIsTakenAway)
{
    edit("<item><name>a</name><value>11</value><needed>little</needed></item>");
    EXPECT_THAT(edit("<item><name>a</name><value>2</value></item>"),
                ElementsAre("changed " + BOX + ",item=a {value=2, needed=none}"));
}

TEST_F(ChangeCollectorEvents, OddCharactersInKeysAreEncodedAndKeysJoined)
{
    EXPECT_THAT(edit("<item><name>a,b=c%\td</name></item>"),
                ElementsAre("created " + BOX + ",item=a%2Cb%3Dc%25%09d {name=a,b=c%\td, weight=1}"));
    EXPECT_THAT(edit("<pair><left>eth0/1</left><right>x y</right></pair>"),
                ElementsAre("created " + BOX + ",pair=eth0/1;x y {left=eth0/1, right=x y}"));
    EXPECT_THAT(edit("<pair><left>a;b</left><right>c</right></pair><pair><left>a</left><right>b;c</right></pair>"),
                ElementsAre("created " + BOX + ",pair=a%3Bb;c {left=a;b, right=c}",
                            "created " + BOX + ",pair=a;b%3Bc {left=a, right=b;c}"));
}

TEST_F(ChangeCollectorEvents, AugmentedLeavesAndContainersOfOneNameAreToldApart)
{
    EXPECT_THAT(edit("<cost xmlns=\"urn:orv:augment-one\">1</cost><cost xmlns=\"urn:orv:augment-two\">2</cost>"
                     "<cover xmlns=\"urn:orv:augment-two\"><material>oak</material></cover>"),
                UnorderedElementsAre("changed " + BOX + " {cost=1, orv-augment-two:cost=2}",
                                     "changed " + BOX + ",orv-augment-two:cover=1 {material=oak}"));
    EXPECT_THAT(edit("<settings><shine xmlns=\"urn:orv:augment-two\">4</shine></settings>"),
                ElementsAre("changed " + BOX + ",settings=1 {orv-augment-two:shine=4}"));
}

TEST_F(ChangeCollectorEvents, ADottedNameHasAnUnderscoreInItsClassOnly)
{
    EXPECT_THAT(edit("<dotted.name><dotted.leaf>x</dotted.leaf></dotted.name>"),
                ElementsAre("changed " + BOX + ",dotted_name=1 {dotted.leaf=x}"));
}

TEST_F(ChangeCollectorEvents, ATopLeafIsAnAttributeOfTheElementItself)
{
    const auto event = _element.data().applyEdit("<top-leaf xmlns=\"urn:orv:awkward\">x</top-leaf>", EditFormat::Xml);
    EXPECT_THAT(ModelTest::operations(*event), ElementsAre("changed ManagedElement=1 {top-leaf=x}"));
}

TEST_F(ChangeCollectorEvents, AMoveOfAListEntryIsNoChangeOfTheObject)
{
    edit("<step><name>p</name></step><step><name>q</name></step>");
    EXPECT_THAT(edit("<step yang:insert=\"first\"><name>q</name></step>"), IsEmpty());
}

TEST_F(ChangeCollectorEvents, AnEntryDeletedAndCreatedInOneEditIsChanged)
{
    edit("<item><name>a</name><value>1</value></item>");
    EXPECT_THAT(edit("<item nc:operation=\"delete\"><name>a</name></item>"
                     "<item nc:operation=\"create\"><name>a</name><value>2</value></item>"),
                ElementsAre("changed " + BOX + ",item=a {value=2}"));
}

TEST_F(ChangeCollectorEvents, TheEventsDnsAreThoseOfItsOperationsInTheInternalForm)
{
    const auto event =
        _element.data().applyEdit(ModelTest::AwkwardElement::text("<level>9</level><option/>"), EditFormat::Xml);
    EXPECT_THAT(event->dns(), ElementsAre(BOX + ",option=1", BOX));
}

TEST(ChangeCollector, ThePublishedModulesGiveTheExpectedEvent)
{
    ElementData data(ModelTest::ietfModel());
    const auto event = data.applyEdit(
        R"({"ietf-interfaces:interfaces": {"interface": [{"name": "eth0", "type": "iana-if-type:ethernetCsmacd",
            "ietf-ip:ipv4": {"address": [{"ip": "10.0.0.1", "prefix-length": 24}]}}]},
            "ietf-system:system": {"hostname": "host-1"}})",
        EditFormat::Json);
    EXPECT_THAT(
        ModelTest::operations(*event),
        ElementsAre("created ManagedElement=1,interfaces=1,interface=eth0 {name=eth0, "
                    "type=iana-if-type:ethernetCsmacd, enabled=true}",
                    "created ManagedElement=1,interfaces=1,interface=eth0,ipv4=1 {ipv4Id=1, enabled=true, "
                    "forwarding=false}",
                    "created ManagedElement=1,interfaces=1,interface=eth0,ipv4=1,address=10.0.0.1 {ip=10.0.0.1, "
                    "prefix-length=24}",
                    "changed ManagedElement=1,system=1 {hostname=host-1}"));
}
