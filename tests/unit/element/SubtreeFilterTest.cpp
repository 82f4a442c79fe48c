#include "SubtreeFilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "ElementData.h"
#include "ModelTestSupport.h"
#include "SubtreeTestSupport.h"

using namespace OrvElement;
using ModelTest::awkwardModel;
using ModelTest::errorOf;
using ModelTest::ietfModel;
using ModelTest::TemporaryFile;
using ModelTest::treesOf;
using ModelTest::typesModel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace
{

// XML of the published modules, of the container of all types, and of the awkward box.
std::string interfacesXml(const std::string& content)
{
    return "<interfaces xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\" "
           "xmlns:ip=\"urn:ietf:params:xml:ns:yang:ietf-ip\">" +
           content + "</interfaces>";
}

std::string typesXml(const std::string& content)
{
    return "<types xmlns=\"urn:orv:types\" xmlns:t=\"urn:orv:types\">" + content + "</types>";
}

std::string boxXml(const std::string& content)
{
    return "<box xmlns=\"urn:orv:awkward\" xmlns:one=\"urn:orv:augment-one\" xmlns:two=\"urn:orv:augment-two\">" +
           content + "</box>";
}

std::string oneTree(const YangModel& model, const std::string& text)
{
    const std::vector<std::string> trees = treesOf(model, {text});
    EXPECT_EQ(trees.size(), 1u);
    return trees.at(0);
}

// The tree that both forms give.
std::string bothForms(const YangModel& model, const std::string& xml, const std::string& path)
{
    const std::string tree = oneTree(model, xml);
    EXPECT_EQ(oneTree(model, path), tree);
    return tree;
}

// What the constructor says of the text, without the quotation of the text.
std::string refusal(const YangModel& model, const std::string& text)
{
    const std::string error = errorOf([&] { SubtreeFilter(model, {text}); });
    const std::string quoted = "subtree \"" + text + "\": ";
    EXPECT_EQ(error.substr(0, quoted.size()), quoted);
    return error.size() < quoted.size() ? error : error.substr(quoted.size());
}

}  // namespace

TEST(SubtreeFilter, BeginsEveryTreeWithTheRootClassOfAnyKey)
{
    EXPECT_EQ(bothForms(ietfModel(), interfacesXml("<interface><ip:ipv4/></interface>"), "/interfaces/interface/ipv4"),
              "ManagedElement{interfaces{interface{#ipv4}}}");
}

TEST(SubtreeFilter, SelectsTheClassOfAnEmptyContainerOrList)
{
    EXPECT_EQ(bothForms(ietfModel(), interfacesXml(""), "/interfaces"), "ManagedElement{#interfaces}");
    EXPECT_EQ(bothForms(ietfModel(), interfacesXml("<interface/>"), "/interfaces/interface"),
              "ManagedElement{interfaces{#interface}}");
}

TEST(SubtreeFilter, SelectsTheAttributeOfAnEmptyLeaf)
{
    EXPECT_EQ(bothForms(ietfModel(), interfacesXml("<interface><enabled/><description>  </description></interface>"),
                        "/interfaces/interface/{enabled,description}"),
              "ManagedElement{interfaces{interface{@enabled @description}}}");
}

TEST(SubtreeFilter, SelectsAttributesAndClassesSideBySideAndEachOnce)
{
    EXPECT_EQ(
        bothForms(ietfModel(), interfacesXml("<interface><name/><ip:ipv4/><enabled/><ip:ipv4/><name/></interface>"),
                  "/interfaces/interface/{ name, ietf-ip:ipv4 ,enabled,ipv4,name}"),
        "ManagedElement{interfaces{interface{@name @enabled #ipv4}}}");
}

TEST(SubtreeFilter, MakesTheKeyOfAListTheKeyAttribute)
{
    EXPECT_EQ(bothForms(ietfModel(), interfacesXml("<interface><name> eth0 </name></interface>"),
                        "/interfaces/interface[name='eth0']"),
              "ManagedElement{interfaces{interface[name=eth0]}}");
}

