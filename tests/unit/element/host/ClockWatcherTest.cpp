#include "ClockWatcher.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace OrvElement
{
namespace
{

// Turns a hang into a failure.
const std::chrono::seconds TIMEOUT(60);

// A timer that a test makes readable.
class TestTimer : public ClockWatcher::Timer
{
public:
    TestTimer() : _fd(eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE)) {}
    ~TestTimer() override { close(_fd); }

    int descriptor() const override { return _fd; }

    bool clockWasSet() override
    {
        uint64_t one = 0;
        EXPECT_EQ(read(_fd, &one, sizeof(one)), static_cast<ssize_t>(sizeof(one)));
        const std::lock_guard<std::mutex> lock(_mutex);
        const bool answer = _answers.front();
        _answers.erase(_answers.begin());
        return answer;
    }

    void fire(bool clockWasSet)
    {
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _answers.push_back(clockWasSet);
        }
        const uint64_t one = 1;
        ASSERT_EQ(write(_fd, &one, sizeof(one)), static_cast<ssize_t>(sizeof(one)));
    }

private:
    const int _fd;
    std::mutex _mutex;
    std::vector<bool> _answers;
};

// The times that a watcher told.
class Changes
{
public:
    ClockWatcher::OnChange recorder()
    {
        return [this](uint64_t newTime)
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _times.push_back(newTime);
            _grown.notify_all();
        };
    }

    bool waitFor(size_t number)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        return _grown.wait_for(lock, TIMEOUT, [&] { return _times.size() >= number; });
    }

    std::vector<uint64_t> times()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _times;
    }

private:
    std::mutex _mutex;
    std::condition_variable _grown;
    std::vector<uint64_t> _times;
};

TEST(ClockWatcher, TellsTheNewTimeEachTimeTheClockWasSet)
{
    Changes changes;
    auto owned = std::make_unique<TestTimer>();
    TestTimer& timer = *owned;
    const uint64_t before = ClockWatcher::now();
    const ClockWatcher watcher(changes.recorder(), std::move(owned));
    timer.fire(true);
    timer.fire(true);
    ASSERT_TRUE(changes.waitFor(2));
    EXPECT_GE(changes.times()[0], before);
    EXPECT_GE(changes.times()[1], changes.times()[0]);
    EXPECT_LE(changes.times()[1], ClockWatcher::now());
}

TEST(ClockWatcher, TellsNothingWhenTheTimerTurnsReadableForAnotherReason)
{
    Changes changes;
    auto owned = std::make_unique<TestTimer>();
    TestTimer& timer = *owned;
    const ClockWatcher watcher(changes.recorder(), std::move(owned));
    timer.fire(false);
    timer.fire(true);  // behind the other: when it has been told, the first has been looked at
    ASSERT_TRUE(changes.waitFor(1));
    EXPECT_EQ(changes.times().size(), 1u);
}

TEST(ClockWatcher, EndsWhileItWaits)
{
    Changes changes;
    {
        const ClockWatcher watcher(changes.recorder());
    }
    EXPECT_TRUE(changes.times().empty());
}

TEST(ClockWatcher, HasAKernelTimerThatIsQuietWhileNobodySetsTheClock)
{
    const std::unique_ptr<ClockWatcher::Timer> timer = ClockWatcher::kernelTimer();
    pollfd descriptor = {timer->descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&descriptor, 1, 0), 0);
    EXPECT_FALSE(timer->clockWasSet());
}

TEST(ClockWatcher, GivesTheSystemClockInNanoseconds)
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto expected = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
    EXPECT_NEAR(static_cast<double>(ClockWatcher::now()), static_cast<double>(expected), 60e9);
}

}  // namespace
}  // namespace OrvElement
