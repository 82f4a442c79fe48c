#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ElementProcess.h"

namespace OrvTest
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

typedef nlohmann::json Json;

std::vector<Json> parsed(const std::vector<std::string>& lines)
{
    std::vector<Json> records;
    for (const std::string& line : lines)
    {
        records.push_back(Json::parse(line));
    }
    return records;
}

// "subscription type" of each line.
std::vector<std::string> subscriptionsAndTypes(const std::vector<std::string>& lines)
{
    std::vector<std::string> result;
    for (const std::string& line : lines)
    {
        result.push_back(line.substr(0, line.find(' ', line.find(' ') + 1)));
    }
    return result;
}

std::vector<std::string> interfaceNames(int number)
{
    std::vector<std::string> names;
    for (int i = 0; i < number; ++i)
    {
        names.push_back("if" + std::to_string(1000 + i));
    }
    return names;
}

// An edit that switches an interface on or off.
std::string enable(const std::string& name, const std::string& enabled)
{
    return R"(<interfaces xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces"><interface><name>)" + name +
           "</name><enabled>" + enabled + "</enabled></interface></interfaces>";
}

// "type DN" of the lines of one subscription.
std::vector<std::string> changesOf(const std::string& subscription, const std::vector<std::string>& lines)
{
    std::vector<std::string> changes;
    for (const std::string& line : lines)
    {
        std::istringstream words(line);
        std::string name;
        std::string type;
        std::string time;
        std::string dn;
        words >> name >> type >> time >> dn;
        if (name == subscription)
        {
            changes.push_back(type + " " + dn);
        }
    }
    return changes;
}

size_t lineBreaks(const std::string& text)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

class RunCommand : public testing::Test
{
protected:
    void nudgeByInput(ElementProcess& process)
    {
        process.nudgeWith([this, &process](const std::string& description)
                          { process.writeLine(directory.write(description + ".xml", describeEth0(description))); });
    }
    void nudgeByFile(ElementProcess& process, const TemporaryDirectory& watched)
    {
        process.nudgeWith([&watched](const std::string& description)
                          { watched.write(description + ".xml", describeEth0(description)); });
    }

    TemporaryDirectory directory;
};

