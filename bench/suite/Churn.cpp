// N: what subscribers that come and go cost those that stay.
#include <atomic>
#include <exception>
#include <thread>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Load.h"
#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

const unsigned int SUBSCRIBERS = 64;
const int64_t PERIOD = 10 * MILLISECOND;  // of one subscribe and one unsubscribe

OrvReturnT takeNotice(unsigned int, OrvOamSpiNbiNotificationValue_1*)
{
    return OrvOk;
}

// A thread that replaces one subscription by the next in every period. Each is offered what is pushed in its time.
class Churn
{
public:
    explicit Churn(OrvOamSpiNbiNotificationService& table) : _table(table), _thread([this] { run(); }) {}

    ~Churn()
    {
        if (_thread.joinable())
        {
            join();
        }
    }

    // Ends the last subscription. Returns how many there have been in a second; throws what has gone wrong.
    double stop()
    {
        const int64_t start = _start;
        join();
        if (_failure)
        {
            std::rethrow_exception(_failure);
        }
        return static_cast<double>(_subscriptions) * static_cast<double>(NANOSECONDS) /
               static_cast<double>(nowNanoseconds() - start);
    }

    Churn(const Churn&) = delete;
    Churn& operator=(const Churn&) = delete;

private:
    void join()
    {
        _stopping = true;
        _thread.join();
    }

    void run()
    {
        try
        {
            OrvOamSpiNbiNotificationHandler_1 handler = {takeNotice};
            unsigned int handlerId = 0;
            requireOk(_table.registerHandler(&handler, &handlerId), "registerHandler");
            for (int64_t time = _start + PERIOD; !_stopping; time += PERIOD)
            {
                unsigned int subscription = 0;
                requireOk(_table.getSubscriptionHandle(&subscription), "getSubscriptionHandle");
                OrvNameValuePair* everything[] = {nullptr};
                requireOk(_table.subscribe(handlerId, everything, subscription, 0, 0, false, 0), "subscribe");
                sleepUntil(time);
                requireOk(_table.unsubscribe(subscription), "unsubscribe");
                ++_subscriptions;
            }
        }
        catch (...)
        {
            _failure = std::current_exception();
        }
    }

    OrvOamSpiNbiNotificationService& _table;
    const int64_t _start = nowNanoseconds();
    std::atomic<bool> _stopping{false};
    // The thread's until it has been joined.
    uint64_t _subscriptions = 0;
    std::exception_ptr _failure;
    std::thread _thread;  // last: it uses all the others
};

void measure(const Settings& settings)
{
    ServiceChannel channel;
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = SUBSCRIBERS;
    Load load(channel, channelOptions, options);
    Churn churn(channel.host().table());
    const double rate = load.measureRate(settings.quick);
    const double churned = churn.stop();
    load.close();
    Figures figures("N", "service", {{"S", SUBSCRIBERS}, {"K", channelOptions.storeSize}});
    figures.report("rate", "1/s", rate);
    figures.report("subscribed", "1/s", churned);
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addChurn(Cases& cases)
{
    cases.push_back({"N/service/S=64", measure});
}

}  // namespace OrvBench
