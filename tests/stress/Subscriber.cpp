#include "Subscriber.h"

#include <algorithm>
#include <shared_mutex>
#include <utility>

namespace OrvStress
{

namespace
{

const int64_t SECOND = 1000000;
const auto RETRY_PAUSE = std::chrono::milliseconds(10);

// Such a subscriber gets to the end of what it is to receive.
bool takesEverything(Manner manner)
{
    return manner != Manner::Stuck && manner != Manner::RetryingAlways && manner != Manner::Deregistering;
}

}  // namespace

std::array<std::atomic<Subscriber*>, Subscriber::MOST> Subscriber::_places;

template <unsigned int place>
OrvReturnT Subscriber::handler(unsigned int handle, OrvOamSpiNbiNotificationValue_1* notification)
{
    return _places[place].load()->notify(handle, *notification);
}

template <unsigned int... places>
Subscriber::Function Subscriber::functionOf(unsigned int place, std::integer_sequence<unsigned int, places...>)
{
    static const Function functions[] = {&Subscriber::handler<places>...};
    return functions[place];
}

Subscriber::Subscriber(unsigned int place, Ledger& ledger, Complaints& complaints, Service& service, Accounts& accounts,
                       const Habits& habits, uint64_t seed)
    : _place(place),
      _ledger(ledger),
      _complaints(complaints),
      _service(service),
      _accounts(accounts),
      _habits(habits),
      _random(seed),
      _handlerId(0),
      _lives(0),
      _oracle(ledger, complaints, service.bufferSize()),
      _manner(Manner::Fast),
      _handlerRandom(seed + 1),
      _retriesLeft(0),
      _recordsUntilDeregistering(0),
      _subscribedCleanly(false),
      _retried(false)
{
    _places[place] = this;
    OrvOamSpiNbiNotificationHandler_1 record = {functionOf(place, std::make_integer_sequence<unsigned int, MOST>())};
    if (_service.table().registerHandler(&record, &_handlerId) != OrvOk)
    {
        wrong("registerHandler failed");
    }
}

Subscriber::~Subscriber()
{
    _places[_place] = nullptr;
}

void Subscriber::wrong(const std::string& text)
{
    _complaints.add("place " + std::to_string(_place) + " life " + std::to_string(_lives) + ": " + text);
}

void Subscriber::live()
{
    while (_ledger.waitUntil([this] { return _ledger.running(); }))
    {
        oneLife();
    }
}

void Subscriber::oneLife()
{
    ++_lives;
    unsigned int sum = 0;
    for (const unsigned int share : _habits.manners)
    {
        sum += share;
    }
    unsigned int drawn = draw(sum);
    unsigned int manner = 0;
    while (drawn >= _habits.manners[manner])
    {
        drawn -= _habits.manners[manner++];
    }
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _manner = static_cast<Manner>(manner);
    }
    _phase = _ledger.phase();
    Wish wish;
    if (drawWish(wish) && subscribe(wish))
    {
        spend(wish);
        leave();
    }
}

bool Subscriber::drawWish(Wish& wish)
{
    if (once(2))
    {
        wish.selection.producers = 1 + draw((1u << PRODUCERS) - 1);
        wish.selection.types = 2 * (1 + draw(7));
    }
    if (once(2))
    {
        static const Shape shapes[] = {Shape::Producers, Shape::Records, Shape::Attributes};
        wish.shape = shapes[draw(3)];
        // A tree does not tell one type from another.
        wish.selection.types = Selection::everything().types;
    }
    if (_habits.replays && !once(3) && !drawReplay(wish))
    {
        return false;
    }
    if (_habits.timers && wish.stopTime == 0)
    {
        if (once(4))
        {
            wish.stopTime = systemTime() + 20000 + draw(150000);
        }
        else if (once(8))
        {
            wish.stopTime = systemTime() + 3600 * SECOND;
        }
    }
    if (_habits.timers && once(6))
    {
        wish.heartbeat = true;
        wish.heartbeatInterval = draw(2);
    }
    return true;
}