TEST(SubtreeFilter, WritesAKeyAsItStandsInADn)
{
    EXPECT_EQ(bothForms(ietfModel(), interfacesXml("<interface><name>a,b=c%;d</name></interface>"),
                        "/interfaces/interface[name='a,b=c%;d']"),
              "ManagedElement{interfaces{interface[name=a%2Cb%3Dc%25;d]}}");
    EXPECT_EQ(bothForms(awkwardModel(), "<row xmlns=\"urn:orv:awkward\"><id>+007</id></row>", "/row[id='+007']"),
              "ManagedElement{row[id=7]}")
        << "the canonical value";
}

TEST(SubtreeFilter, MakesAllKeysOfAListOneKeyAttribute)
{
    EXPECT_EQ(bothForms(awkwardModel(), boxXml("<pair><right>r;1</right><value>3</value><left/><left>l</left></pair>"),
                        "/box/pair[right='r;1'][value='3'][left='l']/left"),
              "ManagedElement{box{pair[left=l;r%3B1 value:7=3]{@left}}}");
    EXPECT_EQ(oneTree(awkwardModel(), "/box/pair[left=''][right='r']"), "ManagedElement{box{pair[left=;r]}}");
}

TEST(SubtreeFilter, MatchesSomeOfSeveralKeysAsAttributes)
{
    EXPECT_EQ(bothForms(awkwardModel(), boxXml("<pair><right>r;1</right></pair>"), "/box/pair[right='r;1']"),
              "ManagedElement{box{pair[right:9=r;1]}}");
}

TEST(SubtreeFilter, MatchesOtherLeavesAsAttributesBesideSelectionsAndContainments)
{
    EXPECT_EQ(bothForms(ietfModel(),
                        interfacesXml("<interface><name>eth0</name><enabled>true</enabled>"
                                      "<ip:ipv4><ip:mtu>1500</ip:mtu></ip:ipv4></interface>"),
                        "/interfaces/interface[name='eth0'][enabled='true']/ipv4[mtu='1500']"),
              "ManagedElement{interfaces{interface[name=eth0 enabled:10=true]{ipv4[mtu:6=1500]}}}");
    EXPECT_EQ(oneTree(ietfModel(), interfacesXml("<interface><enabled>false</enabled><type/><ip:ipv6/>"
                                                 "<ip:ipv4><ip:mtu/></ip:ipv4><ip:ipv4><ip:address/></ip:ipv4>"
                                                 "</interface>")),
              "ManagedElement{interfaces{interface[enabled:10=false]{@type #ipv6 ipv4{@mtu} ipv4{#address}}}}");
}

TEST(SubtreeFilter, GivesEveryTypeItsCodeAndTheValueThatTheElementReports)
{
    const struct
    {
        const char* leaf;
        const char* value;
        const char* condition;
    } cases[] = {{"a-int8", "-128", "a-int8:1=-128"},
                 {"a-int16", "-32768", "a-int16:2=-32768"},
                 {"a-int32", "-2147483648", "a-int32:3=-2147483648"},
                 {"a-int64", "-9223372036854775808", "a-int64:4=-9223372036854775808"},
                 {"a-uint8", "255", "a-uint8:5=255"},
                 {"a-uint16", "0007", "a-uint16:6=7"},
                 {"a-uint32", "4294967295", "a-uint32:7=4294967295"},
                 {"a-uint64", "18446744073709551615", "a-uint64:8=18446744073709551615"},
                 {"a-string", "two words", "a-string:9=two words"},
                 {"a-binary", "aGVsbG8=", "a-binary:9=aGVsbG8="},
                 {"a-bits", "two one", "a-bits:9=one two"},
                 {"an-identity", "red", "an-identity:9=orv-types:red"},
                 {"a-union", "007", "a-union:9=7"},
                 {"a-boolean", "true", "a-boolean:10=true"},
                 {"a-boolean", "false", "a-boolean:10=false"},
                 {"a-leafref", "+9", "a-leafref:11=->9"},
                 {"an-enum", "low", "an-enum:12=#-7"},
                 {"a-decimal", "1.50", "a-decimal:16=1.5"},
                 {"numbers", "3", "numbers:7=3"}};
    for (const auto& one : cases)
    {
        const std::string leaf = one.leaf;
        EXPECT_EQ(bothForms(typesModel(), typesXml("<" + leaf + ">" + one.value + "</" + leaf + ">"),
                            "/types[" + leaf + "='" + one.value + "']"),
                  std::string("ManagedElement{types[") + one.condition + "]}");
    }
}

