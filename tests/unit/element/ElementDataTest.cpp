#include "ElementData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "ModelTestSupport.h"

using namespace OrvElement;
using ModelTest::AwkwardElement;
using ModelTest::awkwardModel;
using ModelTest::errorOf;
using ModelTest::ietfModel;
using ModelTest::operations;
using ModelTest::TemporaryFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace
{

const char* const NETCONF_CONFIG = "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">";

std::string startupError(const std::string& ending, const std::string& content)
{
    const TemporaryFile file(ending, content);
    ElementData data(awkwardModel());
    const std::string error = errorOf([&] { data.loadStartup(file.path()); });
    EXPECT_THAT(error, ::testing::AnyOf("", StartsWith(file.path() + ": ")));
    EXPECT_THAT(error, Not(HasSubstr("\n")));
    EXPECT_EQ(data.print(EditFormat::Xml), "");
    return error.empty() ? error : error.substr(file.path().size() + 2);
}

// Interfaces of the published module, eth0 and on.
std::string interfaces(int count)
{
    std::string text =
        "<interfaces xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\" "
        "xmlns:i=\"urn:ietf:params:xml:ns:yang:iana-if-type\">";
    for (int i = 0; i < count; ++i)
    {
        text += "<interface><name>eth" + std::to_string(i) + "</name><type>i:ethernetCsmacd</type></interface>";
    }
    return text + "</interfaces>";
}

}  // namespace

TEST(ElementData, BeforeAnyLoadThereAreTheDefaultsOnly)
{
    ElementData data(awkwardModel());
    EXPECT_EQ(data.print(EditFormat::Xml), "");
    EXPECT_TRUE(data.applyEdit(AwkwardElement::text("<level>5</level>"), EditFormat::Xml)->empty());
}

TEST(ElementData, StartupDataAreLoadedFromXmlAndFromJson)
{
    const TemporaryFile xml(".xml", AwkwardElement::text("<level>7</level>"));
    const TemporaryFile json(".json", R"({"orv-awkward:box": {"level": 7}})");
    const TemporaryFile neither(".cfg", AwkwardElement::text("<level>7</level>"));
    for (const TemporaryFile* file : {&xml, &json, &neither})
    {
        ElementData data(awkwardModel());
        data.loadStartup(file->path());
        EXPECT_THAT(data.print(EditFormat::Json), HasSubstr("\"level\": 7"));
    }
}

TEST(ElementData, StartupDataMayStandInANetconfConfigElement)
{
    const TemporaryFile file(".xml", NETCONF_CONFIG + AwkwardElement::text("<level>7</level>") + "</config>");
    ElementData data(awkwardModel());
    data.loadStartup(file.path());
    EXPECT_THAT(data.print(EditFormat::Json), HasSubstr("\"level\": 7"));
}

TEST(ElementData, StartupDataReplaceWhatWasThere)
{
    const TemporaryFile first(".xml", AwkwardElement::text("<level>7</level>"));
    const TemporaryFile second(".xml", AwkwardElement::text("<limit>70</limit>"));
    ElementData data(awkwardModel());
    data.loadStartup(first.path());
    data.loadStartup(second.path());
    EXPECT_THAT(data.print(EditFormat::Json), Not(HasSubstr("level")));
    EXPECT_THAT(data.print(EditFormat::Json), HasSubstr("\"limit\": 70"));
}

TEST(ElementData, WrongStartupDataAreRefusedInOneLineThatNamesFileAndCause)
{
    EXPECT_THAT(startupError(".xml", "<box xmlns=\"urn:orv:awkward\"><nothing/></box>"), HasSubstr("nothing"));
    EXPECT_THAT(startupError(".xml", "<box xmlns=\"urn:orv:awkward\"><level>many</level></box>"), HasSubstr("many"));
    EXPECT_THAT(startupError(".xml", AwkwardElement::text("<level>9</level><limit>8</limit>")),
                HasSubstr("the limit lies below the level"));
    EXPECT_NE(startupError(".xml", "<box xmlns=\"urn:orv:awkward\"><level>"), "");
    EXPECT_NE(startupError(".xml", "<other xmlns=\"urn:other\"/>"), "");
    EXPECT_NE(startupError(".xml", "no markup"), "");
    EXPECT_NE(startupError(".json", "{\"orv-awkward:box\": {"), "");
    EXPECT_NE(startupError(".json", "[]"), "");
    EXPECT_EQ(startupError(".xml", ""), "the file is empty");
    EXPECT_EQ(startupError(".xml", std::string("<a/>\0<b/>", 9)), "the text holds a null character");
    EXPECT_EQ(startupError(".xml", std::string(NETCONF_CONFIG)), "malformed XML: the element <config> is not closed");
}

