#include "Service.h"

#include <mutex>

namespace OrvStress
{

namespace
{

const char CLOCK_EVENT_TYPE[] = "ZelClockChangeEventType_1";
const int TIMEOUT_SECONDS = 60;

bool begins(const std::string& text, const char* beginning)
{
    return text.rfind(beginning, 0) == 0;
}

}  // namespace

std::atomic<Service*> Service::_current{nullptr};

Service::Service(Ledger& ledger, Complaints& complaints, unsigned int bufferSize)
    : _ledger(ledger),
      _complaints(complaints),
      _bufferSize(bufferSize),
      _framework(new OrvTest::FakeFramework()),
      _table(nullptr),
      _witnessId(0),
      _seen(false),
      _lastSeen()
{
    _current = this;
    _framework->log().keepNothing([this](const OrvTest::LogLine& line) { judgeLine(line); });
    _framework->model().addClass(OBJECT_CLASS, {{ATTRIBUTE, true}});
    _component.reset(new OrvTest::LoadedComponent(*_framework));
    expect(_component->initWithConfiguration(OrvTest::configurationWithBufferSize(std::to_string(bufferSize))),
           "zelLCMinit");
    _table = &_component->table();
}

Service::~Service()
{
    _component.reset();
    _current = nullptr;
}

void Service::expect(OrvReturnT result, const char* what)
{
    if (result != OrvOk)
    {
        _complaints.add(std::string(what) + " gave " + std::to_string(result));
    }
}

void Service::judgeLine(const OrvTest::LogLine& line)
{
    if (line.source != OrvTest::LogLine::log || line.level > 4)
    {
        return;
    }
    if (begins(line.text, "Discarded notification due to invalid timestamp"))
    {
        Mark mark = Mark();
        const size_t dn = line.text.find(" dn: ");
        if (dn == std::string::npos || !parseDn(line.text.c_str() + dn + 5, mark))
        {
            _complaints.add("a refusal of an unknown record: " + line.text);
            return;
        }
        _ledger.refusedForItsStamp(mark);
    }
    else if (begins(line.text, "Discarded "))
    {
        _ledger.discarded();
    }
    else if (begins(line.text, "Unexpected error code received"))
    {
        ++_log.answers;
    }
    else if (begins(line.text, "Exception in _handler->notify") ||
             (line.text == "Caught unhandled exception" && line.function == "callHandler"))
    {
        ++_log.exceptions;
    }
    else if (begins(line.text, "Could not find handle"))
    {
        ++_log.notFound;
    }
    else if (begins(line.text, "Could not find and unregister"))
    {
        ++_log.notFoundByUnregistering;
    }
    else if (begins(line.text, "Failed to store Subscription"))
    {
        ++_log.handlesInUse;
    }
    else
    {
        _complaints.add("the log says: " + line.function + ": " + line.text);
    }
}

void Service::start()
{
    const bool first = _witnessId == 0;
    expect(_component->start(), "start");
    if (!_framework->router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, TIMEOUT_SECONDS))
    {
        _complaints.add("the service does not listen for clock changes");
    }
    if (first)
    {
        OrvOamSpiNbiNotificationHandler_1 handler = {witness};
        expect(_table->registerHandler(&handler, &_witnessId), "registerHandler");
    }
    subscribeWitness();
    long long creation = 0;
    expect(_table->getBufferCreationTime(&creation), "getBufferCreationTime");
    _ledger.endRestart(creation);
}

void Service::restart(int reason, const std::function<void()>& whenStopped)
{
    {
        const std::unique_lock<std::shared_mutex> lock(_timers);
        _ledger.beginRestart();
        expect(_component->stop(reason), "stop");
    }
    _ledger.stopped();
    whenStopped();
    // What the framework remembers of its calls would grow.
    _framework->plan().clearCalls();
    start();
}

void Service::stop()
{
    _ledger.beginRestart();
    expect(_component->stop(), "stop");
    _ledger.stopped();
}

void Service::changeClock(int64_t newTime)
{
    _ledger.beginClockChange(newTime);
    _framework->router().publishClockChange(static_cast<uint64_t>(newTime) * 1000);
    _ledger.endClockChange();
    _framework->plan().clearCalls();
}

int64_t Service::covered()
{
    long long aged = 0;
    long long creation = 0;
    const OrvReturnT agedResult = _table->getLastAgedNotificationTime(&aged);
    const OrvReturnT creationResult = _table->getBufferCreationTime(&creation);
    if (agedResult != OrvOk || (creationResult != OrvOk && creationResult != OrvNotRunning))
    {
        _complaints.add("a time query failed");
    }
    return aged != 0 ? aged : creation;
}

void Service::subscribeWitness()
{
    unsigned int handle = 0;
    expect(_table->getSubscriptionHandle(&handle), "getSubscriptionHandle");
    _seen = false;
    OrvNameValuePair* everything[] = {nullptr};
    expect(_table->subscribe(_witnessId, everything, handle, 0, 0, false, 0), "subscribe");
}

OrvReturnT Service::witness(unsigned int, OrvOamSpiNbiNotificationValue_1* notification)
{
    _current.load()->see(*notification);
    return OrvOk;
}

// The record is being offered to the others just now; what the witness has had before is with them.
void Service::see(const OrvOamSpiNbiNotificationValue_1& notification)
{
    Mark mark = Mark();
    if (notification.notificationType >= overflowNotification || !parseDn(notification.dn, mark))
    {
        return;
    }
    if (_seen)
    {
        _ledger.witnessed(_lastSeen.producer, _lastSeen.number);
    }
    _seen = true;
    _lastSeen = mark;
}

}  // namespace OrvStress