// From the beginning of time, which is a gap; from a moment a little ago; or from there up to a moment a little later
// that has passed too.
bool Subscriber::drawReplay(Wish& wish)
{
    if (once(5))
    {
        wish.startTime = 1;
        return true;
    }
    wish.from = _ledger.checkpoint();
    wish.fromCheckpoint = true;
    wish.startTime = wish.from.time;
    const uint64_t length = once(2) ? 0 : draw(_service.bufferSize());
    const uint64_t target = _ledger.pushes() + length;
    const auto moved = [this] { return _ledger.phase() != _phase.load(); };
    if (!_ledger.waitUntil([&] { return moved() || _ledger.pushes() >= target; }))
    {
        return false;
    }
    if (once(4))
    {
        wish.to = _ledger.checkpoint();
        wish.toCheckpoint = true;
        wish.stopTime = wish.to.time;
        // Only what has been handled can be replayed.
        const auto handled = [&]
        {
            const Numbers processed = _ledger.processed();
            for (unsigned int p = 0; p < PRODUCERS; ++p)
            {
                if (processed[p] < wish.to.before[p])
                {
                    return false;
                }
            }
            return true;
        };
        if (!_ledger.waitUntil([&] { return moved() || handled(); }))
        {
            return false;
        }
    }
    while (systemTime() <= std::max(wish.startTime, wish.stopTime))
    {
    }
    return true;
}

bool Subscriber::subscribe(const Wish& wish)
{
    OrvOamSpiNbiNotificationService& table = _service.table();
    std::shared_lock<std::shared_mutex> timers(_service.timers(), std::defer_lock);
    if (wish.heartbeat || wish.stopTime != 0)
    {
        timers.lock();
    }
    if (_ledger.phase() != _phase)
    {
        return false;
    }
    unsigned int handle = 0;
    if (table.getSubscriptionHandle(&handle) != OrvOk)
    {
        wrong("getSubscriptionHandle failed");
        return false;
    }
    const int64_t coveredBefore = _service.covered();
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _oracle.open(
            "place " + std::to_string(_place) + " life " + std::to_string(_lives) + " (" + nameOf(_manner) + ")", wish,
            coveredBefore);
        _retriesLeft = draw(4);
        _recordsUntilDeregistering = draw(50);
        _retried = false;
        _subscribedCleanly = false;
    }
    _released = false;
    _handle = handle;
    const OrvReturnT result = subscribe(wish, handle);
    const int64_t coveredAfter = _service.covered();
    const std::lock_guard<std::mutex> lock(_mutex);
    if (result != OrvOk)
    {
        if (result != OrvNotRunning || _ledger.phase() == _phase)
        {
            wrong("subscribe gave " + std::to_string(result));
        }
        _oracle.close();
        _handle = 0;
        return false;
    }
    _oracle.subscribed(coveredAfter);
    _subscribedCleanly = _ledger.phase() == _phase && _phase % 2 == 0;
    return true;
}

OrvReturnT Subscriber::subscribe(const Wish& wish, unsigned int handle)
{
    OrvOamSpiNbiNotificationService& table = _service.table();
    if (wish.shape == Shape::Expressions)
    {
        const OrvTest::LegacyFilter filter = filterOf(wish.selection);
        return table.subscribe(_handlerId, filter.get(), handle, wish.startTime, wish.stopTime, wish.heartbeat,
                               wish.heartbeatInterval);
    }
    _trees = treesOf(wish.selection, wish.shape);
    return table.rfcFilterSubscribe(_handlerId, _trees.get(), handle, wish.startTime, wish.stopTime, wish.heartbeat,
                                    wish.heartbeatInterval);
}

void Subscriber::spend(const Wish& wish)
{
    const auto moved = [this] { return _ledger.phase() != _phase.load(); };
    const auto told = [this](const auto& fact)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return fact(_oracle);
    };
    if (once(16))
    {
        subscribeTwice();
    }
    const uint64_t target = _ledger.pushes() + _habits.shortestLife + draw(_habits.longestLife - _habits.shortestLife);
    _ledger.waitUntil([&] { return moved() || _ledger.pushes() >= target; });
    if (!takesEverything(_manner) || once(4))
    {
        return;
    }
    if (wish.stopTime != 0 && wish.stopTime < systemTime() + 60 * SECOND)
    {
        _ledger.waitUntil([&] { return moved() || told([](Oracle& oracle) { return oracle.completed(); }); });
        return;
    }
    if (wish.heartbeat)
    {
        _ledger.waitUntil([&] { return moved() || told([](Oracle& oracle) { return oracle.heartbeats() != 0; }); });
    }
    if (once(2))
    {
        const Numbers numbers = _ledger.completed();
        _ledger.waitUntil([&] { return moved() || told([&](Oracle& oracle) { return oracle.hasPassed(numbers); }); });
    }
}