TEST(SubtreeFilter, ResolvesThePrefixesOfAValue)
{
    EXPECT_EQ(
        bothForms(typesModel(), typesXml("<an-identity>t:red</an-identity>"), "/types[an-identity=\"orv-types:red\"]"),
        "ManagedElement{types[an-identity:9=orv-types:red]}");
    EXPECT_EQ(bothForms(typesModel(), typesXml("<an-instance>/t:types/t:a-uint16</an-instance>"),
                        "/types[an-instance='/orv-types:types/a-uint16']"),
              "ManagedElement{types[an-instance:11=->/orv-types:types/a-uint16]}");
    EXPECT_EQ(bothForms(ietfModel(),
                        interfacesXml("<interface><type xmlns:i=\"urn:ietf:params:xml:ns:yang:iana-if-type\">"
                                      "i:ethernetCsmacd</type></interface>"),
                        "/interfaces/interface[type='iana-if-type:ethernetCsmacd']"),
              "ManagedElement{interfaces{interface[type:9=iana-if-type:ethernetCsmacd]}}");
    EXPECT_EQ(oneTree(ietfModel(), interfacesXml("<interface><if:type "
                                                 "xmlns:if=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\" "
                                                 "xmlns=\"urn:ietf:params:xml:ns:yang:iana-if-type\">"
                                                 "ethernetCsmacd</if:type></interface>")),
              "ManagedElement{interfaces{interface[type:9=iana-if-type:ethernetCsmacd]}}")
        << "no prefix is the default namespace";
    EXPECT_EQ(oneTree(typesModel(), "<types><an-identity>red</an-identity></types>"),
              "ManagedElement{types[an-identity:9=orv-types:red]}")
        << "without a default namespace it is the leaf's module";
}

TEST(SubtreeFilter, TakesAValueInAPathExactly)
{
    EXPECT_EQ(oneTree(typesModel(), "/types[a-string=' x ']"), "ManagedElement{types[a-string:9= x ]}");
    EXPECT_EQ(oneTree(typesModel(), "/types[a-string='']"), "ManagedElement{types[a-string:9=]}");
    EXPECT_EQ(oneTree(typesModel(), "/types[an-empty='']"), "ManagedElement{types[an-empty:10=true]}");
}

TEST(SubtreeFilter, TakesSeveralValuesOfALeafList)
{
    EXPECT_EQ(bothForms(typesModel(), typesXml("<numbers>3</numbers><numbers>05</numbers>"),
                        "/types[numbers='3'][numbers='05']"),
              "ManagedElement{types[numbers:7=3 numbers:7=5]}");
}

TEST(SubtreeFilter, MakesConditionsWithinAStructOneStructureContainment)
{
    EXPECT_EQ(bothForms(typesModel(),
                        typesXml("<place><latitude>52.5</latitude><label>here</label><tags>a</tags><tags>b</tags>"
                                 "</place><a-int8>1</a-int8>"),
                        "/types[place/latitude='52.5'][place/label='here'][place/tags='a'][place/tags='b']"
                        "[a-int8='1']"),
              "ManagedElement{types[a-int8:1=1 place(latitude:16=52.5 label:9=here tags:9=a tags:9=b)]}");
    EXPECT_EQ(oneTree(typesModel(), "/types/place[label='here']"), "ManagedElement{types[place(label:9=here)]}");
}

TEST(SubtreeFilter, SelectsAStructAsAnAttribute)
{
    EXPECT_EQ(bothForms(typesModel(), typesXml("<place/><marker/>"), "/types/{place,marker}"),
              "ManagedElement{types{@place @marker}}");
    EXPECT_EQ(
        bothForms(typesModel(), typesXml("<place><label>x</label></place><place/>"), "/types[place/label='x']/place"),
        "ManagedElement{types[place(label:9=x)]{@place}}");
}

TEST(SubtreeFilter, NamesAMemberThatTwoModulesGiveAStructAsTheElementDoes)
{
    ModelOptions options = ModelTest::awkwardOptions();
    options.structPaths = {"/orv-awkward:box/settings"};
    const YangModel model(options);
    EXPECT_EQ(bothForms(model, boxXml("<settings><one:shine>1</one:shine><two:shine>2</two:shine></settings>"),
                        "/box[settings/orv-augment-one:shine='1'][settings/orv-augment-two:shine='2']"),
              "ManagedElement{box[settings(shine:5=1 orv-augment-two:shine:5=2)]}");
    EXPECT_EQ(refusal(model, "/box[settings/shine='1']"),
              "/orv-awkward:box/settings/shine: name the module, orv-augment-one or orv-augment-two");
    EXPECT_EQ(refusal(model, "/box[settings/deep/depth='1']"),
              "/orv-awkward:box/settings/deep: no condition can be put on a struct within a struct");
}

