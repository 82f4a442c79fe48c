#include "LoggingWrapper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <thread>
#include <vector>

#include "Log.h"
#include "RecordingPortal.h"

namespace
{

class LoggingWrapper : public testing::Test
{
protected:
    void initWithSinks(int level)
    {
        _framework.offerSinks();
        _framework.init(level);
    }

    RecordingPortal _framework;
    Orv::LoggingWrapper& _wrapper = Orv::LoggingWrapper::instance();
};

int evaluations;

const char* counted()
{
    ++evaluations;
    return "text";
}

TEST_F(LoggingWrapper, DoesNotEvaluateAnArgumentWhileTheLevelIsOff)
{
    initWithSinks(2);
    evaluations = 0;
    ORV_LOG(Orv::Trace::Notif, 3, "%s", counted());
    ORV_TRACE(Orv::Trace::Notif, "%s", counted());
    EXPECT_EQ(evaluations, 0);
    EXPECT_EQ(_framework.calls().size(), 0u);
}

TEST_F(LoggingWrapper, EvaluatesAnArgumentOnceThoughItGoesToTwoSinks)
{
    initWithSinks(8);
    evaluations = 0;
    ORV_LOG(Orv::Trace::Notif, 3, "%s", counted());
    EXPECT_EQ(evaluations, 1);
    ORV_TRACE(Orv::Trace::Notif, "%s", counted());
    EXPECT_EQ(evaluations, 2);
    EXPECT_EQ(_framework.calls().size(), 4u);
}

TEST_F(LoggingWrapper, WritesAMessageToTheLogAndThenToTheSecondTrace)
{
    initWithSinks(6);
    static const char* const format = "Caught exception: %s %d";
    const int line = __LINE__ + 1;
    _wrapper.message(Orv::Trace::Notif, 4, "File.cpp", "load", line, format, "bad", 7);
    const std::vector<SinkCall> calls = _framework.calls();
    ASSERT_EQ(calls.size(), 2u);

    EXPECT_EQ(calls[0].operation, SinkCall::Log);
    EXPECT_EQ(calls[0].function, "load");
    EXPECT_EQ(calls[0].number, 4);
    EXPECT_EQ(calls[0].flag, 1);
    EXPECT_EQ(calls[0].text, "Caught exception: bad 7");

    EXPECT_EQ(calls[1].operation, SinkCall::TraceV2);
    EXPECT_EQ(calls[1].subsystem, Orv::Trace::Notif);
    EXPECT_EQ(calls[1].number, 4);
    EXPECT_EQ(calls[1].file, "File.cpp");
    EXPECT_EQ(calls[1].function, "load");
    EXPECT_EQ(calls[1].line, line);
    EXPECT_EQ(calls[1].text, "Caught exception: bad 7");
}

TEST_F(LoggingWrapper, ForwardsTheFormatItself)
{
    initWithSinks(8);
    static const char* const format = " >> Reason: %d";
    _wrapper.message(Orv::Trace::Notif, 3, "", "", 0, format, 1);
    _wrapper.trace(Orv::Trace::Notif, "", "", 0, format, 1);
    const std::vector<SinkCall> calls = _framework.calls();
    ASSERT_EQ(calls.size(), 4u);
    for (const SinkCall& call : calls)
    {
        EXPECT_EQ(call.format, format);
    }
}

TEST_F(LoggingWrapper, WritesATraceToBothTraces)
{
    initWithSinks(8);
    const int line = __LINE__ + 1;
    ORV_TRACE(Orv::Trace::Common, "Waiting for %s", "service");
    const std::vector<SinkCall> calls = _framework.calls();
    ASSERT_EQ(calls.size(), 2u);

    EXPECT_EQ(calls[0].operation, SinkCall::Trace);
    EXPECT_EQ(calls[0].file, __FILE__);
    EXPECT_EQ(calls[0].function, __func__);
    EXPECT_EQ(calls[0].line, line);
    EXPECT_EQ(calls[0].text, "Waiting for service");

    EXPECT_EQ(calls[1].operation, SinkCall::TraceV2);
    EXPECT_EQ(calls[1].subsystem, Orv::Trace::Common);
    EXPECT_EQ(calls[1].number, 14);
    EXPECT_EQ(calls[1].file, __FILE__);
    EXPECT_EQ(calls[1].function, __func__);
    EXPECT_EQ(calls[1].line, line);
    EXPECT_EQ(calls[1].text, "Waiting for service");
}

TEST_F(LoggingWrapper, TellsEntryAndExitFromOtherTracesByTheBeginningOfTheText)
{
    initWithSinks(8);
    ORV_TRACE(Orv::Trace::Notif, " >> ");
    ORV_TRACE(Orv::Trace::Notif, " >> Reason: %d", 2);
    ORV_TRACE(Orv::Trace::Notif, " << ");
    ORV_TRACE(Orv::Trace::Notif, " << %d", 0);
    ORV_TRACE(Orv::Trace::Notif, ">> no blank before");
    ORV_TRACE(Orv::Trace::Notif, " >>no blank behind");
    ORV_TRACE(Orv::Trace::Notif, " <<");
    ORV_TRACE(Orv::Trace::Notif, "DN %s ", " >> ");
    std::vector<int> kinds;
    for (const SinkCall& call : _framework.calls())
    {
        if (call.operation == SinkCall::Trace)
        {
            kinds.push_back(call.number);
        }
    }
    EXPECT_EQ(kinds, (std::vector<int>{9, 9, 10, 10, 0, 0, 0, 0}));
}

TEST_F(LoggingWrapper, WritesAMessageOnlyIfTheLevelIsAtLeastItsSeverity)
{
    _framework.offerSinks();
    for (const int severity : {3, 4, 6})
    {
        _framework.init(severity - 1);
        ORV_LOG(Orv::Trace::Notif, severity, "message");
        EXPECT_EQ(_framework.calls().size(), 0u) << severity;
        _framework.init(severity);
        ORV_LOG(Orv::Trace::Notif, severity, "message");
        EXPECT_EQ(_framework.calls().size(), 2u) << severity;
    }
}

TEST_F(LoggingWrapper, WritesATraceOnlyIfTheLevelIsAboveSeven)
{
    initWithSinks(7);
    ORV_TRACE(Orv::Trace::Notif, "trace");
    EXPECT_EQ(_framework.calls().size(), 0u);
    _framework.init(8);
    ORV_TRACE(Orv::Trace::Notif, "trace");
    EXPECT_EQ(_framework.calls().size(), 2u);
}

TEST_F(LoggingWrapper, AcceptsANullStringArgument)
{
    const char* volatile nothing = nullptr;
    initWithSinks(8);
    ORV_LOG(Orv::Trace::Notif, 3, "DN %s", nothing);
    ORV_TRACE(Orv::Trace::Notif, "DN %s", nothing);
    ASSERT_EQ(_framework.calls().size(), 4u);
    for (const SinkCall& call : _framework.calls())
    {
        EXPECT_EQ(call.text, "DN (null)");
    }
    orvCommonTerminate();
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 3, "DN %s", nothing);
    EXPECT_NE(capture.writes().at(0).find("DN (null)"), std::string::npos);
}

