#include "Load.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Clock.h"
#include "Peers.h"

namespace OrvBench
{

// The suite's own has attributes, of which a load knows nothing.
OrvOamSpiNbiNotificationValue_1& benchRecord()
{
    static char dn[] = "me=1";
    static OrvOamSpiNbiNotificationValue_1 record = {1, dn, 0, 0, objectCreated, nullptr};
    return record;
}

}  // namespace OrvBench

namespace
{

using OrvBench::Channel;
using OrvBench::ChannelOptions;
using OrvBench::Load;
using OrvBench::LoadOptions;
using OrvBench::Receive;

// Hands each record to what the test says, at once and on the producer's thread.
class DirectChannel : public Channel
{
public:
    typedef std::function<void(uint64_t number, Receive receive)> Delivery;

    explicit DirectChannel(Delivery delivery) : _delivery(std::move(delivery)) {}

    void open(const ChannelOptions& options, Receive receive) override
    {
        subscribers = options.subscribers;
        _receive = receive;
    }

    void publish(const OrvOamSpiNbiNotificationValue_1& record) override
    {
        times.push_back(record.eventTime);
        _delivery(record.sequenceNumber, _receive);
    }

    void close() override { ++closed; }

    unsigned int subscribers = 0;
    unsigned int closed = 0;
    std::vector<int64_t> times;

private:
    const Delivery _delivery;
    Receive _receive = nullptr;
};

LoadOptions options(unsigned int subscribers, uint64_t window, uint64_t step, unsigned int laggards = 0)
{
    LoadOptions wanted;
    wanted.subscribers = subscribers;
    wanted.window = window;
    wanted.step = step;
    wanted.laggards = laggards;
    return wanted;
}

// The text that the load fails with after ten records.
std::string failureOf(const DirectChannel::Delivery& delivery, unsigned int laggards = 0)
{
    DirectChannel channel(delivery);
    Load load(channel, ChannelOptions(), options(1, 100, 10, laggards));
    try
    {
        load.saturate(std::numeric_limits<int64_t>::max(), 10);
        load.check();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "";
}

TEST(Load, PassesIfEachRecordComesOnceAndInOrder)
{
    EXPECT_EQ(failureOf([](uint64_t number, Receive receive) { receive(0, number); }), "");
}

TEST(Load, FailsIfARecordComesTwice)
{
    EXPECT_EQ(failureOf(
                  [](uint64_t number, Receive receive)
                  {
                      receive(0, number);
                      if (number == 4)
                      {
                          receive(0, number);
                      }
                  }),
              "subscriber 0 has received record 4 after record 4");
}

TEST(Load, FailsIfTwoRecordsChangePlaces)
{
    EXPECT_EQ(
        failureOf([](uint64_t number, Receive receive) { receive(0, number == 4 ? 5 : (number == 5 ? 4 : number)); }),
        "subscriber 0 has received record 5 after record 3");
}

TEST(Load, FailsIfTheLastRecordIsLost)
{
    EXPECT_EQ(failureOf(
                  [](uint64_t number, Receive receive)
                  {
                      if (number != 10)
                      {
                          receive(0, number);
                      }
                  }),
              "subscriber 0 has received record 11 after record 9");
}

TEST(Load, FailsIfARecordComesThatWasNotPublished)
{
    EXPECT_EQ(failureOf(
                  [](uint64_t number, Receive receive)
                  {
                      receive(0, number);
                      if (number == 4)
                      {
                          receive(0, 0);
                      }
                  }),
              "subscriber 0 has received record 0 after record 4");
}

TEST(Load, LetsALaggardMissRecords)
{
    EXPECT_EQ(failureOf(
                  [](uint64_t number, Receive receive)
                  {
                      receive(0, number);
                      if (number % 3 == 0)
                      {
                          receive(1, 0);
                          receive(1, number);
                      }
                  },
                  1),
              "");
}

TEST(Load, FailsIfALaggardReceivesARecordTwice)
{
    EXPECT_EQ(failureOf(
                  [](uint64_t number, Receive receive)
                  {
                      receive(1, number / 2 + 1);
                      receive(0, number);
                  },
                  1),
              "subscriber 1 has received record 2 after record 2");
}

TEST(Load, NudgesARecordThatWaitsForTheNextArrival)
{
    DirectChannel channel(
        [](uint64_t number, Receive receive)
        {
            if (number != 10)
            {
                if (number == 11)
                {
                    receive(0, 10);
                }
                receive(0, number);
            }
        });
    Load load(channel, ChannelOptions(), options(1, 100, 10));
    load.saturate(std::numeric_limits<int64_t>::max(), 10);
    load.check();
    EXPECT_EQ(load.nudges(), 1U);
    EXPECT_EQ(load.published(), 11U);
}

TEST(Load, WaitsForEverySubscriberBetweenTwoSteps)
{
    uint64_t received = 0;
    DirectChannel channel(
        [&received](uint64_t number, Receive receive)
        {
            receive(0, number);
            receive(1, number);
            received = number;
        });
    Load load(channel, ChannelOptions(), options(2, 100, 10));
    load.push();
    load.push();
    load.push();
    load.awaitAll();
    EXPECT_EQ(received, 3U);
    EXPECT_EQ(load.nudges(), 0U);
}

TEST(Load, OpensTheChannelForItsSubscribersAndTheLaggards)
{
    DirectChannel channel([](uint64_t, Receive) {});
    Load load(channel, ChannelOptions(), options(3, 100, 10, 2));
    EXPECT_EQ(channel.subscribers, 5U);
}

TEST(Load, GivesEachRecordALaterTime)
{
    DirectChannel channel([](uint64_t number, Receive receive) { receive(0, number); });
    Load load(channel, ChannelOptions(), options(1, 100, 10));
    load.saturate(std::numeric_limits<int64_t>::max(), 50);
    ASSERT_EQ(channel.times.size(), 50U);
    for (size_t i = 1; i < channel.times.size(); ++i)
    {
        EXPECT_EQ(channel.times[i], channel.times[i - 1] + 1);
    }
    EXPECT_EQ(load.eventTime(), channel.times.back());
}

TEST(Load, GoesOnToAMultipleOfTheStepWhenItsTimeIsUp)
{
    DirectChannel channel([](uint64_t number, Receive receive) { receive(0, number); });
    Load load(channel, ChannelOptions(), options(1, 100, 10));
    EXPECT_GT(load.saturate(0, 1000), 0.0);
    EXPECT_EQ(load.published(), 10U);
}

TEST(Load, RefusesAStepThatIsTooLongForTheWindow)
{
    DirectChannel channel([](uint64_t, Receive) {});
    EXPECT_THROW(Load(channel, ChannelOptions(), options(1, 100, 26)), std::runtime_error);
}

TEST(Load, ClosesTheChannelAtTheEndOfItsLife)
{
    DirectChannel channel([](uint64_t, Receive) {});
    {
        const Load load(channel, ChannelOptions(), options(1, 100, 10));
        EXPECT_EQ(channel.closed, 0U);
    }
    EXPECT_EQ(channel.closed, 1U);
}

// Hands each record to the subscribers one after the other, on a thread of its own, and looks how far the producer is
// ahead.
class LaggingChannel final : public Channel
{
public:
    // Hands a record over when the producer is so many records ahead of the one before it, or has published the last.
    LaggingChannel(uint64_t ahead, uint64_t last) : _ahead(ahead), _last(last) {}
    ~LaggingChannel() override { close(); }

    void open(const ChannelOptions& options, Receive receive) override
    {
        _subscribers = options.subscribers;
        _receive = receive;
        _thread = std::thread([this] { run(); });
    }

    void publish(const OrvOamSpiNbiNotificationValue_1& record) override
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _published = record.sequenceNumber;
        farthest = std::max(farthest, _published - _delivered.load());
        _moved.notify_one();
    }

    void close() override
    {
        if (_thread.joinable())
        {
            {
                const std::lock_guard<std::mutex> lock(_mutex);
                _closed = true;
                _moved.notify_one();
            }
            _thread.join();
        }
    }

    uint64_t farthest = 0;

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        while (true)
        {
            _moved.wait(
                lock, [this]
                { return _closed || _published >= std::min(_delivered + _ahead, std::max(_last, _delivered + 1)); });
            if (_closed)
            {
                return;
            }
            const uint64_t number = _delivered + 1;
            lock.unlock();
            for (unsigned int i = 0; i + 1 < _subscribers; ++i)
            {
                _receive(i, number);
            }
            _delivered = number;  // ahead of the slowest subscriber's book, so that the load never knows more than this
            _receive(_subscribers - 1, number);
            lock.lock();
        }
    }

    const uint64_t _ahead;
    const uint64_t _last;
    unsigned int _subscribers = 0;
    Receive _receive = nullptr;
    std::thread _thread;
    std::mutex _mutex;
    std::condition_variable _moved;
    std::atomic<uint64_t> _delivered{0};
    uint64_t _published = 0;
    bool _closed = false;
};

TEST(Load, NeverRunsAheadOfTheSlowestByMoreThanTheWindow)
{
    LaggingChannel channel(31, 5000);
    Load load(channel, ChannelOptions(), options(3, 40, 10));
    load.saturate(std::numeric_limits<int64_t>::max(), 5000);
    load.close();
    EXPECT_GE(channel.farthest, 31U);
    EXPECT_LE(channel.farthest, 40U + load.nudges());
}

TEST(Load, TimesOnePushForEachRecord)
{
    LaggingChannel channel(1, 1);
    Load load(channel, ChannelOptions(), options(2, 40, 10));
    const std::vector<int64_t> samples = load.timePushes(true);
    load.close();
    EXPECT_EQ(samples.size() + 10 + load.nudges(), load.published());
}

}  // namespace