// A handle that is in use is refused, and the subscription that has it stays as it is.
void Subscriber::subscribeTwice()
{
    const std::shared_lock<std::shared_mutex> noRestart(_service.timers());
    if (_ledger.phase() != _phase || !_subscribedCleanly)
    {
        return;
    }
    OrvNameValuePair* everything[] = {nullptr};
    const OrvReturnT result = _service.table().subscribe(_handlerId, everything, _handle, 0, 0, false, 0);
    if (result != OrvBadArgument)
    {
        wrong("a handle in use gave " + std::to_string(result));
    }
    ++_accounts.handlesInUse;
}

OrvReturnT Subscriber::unsubscribe()
{
    const OrvReturnT result = _service.table().unsubscribe(_handle);
    _accounts.notFound += result == OrvNotFound ? 1 : 0;
    return result;
}

void Subscriber::leave()
{
    _released = true;
    _ledger.wake();
    const bool clean = _subscribedCleanly;
    bool removed = false;
    if (once(8))
    {
        const OrvReturnT result = _service.table().unregisterHandler(_handlerId);
        if (result != OrvOk && (result != OrvNotRunning || _ledger.phase() == _phase))
        {
            wrong("unregisterHandler gave " + std::to_string(result));
        }
        removed = result == OrvOk;
    }
    OrvReturnT result = unsubscribe();
    const bool moved = _ledger.phase() != _phase;
    if ((removed && result == OrvOk && !moved) || (!removed && result == OrvNotFound && !moved) ||
        (result == OrvNotRunning && !moved) || (result != OrvOk && result != OrvNotFound && result != OrvNotRunning))
    {
        wrong("unsubscribe gave " + std::to_string(result) + (removed ? " after unregisterHandler" : ""));
    }
    // What a restart has ended is gone, but the handle is still listed, until it is removed too. A subscription that
    // was made while the service was being stopped may live on, see Oracle::tolerateAnyBeginning.
    while (moved && _ledger.waitUntil([this] { return _ledger.running(); }))
    {
        const uint32_t phase = _ledger.phase();
        result = unsubscribe();
        if (result == OrvNotFound || (result == OrvOk && !clean))
        {
            break;
        }
        if (result != OrvNotRunning || _ledger.phase() == phase)
        {
            wrong("unsubscribe after a restart gave " + std::to_string(result));
            break;
        }
    }
    // A handle that was subscribed twice, or removed with its handler, is listed once more.
    unsubscribe();
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_ledger.running() || !moved)
    {
        _oracle.close();
    }
    _accounts.add(_manner, _oracle.account());
    _oracle.resetAccount();
    _handle = 0;
}

void Subscriber::serviceStopped(uint32_t phase)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_oracle.isOpen() && _subscribedCleanly && _phase == phase)
    {
        _oracle.close();
    }
}

OrvReturnT Subscriber::notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1& notification)
{
    const TimePoint now = std::chrono::steady_clock::now();
    if (_inside.exchange(true))
    {
        wrong("two calls at once");
    }
    if (handle != _handle)
    {
        wrong("a call for handle " + std::to_string(handle));
    }
    Act todo = {OrvOk, 0, false, 0};
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_retried && now - _retriedAt < RETRY_PAUSE)
        {
            wrong("offered again too early");
        }
        _oracle.received(notification);
        if (_oracle.lastWasLive())
        {
            _accounts.took(_manner, systemTime() - _oracle.lastStamp());
        }
        todo = act(notification);
    }
    if (todo.wait)
    {
        const uint64_t target = todo.waitForPushes != 0 ? _ledger.pushes() + todo.waitForPushes : UINT64_MAX;
        _ledger.waitUntil([&] { return released() || _ledger.pushes() >= target; });
    }
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _oracle.answered(todo.exception != 0 ? static_cast<OrvReturnT>(OrvFailure) : todo.answer);
        _retried = todo.exception == 0 && todo.answer == OrvRetry;
        _retriedAt = std::chrono::steady_clock::now();
    }
    _inside = false;
    if (todo.exception != 0)
    {
        throwSomething(todo.exception);
    }
    return todo.answer;
}

}  // namespace OrvStress