TEST(ElementData, AMissingStartupFileIsNamed)
{
    ElementData data(awkwardModel());
    EXPECT_EQ(errorOf([&] { data.loadStartup("/no/such/startup.xml"); }),
              "/no/such/startup.xml: No such file or directory");
}

TEST(ElementData, StartupDataHoldNoState)
{
    EXPECT_EQ(startupError(".xml", AwkwardElement::text("<observed>1</observed>")),
              "/orv-awkward:box/observed is state, and only configuration can be written");
}

TEST(ElementData, StartupDataCarryNoOperations)
{
    EXPECT_THAT(startupError(".xml", AwkwardElement::text("<level nc:operation=\"delete\">7</level>")),
                StartsWith("/orv-awkward:box/level carries an annotation"));
}

TEST(ElementData, AnEditHoldsNoState)
{
    AwkwardElement element;
    EXPECT_EQ(element.refused("<observed>1</observed>"),
              "/orv-awkward:box/observed is state, and only configuration can be written");
    EXPECT_EQ(element.refused("<state><uptime>1</uptime></state>"),
              "/orv-awkward:box/state is state, and only configuration can be written");
}

TEST(ElementData, ARefusedEditChangesNothingAndSaysWhyWithThePath)
{
    AwkwardElement element;
    element.edit("<item><name>a</name><value>11</value></item><limit>50</limit><tcp-port>80</tcp-port>");
    const std::string before = element.print();
    EXPECT_EQ(element.refused("<level>60</level><item nc:operation=\"delete\"><name>a</name></item>"
                              "<udp-port>1</udp-port>"),
              "not valid: the limit lies below the level (Data location \"/orv-awkward:box/limit\")");
    EXPECT_EQ(element.print(), before);
    EXPECT_THAT(element.edit("<item><name>a</name><value>12</value></item>"),
                ElementsAre("changed ManagedElement=1,box=1,item=a {value=12}"));
}

TEST(ElementData, AMissingMandatoryLeafAndADanglingReferenceAreRefused)
{
    AwkwardElement element;
    EXPECT_THAT(element.refused("<strict><name>s</name></strict>"), HasSubstr("required"));
    EXPECT_THAT(element.refused("<strict><name>s</name><required>r</required><item>b</item></strict>"),
                HasSubstr("/orv-awkward:box/strict[name='s']/item"));
    element.edit("<item><name>b</name></item><strict><name>s</name><required>r</required><item>b</item></strict>");
    EXPECT_NE(element.refused("<item nc:operation=\"delete\"><name>b</name></item>"), "");
    EXPECT_THAT(element.print(), HasSubstr("\"name\": \"b\""));
}

TEST(ElementData, AnEditThatFailsHalfWayChangesNothing)
{
    AwkwardElement element;
    element.edit("<item><name>a</name></item>");
    const std::string before = element.print();
    EXPECT_THAT(element.refused("<level>9</level><item nc:operation=\"replace\"><name>a</name><value>3</value></item>"
                                "<pair nc:operation=\"delete\"><left>l</left><right>r</right></pair>"),
                StartsWith("data-missing: "));
    EXPECT_EQ(element.print(), before);
}

TEST(ElementData, ATextThatIsNoEditIsRefused)
{
    ElementData data(awkwardModel());
    for (const char* text :
         {"<box", "<box xmlns=\"urn:orv:awkward\">", "</a>", "<nowhere xmlns=\"urn:nowhere\"/>", "{"})
    {
        EXPECT_NE(errorOf([&] { data.applyEdit(text, EditFormat::Xml); }), "") << text;
    }
    for (const char* text : {"{", "<a/>", "{\"orv-awkward:box\": 7}", "{\"nowhere:box\": {}}"})
    {
        EXPECT_NE(errorOf([&] { data.applyEdit(text, EditFormat::Json); }), "") << text;
    }
}

