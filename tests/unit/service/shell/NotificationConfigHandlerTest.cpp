#include "NotificationConfigHandler.h"

#include <Poco/Exception.h>

#include <stdexcept>

#include "ExpectedLeak.h"
#include "NotificationBuffer.h"
#include "OrvException.h"
#include "ServiceHooks.h"
#include "ShellTest.h"

using namespace OrvNbiNotificationService;
using namespace OrvTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

const char NO_TAG[] = "<configuration><other>1</other></configuration>";
const char TWO_TAGS[] =
    "<configuration><OrvNbiNotificationService/><part><OrvNbiNotificationService/></part></configuration>";
const char NO_SIZE[] = "<OrvNbiNotificationService><other>1</other></OrvNbiNotificationService>";
const char TWO_SIZES[] =
    "<OrvNbiNotificationService><bufferSize>7</bufferSize><a><bufferSize>8</bufferSize></a>"
    "</OrvNbiNotificationService>";
const char DEFAULT_USED[] = "bufferSize tag not found in configuration file, using default '5000'.";
const char BAD_FORMAT_0[] = "Configuration File does not have the correct format (0)";
const char BAD_FORMAT_2[] = "Configuration File does not have the correct format (2)";
const char LOAD_FAILED[] = "Failed to load configuration for notification service, return code (-1)";

// The list of elements that this path leaves unreleased is no leak of the tests.
template <typename Action>
void runIgnoringLeaks(Action action)
{
    const ExpectedLeak elements;
    action();
}

class NotificationConfigHandler : public ShellTest
{
protected:
    int load(const std::string& content) { return handler.load(directory.write("handler.xml", content)); }

    OrvNbiNotificationService::NotificationConfigHandler handler;
};

TEST_F(NotificationConfigHandler, IsBornEmptyAndZero)
{
    EXPECT_EQ(handler.getBufferSize(), "");
    EXPECT_EQ(handler.getBufferSizeInt(), 0u);
}