TEST_F(LoggingWrapper, HasLevelSixWithoutSinks)
{
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 6);
}

TEST_F(LoggingWrapper, HasLevelSixWhenTheFrameworksLogDoesNotTellOne)
{
    _framework.log().getLevel = nullptr;
    initWithSinks(3);
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 6);
}

TEST_F(LoggingWrapper, ReadsTheFrameworksLevelOnceAndNotAtEachMessage)
{
    _framework.offerSinks();
    _framework.setLevel(8);
    orvCommonInit(_framework.accessor());
    for (int i = 0; i < 10; ++i)
    {
        ORV_LOG(Orv::Trace::Notif, 3, "message");
    }
    EXPECT_EQ(_framework.levelReads(), 1);
}

TEST_F(LoggingWrapper, FollowsAChangedLevelWhenItIsTold)
{
    initWithSinks(6);
    _framework.setLevel(8);
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 6);
    _wrapper.refreshLevel();
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 8);
}

TEST_F(LoggingWrapper, WritesMessagesToStandardErrorAndDropsTracesWithoutSinks)
{
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 6, "the number is %d", 5);
    _wrapper.trace(Orv::Trace::Notif, __FILE__, __func__, __LINE__, "a trace");
    EXPECT_EQ(capture.writes(), std::vector<std::string>{"[6] TestBody: the number is 5\n"});
}

TEST_F(LoggingWrapper, WritesOneLineForATextOfSeveralLines)
{
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 3, "first\r\nsecond\n");
    EXPECT_EQ(capture.writes(), std::vector<std::string>{"[3] TestBody: first  second \n"});
}

TEST_F(LoggingWrapper, CutsALineThatIsTooLongForStandardError)
{
    const std::string text(100000, 'x');
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 3, "%s", text.c_str());
    _wrapper.log_printf(text.c_str(), 3, 1, "behind a long name");
    const std::vector<std::string> writes = capture.writes();
    ASSERT_EQ(writes.size(), 2u);
    for (const std::string& line : writes)
    {
        EXPECT_EQ(line.size(), 2047u);
        EXPECT_EQ(line.substr(line.size() - 2), "x\n");
    }
}

TEST_F(LoggingWrapper, KeepsErrnoWhenItWritesToStandardError)
{
    const StandardErrorCapture capture;
    errno = EINTR;
    ORV_LOG(Orv::Trace::Notif, 3, "%lc", static_cast<wint_t>(0x4e2d));
    EXPECT_EQ(errno, EINTR);
}

