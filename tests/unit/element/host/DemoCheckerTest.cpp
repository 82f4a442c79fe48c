#include "DemoChecker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace OrvElement
{
namespace
{

using testing::HasSubstr;

class DemoCheckerTest : public testing::Test
{
protected:
    ~DemoCheckerTest() override
    {
        std::fclose(stream);
        std::free(buffer);
    }

    void receive(const std::string& subscriber, int32_t type)
    {
        OrvOamSpiNbiNotificationValue_1 record = {};
        record.notificationType = type;
        recorder.record(subscriber, record);
    }

    std::string output()
    {
        std::fflush(stream);
        return std::string(buffer, size);
    }

    char* buffer = nullptr;
    size_t size = 0;
    std::FILE* stream = open_memstream(&buffer, &size);
    DemoRecorder recorder;
    DemoChecker checker{recorder, stream, 0, [] { ADD_FAILURE() << "nudged"; }};
};

TEST_F(DemoCheckerTest, IsContentIfEverybodyReceivesExactlyWhatIsExpected)
{
    receive("a", replayGap);
    receive("b", replayComplete);
    checker.expect({{"a", {"replayGap"}}, {"b", {"replayComplete"}}});
    receive("a", notificationComplete);
    checker.expect({{"a", {"notificationComplete"}}});
    checker.finish();
    EXPECT_EQ(checker.failures(), 0u);
    EXPECT_THAT(output(), HasSubstr("a          replayGap\n"));
}

TEST_F(DemoCheckerTest, FindsAMissingRecord)
{
    receive("a", replayGap);
    checker.expect({{"a", {"replayGap", "replayComplete"}}});
    EXPECT_EQ(checker.failures(), 1u);
    EXPECT_THAT(output(), HasSubstr("WRONG: a did not receive replayComplete"));
}

TEST_F(DemoCheckerTest, NudgesUntilARecordThatIsLateHasCome)
{
    int nudges = 0;
    DemoChecker patient(
        recorder, stream, 60000,
        [&]
        {
            if (++nudges == 2)
            {
                receive("a", replayGap);
            }
        },
        1);
    patient.expect({{"a", {"replayGap"}}});
    EXPECT_EQ(nudges, 2);
    EXPECT_EQ(patient.failures(), 0u);
}

TEST_F(DemoCheckerTest, NudgesNoLongerThanARecordMayTake)
{
    int nudges = 0;
    DemoChecker impatient(
        recorder, stream, 3, [&] { ++nudges; }, 1);
    impatient.expect({{"a", {"replayGap"}}});
    EXPECT_EQ(nudges, 2);
    EXPECT_EQ(impatient.failures(), 1u);
}

TEST_F(DemoCheckerTest, FindsAnotherRecordThanExpected)
{
    receive("a", replayGap);
    checker.expect({{"a", {"replayComplete"}}});
    EXPECT_EQ(checker.failures(), 1u);
    EXPECT_THAT(output(), HasSubstr("WRONG: a should have received replayComplete"));
}

TEST_F(DemoCheckerTest, FindsRecordsInTheWrongOrder)
{
    receive("a", replayComplete);
    receive("a", replayGap);
    checker.expect({{"a", {"replayGap", "replayComplete"}}});
    EXPECT_EQ(checker.failures(), 2u);
}

TEST_F(DemoCheckerTest, FindsARecordTooManyAtTheEnd)
{
    receive("a", replayGap);
    checker.expect({{"a", {"replayGap"}}});
    receive("a", replayGap);
    checker.finish();
    EXPECT_EQ(checker.failures(), 1u);
    EXPECT_THAT(output(), HasSubstr("WRONG: a should have received nothing more"));
}

TEST_F(DemoCheckerTest, FindsARecordOfASubscriberFromWhomNothingWasExpected)
{
    receive("stranger", objectCreated);
    checker.finish();
    EXPECT_EQ(checker.failures(), 1u);
}

TEST_F(DemoCheckerTest, CountsHeartbeatsApart)
{
    receive("a", heartbeatNotification);
    receive("a", replayGap);
    receive("a", heartbeatNotification);
    checker.expect({{"a", {"replayGap"}}});
    checker.finish();
    EXPECT_EQ(checker.failures(), 0u);
    EXPECT_EQ(recorder.heartbeats("a"), 2u);
    EXPECT_EQ(recorder.heartbeats("b"), 0u);
}

TEST_F(DemoCheckerTest, CountsAFalseStatement)
{
    checker.check(true, "the sky is blue");
    checker.check(false, "the moon is green");
    EXPECT_EQ(checker.failures(), 1u);
    EXPECT_EQ(output(), "  WRONG: the moon is green\n");
}

}  // namespace
}  // namespace OrvElement