TEST_F(NotificationConfigHandler, ReadsTheBufferSizeWhereverItStands)
{
    EXPECT_EQ(load("<a><b size='3'><OrvNbiNotificationService x='1'><c><d/><bufferSize y='2'>250</bufferSize></c>"
                   "</OrvNbiNotificationService></b></a>"),
              0);
    EXPECT_EQ(handler.getBufferSize(), "250");
    EXPECT_EQ(handler.getBufferSizeInt(), 250u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NotificationConfigHandler, IgnoresABufferSizeOutsideItsElement)
{
    EXPECT_EQ(load("<a><bufferSize>1</bufferSize><OrvNbiNotificationService><bufferSize>30</bufferSize>"
                   "</OrvNbiNotificationService></a>"),
              0);
    EXPECT_EQ(handler.getBufferSizeInt(), 30u);
}

TEST_F(NotificationConfigHandler, UsesFiveThousandAndWarnsWithoutABufferSize)
{
    EXPECT_EQ(load(NO_SIZE), 0);
    EXPECT_EQ(handler.getBufferSize(), "5000");
    EXPECT_EQ(handler.getBufferSizeInt(), 5000u);
    EXPECT_THAT(messages(lines()), ElementsAre(std::string("4 ") + BAD_FORMAT_0, std::string("6 ") + DEFAULT_USED));
    EXPECT_TRUE(logged(lines(), 4, BAD_FORMAT_0));
    EXPECT_TRUE(logged(lines(), 6, DEFAULT_USED));
}

TEST_F(NotificationConfigHandler, UsesFiveThousandForAnEmptyBufferSizeWithoutAWarning)
{
    EXPECT_EQ(load(configWith("")), 0);
    EXPECT_EQ(handler.getBufferSizeInt(), 5000u);
    EXPECT_THAT(messages(lines()), ElementsAre(std::string("6 ") + DEFAULT_USED));
}

TEST_F(NotificationConfigHandler, UsesFiveThousandAndWarnsOfTwoBufferSizes)
{
    EXPECT_EQ(load(TWO_SIZES), 0);
    EXPECT_EQ(handler.getBufferSizeInt(), 5000u);
    EXPECT_TRUE(logged(lines(), 4, BAD_FORMAT_2));
    EXPECT_TRUE(logged(lines(), 6, DEFAULT_USED));
}

TEST_F(NotificationConfigHandler, TakesZeroAsAValidNumber)
{
    EXPECT_EQ(load(configWith("0")), 0);
    EXPECT_EQ(handler.getBufferSize(), "0");
    EXPECT_EQ(handler.getBufferSizeInt(), 0u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NotificationConfigHandler, KeepsABadTextAndSetsItsValueToZeroWithoutFailing)
{
    ASSERT_EQ(load(configWith("70")), 0);
    EXPECT_EQ(load(configWith("abc")), 0);
    EXPECT_EQ(handler.getBufferSize(), "abc");
    EXPECT_EQ(handler.getBufferSizeInt(), 0u) << "not the 70 of the load before";
    EXPECT_TRUE(
        logged(lines(), 3, "bufferSize tag contains invalid string 'abc'. DEFAULT_MAX_BUFFER_SIZE will be used"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NotificationConfigHandler, RejectsWhatTheParserOfNumbersRejects)
{
    for (const char* const text : {"100 ", "-1", "1.5", "4294967296", "99999999999999999999"})
    {
        EXPECT_EQ(load(configWith(text)), 0) << text;
        EXPECT_EQ(handler.getBufferSizeInt(), 0u) << text;
        EXPECT_TRUE(logged(lines(), 3,
                           std::string("bufferSize tag contains invalid string '") + text +
                               "'. DEFAULT_MAX_BUFFER_SIZE will be used"));
    }
}

TEST_F(NotificationConfigHandler, FailsWithoutItsElement)
{
    EXPECT_EQ(load(NO_TAG), -1);
    EXPECT_TRUE(
        logged(lines(), 4, "Caught exception: Configuration handler couldn't find <OrvNbiNotificationService> tag"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NotificationConfigHandler, FailsWithTwoOfItsElementsAndKeepsItsValue)
{
    ASSERT_EQ(load(configWith("70")), 0);
    EXPECT_EQ(load(TWO_TAGS), -1);
    EXPECT_EQ(handler.getBufferSizeInt(), 70u);
    EXPECT_TRUE(logged(lines(), 4,
                       "Caught exception: Configuration handler found more than one <OrvNbiNotificationService> tag"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NotificationConfigHandler, FailsWithAWarningForAFileThatCannotBeRead)
{
    const std::string path = directory.path() + "/none.xml";
    EXPECT_EQ(handler.load(path), -1);
    ASSERT_EQ(messages(lines()).size(), 1u);
    EXPECT_THAT(messages(lines())[0], StartsWith("4 Caught exception: "));
    EXPECT_THAT(messages(lines())[0], HasSubstr(path));
}

TEST_F(NotificationConfigHandler, FailsWithTheClassTextOfAPocoException)
{
    ServiceHooks hooks;
    hooks.parseUnsigned = []() -> unsigned int { throw Poco::NotFoundException("some detail"); };
    runIgnoringLeaks([&] { EXPECT_EQ(load(configWith("70")), -1); });
    EXPECT_TRUE(logged(lines(), 4, "Caught exception: Not found"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NotificationConfigHandler, FailsWithTheTextOfAnyOtherStandardException)
{
    ServiceHooks hooks;
    hooks.parseUnsigned = []() -> unsigned int { throw std::runtime_error("out of order"); };
    runIgnoringLeaks([&] { EXPECT_EQ(load(configWith("70")), -1); });
    EXPECT_TRUE(logged(lines(), 4, "Caught exception: out of order"));
}

TEST_F(NotificationConfigHandler, ReleasesItsListWhenTheExceptionIsOneOfOurs)
{
    ServiceHooks hooks;
    hooks.parseUnsigned = []() -> unsigned int { throw Orv::OrvException("of our own making"); };
    EXPECT_EQ(load(configWith("70")), -1);
    EXPECT_TRUE(logged(lines(), 4, "Caught exception: of our own making"));
}

TEST_F(NotificationConfigHandler, LetsPassWhatIsNoStandardException)
{
    ServiceHooks hooks;
    hooks.parseUnsigned = []() -> unsigned int { throw 42; };
    runIgnoringLeaks([&] { EXPECT_THROW(load(configWith("70")), int); });
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NotificationConfigHandler, LeavesItsOwnDocumentUnloaded)
{
    ASSERT_EQ(load(configWith("70")), 0);
    EXPECT_THROW(handler.getElementsByTagName("bufferSize"), Orv::OrvException);
}

TEST_F(NotificationConfigHandler, TracesTheFileAndWhatItFound)
{
    framework.setLevel(8);
    const std::string path = directory.write("handler.xml", configWith("70"));
    ASSERT_EQ(handler.load(path), 0);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("load: >> \nLoading configuration file " + path, "getElementValue: >> ",
                                               "getElementValue: << ", "load:bufferSize tag found: 70.", "load: << "));
    EXPECT_TRUE(traced(lines(), 9, " >> \nLoading configuration file " + path));
}

// What the component makes of it.
class LoadConfiguration : public ShellTest
{
protected:
    unsigned int bufferSize() { return component().runnable.getNotificationBuffer().getMaxBufferSize(); }
    unsigned int queueLimit() { return component().runnable._bufferSize; }
};

TEST_F(LoadConfiguration, GivesTheNumberToTheBufferAndToTheSubscriptions)
{
    EXPECT_EQ(init(configWith("250")), OrvOk);
    EXPECT_EQ(bufferSize(), 250u);
    EXPECT_EQ(queueLimit(), 250u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(LoadConfiguration, GivesFiveThousandWhenTheElementIsMissing)
{
    EXPECT_EQ(init(NO_SIZE), OrvOk);
    EXPECT_EQ(bufferSize(), 5000u);
    EXPECT_EQ(queueLimit(), 5000u);
}

TEST_F(LoadConfiguration, KeepsOneHundredForABadNumber)
{
    EXPECT_EQ(init(configWith("abc")), OrvOk);
    EXPECT_EQ(bufferSize(), 100u);
    EXPECT_EQ(queueLimit(), 100u);
    EXPECT_TRUE(
        logged(lines(), 3, "bufferSize tag contains invalid string 'abc'. DEFAULT_MAX_BUFFER_SIZE will be used"));
}

TEST_F(LoadConfiguration, KeepsOneHundredForZeroAndTracesTheDefault)
{
    framework.setLevel(8);
    EXPECT_EQ(init(configWith("0")), OrvOk);
    EXPECT_EQ(bufferSize(), 100u);
    EXPECT_TRUE(traced(lines(), 0, "Default value for buffer size will be used: DEFAULT_MAX_BUFFER_SIZE = 100 "));
}

TEST_F(LoadConfiguration, LetsTheBufferRaiseASevenToTen)
{
    EXPECT_EQ(init(configWith("7")), OrvOk);
    EXPECT_EQ(bufferSize(), 10u);
    EXPECT_EQ(queueLimit(), 10u);
    EXPECT_TRUE(logged(lines(), 6, "specified buffer size 7 < MIN_BUFFER_SIZE. MIN_BUFFER_SIZE will be used. "));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(LoadConfiguration, WarnsWhenTheBufferRefusesTheSize)
{
    const Notification notification = makeNotification(1000, "Early=1", objectCreated);
    ASSERT_TRUE(component().runnable.getNotificationBuffer().pushNotification(*notification));
    EXPECT_EQ(init(configWith("250")), OrvOk);
    EXPECT_THAT(messages(lines()),
                ElementsAre("4 Attempt to change buffer size with notifications in", "4 Buffer size was not set"));
    EXPECT_TRUE(logged(lines(), 4, "Buffer size was not set"));
    EXPECT_EQ(queueLimit(), 100u);
}

TEST_F(LoadConfiguration, FailsForAFileThatCannotBeReadAndKeepsSizeAndRegistration)
{
    const std::string path = directory.path() + "/none.xml";
    EXPECT_EQ(zelLCMinit(framework.accessor(), path.c_str()), OrvFailure);
    ASSERT_EQ(messages(lines()).size(), 2u);
    EXPECT_THAT(messages(lines())[0], StartsWith("4 Caught exception: "));
    EXPECT_TRUE(logged(lines(), 3, LOAD_FAILED));
    EXPECT_EQ(messages(lines())[1], std::string("3 ") + LOAD_FAILED);
    EXPECT_EQ(bufferSize(), 100u);
    EXPECT_EQ(queueLimit(), 100u);
    EXPECT_NE(framework.component(), nullptr);
    EXPECT_EQ(consumer()._portal, nullptr) << "initialize went no further";
}

TEST_F(LoadConfiguration, FailsForTwoServiceElements)
{
    EXPECT_EQ(init(TWO_TAGS), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, LOAD_FAILED));
    EXPECT_EQ(bufferSize(), 100u);
}

TEST_F(LoadConfiguration, TracesItsStepsAndItsResult)
{
    ASSERT_EQ(init(), OrvOk);
    framework.setLevel(8);
    framework.log().clear();
    const std::string path = directory.write("again.xml", configWith("70"));
    EXPECT_EQ(component().loadConfiguration(path.c_str()), OrvOk);
    EXPECT_THAT(tracesOf(lines()),
                ElementsAre("loadConfiguration: >> ", "load: >> \nLoading configuration file " + path,
                            "getElementValue: >> ", "getElementValue: << ", "load:bufferSize tag found: 70.",
                            "load: << ", "loadConfiguration:Loaded configuration for notification service",
                            "loadConfiguration:Setting buffer size: 70 ", "setNotificationBufferSize: >> ",
                            "setMaxBufferSize: >> ", "setMaxBufferSize: << ", "setNotificationBufferSize: << ",
                            "loadConfiguration: << 0"));
    EXPECT_TRUE(traced(lines(), 10, " << 0"));
}

TEST_F(LoadConfiguration, GoesOnToTheDefaultAfterAFailureAndTracesTheFailure)
{
    ASSERT_EQ(init(configWith("0")), OrvOk);
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(component().loadConfiguration((directory.path() + "/none.xml").c_str()), OrvFailure);
    const std::vector<std::string> texts = tracesOf(lines());
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[texts.size() - 2],
              "loadConfiguration:Default value for buffer size will be used: DEFAULT_MAX_BUFFER_SIZE = 100 ");
    EXPECT_EQ(texts.back(), "loadConfiguration: << -1");
}

TEST_F(LoadConfiguration, LeavesAnUnusualExceptionToTheCatchAllOfTheInitialisation)
{
    ServiceHooks hooks;
    hooks.parseUnsigned = []() -> unsigned int { throw 42; };
    runIgnoringLeaks([&] { EXPECT_EQ(init(configWith("70")), OrvFailure); });
    EXPECT_THAT(messages(lines()), ElementsAre("3 Caught unhandled exception"));
    EXPECT_TRUE(logged(lines(), 3, "Caught unhandled exception"));
}

}  // namespace