TEST(ElementData, AnErrorPrintsNothingByItself)
{
    AwkwardElement element;
    ::testing::internal::CaptureStderr();
    element.refused("<level>many</level>");
    element.refused("<limit>1</limit>");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(ElementData, AnErrorDoesNotReappearWithTheNext)
{
    AwkwardElement element;
    element.refused("<level>many</level>");
    element.edit("<limit nc:operation=\"remove\"/>");
    EXPECT_THAT(element.refused("<nothing/>"), Not(HasSubstr("many")));
}

TEST(ElementData, AnEditFileIsAppliedAndItsErrorsNameIt)
{
    ElementData data(awkwardModel());
    const TemporaryFile good(".xml", NETCONF_CONFIG + AwkwardElement::text("<level>7</level>") + "</config>");
    EXPECT_THAT(operations(*data.applyEditFile(good.path())), ElementsAre("changed ManagedElement=1,box=1 {level=7}"));
    const TemporaryFile bad(".json", R"({"orv-awkward:box": {"level": 700}})");
    EXPECT_THAT(errorOf([&] { data.applyEditFile(bad.path()); }), StartsWith(bad.path() + ": "));
    EXPECT_EQ(errorOf([&] { data.applyEditFile("/no/such.xml"); }), "/no/such.xml: No such file or directory");
}

TEST(ElementData, SeveralTopElementsMakeOneEdit)
{
    ElementData data(awkwardModel());
    EXPECT_THAT(operations(*data.applyEdit(
                    AwkwardElement::text("<level>7</level>") + "<top-leaf xmlns=\"urn:orv:awkward\">t</top-leaf>",
                    EditFormat::Xml)),
                ::testing::UnorderedElementsAre("changed ManagedElement=1,box=1 {level=7}",
                                                "changed ManagedElement=1 {top-leaf=t}"));
}

TEST(ElementData, HandlesRiseAndTheTimeIsTheSystemClocksInNanoseconds)
{
    using std::chrono::system_clock;
    const auto nanoseconds = []
    {
        return uint64_t(
            std::chrono::duration_cast<std::chrono::nanoseconds>(system_clock::now().time_since_epoch()).count());
    };
    ElementData data(awkwardModel());
    const uint64_t before = nanoseconds();
    const auto first = data.applyEdit(AwkwardElement::text("<level>7</level>"), EditFormat::Xml);
    const auto second = data.applyEdit(AwkwardElement::text("<level>8</level>"), EditFormat::Xml);
    const uint64_t after = nanoseconds();
    EXPECT_LT(first->record().txHandle, second->record().txHandle);
    EXPECT_GE(first->record().eventTime, before);
    EXPECT_LE(second->record().eventTime, after);
}

TEST(ElementData, EditsAndReadsFromSeveralThreadsLoseNothing)
{
    constexpr int THREADS = 4;
    constexpr int EDITS = 40;
    ElementData data(awkwardModel());
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
    {
        threads.emplace_back(
            [&data, t]
            {
                for (int i = 0; i < EDITS; ++i)
                {
                    const std::string name = std::to_string(t) + "-" + std::to_string(i);
                    const auto event =
                        data.applyEdit(AwkwardElement::text("<item><name>" + name + "</name></item>"), EditFormat::Xml);
                    EXPECT_EQ(event->dns(), std::vector<std::string>{"ManagedElement=1,box=1,item=" + name});
                    EXPECT_NE(errorOf([&] { data.applyEdit(AwkwardElement::text("<bad/>"), EditFormat::Xml); }), "");
                    EXPECT_THAT(data.print(EditFormat::Json), HasSubstr("\"" + name + "\""));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(data.applyEdit(AwkwardElement::text("", "nc:operation=\"delete\""), EditFormat::Xml)->dns().size(),
              std::size_t(THREADS * EDITS));
}

TEST(ElementData, AnEditTouchesOneInterfaceAmongTenThousand)
{
    const TemporaryFile file(".xml", interfaces(10000));
    ElementData data(ietfModel());
    data.loadStartup(file.path());
    const std::string edit =
        R"({"ietf-interfaces:interfaces": {"interface": [{"name": "eth5000", "description": "changed"}]}})";
    EXPECT_THAT(operations(*data.applyEdit(edit, EditFormat::Json)),
                ElementsAre("changed ManagedElement=1,interfaces=1,interface=eth5000 {description=changed}"));
    EXPECT_TRUE(data.applyEdit(edit, EditFormat::Json)->empty());
}

TEST(ElementData, ThousandsOfObjectsComeAndGoInOneEdit)
{
    ElementData data(ietfModel());
    EXPECT_EQ(data.applyEdit(interfaces(5000), EditFormat::Xml)->dns().size(), 5000u);
    const auto event = data.applyEdit(
        "<interfaces xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\" "
        "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" nc:operation=\"replace\"/>",
        EditFormat::Xml);
    EXPECT_EQ(event->dns().size(), 5000u);
}
