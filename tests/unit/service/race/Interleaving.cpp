#include "Interleaving.h"

#include <gtest/gtest.h>

#include <future>

#include "MutexFault.h"
#include "RecordingHandler.h"

namespace OrvTest
{

std::thread startUntilItWaits(const Poco::FastMutex& mutex, const std::function<void()>& action)
{
    std::promise<void> waits;
    Once attempt;
    const LockNotice notice(mutex,
                            [&]
                            {
                                if (attempt.first())
                                {
                                    waits.set_value();
                                }
                            });
    std::thread thread(action);
    waits.get_future().wait();
    return thread;
}

std::thread startUntilItWaitsForTheHandler(FakeFramework& framework, const std::function<void()>& action)
{
    framework.setLevel(8);
    std::thread thread(action);
    EXPECT_TRUE(framework.log().waitFor(LogLine::trace, EMPTIED, 1, RecordingHandler::TIMEOUT_SECONDS));
    return thread;
}

}  // namespace OrvTest