TEST(SubtreeFilter, SeesNoChoicesAndNoCases)
{
    EXPECT_EQ(bothForms(awkwardModel(), boxXml("<udp-port>161</udp-port><custom/>"), "/box[udp-port='161']/custom"),
              "ManagedElement{box[udp-port:6=161]{#custom}}");
}

TEST(SubtreeFilter, CallsClassesAndAttributesAsTheModelDoes)
{
    EXPECT_EQ(
        bothForms(awkwardModel(), boxXml("<dotted.name><dotted.leaf/></dotted.name>"), "/box/dotted.name/dotted.leaf"),
        "ManagedElement{box{dotted_name{@dotted.leaf}}}");
    EXPECT_EQ(bothForms(awkwardModel(), boxXml("<one:cost>1</one:cost><two:cost>2</two:cost><two:cover/>"),
                        "/box[orv-augment-one:cost='1'][orv-augment-two:cost='2']/orv-augment-two:cover"),
              "ManagedElement{box[cost:7=1 orv-augment-two:cost:7=2]{#orv-augment-two:cover}}");
    EXPECT_EQ(bothForms(awkwardModel(), "<summit xmlns=\"urn:orv:augment-two\"><height>1</height></summit>",
                        "/orv-augment-two:summit[height='1']"),
              "ManagedElement{orv-augment-two:summit[height:7=1]}");
}

TEST(SubtreeFilter, TakesStateAndAListWithoutKeys)
{
    EXPECT_EQ(bothForms(awkwardModel(), boxXml("<observed>5</observed><unkeyed><text>t</text></unkeyed>"),
                        "/box[observed='5']/unkeyed[text='t']"),
              "ManagedElement{box[observed:7=5]{unkeyed[text:9=t]}}");
}

TEST(SubtreeFilter, TakesANodeWithoutNamespaceIfOneModuleHasIt)
{
    EXPECT_EQ(oneTree(ietfModel(), "<interfaces><interface><name>eth0</name><ipv4/></interface></interfaces>"),
              "ManagedElement{interfaces{interface[name=eth0]{#ipv4}}}");
    EXPECT_EQ(refusal(awkwardModel(), "<summit/>"), "/summit: name the module, orv-augment-one or orv-augment-two");
    EXPECT_EQ(refusal(awkwardModel(), "/summit"), "/summit: name the module, orv-augment-one or orv-augment-two");
    EXPECT_EQ(refusal(awkwardModel(), "/box/cost"),
              "/orv-awkward:box/cost: name the module, orv-augment-one or orv-augment-two");
}

TEST(SubtreeFilter, MakesATreeOfEachOutermostElementAndOfEachText)
{
    const std::string system = "<system xmlns=\"urn:ietf:params:xml:ns:yang:ietf-system\"><hostname/></system>";
    EXPECT_THAT(treesOf(ietfModel(), {interfacesXml("<interface/>") + system}),
                ElementsAre("ManagedElement{interfaces{#interface}}", "ManagedElement{system{@hostname}}"));
    EXPECT_THAT(treesOf(ietfModel(), {"/interfaces/interface", "/system/hostname", interfacesXml("")}),
                ElementsAre("ManagedElement{interfaces{#interface}}", "ManagedElement{system{@hostname}}",
                            "ManagedElement{#interfaces}"));
    EXPECT_THAT(treesOf(ietfModel(), {"/{system,interfaces}"}),
                ElementsAre("ManagedElement{#system}", "ManagedElement{#interfaces}"));
}

