#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Numbering.h"

namespace OrvStress
{

// What was found wrong. The first few texts are printed as they come, all are counted.
// Threads: any.
class Complaints
{
public:
    void add(const std::string& text);
    uint64_t count() const { return _count.load(); }

private:
    static constexpr uint64_t PRINTED = 20;

    std::mutex _mutex;
    std::atomic<uint64_t> _count{0};
};

// Numbers as few intervals: what was refused comes in stretches. Only the latest intervals are kept.
class Stretches
{
public:
    void add(uint32_t number);
    // How many of the numbers in the open interval are in here and have a type that is wanted.
    uint32_t count(uint32_t after, uint32_t before, const Selection& selection) const;

private:
    static constexpr size_t KEPT = 256;

    std::map<uint32_t, uint32_t> _lastByFirst;
};

// A moment between pushes. A record with a number up to `before` was stamped earlier than `time`, and its push had
// ended; one above `begun` was stamped later.
struct Checkpoint
{
    int64_t time;
    Numbers before;
    Numbers begun;
    uint32_t phase;
    uint32_t clock;
};

// What the whole process knows of the records: how far the producers are, what was refused, how far the service thread
// has come, and which clock changes and restarts there were.
// Threads: any, but for what the groups of members say. All atomics are sequentially consistent: the bounds follow from
//          the order of reads and writes of different ones.
class Ledger
{
public:
    explicit Ledger(Complaints& complaints);

    // For the one thread of the producer. begin gives the mark of the next record; push it and call end.
    Mark begin(unsigned int producer);
    void end(const Mark& mark, OrvReturnT answer);
    // Waits while too much is on its way, or while a restart goes on after some refusals, but not long: what is on its
    // way may be a record that a run has missed as it ended, and that waits for the next. False at the end of the run.
    bool waitForRoom(unsigned int producer);

    Numbers begun() const { return read(_begun); }
    Numbers completed() const { return read(_completed); }
    uint64_t pushes() const { return _pushes.load(); }
    // No record up to these numbers is under way any more: it has been offered to every subscription, or was refused.
    Numbers processed() const { return read(_processed); }
    Checkpoint checkpoint();
    // The longest time between the stamp and the end of a push since the last restart, in microseconds. A record
    // reaches the pipe no later than that after its stamp.
    int64_t longestPush() const;

    // The witness has received this record, so all before it have been offered to every subscription.
    void witnessed(unsigned int producer, uint32_t number);
    // The service has said that it refuses the record for its stamp. On the service thread.
    void refusedForItsStamp(const Mark& mark);
    // How many wanted records of the open interval were refused.
    uint32_t refused(unsigned int producer, uint32_t after, uint32_t before, const Selection& selection) const;

    // Restarts: the phase is odd while one goes on. For one thread at a time.
    uint32_t phase() const { return _phase.load(); }
    bool running() const { return phase() % 2 == 0; }
    void beginRestart();
    // Nothing up to these numbers can come any more. After the stop, before the start.
    void stopped();
    Numbers gone() const;
    // Nothing later has met a restart.
    Numbers restartedAt() const;
    // latestCreation: the creation time that the buffer has, which may lie ahead of the clock.
    void endRestart(int64_t latestCreation);

    // Clock changes: the count is odd while one goes on, and change number k is over when it is 2k. A restart counts as
    // a change that tells nobody. For one thread at a time, the one that restarts.
    uint32_t clock() const { return _clock.load(); }
    void beginClockChange(int64_t newTime);
    void endClockChange();
    // The service has said that it emptied the buffer: the change under way is told to every subscription.
    void discarded();
    // The number of the change to this time, 0 if there is none.
    uint32_t clockChangeTo(int64_t newTime) const;
    // How many changes after the first and up to the second number were told to who ends at this time.
    uint32_t told(uint32_t after, uint32_t upTo, int64_t stopTime) const;
    // What the last change has set; no record stamped earlier is stored.
    int64_t lowestStamp() const { return _lowestStamp.load(); }
    // Records up to these numbers were out of the buffer when the last change began.
    Numbers discardedUpTo() const;

    // Waits until the fact holds; false if the run ends before. Facts are looked at every now and then, as pushes are
    // made, and when wake is called. A wait without end ends the process.
    bool waitUntil(const std::function<bool()>& fact);
    void wake();
    void end();
    bool ending() const { return _ending.load(); }

    // Counts of the whole run.
    uint64_t pushesRefused() const { return _pushesRefused.load(); }
    uint64_t stampsRefused() const { return _stampsRefused.load(); }
    uint64_t clockChanges() const { return _clockChanges.load(); }
    uint64_t clockChangesTold() const { return _clockChangesTold.load(); }
    uint64_t restarts() const { return _restarts.load(); }
    // Records in the pipe, as far as the witness tells.
    uint64_t underWay() const;

private:
    struct ClockChange
    {
        uint32_t index;
        int64_t newTime;
        bool told;
    };
    typedef std::array<std::atomic<uint32_t>, PRODUCERS> Counters;

    static constexpr uint32_t ROOM = 64;         // records of a producer on their way
    static constexpr uint32_t REFUSALS = 16;     // in a row, before a producer waits for the end of a restart
    static constexpr uint64_t WAKE_EVERY = 128;  // pushes
    static constexpr size_t CHANGES_KEPT = 256;
    static constexpr int TIMEOUT_SECONDS = 120;  // turns a hang into a failure
    static constexpr int STALL_SECONDS = 2;

    static Numbers read(const Counters& counters);
    int64_t drawStamp();
    // Nobody waits any longer for what was pushed so far.
    void giveCredit();
    [[noreturn]] void hang(const std::string& what);

    Complaints& _complaints;

    Counters _begun{};
    Counters _completed{};
    Counters _processed{};
    Counters _credit{};  // what no longer counts as on its way although the witness has not seen it
    Counters _refusals{};
    std::array<int, PRODUCERS> _stalls{};  // in a row, in which a producer got no room; the producer's
    std::array<std::atomic<int64_t>, PRODUCERS> _stampInHand{};  // 0 while no push is made
    std::atomic<int64_t> _lastStamp{0};
    std::atomic<int64_t> _longestPush{0};
    std::atomic<uint32_t> _turns{0};
    std::atomic<uint64_t> _pushes{0};
    std::atomic<uint32_t> _phase{1};  // the first start counts as the end of a restart
    std::atomic<uint32_t> _clock{1};
    std::atomic<int64_t> _lowestStamp;
    std::atomic<bool> _ending{false};
    std::atomic<uint64_t> _pushesRefused{0};
    std::atomic<uint64_t> _stampsRefused{0};
    std::atomic<uint64_t> _clockChanges{0};
    std::atomic<uint64_t> _clockChangesTold{0};
    std::atomic<uint64_t> _restarts{0};

    mutable std::mutex _mutex;  // guards what follows
    std::array<Stretches, PRODUCERS> _refused;
    std::deque<ClockChange> _changes;
    int64_t _highestRefusal;  // no stamp from here on can have been refused
    Numbers _gone{};
    Numbers _restartedAt{};
    Numbers _discardedUpTo{};

    std::mutex _waitMutex;
    std::condition_variable _progress;  // for waitUntil
    std::condition_variable _room;      // for waitForRoom
    std::atomic<unsigned int> _waitingForRoom{0};
};

}  // namespace OrvStress
