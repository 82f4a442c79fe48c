// The seam between replay and live delivery, as a property over many seeds: while notifications stream in from several
// threads and subscriptions come and go, each subscription receives each notification exactly once, first what the
// buffer held when it came, in buffer order, and then what arrived later, in the order of arrival.
#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "ComponentTest.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORV_TEST_SLOW 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORV_TEST_SLOW 1
#endif

namespace OrvTest
{
namespace
{

#if defined(ORV_TEST_SLOW)
const unsigned int SEEDS = 25;
#else
const unsigned int SEEDS = 200;
#endif

const int TIMES = 60;         // event times lie within so many microseconds, so that many are equal
const size_t IN_FLIGHT = 16;  // notifications that the reference subscriber may be behind

const int GAP = -1;
const int COMPLETE = -2;
const int OVERFLOW_RECORD = -3;

// One notification, in the order of arrival; its place there is its number.
struct Arrival
{
    long long time;
    char producer;  // '0', '1' ..., 'N' for a nudge, 'E' for the last one, which passes every filter
};

// What a subscription asked for and what it received: numbers of notifications and the three control records above.
struct Observation
{
    long long startTime;
    bool filtered;  // takes producers 0 and 1 only
    bool stayed;    // until the end
    std::vector<std::string> dns;
    std::vector<int32_t> types;
};

bool takes(const Observation& observation, const Arrival& arrival)
{
    return !observation.filtered || arrival.producer == 'E' || arrival.producer <= '1';
}

// The buffer as it is meant to be: numbers of arrivals, ascending by time, of equal ones the newest first.
class ModelBuffer
{
public:
    ModelBuffer(size_t capacity, long long created, long long lastAged)
        : _capacity(capacity), _created(created), _lastAged(lastAged)
    {
    }

    void push(const std::vector<Arrival>& arrivals, int number)
    {
        const auto time = [&](int of) { return arrivals[static_cast<size_t>(of)].time; };
        if (_numbers.size() == _capacity)
        {
            _lastAged = time(_numbers.front());
            _numbers.erase(_numbers.begin());
        }
        const auto place =
            std::find_if(_numbers.begin(), _numbers.end(), [&](int stored) { return time(stored) >= time(number); });
        _numbers.insert(place, number);
    }

    const std::vector<int>& numbers() const { return _numbers; }
    long long oldestCovered() const { return _lastAged != 0 ? _lastAged : _created; }

private:
    const size_t _capacity;
    const long long _created;
    long long _lastAged;
    std::vector<int> _numbers;
};

// What the subscription has to receive if it came when the buffer was so and `arrived` notifications had arrived.
std::vector<int> expected(const Observation& observation, const std::vector<Arrival>& arrivals,
                          const ModelBuffer& buffer, size_t arrived)
{
    std::vector<int> sequence;
    if (observation.startTime != 0)
    {
        if (observation.startTime < buffer.oldestCovered())
        {
            sequence.push_back(GAP);
        }
        for (const int number : buffer.numbers())
        {
            const Arrival& arrival = arrivals[static_cast<size_t>(number)];
            if (takes(observation, arrival) && arrival.time >= observation.startTime)
            {
                sequence.push_back(number);
            }
        }
        sequence.push_back(COMPLETE);
    }
    for (size_t number = arrived; number < arrivals.size(); ++number)
    {
        if (takes(observation, arrivals[number]))
        {
            sequence.push_back(static_cast<int>(number));
        }
    }
    return sequence;
}

// True if what was received is what was expected, from the start on and, for one that stayed, to the end. An overflow
// record stands for a stretch that is missing.
bool fits(const std::vector<int>& received, const std::vector<int>& sequence, bool toTheEnd)
{
    size_t place = 0;
    bool skipping = false;
    for (const int item : received)
    {
        if (item == OVERFLOW_RECORD)
        {
            skipping = true;
            continue;
        }
        while (skipping && place < sequence.size() && sequence[place] != item)
        {
            ++place;
        }
        skipping = false;
        if (place == sequence.size() || sequence[place] != item)
        {
            return false;
        }
        ++place;
    }
    return !toTheEnd || place == sequence.size();
}

class Seam : public ComponentTest
{
protected:
    // What sets a stalled subscription going takes room in the buffer, so here it is a notification like the others.
    Seam()
    {
        RecordingHandler::whenStalled(
            [this] { EXPECT_EQ(OrvOk, push(_created, "PN=" + std::to_string(_nudges++), objectCreated)); });
    }