TEST(SubtreeFilter, PutsAllSelectedOutermostLeavesIntoOneTree)
{
    ModelOptions options = ModelTest::awkwardOptions();
    options.structPaths = {"/orv-augment-one:summit"};
    const YangModel model(options);
    EXPECT_THAT(treesOf(model, {"<top-leaf/><box xmlns=\"urn:orv:awkward\"/><summit xmlns=\"urn:orv:augment-one\"/>"}),
                ElementsAre("ManagedElement{@top-leaf @summit}", "ManagedElement{#box}"));
    EXPECT_THAT(treesOf(model, {"/{top-leaf,orv-augment-one:summit}"}),
                ElementsAre("ManagedElement{@top-leaf @summit}"));
    EXPECT_THAT(treesOf(model, {"/top-leaf", "/orv-augment-one:summit"}),
                ElementsAre("ManagedElement{@top-leaf}", "ManagedElement{@summit}"))
        << "but those of two texts are alternatives";
    EXPECT_THAT(treesOf(model, {"<top-leaf/><top-leaf>x</top-leaf>"}),
                ElementsAre("ManagedElement{@top-leaf}", "ManagedElement[top-leaf:9=x]"));
}

TEST(SubtreeFilter, TakesAPathToEverythingAtAndBelowAClass)
{
    EXPECT_EQ(oneTree(ietfModel(), "/"), "ManagedElement");
    EXPECT_EQ(oneTree(ietfModel(), "/*"), "ManagedElement");
    EXPECT_EQ(oneTree(ietfModel(), "/interfaces/interface/*"), "ManagedElement{interfaces{interface}}");
    EXPECT_EQ(oneTree(ietfModel(), "/interfaces/interface[name='eth0']/*"),
              "ManagedElement{interfaces{interface[name=eth0]}}");
}

TEST(SubtreeFilter, TakesAFilterElementWithOrWithoutItsNamespace)
{
    const std::string content = interfacesXml("<interface/>");
    const std::string tree = "ManagedElement{interfaces{#interface}}";
    EXPECT_EQ(oneTree(ietfModel(), "<filter>" + content + "</filter>"), tree);
    EXPECT_EQ(oneTree(ietfModel(), "<filter type=\"subtree\">" + content + "</filter>"), tree);
    EXPECT_EQ(oneTree(ietfModel(), "<nc:filter xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" type=\"subtree\">" +
                                       content + "</nc:filter>"),
              tree);
}

TEST(SubtreeFilter, ReadsXmlFromAFile)
{
    const TemporaryFile file(".xml", "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- all -->\n" +
                                         interfacesXml("<interface/>") + "\n");
    EXPECT_EQ(oneTree(ietfModel(), "@" + file.path()), "ManagedElement{interfaces{#interface}}");
    EXPECT_EQ(refusal(ietfModel(), "@/no/such/file"), "/no/such/file: No such file or directory");
    const TemporaryFile wrong(".xml", interfacesXml("<face/>"));
    EXPECT_THAT(refusal(ietfModel(), "@" + wrong.path()), HasSubstr("/ietf-interfaces:interfaces/face: "));
}

TEST(SubtreeFilter, RefusesANodeThatTheModelDoesNotHave)
{
    const std::string reason = ": the model has no such class or attribute";
    EXPECT_EQ(refusal(ietfModel(), "/nothing"), "/nothing" + reason);
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface[name='x']/nothing/more"),
              "/ietf-interfaces:interfaces/interface/nothing" + reason);
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface[nothing='x']"),
              "/ietf-interfaces:interfaces/interface/nothing" + reason);
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface/ietf-ip:mtu"),
              "/ietf-interfaces:interfaces/interface/ietf-ip:mtu" + reason);
    EXPECT_EQ(refusal(ietfModel(), interfacesXml("<interface><ip:ipv4><mtu/></ip:ipv4></interface>")),
              "/ietf-interfaces:interfaces/interface/ietf-ip:ipv4/ietf-interfaces:mtu" + reason);
    EXPECT_EQ(refusal(awkwardModel(), "/box/blob"), "/orv-awkward:box/blob" + reason) << "anydata is no attribute";
    EXPECT_EQ(refusal(awkwardModel(), "/restart"), "/restart" + reason) << "nor is an rpc";
    EXPECT_EQ(refusal(awkwardModel(), "/box[boxId='1']"), "/orv-awkward:box/boxId" + reason)
        << "a container's key is in no schema";
    EXPECT_EQ(refusal(typesModel(), "/types[place/nothing='1']"),
              "/orv-types:types/place/nothing: the struct has no such member");
}

