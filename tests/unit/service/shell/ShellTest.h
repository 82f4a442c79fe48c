#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "FakeFramework.h"
#include "LogCheck.h"
#include "NbiNotificationServiceCM.h"
#include "NbiNotificationServiceEventConsumer.h"
#include "RecordingHandler.h"
#include "Records.h"
#include "TemporaryDirectory.h"

// The two functions that the framework resolves by name; they stand in no header of the service.
extern "C"
{
    ZelReturnT zelLCMinit(ZelMgmtSpiInterfacePortalAccessor* accessor, const char* configPath);
    ZelReturnT zelLCMterminate(void);
}

namespace OrvTest
{

const char CM_EVENT_TYPE[] = "ZelOamSpiCmEvent_Notification_1";
const char CLOCK_EVENT_TYPE[] = "ZelClockChangeEventType_1";

// A configuration file with this buffer size.
std::string configWith(const std::string& bufferSize);

// The traces of one thread, the test's own unless told otherwise, as "function: text".
std::vector<std::string> tracesOf(const std::vector<LogLine>& lines,
                                  std::thread::id thread = std::this_thread::get_id());

// The component, as if its library had just been loaded, in a fake framework. Stopped and unregistered at the end.
class ShellTest : public testing::Test
{
protected:
    ShellTest();
    ~ShellTest() override;

    OrvNbiNotificationService::NbiNotificationServiceCM& component();
    OrvNbiNotificationService::NbiNotificationServiceEventConsumer& consumer();
    OrvOamSpiNbiNotificationService& table() { return component().serviceInterface; }

    // zelLCMinit with a file of this content.
    ZelReturnT init(const std::string& content = configWith("100"));
    // zelLCMinit and start; returns when the service thread listens for clock changes.
    void startService(const std::string& bufferSize = "100");
    ZelReturnT start(int reason = ZelStateChangeActivate);
    ZelReturnT stop(int reason = ZelStateChangeDeactivate);

    // Returns when the service thread has handled all that was pushed before.
    void waitForServiceThread();

    unsigned int registerHandler();
    OrvReturnT subscribe(unsigned int handlerId, unsigned int handle, long long startTime = 0, long long stopTime = 0);
    OrvReturnT push(int64_t eventTime, const std::string& dn, int32_t type = objectCreated);
    unsigned int buffered();
    std::vector<unsigned int> handlesOf(unsigned int handlerId);

    std::vector<LogLine> lines() const { return framework.lines(); }

    FakeFramework framework;
    const CommonSession session;
    const TemporaryDirectory directory;
};

}  // namespace OrvTest
