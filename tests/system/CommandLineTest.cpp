#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>

#include "ElementProcess.h"

namespace OrvTest
{
namespace
{

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A command line that must fail with one line on standard error.
struct BadInput
{
    std::string name;
    std::vector<std::string> arguments;
    int code;
    std::string text;  // what the line must hold
};

std::ostream& operator<<(std::ostream& stream, const BadInput& input)
{
    return stream << input.name;
}

std::string faulty(const std::string& name)
{
    return std::string(ORV_FAULTY_COMPONENTS) + "/lib" + name + ".so";
}

std::string nameOf(const testing::TestParamInfo<BadInput>& input)
{
    return input.param.name;
}

class CommandLine : public testing::TestWithParam<BadInput>
{
};

TEST_P(CommandLine, FailsWithOneLineAndLeavesNothingBehind)
{
    ElementProcess process(GetParam().arguments);
    EXPECT_EQ(process.finish(), GetParam().code);
    EXPECT_THAT(process.lines(), IsEmpty());
    EXPECT_THAT(process.errors(), StartsWith("orv-element: "));
    EXPECT_THAT(process.errors(), HasSubstr(GetParam().text));
    EXPECT_EQ(process.errors().find('\n'), process.errors().size() - 1) << process.errors();
    EXPECT_TRUE(std::filesystem::is_empty(process.directory()));
}

INSTANTIATE_TEST_SUITE_P(
    BadInputs, CommandLine,
    testing::Values(
        BadInput{"NoCommand", {}, 2, "subcommand"}, BadInput{"UnknownCommand", {"walk"}, 2, "walk"},
        BadInput{"UnknownOptionBeforeTheCommand", {"--colour"}, 2, "--colour"},
        BadInput{"UnknownOptionWithoutModule", {"run", "--colour"}, 2, "--colour"},
        BadInput{"UnknownOption", {"run", "--module", "ietf-system", "--colour"}, 2, "--colour"},
        BadInput{"NoModule", {"run"}, 2, "--module"},
        BadInput{"MalformedSpec", runArguments({"--subscribe", "name=a;heartbeat=x"}), 2, "heartbeat \"x\""},
        BadInput{"FiltersOfBothForms", runArguments({"--subscribe", "name=a;filter=any:.*;subtree=/system"}), 2,
                 "filters of both forms"},
        BadInput{"SubtreeOfAnUnknownNode", runArguments({"--subscribe", "name=a;subtree=/interfaces/face"}), 2,
                 "/ietf-interfaces:interfaces/face: the model has no such class or attribute"},
        BadInput{"SubtreeWithAWrongValue",
                 runArguments({"--subscribe",
                               "name=a;subtree=<interfaces><interface><enabled>maybe</enabled>"
                               "</interface></interfaces>"}),
                 2, "/ietf-interfaces:interfaces/interface/enabled: "},
        BadInput{"SubtreeWithAMalformedPath", runArguments({"--subscribe", "name=a;subtree=/interfaces["}), 2,
                 "column 13"},
        BadInput{"SubtreeInAMissingFile", runArguments({"--subscribe", "name=a;subtree=@/nowhere.xml"}), 2,
                 "/nowhere.xml"},
        BadInput{"UnknownFormat", runArguments({"--format", "xml"}), 2, "--format"},
        BadInput{"LogLevelThatIsNoNumber", runArguments({"--log-level", "loud"}), 2, "loud"},
        BadInput{"LogLevelOutOfRange", runArguments({"--log-level", "-1"}), 2, "-1"},
        BadInput{"MissingModule", {"run", "--module", "no-such-module"}, 1, "no-such-module"},
        BadInput{"MissingYangDirectory", {"run", "--module", "ietf-system", "--yang", "/nowhere"}, 1, "/nowhere"},
        BadInput{
            "MissingStartupFile", {"run", "--module", "ietf-system", "--startup", "/nowhere.xml"}, 1, "/nowhere.xml"},
        BadInput{"StartupDataOfAnotherModel",
                 {"run", "--module", "ietf-system", "--startup", demoFile("startup.xml")},
                 1,
                 "startup.xml"},
        BadInput{"MissingWatchDirectory", runArguments({"--watch", "/nowhere"}), 1, "/nowhere"},
        BadInput{"WatchedFile", runArguments({"--watch", demoFile("startup.xml")}), 1, "startup.xml"},
        BadInput{"MissingConfiguration", runArguments({"--config", "/nowhere.xml"}), 1, "/nowhere.xml"},
        BadInput{"SubscriptionNameTwice", runArguments({"--subscribe", "name=a", "name=a"}), 1, "\"a\" already"},
        BadInput{"MissingEdit", runArguments({"--edit", "/nowhere.xml"}), 1, "/nowhere.xml"},
        BadInput{"MissingComponent", runArguments({"--component", "/nowhere.so"}), 1, "/nowhere.so"},
        BadInput{"ComponentThatIsNoLibrary", runArguments({"--component", demoFile("startup.xml")}), 1, "startup.xml"},
        BadInput{"ComponentWithoutEntryPoint", runArguments({"--component", faulty("component_without_entry")}), 1,
                 "zelLCMterminate"},
        BadInput{"ComponentThatFailsToInitialise", runArguments({"--component", faulty("component_failing_init")}), 1,
                 "failed with code -7"},
        BadInput{"ComponentThatDoesNotRegister", runArguments({"--component", faulty("component_unregistered")}), 1,
                 "has registered 0 components"},
        BadInput{"ComponentWithMissingDependencies",
                 runArguments({"--component", faulty("component_missing_dependency")}), 1,
                 "Nobody/NobodysInterface/4, -/AnotherInterface/-"},
        BadInput{"ComponentThatFailsToStart", runArguments({"--component", faulty("component_failing_start")}), 1,
                 "start failed with code -9"},
        BadInput{"ComponentWithoutTheService", runArguments({"--component", faulty("component_healthy")}), 1,
                 "no component offers"}),
    nameOf);

TEST(CommandLine, ExplainsEveryCommandAndItsExitCodes)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"run", "--help"}, {"demo", "--help"}})
    {
        const Outcome outcome = runElement(arguments);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.errors, "");
        EXPECT_THAT(outcome.lines, testing::Contains(StartsWith("Exit codes: 0 success; 1 failure; 2 ")));
    }
}

TEST(CommandLine, SaysWhyTheComponentRefusesItsConfiguration)
{
    const TemporaryDirectory directory;
    const std::string config = directory.write("config.xml", "<Configuration/>");
    const Outcome outcome = runElement(runArguments({"--config", config}));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("couldn't find <OrvNbiNotificationService> tag"));
    EXPECT_THAT(outcome.errors, HasSubstr("zelLCMinit with " + config + " failed with code -1\n"));
}

TEST(CommandLine, WritesTracesAtALogLevelAboveSeven)
{
    const Outcome quiet = runElement(runArguments({"--log-level", "7"}));
    EXPECT_THAT(quiet.errors, testing::Not(HasSubstr(" Trace ")));
    const Outcome loud = runElement(runArguments({"--log-level", "8"}));
    EXPECT_EQ(loud.code, 0);
    EXPECT_THAT(loud.errors, HasSubstr(" Trace "));
}

}  // namespace
}  // namespace OrvTest
