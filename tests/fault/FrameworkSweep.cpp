#include "FrameworkSweep.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "Crossing.h"
#include "FakeFramework.h"
#include "Records.h"

namespace OrvTest
{

namespace
{

const int UNKNOWN_CODE = 12345;

struct Calls
{
    std::atomic<unsigned int> count{0};
    std::atomic<bool> met{false};
};

FaultKind faultOf(const std::string& call, const std::string& manner, bool fromThenOn,
                  const std::function<int(FakeFramework&)>& answer)
{
    const std::shared_ptr<Calls> calls = std::make_shared<Calls>();
    const auto arm = [=](FakeFramework& framework, unsigned int nth)
    {
        framework.plan().intercept(
            [=, &framework](const std::string& name)
            {
                const unsigned int number = name == call ? ++calls->count : 0;
                if (number == 0 || (number != nth && !(fromThenOn && number > nth)))
                {
                    return 0;
                }
                calls->met = true;
                return answer(framework);
            });
    };
    const auto disarm = [=](FakeFramework& framework)
    {
        framework.plan().intercept(nullptr);
        return calls->met.load();
    };
    return {call + " " + manner + (fromThenOn ? ", from then on" : ", once"), arm, disarm};
}

std::string nameOf(int answer)
{
    switch (answer)
    {
        case saysNothing:
            return "says nothing";
        case saysNull:
            return "says null";
        case saysStrange:
            return "says something strange";
        default:
            return "answers " + std::to_string(answer);
    }
}

// A push is all that a function of the framework may ask of the service.
int push(FakeFramework& framework)
{
    const ZelMgmtSpiComponent* const component = framework.component();
    if (component == nullptr)
    {
        return 0;
    }
    auto* const table = reinterpret_cast<OrvOamSpiNbiNotificationService*>(component->interfaceArray[0]);
    const Notification record = makeNotification(999, "Meanwhile=1", objectCreated);
    const Crossing crossing(Crossing::toService);
    const OrvReturnT answer = table->pushNotification(*record);
    if (answer != OrvOk && answer != OrvNotRunning)
    {
        std::fputs("a push failed while the framework was called\n", stderr);
        std::_Exit(1);
    }
    return 0;
}

// On a thread of its own, while the calling thread is inside the framework.
int pushFromElsewhere(FakeFramework& framework)
{
    std::thread other([&framework] { push(framework); });
    other.join();
    return 0;
}

thread_local bool callingBack = false;

// Events are waited for on the service thread alone: the life cycle thread holds what a batch of events needs.
int callBack(FakeFramework& framework, bool mayWait, bool withClockChange)
{
    if (callingBack)
    {
        return 0;  // a trace of the callback itself
    }
    callingBack = true;
    const std::shared_ptr<CmEvent> event = std::make_shared<CmEvent>(999000, 1);
    event->operation("Meanwhile=2", objectCreated);
    framework.router().post(event);
    if (withClockChange)
    {
        framework.router().postClockChange(1000);
    }
    if (mayWait)
    {
        framework.router().drain();
    }
    push(framework);
    callingBack = false;
    return 0;
}

}  // namespace

void sweepAnswer(const Scenario& scenario, const std::string& call, int answer, const Expectation& expected)
{
    const auto give = [answer](FakeFramework&) { return answer; };
    for (const bool fromThenOn : {false, true})
    {
        sweep(scenario, faultOf(call, nameOf(answer), fromThenOn, give), expected);
    }
}

void sweepRefusals(const Scenario& scenario, const std::string& call, const Expectation& expected)
{
    sweepAnswer(scenario, call, OrvFailure, expected);
    const auto unknown = [](FakeFramework&) { return UNKNOWN_CODE; };
    sweep(scenario, faultOf(call, nameOf(UNKNOWN_CODE), false, unknown), expected);
}

void sweepLateness(const Scenario& scenario, const std::string& call)
{
    sweep(scenario, faultOf(call, "answers late", false, pushFromElsewhere), {{Outcome::passed}});
}

void sweepCallbacks(const Scenario& scenario, const std::string& call, bool withClockChange)
{
    const bool isLog = call.find("getInterface") == std::string::npos && call.find('.') != std::string::npos;
    const std::thread::id lifeCycleThread = std::this_thread::get_id();
    const auto answer = [=](FakeFramework& framework)
    { return callBack(framework, !isLog && std::this_thread::get_id() != lifeCycleThread, withClockChange); };
    FaultKind kind = faultOf(call, "calls back", false, answer);
    const auto disarm = kind.disarm;
    kind.disarm = [disarm](FakeFramework& framework)
    {
        const bool met = disarm(framework);
        framework.router().drain();
        return met;
    };
    sweep(scenario, kind, {{Outcome::passed}});
}

}  // namespace OrvTest