TEST_F(RunCommand, PrintsRecordsAsText)
{
    const Outcome outcome =
        runElement(runArguments({"--subscribe", "name=all", "--edit", demoFile("2-change.xml"), "--name", "ne1"}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    const std::string time = "20[0-9-]*T[0-9:]*\\.[0-9]*Z";
    EXPECT_THAT(
        outcome.lines,
        ElementsAre(MatchesRegex("all attributeChanged " + time +
                                 " ManagedElement=ne1,interfaces=1,interface=eth0 tx=[0-9]* seq=1 "
                                 "description=\"uplink\" enabled=false"),
                    MatchesRegex("all attributeChanged " + time +
                                 " ManagedElement=ne1,interfaces=1,interface=eth0 tx=[0-9]* seq=2 enabled=false"),
                    MatchesRegex("all attributeChanged " + time +
                                 " ManagedElement=ne1,system=1 tx=[0-9]* seq=3 hostname=\"demo-renamed\"")));
}

TEST_F(RunCommand, PrintsRecordsAsOneJsonObjectPerLine)
{
    const Outcome outcome = runElement(runArguments({"--format", "json", "--subscribe", "name=all", "--edit",
                                                     demoFile("1-create.xml"), demoFile("3-delete.json")}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    const std::vector<Json> records = parsed(outcome.lines);
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0]["subscription"], "all");
    EXPECT_EQ(records[0]["type"], "objectCreated");
    EXPECT_EQ(records[0]["dn"], "ManagedElement=1,interfaces=1,interface=eth2");
    EXPECT_EQ(records[0]["sequenceNumber"], 1);
    EXPECT_EQ(records[0]["attributes"], Json::parse(R"([{"name":"name","type":"string","values":["eth2"]},
                              {"name":"type","type":"string","values":["iana-if-type:ethernetCsmacd"]},
                              {"name":"enabled","type":"boolean","values":[true]}])"));
    EXPECT_EQ(records[2]["attributes"][1], Json::parse(R"({"name":"prefix-length","type":"uint8","values":[24]})"));
    EXPECT_EQ(records[0]["txHandle"], records[2]["txHandle"]);
    EXPECT_EQ(records[0]["eventTime"], records[2]["eventTime"]);
    EXPECT_EQ(records[3]["type"], "objectDeleted");
    EXPECT_EQ(records[3]["dn"], "ManagedElement=1,interfaces=1,interface=eth1");
    EXPECT_NE(records[3]["txHandle"], records[0]["txHandle"]);
}

TEST_F(RunCommand, AppliesFurtherEditsFromStandardInputToItsEnd)
{
    const std::string first = directory.write("first.xml", describeEth0("one"));
    const std::string second = directory.write("second", describeEth0("two"));
    const Outcome outcome = runElement(runArguments({"--subscribe", "name=all"}), {first, "", "# comment", second});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.lines, ElementsAre(HasSubstr("description=\"one\""), HasSubstr("description=\"two\"")));
}

TEST_F(RunCommand, PrintsARecordAsSoonAsItsEditIsApplied)
{
    ElementProcess process(runArguments({"--subscribe", "name=all"}));
    nudgeByInput(process);
    process.writeLine(directory.write("first.xml", describeEth0("one")));
    EXPECT_THAT(process.readLine(), HasSubstr("description=\"one\""));
    process.writeLine(directory.write("second.xml", describeEth0("two")));
    EXPECT_THAT(process.readLine(), HasSubstr("description=\"two\""));
    EXPECT_EQ(process.finish(), 0);
}

TEST_F(RunCommand, TellsEachSubscriptionWhatItsFilterWants)
{
    const Outcome outcome = runElement(
        runArguments({"--edit", demoFile("1-create.xml"), demoFile("2-change.xml"), demoFile("3-delete.json"),
                      "--subscribe", "name=created;filter=objectCreated:interface=eth[0-9]",
                      "name=enabled;filter=attributeChanged:,enabled", "name=eth1;filter=any:interface=eth1"}));
    EXPECT_EQ(outcome.code, 0);
    std::vector<std::string> found = subscriptionsAndTypes(outcome.lines);
    std::sort(found.begin(), found.end());  // subscriptions are independent of one another
    EXPECT_THAT(found, ElementsAre("created objectCreated", "enabled attributeChanged", "eth1 objectDeleted"));
}

TEST_F(RunCommand, TakesASubtreeFilterAsAPathAsXmlAndFromAFile)
{
    const std::string xml =
        "<filter type=\"subtree\"><interfaces xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\">"
        "<interface><name>eth2</name><ipv4 xmlns=\"urn:ietf:params:xml:ns:yang:ietf-ip\"><address/></ipv4>"
        "</interface></interfaces></filter>";
    const Outcome outcome =
        runElement(runArguments({"--edit", demoFile("1-create.xml"), demoFile("3-delete.json"), "--subscribe",
                                 "name=path;subtree=/interfaces/interface[name='eth2']/ipv4/address",
                                 "name=xml;subtree=" + xml, "name=file;subtree=@" + directory.write("filter.xml", xml),
                                 "name=two;subtree=/interfaces/interface[name='eth1'];subtree=/system"}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    const std::string created =
        "objectCreated ManagedElement=1,interfaces=1,interface=eth2,ipv4=1,address=198.51.100.7";
    EXPECT_THAT(changesOf("path", outcome.lines), ElementsAre(created));
    EXPECT_THAT(changesOf("xml", outcome.lines), ElementsAre(created));
    EXPECT_THAT(changesOf("file", outcome.lines), ElementsAre(created));
    EXPECT_THAT(changesOf("two", outcome.lines),
                ElementsAre("objectDeleted ManagedElement=1,interfaces=1,interface=eth1"));
}

TEST_F(RunCommand, HoldsAConditionOfASubtreeFilterAgainstThePresentData)
{
    // The later subscription is told of a change after the earlier one's filter has judged it.
    ElementProcess process(
        runArguments({"--subscribe", "name=up;subtree=/interfaces/interface[enabled='true']", "name=all"}));
    nudgeByInput(process);
    for (const auto& [name, enabled] :
         {std::pair<const char*, const char*>("eth1", "true"), {"eth0", "false"}, {"eth1", "false"}, {"eth0", "true"}})
    {
        const std::string edit = std::string(name) + "-" + enabled;
        process.writeLine(directory.write(edit + ".xml", enable(name, enabled)));
        EXPECT_THAT(process.readUntil("all attributeChanged"), HasSubstr(name));
    }
    EXPECT_EQ(process.finish(), 0);
    EXPECT_EQ(process.errors(), "");
    EXPECT_THAT(changesOf("up", process.lines()),
                ElementsAre("attributeChanged ManagedElement=1,interfaces=1,interface=eth1",
                            "attributeChanged ManagedElement=1,interfaces=1,interface=eth0"));
}

TEST_F(RunCommand, DerivesARecordForEachLeafOfADeletedSubtreeAndStillEnds)
{
    const std::string removal = directory.write("delete.json", R"({"ietf-interfaces:interfaces": {"interface": [
        {"@": {"ietf-netconf:operation": "delete"}, "name": "eth0"}]}})");
    const Outcome outcome = runElement(runArguments(
        {"--edit", removal, "--subscribe", "name=parts;subtree=/interfaces/interface[name='eth0']/{enabled,ipv4}",
         "name=whole;subtree=/interfaces/interface"}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    const std::string deleted = "objectDeleted ManagedElement=1,interfaces=1,interface=eth0";
    EXPECT_THAT(changesOf("parts", outcome.lines),
                ElementsAre(deleted + ",ipv4=1,address=192.0.2.1", deleted + ",ipv4=1", deleted, deleted + ",ipv4=*"));
    EXPECT_THAT(changesOf("whole", outcome.lines),
                ElementsAre(deleted + ",ipv4=1,address=192.0.2.1", deleted + ",ipv4=1", deleted));
}

TEST_F(RunCommand, TakesAndEndsSubtreeFiltersWhileItRuns)
{
    ElementProcess process(runArguments());
    nudgeByInput(process);
    process.writeLine("subscribe name=a;subtree=/interfaces/interface[name='eth0']/description");
    process.writeLine(
        "subscribe name=b;subtree=<interfaces "
        "xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\"><face/></interfaces>");
    process.writeLine(directory.write("1.xml", describeEth0("one")));
    EXPECT_THAT(process.readLine(), HasSubstr("description=\"one\""));
    process.writeLine("unsubscribe a");
    process.writeLine(directory.write("2.xml", describeEth0("two")));
    process.writeLine("subscribe name=a;subtree=/system");
    process.writeLine(demoFile("2-change.xml"));
    EXPECT_THAT(process.readLine(), HasSubstr("hostname=\"demo-renamed\""));
    EXPECT_EQ(process.finish(), 1) << "one line was refused";
    EXPECT_EQ(process.errors(),
              "orv-element: cannot subscribe \"b\": subtree \"<interfaces "
              "xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\"><face/></interfaces>\": "
              "/ietf-interfaces:interfaces/face: the model has no such class or attribute\n");
    EXPECT_EQ(process.lines().size(), 2u);
}

TEST_F(RunCommand, PublishesNothingForAnEditWithoutEffect)
{
    const std::string again = directory.write("again.xml", describeEth0("one"));
    const Outcome outcome = runElement(runArguments({"--subscribe", "name=all", "--edit", again, again}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.lines.size(), 1u);
}

TEST_F(RunCommand, ReplaysToASubscriptionThatComesLater)
{
    ElementProcess process(runArguments({"--subscribe", "name=live"}));
    nudgeByInput(process);
    process.writeLine(directory.write("edit.xml", describeEth0("one")));
    process.readLine();
    process.writeLine("subscribe name=late;start=-1h");
    process.readUntil("replayComplete");
    process.writeLine("unsubscribe live");
    process.writeLine(directory.write("edit.xml", describeEth0("two")));
    EXPECT_EQ(process.finish(), 0);
    EXPECT_THAT(subscriptionsAndTypes(process.lines()),
                ElementsAre("live attributeChanged", "late replayGap", "late attributeChanged", "late replayComplete",
                            "late attributeChanged"));
}

TEST_F(RunCommand, EndsASubscriptionAtItsStopTimeAndBeatsUntilThen)
{
    ElementProcess process(runArguments({"--subscribe", "name=short;stop=+3s;heartbeat=1"}));
    process.readUntil("notificationComplete");
    process.writeLine(directory.write("edit.xml", describeEth0("too late")));
    EXPECT_EQ(process.finish(), 0);
    ASSERT_GE(process.lines().size(), 2u);
    EXPECT_THAT(process.lines().front(), StartsWith("short heartbeatNotification "));
    EXPECT_THAT(process.lines().back(), StartsWith("short notificationComplete "));
}

TEST_F(RunCommand, DiscardsTheReplayBufferAtAClockChange)
{
    ElementProcess process(runArguments({"--subscribe", "name=all"}));
    nudgeByInput(process);
    process.writeLine(directory.write("e.xml", describeEth0("one")));
    process.readUntil("description=\"one\"");
    process.writeLine("clock-change");
    process.readUntil("discardedOld");
    process.writeLine("subscribe name=late;start=-1h");
    process.writeLine(directory.write("f.xml", describeEth0("two")));
    EXPECT_EQ(process.finish(), 0);
    std::vector<std::string> found = subscriptionsAndTypes(process.lines());
    std::stable_sort(found.begin(), found.end(),
                     [](const std::string& left, const std::string& right)
                     { return left.substr(0, 3) < right.substr(0, 3); });
    EXPECT_THAT(found, ElementsAre("all attributeChanged", "all discardedOld", "all attributeChanged", "late replayGap",
                                   "late replayComplete", "late attributeChanged"));
}

TEST_F(RunCommand, DeliversEverythingBeforeItEndsWithItsInput)
{
    const std::string edit = directory.write("edit.xml", createInterfaces(interfaceNames(500)));
    const Outcome outcome = runElement(
        runArguments({"--subscribe", "name=a", "name=b", "name=f;filter=any:interface=if1499", "--edit", edit}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.lines.size(), 1001u);
}

class RunCommandSignal : public RunCommand, public testing::WithParamInterface<int>
{
};

TEST_P(RunCommandSignal, DeliversEverythingBeforeItEnds)
{
    ElementProcess process(runArguments({"--subscribe", "name=all"}));
    process.writeLine(directory.write("edit.xml", createInterfaces(interfaceNames(500))));
    process.readLine();  // the edit has been applied, and most of its records are still on their way
    process.signal(GetParam());
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.errors(), "");
    EXPECT_EQ(process.lines().size(), 500u);
}

INSTANTIATE_TEST_SUITE_P(Signals, RunCommandSignal, testing::Values(SIGINT, SIGTERM));

TEST_F(RunCommand, TakesEditsFromAWatchedDirectoryInTheOrderOfTheirNames)
{
    const TemporaryDirectory watched;
    const std::string beforehand = watched.write("0.xml", describeEth0("was there before"));
    // The first edit, by option, shows that the element is up; the directory is watched from before that.
    ElementProcess process(runArguments({"--subscribe", "name=all", "--watch", watched.path(), "--edit",
                                         directory.write("ready.xml", describeEth0("ready"))}));
    nudgeByFile(process, watched);
    process.readUntil("ready");
    watched.write("ignored.txt", describeEth0("ignored"));
    watched.write("1.xml", describeEth0("one"));
    EXPECT_THAT(process.readLine(), HasSubstr("description=\"one\""));
    const std::string json = directory.write("moved", R"({"ietf-system:system": {"hostname": "from-json"}})");
    ASSERT_EQ(std::rename(json.c_str(), (watched.path() + "/2.json").c_str()), 0);
    EXPECT_THAT(process.readLine(), HasSubstr("hostname=\"from-json\""));
    watched.write("3.clock", "");
    EXPECT_THAT(process.readLine(), StartsWith("all discardedOld "));
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.lines().size(), 4u);
}

TEST_F(RunCommand, DoesNotEndWithItsInputWhileItWatchesADirectory)
{
    const TemporaryDirectory watched;
    ElementProcess process(runArguments({"--subscribe", "name=all", "--watch", watched.path(), "--edit",
                                         directory.write("ready.xml", describeEth0("ready"))}));
    nudgeByFile(process, watched);
    process.closeInput();
    process.readUntil("ready");
    watched.write("1.xml", describeEth0("one"));
    EXPECT_THAT(process.readLine(), HasSubstr("description=\"one\""));
    process.signal(SIGINT);
    EXPECT_EQ(process.wait(), 0);
}

TEST_F(RunCommand, EndsWithAnEditOptionThatIsRefused)
{
    const std::string good = directory.write("good.xml", describeEth0("good"));
    const std::string bad = directory.write("bad.xml", "<nonsense xmlns=\"urn:nobody\"/>");
    const std::string after = directory.write("after.xml", describeEth0("after"));
    const Outcome outcome = runElement(runArguments({"--subscribe", "name=all", "--edit", good, bad, after}), {after});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, StartsWith("orv-element: "));
    EXPECT_THAT(outcome.errors, HasSubstr(bad));
    EXPECT_EQ(lineBreaks(outcome.errors), 1u);
    EXPECT_THAT(outcome.lines, ElementsAre(HasSubstr("description=\"good\"")));
}

TEST_F(RunCommand, GoesOnAfterALineThatIsRefused)
{
    const std::string good = directory.write("good.xml", describeEth0("good"));
    const Outcome outcome =
        runElement(runArguments({"--subscribe", "name=all"}),
                   {"/nowhere/edit.xml", "subscribe nonsense", "subscribe name=all", "unsubscribe nobody", good});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(lineBreaks(outcome.errors), 4u);
    EXPECT_THAT(outcome.errors, HasSubstr("/nowhere/edit.xml"));
    EXPECT_THAT(outcome.errors, HasSubstr("\"nonsense\""));
    EXPECT_THAT(outcome.errors, HasSubstr("\"all\" already"));
    EXPECT_THAT(outcome.errors, HasSubstr("\"nobody\""));
    EXPECT_THAT(outcome.lines, ElementsAre(HasSubstr("description=\"good\"")));
}

TEST_F(RunCommand, RefusesAnEditThatDoesNotValidateAndChangesNothing)
{
    // The address has no prefix, and the description beside it must not stay behind.
    const std::string invalid = directory.write("invalid.xml", R"(
        <interfaces xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces"><interface><name>eth0</name>
          <description>left behind</description>
          <ipv4 xmlns="urn:ietf:params:xml:ns:yang:ietf-ip"><address><ip>203.0.113.1</ip></address></ipv4>
        </interface></interfaces>)");
    const std::string same = directory.write("same.xml", describeEth0("left behind"));
    const Outcome outcome = runElement(runArguments({"--subscribe", "name=all"}), {invalid, same});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(lineBreaks(outcome.errors), 1u);
    EXPECT_THAT(outcome.errors, HasSubstr("/ietf-interfaces:interfaces/interface/ietf-ip:ipv4/address"));
    EXPECT_EQ(outcome.lines.size(), 1u) << "the second edit must find the old description";
}

TEST_F(RunCommand, FailsWhenNobodyReadsItsOutputAnyMore)
{
    ElementProcess process(runArguments({"--subscribe", "name=all"}));
    process.closeOutput();
    process.writeLine(directory.write("edit.xml", describeEth0("one")));
    EXPECT_EQ(process.wait(), 1) << "it must end although its input is still open";
    EXPECT_EQ(process.errors(), "orv-element: cannot write records to standard output\n");
}

TEST_F(RunCommand, TakesAMissingStandardInputForOneAtItsEnd)
{
    ElementProcess process(runArguments({"--subscribe", "name=all", "--edit", demoFile("2-change.xml")}),
                           ElementProcess::Errors::ToFile, STDIN_FILENO);
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.lines().size(), 3u);
    EXPECT_EQ(process.errors(), "");
}