TEST(SubtreeFilter, RefusesAModuleThatTheElementDoesNotHave)
{
    EXPECT_EQ(refusal(ietfModel(), "/no-module:interfaces"),
              "/interfaces: no module of the element has the name "
              "\"no-module\"");
    EXPECT_EQ(refusal(ietfModel(), "<interfaces xmlns=\"urn:none\"/>"),
              "/interfaces: no module of the element has the namespace \"urn:none\"");
    EXPECT_EQ(refusal(typesModel(), "/types[place/none:label='x']"),
              "/orv-types:types/place/label: no module of the element has the name \"none\"");
}

TEST(SubtreeFilter, RefusesAValueThatTheTypeDoesNotAccept)
{
    const struct
    {
        const char* leaf;
        const char* value;
        const char* reason;
    } cases[] = {{"a-int8", "128", "Value \"128\" is out of type int8 min/max bounds"},
                 {"a-uint32", "-1", "Value \"-1\" is out of type uint32 min/max bounds"},
                 {"a-uint64", "x", "Invalid type uint64 value \"x\""},
                 {"a-boolean", "maybe", "Invalid boolean value \"maybe\""},
                 {"an-enum", "middle", "Invalid enumeration value \"middle\""},
                 {"a-decimal", "1.2345",
                  "Value \"1.2345\" of decimal64 type exceeds defined number (3) of fraction "
                  "digits"},
                 {"a-bits", "three", "Invalid bit \"three\""},
                 {"an-identity", "green",
                  "Invalid identityref \"green\" value - identity not found in module "
                  "\"orv-types\""},
                 {"an-empty", "x", "Invalid empty value length 1"}};
    for (const auto& one : cases)
    {
        const std::string leaf = one.leaf;
        const std::string expected = "/orv-types:types/" + leaf + ": " + one.reason;
        EXPECT_THAT(refusal(typesModel(), "/types[" + leaf + "='" + one.value + "']"), HasSubstr(expected));
        EXPECT_THAT(refusal(typesModel(), typesXml("<" + leaf + ">" + one.value + "</" + leaf + ">")),
                    HasSubstr("/orv-types:types/" + leaf + ": "));
    }
    EXPECT_THAT(refusal(typesModel(), typesXml("<an-identity>unknown:red</an-identity>")),
                HasSubstr("/orv-types:types/an-identity: "));
    EXPECT_THAT(refusal(typesModel(), "/types[place/latitude='x']"), HasSubstr("/orv-types:types/place/latitude: "));
    EXPECT_THAT(refusal(awkwardModel(), "/box[level='101']"), HasSubstr("/orv-awkward:box/level: "));
    EXPECT_THAT(refusal(awkwardModel(), "/row[id='-1']"), HasSubstr("/orv-awkward:row/id: "));
}

TEST(SubtreeFilter, ARefusedValueIsNotTakenForTheCauseOfTheNextRefusal)
{
    ElementData data(typesModel());
    for (const char* value : {"/nope:types", "no path", "/orv-types:nothing"})
    {
        EXPECT_THAT(refusal(typesModel(), std::string("/types[an-instance='") + value + "']"),
                    HasSubstr("Invalid instance-identifier"));
        EXPECT_THAT(errorOf([&] { data.applyEdit(typesXml("<a-int8>300</a-int8>"), EditFormat::Xml); }),
                    HasSubstr("\"300\""));
    }
}

TEST(SubtreeFilter, RefusesTwoValuesOfOneLeaf)
{
    const std::string reason = ": two values are asked for, and it can only have one";
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface[name='a'][name='b']"),
              "/ietf-interfaces:interfaces/interface/name" + reason);
    EXPECT_EQ(refusal(ietfModel(), interfacesXml("<interface><enabled>true</enabled><enabled>true</enabled>"
                                                 "</interface>")),
              "/ietf-interfaces:interfaces/interface/enabled" + reason);
    EXPECT_EQ(refusal(typesModel(), "/types[place/label='a'][place/label='a']"),
              "/orv-types:types/place/label" + reason);
}

TEST(SubtreeFilter, RefusesAValueOfWhatHasNone)
{
    EXPECT_EQ(refusal(ietfModel(), "<interfaces>x</interfaces>"),
              "/ietf-interfaces:interfaces: a container has no value, only its leaves have");
    EXPECT_EQ(refusal(ietfModel(), "/interfaces[interface='x']"),
              "/ietf-interfaces:interfaces/interface: a list has no value, only its leaves have");
    EXPECT_EQ(refusal(typesModel(), "/types[place='x']"),
              "/orv-types:types/place: a struct has no value of its own, only its members have");
}

