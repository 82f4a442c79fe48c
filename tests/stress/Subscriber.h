#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <string>

#include "Account.h"
#include "Filters.h"
#include "Ledger.h"
#include "Oracle.h"
#include "Service.h"

namespace OrvStress
{

// What a scenario wants of its subscribers.
struct Habits
{
    std::array<unsigned int, MANNERS> manners;  // how likely each is, in proportion
    unsigned int shortestLife;                  // pushes
    unsigned int longestLife;
    bool timers;  // stop times and heartbeats
    bool replays;
};

// One place for subscriptions, one after the other, each with wishes and a manner drawn at random, each judged by an
// oracle. A handler function carries no context, so every place has a C function of its own.
// Threads: live on a thread of its own; the handler's calls come on the service's threads.
class Subscriber
{
public:
    static constexpr unsigned int MOST = 80;

    Subscriber(unsigned int place, Ledger& ledger, Complaints& complaints, Service& service, Accounts& accounts,
               const Habits& habits, uint64_t seed);
    ~Subscriber();

    // Subscribes and unsubscribes until the ledger ends.
    void live();
    // The service was stopped in this phase: nothing must come any more for what was subscribed in it.
    void serviceStopped(uint32_t phase);

    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

private:
    typedef std::chrono::steady_clock::time_point TimePoint;
    typedef OrvReturnT (*Function)(unsigned int, OrvOamSpiNbiNotificationValue_1*);

    // What the handler does with a record.
    struct Act
    {
        OrvReturnT answer;
        uint64_t waitForPushes;  // 0: does not wait
        bool wait;               // until it is released
        int exception;           // kind, 0 for none
    };

    template <unsigned int place>
    static OrvReturnT handler(unsigned int handle, OrvOamSpiNbiNotificationValue_1* notification);
    template <unsigned int... places>
    static Function functionOf(unsigned int place, std::integer_sequence<unsigned int, places...>);

    void oneLife();
    bool drawWish(Wish& wish);
    bool drawReplay(Wish& wish);
    bool subscribe(const Wish& wish);
    OrvReturnT subscribe(const Wish& wish, unsigned int handle);
    void spend(const Wish& wish);
    void subscribeTwice();
    void leave();
    OrvReturnT unsubscribe();
    void wrong(const std::string& text);

    OrvReturnT notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1& notification);
    Act act(const OrvOamSpiNbiNotificationValue_1& notification);
    bool released() const { return _released.load() || _ledger.phase() != _phase.load() || _ledger.ending(); }
    void queryTimes();
    [[noreturn]] void throwSomething(int kind);

    unsigned int draw(unsigned int limit) { return static_cast<unsigned int>(_random() % limit); }
    bool once(unsigned int in) { return draw(in) == 0; }

    static std::array<std::atomic<Subscriber*>, MOST> _places;

    const unsigned int _place;
    Ledger& _ledger;
    Complaints& _complaints;
    Service& _service;
    Accounts& _accounts;
    const Habits _habits;
    std::mt19937_64 _random;  // of the living thread
    unsigned int _handlerId;
    unsigned int _lives;
    OrvTest::Trees _trees;  // of the last subscription that had any, which looks at them until it is removed

    std::atomic<unsigned int> _handle{0};
    std::atomic<uint32_t> _phase{0};  // in which the present life began
    std::atomic<bool> _released{false};
    std::atomic<bool> _inside{false};

    std::mutex _mutex;  // guards what follows
    Oracle _oracle;
    Manner _manner;
    std::mt19937_64 _handlerRandom;
    unsigned int _retriesLeft;
    unsigned int _recordsUntilDeregistering;
    bool _subscribedCleanly;  // the subscription belongs to _phase for certain
    bool _retried;            // the last answer was a retry, at _retriedAt
    TimePoint _retriedAt;
};

}  // namespace OrvStress
