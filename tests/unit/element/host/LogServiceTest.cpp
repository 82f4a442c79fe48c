#include "LogService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestChannel.h"
#include "Trace.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

void vlog(int severity, const char* format, ...) __attribute__((format(printf, 2, 3)));
void vlog(int severity, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogService::log().vlog("function", severity, 1, format, arguments);
    va_end(arguments);
}

void vtrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
void vtrace(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogService::trace().vtrace("file", "function", 7, 0, format, arguments);
    va_end(arguments);
}

void vtraceV2(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void vtraceV2(int level, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogService::trace().vtraceV2(Orv::Trace::Notif, level, "file", "function", 7, format, arguments);
    va_end(arguments);
}

class LogServiceTest : public testing::Test
{
protected:
    // A channel is counted by reference: the test holds one itself.
    Poco::AutoPtr<TestChannel> channel = new TestChannel;
};

TEST_F(LogServiceTest, HasTheIdentitiesThatComponentsLookUp)
{
    EXPECT_EQ(LogService::log().id.componentName, nullptr);
    EXPECT_STREQ(LogService::log().id.interfaceName, "OrvMwSpiLog");
    EXPECT_STREQ(LogService::log().id.interfaceVersion, "1");
    EXPECT_EQ(LogService::trace().id.componentName, nullptr);
    EXPECT_STREQ(LogService::trace().id.interfaceName, "ZelMwSpiTrace");
    EXPECT_EQ(LogService::trace().id.interfaceVersion, nullptr);
}

TEST_F(LogServiceTest, WritesAMessageIfTheLevelIsAtLeastItsSeverity)
{
    const LogService service(4, channel);
    EXPECT_EQ(LogService::log().getLevel(), 4);
    vlog(3, "error %d", 1);
    vlog(4, "warning %s", "two");
    vlog(6, "information");
    EXPECT_THAT(channel->lines, ElementsAre("3 error 1", "4 warning two"));
}

TEST_F(LogServiceTest, WritesANullStringAndALongText)
{
    const LogService service(6, channel);
    const std::string longText(5000, 'x');
    const char* volatile none = nullptr;  // hidden from the compiler, which would warn
    vlog(6, "[%s]", none);
    vlog(6, "%s", longText.c_str());
    EXPECT_THAT(channel->lines, ElementsAre("6 [(null)]", "6 " + longText));
}

TEST_F(LogServiceTest, WritesTracesOnlyAboveLevelSeven)
{
    {
        const LogService service(7, channel);
        vtrace(" >> ");
        EXPECT_THAT(channel->lines, IsEmpty());
    }
    const LogService service(8, channel);
    vtrace(" >> %d", 5);
    EXPECT_THAT(channel->lines, ElementsAre("8 function:7  >> 5"));
}

TEST_F(LogServiceTest, WritesTheSecondTraceStreamOnlyFromLevelFourteen)
{
    {
        const LogService service(13, channel);
        vtraceV2(4, "warning");
        EXPECT_THAT(channel->lines, IsEmpty());
    }
    const LogService service(14, channel);
    vtraceV2(4, "warning");
    vtraceV2(14, "trace");
    EXPECT_THAT(channel->lines, ElementsAre("8 " + std::string(Orv::Trace::Notif->name) + "/4 function:7 warning",
                                            "8 " + std::string(Orv::Trace::Notif->name) + "/14 function:7 trace"));
}

TEST_F(LogServiceTest, WritesTheElementsOwnLines)
{
    const LogService service(4, channel);
    LogService::write(3, "own error");
    LogService::write(6, "own information");
    EXPECT_THAT(channel->lines, ElementsAre("3 own error"));
}

TEST_F(LogServiceTest, WritesNothingAfterItsEnd)
{
    {
        const LogService service(8, channel);
    }
    vlog(3, "error");
    vtrace("trace");
    LogService::write(3, "own error");
    EXPECT_THAT(channel->lines, IsEmpty());
}

TEST_F(LogServiceTest, WritesToStandardErrorWithTimeAndPriority)
{
    testing::internal::CaptureStderr();
    {
        const LogService service(4);
        LogService::write(4, "a warning");
    }
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_THAT(line, testing::MatchesRegex("[0-9-]*T[0-9:.]*Z Warning a warning\n"));
}

}  // namespace
}  // namespace OrvElement
