// The buffer size, from the configuration file to what the buffer holds.
#include "ComponentTest.h"

namespace OrvTest
{
namespace
{

class Configuration : public ComponentTest
{
protected:
    static std::string document(const std::string& content)
    {
        return "<?xml version=\"1.0\"?>\n<configuration>" + content + "</configuration>\n";
    }

    static std::string service(const std::string& content)
    {
        return document("<OrvNbiNotificationService>" + content + "</OrvNbiNotificationService>");
    }

    // True if the buffer holds so many records and not one more. Times of the records: 1, 2, 3 ...
    void expectCapacity(int size)
    {
        ASSERT_EQ(OrvOk, component.start());
        for (int i = 1; i < size; ++i)
        {
            ASSERT_EQ(OrvOk, push(i, "A=1"));
        }
        pushMarker(size);
        EXPECT_EQ(0, lastAgedTime());
        pushMarker(size + 1);
        EXPECT_EQ(1, lastAgedTime());
    }
};

TEST_F(Configuration, TheFilesNumberIsTheSizeOfTheBuffer)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize>23</bufferSize>")));
    EXPECT_TRUE(traced(framework.lines(), 0, "bufferSize tag found: 23."));
    EXPECT_TRUE(traced(framework.lines(), 0, "Loaded configuration for notification service"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Setting buffer size: 23 "));
    EXPECT_TRUE(traced(framework.lines(), 10, " << 0"));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    framework.setLevel(6);
    expectCapacity(23);
}

TEST_F(Configuration, TheEntryTraceHoldsALineBreakAndThePath)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize>23</bufferSize>")));
    EXPECT_TRUE(traced(framework.lines(), 9,
                       " >> \nLoading configuration file " + component.directory().path() + "/configuration.xml"));
}

TEST_F(Configuration, TheServiceElementMayBeTheRootAndTheSizeDeepInside)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(
                         "<OrvNbiNotificationService><a><b><bufferSize>12</bufferSize></b></a><other/>"
                         "</OrvNbiNotificationService>"));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    expectCapacity(12);
}

TEST_F(Configuration, ASizeOf7IsRaisedTo10)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize>7</bufferSize>")));
    EXPECT_TRUE(
        logged(framework.lines(), 6, "specified buffer size 7 < MIN_BUFFER_SIZE. MIN_BUFFER_SIZE will be used. "));
    expectCapacity(10);
}

TEST_F(Configuration, ASizeOf0CountsAsNotSet)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize>0</bufferSize>")));
    EXPECT_TRUE(
        traced(framework.lines(), 0, "Default value for buffer size will be used: DEFAULT_MAX_BUFFER_SIZE = 100 "));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    framework.setLevel(6);
    expectCapacity(100);
}

TEST_F(Configuration, ASizeThatIsNoNumberGives100)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize>abc</bufferSize>")));
    EXPECT_TRUE(logged(framework.lines(), 3,
                       "bufferSize tag contains invalid string 'abc'. DEFAULT_MAX_BUFFER_SIZE will be used"));
    expectCapacity(100);
}

class InvalidSize : public Configuration, public testing::WithParamInterface<const char*>
{
};

TEST_P(InvalidSize, IsReportedAndGives100)
{
    framework.setLevel(8);
    EXPECT_EQ(OrvOk,
              component.initWithConfiguration(service(std::string("<bufferSize>") + GetParam() + "</bufferSize>")));
    EXPECT_TRUE(logged(framework.lines(), 3,
                       std::string("bufferSize tag contains invalid string '") + GetParam() +
                           "'. DEFAULT_MAX_BUFFER_SIZE will be used"));
    EXPECT_TRUE(
        traced(framework.lines(), 0, "Default value for buffer size will be used: DEFAULT_MAX_BUFFER_SIZE = 100 "));
}

INSTANTIATE_TEST_SUITE_P(Each, InvalidSize, testing::Values("100 ", "-1", "1.5", "4294967296", "0x10"));

TEST_F(Configuration, ASizeWithABlankInFrontIsANumber)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize> 11</bufferSize>")));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    expectCapacity(11);
}

TEST_F(Configuration, NoSizeElementGives5000AfterAWarning)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("")));
    EXPECT_EQ((std::vector<std::string>{"4 Configuration File does not have the correct format (0)",
                                        "6 bufferSize tag not found in configuration file, using default '5000'."}),
              messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 4, "Configuration File does not have the correct format (0)"));
    EXPECT_TRUE(logged(framework.lines(), 6, "bufferSize tag not found in configuration file, using default '5000'."));
    EXPECT_TRUE(traced(framework.lines(), 0, "Setting buffer size: 5000 "));
    framework.setLevel(6);
    expectCapacity(5000);
}

TEST_F(Configuration, TwoSizeElementsGive5000AfterAWarning)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.initWithConfiguration(
                         service("<bufferSize>20</bufferSize><a><bufferSize>30</bufferSize></a>")));
    EXPECT_TRUE(logged(framework.lines(), 4, "Configuration File does not have the correct format (2)"));
    EXPECT_TRUE(logged(framework.lines(), 6, "bufferSize tag not found in configuration file, using default '5000'."));
    EXPECT_TRUE(traced(framework.lines(), 0, "Setting buffer size: 5000 "));
}