TEST_F(LoggingWrapper, WritesToStandardErrorAndToTheTraceWhenOnlyTheLogIsMissing)
{
    _framework.offer("ZelMwSpiTrace", &_framework.trace());
    _framework.init(8);
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 6);
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 3, "message");
    EXPECT_EQ(capture.writes().size(), 1u);
    ASSERT_EQ(_framework.calls().size(), 1u);
    EXPECT_EQ(_framework.calls()[0].operation, SinkCall::TraceV2);
}

TEST_F(LoggingWrapper, WritesToTheLogAloneWhenOnlyTheTraceIsMissing)
{
    _framework.offer("OrvMwSpiLog", &_framework.log());
    _framework.init(8);
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 3, "message");
    ORV_TRACE(Orv::Trace::Notif, "trace");
    EXPECT_EQ(capture.writes().size(), 0u);
    ASSERT_EQ(_framework.calls().size(), 1u);
    EXPECT_EQ(_framework.calls()[0].operation, SinkCall::Log);
}

TEST_F(LoggingWrapper, SkipsAnOperationThatASinkDoesNotHave)
{
    _framework.log().vlog = nullptr;
    _framework.trace().vtrace = nullptr;
    _framework.trace().vtraceV2 = nullptr;
    initWithSinks(8);
    StandardErrorCapture capture;
    ORV_LOG(Orv::Trace::Notif, 3, "message");
    ORV_TRACE(Orv::Trace::Notif, "trace");
    EXPECT_EQ(_framework.calls().size(), 0u);
    EXPECT_EQ(capture.writes(), std::vector<std::string>{"[3] TestBody: message\n"});
}

TEST_F(LoggingWrapper, DoesNotLogItsOwnFailedLookup)
{
    StandardErrorCapture capture;
    _framework.setLevel(9);
    orvCommonInit(_framework.accessor());
    EXPECT_EQ(_framework.lookups().size(), 2u);
    EXPECT_EQ(capture.writes().size(), 0u);
    EXPECT_EQ(_framework.calls().size(), 0u);
}

TEST_F(LoggingWrapper, OffersEachSinkOperationByItself)
{
    initWithSinks(0);
    _wrapper.log_printf("function", 5, 2, "log %d", 1);
    _wrapper.trace_printf("file", "function", 3, 9, "trace %d", 2);
    _wrapper.trace_v2_printf(Orv::Trace::Notif, 14, "file", "function", 4, "second %d", 3);
    const std::vector<SinkCall> calls = _framework.calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].text, "log 1");
    EXPECT_EQ(calls[0].number, 5);
    EXPECT_EQ(calls[0].flag, 2);
    EXPECT_EQ(calls[1].text, "trace 2");
    EXPECT_EQ(calls[1].number, 9);
    EXPECT_EQ(calls[1].line, 3);
    EXPECT_EQ(calls[1].file, "file");
    EXPECT_EQ(calls[1].function, "function");
    EXPECT_EQ(calls[2].text, "second 3");
    EXPECT_EQ(calls[2].number, 14);
    EXPECT_EQ(calls[2].line, 4);
    EXPECT_EQ(calls[2].file, "file");
    EXPECT_EQ(calls[2].function, "function");
    EXPECT_EQ(calls[2].subsystem, Orv::Trace::Notif);
}

TEST_F(LoggingWrapper, TellsItsSubsystemsApartByHandleAndName)
{
    EXPECT_NE(Orv::Trace::Notif, Orv::Trace::Common);
    EXPECT_STREQ(Orv::Trace::Notif->name, "Notif");
    EXPECT_STREQ(Orv::Trace::Common->name, "Common");
}

TEST_F(LoggingWrapper, ServesSeveralThreadsWhileItsSinksChange)
{
    _framework.offerSinks();
    _framework.init(6);
    StandardErrorCapture capture;
    const size_t each = 50;  // in all fewer lines than the capture can hold unread
    std::atomic<int> done{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
    {
        threads.emplace_back(
            [&]
            {
                for (size_t i = 0; i < each; ++i)
                {
                    ORV_LOG(Orv::Trace::Common, 3, "number %zu", i);
                }
                ++done;
            });
    }
    while (done < 2)
    {
        _wrapper.refresh(&RecordingPortal::getInterface);
        _wrapper.refresh(nullptr);
        _wrapper.refreshLevel();
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    size_t logged = capture.writes().size();
    for (const SinkCall& call : _framework.calls())
    {
        logged += call.operation == SinkCall::Log ? 1 : 0;
    }
    EXPECT_EQ(logged, 2 * each);
}

void logAtExit()
{
    ORV_LOG(Orv::Trace::Common, 3, "at exit");
}

TEST(LoggingWrapperDeathTest, StillLogsWhenTheProcessExits)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The handler is registered before the first message, so it runs after anything that the message has made is gone.
    EXPECT_EXIT(
        {
            std::atexit(&logAtExit);
            ORV_LOG(Orv::Trace::Common, 3, "running");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "running\n.*at exit");
}

}  // namespace