    void runSeed(unsigned int seed, size_t capacity)
    {
        ASSERT_EQ(OrvOk, component.start());
        std::mt19937 random(seed);
        const int producers = 2 + static_cast<int>(random() % 3);
        const int subscribers = 2 + static_cast<int>(random() % 4);
        const int each = 20 + static_cast<int>(random() % 30);
        const size_t total = static_cast<size_t>(producers * each);

        _created = creationTime();
        const long long agedBefore = lastAgedTime();
        _pushed = 0;
        _nudges = 0;
        _observations.clear();
        Subscriber reference(table());

        std::vector<std::thread> threads;
        for (int i = 0; i < producers; ++i)
        {
            threads.emplace_back(&Seam::produce, this, i, each, random(), std::ref(*reference));
        }
        std::vector<std::unique_ptr<Subscriber>> staying(static_cast<size_t>(subscribers));
        std::vector<Observation> wishes(static_cast<size_t>(subscribers));
        for (size_t i = 0; i < staying.size(); ++i)
        {
            threads.emplace_back(&Seam::comeAndGo, this, total, random(), std::ref(*reference), std::ref(staying[i]),
                                 std::ref(wishes[i]));
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        ASSERT_EQ(OrvOk, push(_created, "PE=0", discardedOld));
        ASSERT_TRUE(reference->waitForType(discardedOld));
        for (size_t i = 0; i < staying.size(); ++i)
        {
            ASSERT_TRUE((*staying[i])->waitForType(discardedOld)) << "the last notification has not come";
            wishes[i].stayed = true;
            observe(wishes[i], **staying[i]);
        }
        check(*reference, total, capacity, agedBefore);
        staying.clear();
        ASSERT_EQ(OrvOk, reference.unsubscribe());
        ASSERT_EQ(OrvOk, component.stop());
    }

private:
    // Producer 0 is the framework's event thread, the others call the table.
    void produce(int producer, int count, unsigned int seed, RecordingHandler& reference)
    {
        std::mt19937 random(seed);
        for (int i = 0; i < count; ++i)
        {
            const size_t before = _pushed++;
            if (before > IN_FLIGHT && !reference.waitFor(before - IN_FLIGHT + _nudges))
            {
                ADD_FAILURE() << "the reference subscriber is stuck";
                return;
            }
            const std::string dn = "P" + std::to_string(producer) + "=" + std::to_string(i);
            const long long time = _created + static_cast<long long>(random() % TIMES);
            if (producer == 0)
            {
                CmEvent event(static_cast<uint64_t>(time) * 1000, 1);
                event.operation(dn, objectCreated);
                framework.router().publish(event);
            }
            else
            {
                EXPECT_EQ(OrvOk, push(time, dn));
            }
        }
    }

    // Some subscriptions that leave again, and one that stays.
    void comeAndGo(size_t total, unsigned int seed, RecordingHandler& reference, std::unique_ptr<Subscriber>& stays,
                   Observation& wishOfTheStaying)
    {
        std::mt19937 random(seed);
        for (unsigned int leaving = random() % 4; leaving > 0; --leaving)
        {
            Observation observation = pickWish(random);
            EXPECT_TRUE(reference.waitFor(random() % (total / 2)));
            Subscriber subscriber(table(), wishOf(observation));
            EXPECT_TRUE(reference.waitFor(random() % total));
            EXPECT_EQ(OrvOk, subscriber.unsubscribe());
            observe(observation, *subscriber);
        }
        wishOfTheStaying = pickWish(random);
        EXPECT_TRUE(reference.waitFor(random() % total));
        stays = std::make_unique<Subscriber>(table(), wishOf(wishOfTheStaying));
    }

    Observation pickWish(std::mt19937& random) const
    {
        const long long startTimes[] = {0, 1, _created, _created + static_cast<long long>(random() % TIMES)};
        Observation observation = {};
        observation.startTime = startTimes[random() % 4];
        observation.filtered = random() % 2 == 0;
        return observation;
    }

    static Wish wishOf(const Observation& observation)
    {
        Wish wish;
        wish.startTime = observation.startTime;
        if (observation.filtered)
        {
            wish.filters = {{"objectCreated", "P0=.*"}, {"objectCreated", "P1=.*"}};
        }
        return wish;
    }

    // Up to the last notification: behind it a nudge may come to some.
    static std::vector<Received> receivedOf(const RecordingHandler& handler)
    {
        std::vector<Received> all = handler.received();
        const auto last = std::find_if(all.begin(), all.end(),
                                       [](const Received& received) { return received.type == discardedOld; });
        all.erase(last == all.end() ? last : last + 1, all.end());
        return all;
    }

    void observe(Observation observation, RecordingHandler& handler)
    {
        for (const Received& received : receivedOf(handler))
        {
            observation.dns.push_back(received.dnIsNull ? "-" : received.dn);
            observation.types.push_back(received.type);
        }
        const std::lock_guard<std::mutex> lock(_mutex);
        _observations.push_back(observation);
    }

    void check(const RecordingHandler& reference, size_t total, size_t capacity, long long agedBefore)
    {
        std::vector<Arrival> arrivals;
        std::map<std::string, int> numbers;
        for (const Received& received : receivedOf(reference))
        {
            numbers[received.dn] = static_cast<int>(arrivals.size());
            arrivals.push_back({received.eventTime, received.dn[1]});
        }
        const auto nudges = std::count_if(arrivals.begin(), arrivals.end(),
                                          [](const Arrival& arrival) { return arrival.producer == 'N'; });
        ASSERT_EQ(total + 1, arrivals.size() - static_cast<size_t>(nudges));
        ASSERT_EQ(arrivals.size(), numbers.size()) << "a notification came twice";

        std::vector<bool> explained(_observations.size(), false);
        ModelBuffer buffer(capacity, _created, agedBefore);
        for (size_t arrived = 0; arrived <= arrivals.size(); ++arrived)
        {
            for (size_t i = 0; i < _observations.size(); ++i)
            {
                explained[i] = explained[i] ||
                               fits(numbersOf(_observations[i], numbers),
                                    expected(_observations[i], arrivals, buffer, arrived), _observations[i].stayed);
            }
            if (arrived < arrivals.size())
            {
                buffer.push(arrivals, static_cast<int>(arrived));
            }
        }
        for (size_t i = 0; i < explained.size(); ++i)
        {
            EXPECT_TRUE(explained[i]) << "start time " << _observations[i].startTime << " filtered "
                                      << _observations[i].filtered << " stayed " << _observations[i].stayed
                                      << "\nreceived " << testing::PrintToString(_observations[i].dns) << "\narrived "
                                      << testing::PrintToString(reference.dns());
        }
    }

    static std::vector<int> numbersOf(const Observation& observation, const std::map<std::string, int>& numbers)
    {
        std::vector<int> sequence;
        for (size_t i = 0; i < observation.dns.size(); ++i)
        {
            const int32_t type = observation.types[i];
            sequence.push_back(type == replayGap              ? GAP
                               : type == replayComplete       ? COMPLETE
                               : type == overflowNotification ? OVERFLOW_RECORD
                                                              : numbers.at(observation.dns[i]));
        }
        return sequence;
    }

    long long _created = 0;
    std::atomic<size_t> _pushed{0};
    std::atomic<size_t> _nudges{0};
    std::mutex _mutex;
    std::vector<Observation> _observations;
};

TEST_F(Seam, NeitherLosesNorDoublesNorReordersWhileTheBufferHoldsEverything)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("1000")));
    for (unsigned int seed = 1; seed <= SEEDS && !HasFailure(); ++seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        runSeed(seed, 1000);
    }
}

TEST_F(Seam, NeitherLosesNorDoublesNorReordersWhileTheBufferAges)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("40")));
    for (unsigned int seed = 1; seed <= SEEDS && !HasFailure(); ++seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        runSeed(seed, 40);
    }
}

}  // namespace
}  // namespace OrvTest