TEST_F(Configuration, AnEmptySizeElementGives5000WithoutAWarning)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize></bufferSize>")));
    EXPECT_EQ(std::vector<std::string>{"6 bufferSize tag not found in configuration file, using default '5000'."},
              messages(framework.lines()));
    EXPECT_TRUE(traced(framework.lines(), 0, "Setting buffer size: 5000 "));
}

TEST_F(Configuration, ASizeElsewhereInTheDocumentIsNotRead)
{
    framework.setLevel(8);
    ASSERT_EQ(OrvOk,
              component.initWithConfiguration(document("<bufferSize>20</bufferSize><OrvNbiNotificationService/>")));
    EXPECT_TRUE(logged(framework.lines(), 4, "Configuration File does not have the correct format (0)"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Setting buffer size: 5000 "));
}

TEST_F(Configuration, NoServiceElementFailsTheInitialisation)
{
    EXPECT_EQ(OrvFailure, component.initWithConfiguration(document("<other/>")));
    EXPECT_EQ((std::vector<std::string>{
                  "4 Caught exception: Configuration handler couldn't find <OrvNbiNotificationService> tag",
                  "3 Failed to load configuration for notification service, return code (-1)"}),
              messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 4,
                       "Caught exception: Configuration handler couldn't find <OrvNbiNotificationService> tag"));
    EXPECT_TRUE(
        logged(framework.lines(), 3, "Failed to load configuration for notification service, return code (-1)"));
    EXPECT_NE(nullptr, framework.component());
}

TEST_F(Configuration, TwoServiceElementsFailTheInitialisation)
{
    EXPECT_EQ(OrvFailure,
              component.initWithConfiguration(document("<OrvNbiNotificationService/><OrvNbiNotificationService/>")));
    EXPECT_TRUE(logged(framework.lines(), 4,
                       "Caught exception: Configuration handler found more than one <OrvNbiNotificationService> tag"));
    EXPECT_TRUE(
        logged(framework.lines(), 3, "Failed to load configuration for notification service, return code (-1)"));
}

TEST_F(Configuration, AFailedLoadGoesOnWithTheDefaultSize)
{
    framework.setLevel(8);
    EXPECT_EQ(OrvFailure, component.initWithConfiguration(document("<other/>")));
    EXPECT_TRUE(
        traced(framework.lines(), 0, "Default value for buffer size will be used: DEFAULT_MAX_BUFFER_SIZE = 100 "));
    EXPECT_TRUE(traced(framework.lines(), 10, " << -1"));
}

class UnusableFile : public Configuration, public testing::WithParamInterface<const char*>
{
};

TEST_P(UnusableFile, FailsTheInitialisationAndIsNamedInTheWarning)
{
    const std::string path = component.directory().write("unusable.xml", GetParam());
    EXPECT_EQ(OrvFailure, component.initWithPath(path.c_str()));
    const std::vector<std::string> texts = messages(framework.lines());
    ASSERT_EQ(2u, texts.size());
    EXPECT_THAT(texts[0], testing::StartsWith("4 Caught exception: "));
    EXPECT_THAT(texts[0], testing::HasSubstr(path));
    EXPECT_EQ("3 Failed to load configuration for notification service, return code (-1)", texts[1]);
}

INSTANTIATE_TEST_SUITE_P(Each, UnusableFile, testing::Values("", "no markup", "<a><b></a>"));

TEST_F(Configuration, AMissingFileFailsTheInitialisation)
{
    const std::string path = component.directory().path() + "/missing.xml";
    EXPECT_EQ(OrvFailure, component.initWithPath(path.c_str()));
    const std::vector<std::string> texts = messages(framework.lines());
    ASSERT_EQ(2u, texts.size());
    EXPECT_THAT(texts[0], testing::StartsWith("4 Caught exception: "));
    EXPECT_THAT(texts[0], testing::HasSubstr(path));
    EXPECT_TRUE(
        logged(framework.lines(), 3, "Failed to load configuration for notification service, return code (-1)"));
}

TEST_F(Configuration, TheQueueLimitOfASubscriptionIsTheConfiguredSize)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(service("<bufferSize>12</bufferSize>")));
    ASSERT_EQ(OrvOk, component.start());
    Subscriber subscriber(table(), {{{"objectCreated", ".*"}}}, true);
    ASSERT_EQ(OrvOk, push(1, "A=0"));
    ASSERT_TRUE(subscriber->waitUntilHeld());
    for (int i = 1; i <= 12; ++i)
    {
        ASSERT_EQ(OrvOk, push(1, "A=" + std::to_string(i)));
    }
    pushMarker(1);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("A=12"));
    EXPECT_EQ(13u, subscriber->count()) << "twelve may wait";
    EXPECT_THAT(subscriber->types(), testing::Not(testing::Contains(static_cast<int>(overflowNotification))));
}

}  // namespace
}  // namespace OrvTest