TEST_F(RunCommand, FailsWhenItHasARecordAndNoStandardOutput)
{
    ElementProcess process(runArguments({"--subscribe", "name=all", "--edit", demoFile("2-change.xml")}),
                           ElementProcess::Errors::ToFile, STDOUT_FILENO);
    EXPECT_EQ(process.finish(), 1);
    EXPECT_EQ(process.errors(), "orv-element: cannot write records to standard output\n");
}

TEST_F(RunCommand, ShowsItsProgressOnATerminal)
{
    ElementProcess process(runArguments({"--edit", directory.write("e.xml", describeEth0("one"))}),
                           ElementProcess::Errors::ToTerminal);
    EXPECT_EQ(process.finish(), 0);
    const std::string shown = process.errors();
    EXPECT_THAT(shown, HasSubstr("starting the element..."));
    EXPECT_THAT(shown, HasSubstr("edit 1 of 1..."));
    EXPECT_EQ(shown.substr(shown.size() - 4), "\r\033[K") << "the last line must be removed";
}

TEST_F(RunCommand, RunsWithoutStartupDataAndSubscriptions)
{
    const Outcome outcome = runElement({"run", "--module", "ietf-system"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.lines, IsEmpty());
}

TEST_F(RunCommand, LeavesNothingInItsWorkingDirectory)
{
    ElementProcess process(runArguments({"--subscribe", "name=all", "--edit", demoFile("1-create.xml")}));
    EXPECT_EQ(process.finish(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(process.directory()));
}

}  // namespace
}  // namespace OrvTest