TEST(SubtreeFilter, RefusesWhatStandsBelowALeaf)
{
    const std::string reason = "/ietf-interfaces:interfaces/interface/enabled: a leaf has nothing below it";
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface/enabled/more"), reason);
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface/enabled/*"), reason);
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface/enabled[x='1']"), reason);
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface[enabled/x='1']"), reason);
    EXPECT_EQ(refusal(ietfModel(), "<interfaces><interface><enabled><x/></enabled></interface></interfaces>"), reason);
    EXPECT_EQ(refusal(typesModel(), "/types/place/*"),
              "/orv-types:types/place: a struct is one attribute, which is selected without \"/*\"");
    EXPECT_EQ(refusal(typesModel(), "/types[place/label/x='1']"),
              "/orv-types:types/place/label: a leaf has nothing below it");
}

TEST(SubtreeFilter, RefusesASelectionWithinAStruct)
{
    const std::string reason =
        "/orv-types:types/place/label: a member of a struct cannot be selected, only the whole struct";
    EXPECT_EQ(refusal(typesModel(), "/types/place/label"), reason);
    EXPECT_EQ(refusal(typesModel(), typesXml("<place><label/></place>")), reason);
}

TEST(SubtreeFilter, RefusesAConditionInAStructWithinAStruct)
{
    const std::string reason = "/orv-types:types/place/inner: no condition can be put on a struct within a struct";
    EXPECT_EQ(refusal(typesModel(), "/types[place/inner/depth='1']"), reason);
    EXPECT_EQ(refusal(typesModel(), typesXml("<place><inner><depth>1</depth></inner></place>")), reason);
}

TEST(SubtreeFilter, RefusesAConditionOnAnotherObject)
{
    EXPECT_EQ(refusal(ietfModel(), "/interfaces/interface[ipv4/mtu='1500']"),
              "/ietf-interfaces:interfaces/interface/ietf-ip:ipv4: brackets take a leaf of the node before them, or a "
              "member of one of its structs");
}

TEST(SubtreeFilter, RefusesATextOfNoKnownForm)
{
    EXPECT_EQ(refusal(ietfModel(), "interfaces"),
              "it must begin with \"/\" for a path, \"<\" for XML or \"@\" for a file");
    EXPECT_EQ(refusal(ietfModel(), ""), "it must begin with \"/\" for a path, \"<\" for XML or \"@\" for a file");
    EXPECT_EQ(errorOf([] { SubtreeFilter(ietfModel(), {}); }), "a subtree filter without a text would select nothing");
}

TEST(SubtreeFilter, ReadsNoMoreOfAFileThanAFilterMayHave)
{
    const std::string open = "<interfaces>";
    const std::string close = "</interfaces>";
    const std::string content(256 * 1024 - open.size() - close.size(), ' ');
    const TemporaryFile longest(".xml", open + content + close);
    EXPECT_EQ(oneTree(ietfModel(), "@" + longest.path()), "ManagedElement{#interfaces}");
    const TemporaryFile longer(".xml", open + content + close + " ");
    EXPECT_EQ(refusal(ietfModel(), "@" + longer.path()), longer.path() + ": larger than 262144 bytes");
}

TEST(SubtreeFilter, QuotesNoMoreThanTheBeginOfALongText)
{
    const std::string text = "/" + std::string(1000, 'x');
    EXPECT_EQ(errorOf([&] { SubtreeFilter(ietfModel(), {text}); }).substr(0, 220),
              "subtree \"" + text.substr(0, 200) + "...\": /xxxx");
}

TEST(SubtreeFilter, OutlivesTheModel)
{
    auto model = std::make_unique<YangModel>(ModelTest::typesOptions());
    const SubtreeFilter filter(*model, {"/types[a-string='text'][an-identity='red'][place/label='x']/numbers"});
    model.reset();
    EXPECT_EQ(ModelTest::treeText(*filter.trees()[0]),
              "ManagedElement{types[a-string:9=text an-identity:9=orv-types:red place(label:9=x)]{@numbers}}");
    EXPECT_EQ(filter.trees()[1], nullptr);
}
