#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "Account.h"
#include "Ledger.h"
#include "Numbering.h"

namespace OrvStress
{

// How a subscription says what it wants.
enum class Shape
{
    Expressions,  // legacy filters
    Producers,    // a tree for each producer
    Records,      // trees down to the records themselves: the filter keeps the DN of a delete
    Attributes    // these with a selection of the attribute
};

// What a subscription is asked for.
struct Wish
{
    Selection selection = Selection::everything();
    Shape shape = Shape::Expressions;
    int64_t startTime = 0;  // 0: no replay; otherwise earlier than now
    int64_t stopTime = 0;
    bool heartbeat = false;
    long long heartbeatInterval = 0;  // seconds
    // Where startTime and stopTime were taken, if they were.
    bool fromCheckpoint = false;
    Checkpoint from = Checkpoint();
    bool toCheckpoint = false;  // in the past, with all up to it processed
    Checkpoint to = Checkpoint();

    // A live delete comes without its attributes, and gives its DN to the control records behind it.
    bool derivesDeletes() const { return shape == Shape::Records || shape == Shape::Attributes; }
};

// Knows what one subscription must have seen and may have seen, and compares. What it does not hold against the
// service, and nothing else, is named by the members that begin with `tolerate`.
//
// What it holds: a record comes once, whole, only if it is wanted, lies within the times that were asked for and has
// not been refused or discarded. Records of a producer come in its order, and none is missing that no overflow record
// and no refusal explains. Live records of different producers come in the order of their pushes. A replay ascends by
// time, begins where it must and comes before everything live. Gap, replay complete, notification complete, discarded
// old and heartbeat records come when they are due and not otherwise. They bear no DN but that of the delete that a
// subtree filter has seen last. A record answered with a retry comes again, or an overflow record does. Nothing comes
// after the end.
//
// Threads: one at a time; the owner locks.
class Oracle
{
public:
    Oracle(Ledger& ledger, Complaints& complaints, unsigned int queueLimit);

    // Right before subscribing. coveredBefore: what the replay buffer covers, microseconds.
    void open(const std::string& name, const Wish& wish, int64_t coveredBefore);
    // Right after subscribing, during which records may have come already.
    void subscribed(int64_t coveredAfter);
    // What the handler was called with, and what it answers.
    void received(const OrvOamSpiNbiNotificationValue_1& record);
    void answered(OrvReturnT answer);
    // The subscription is gone.
    void close();

    bool isOpen() const { return _open; }
    bool completed() const { return _completed; }
    uint64_t heartbeats() const { return _heartbeats; }
    // All wanted records up to these numbers have come, or something behind them has.
    bool hasPassed(const Numbers& numbers) const;
    // The last record that came was neither replayed nor a control record.
    bool lastWasLive() const { return _lastWasLive; }
    int64_t lastStamp() const { return _lastSeen.time; }
    // Since the last reset.
    const Account& account() const { return _account; }
    void resetAccount() { _account = Account(); }

private:
    // What has come of one producer.
    struct Line
    {
        bool seen = false;
        uint32_t last = 0;
        uint32_t first = 0;
        uint32_t explained = 0;          // what an overflow record may have purged lies up to here
        uint32_t firstExplained = 0;     // the same when the first came
        bool live = false;               // the last was live
        uint32_t highestTurnBefore = 0;  // of all live records that came before the last
    };

    struct Identity
    {
        int32_t type;
        int64_t time;
        unsigned int producer;
        uint32_t number;
        bool operator==(const Identity& other) const;
    };

    // What a subtree filter has let pass last.
    enum class Passed
    {
        Nothing,
        Last,  // the last live record that came
        Unknown
    };

    enum class Verdict
    {
        Due,
        NotDue,
        Unknown
    };

    void wrong(const std::string& text);
    bool isOfferedAgain(const Identity& identity);
    void regular(const Mark& mark);
    void replayed(const Mark& mark);
    void live(const Mark& mark);
    void checkOrder(const Mark& mark, Line& line);
    void checkClock(const Mark& mark);
    // Gives how many are missing, with an explanation or without.
    uint32_t checkMissing(unsigned int producer, uint32_t after, uint32_t before, uint32_t explained);
    void control(const OrvOamSpiNbiNotificationValue_1& record);
    bool bearsADelete(const OrvOamSpiNbiNotificationValue_1& record) const;
    void overflow();
    void notice(int64_t newTime);
    void heartbeat(int64_t time);
    void complete(int64_t time);
    void measurePurge(unsigned int producer, uint32_t missing);
    void judgeBeginning();
    void judgeEnd();

    // A subscription whose making met a restart may belong to the run before it, or enter the empty table behind it
    // and live in the next: where it begins is not known. It may get what stood behind the stop message in the pipe, or
    // replay it, and then nothing until the next start. Otherwise it goes on without a hole from its first record on.
    bool tolerateAnyBeginning(uint32_t phaseAfter) const;
    uint32_t tolerateRestart(unsigned int producer) const;
    // The covered time is read before and after subscribing, and it need not ascend: a record that is stamped early
    // and pushed late can be aged out after a later one. So near it whether there is a gap stays open, by as much as
    // the longest push took. The same if the clock was changed meanwhile.
    Verdict tolerateAgeing(int64_t coveredAfter, int64_t margin) const;
    // Timers count whole milliseconds of another clock, and cut what is below.
    static int64_t tolerateTimer(int64_t time) { return time - 3000; }
    // A subscription that was made while the clock was changed may have missed that change, or not. Gives the last
    // change that it need not have been told of.
    static uint32_t tolerateChange(uint32_t clockAfter) { return (clockAfter + 1) / 2; }
    // When an overflow record comes, its purge is over: what it took had been pushed by now. What was pushed later
    // must come.
    void toleratePurged();
    // A replay shows the filter records that it does not give, and a purge takes what has passed: then the delete may
    // be any. At the end one can have passed that is not queued any more.
    bool tolerateOtherDelete(const Mark& mark, int32_t type) const;

    Ledger& _ledger;
    Complaints& _complaints;
    const unsigned int _queueLimit;

    std::string _name;
    Wish _wish;
    bool _open = false;
    bool _begun = false;  // `subscribed` was called
    int64_t _openTime = 0;
    uint32_t _phaseBefore = 0;
    uint32_t _clockBefore = 0;
    int64_t _coveredBefore = 0;
    Numbers _processedBefore{};  // no live record up to these
    Numbers _goneBefore{};       // nothing at all up to these
    Numbers _discardedBefore{};  // no replay up to these
    Numbers _mustFrom{};         // every wanted record after these, once begun
    bool _anyBeginning = false;
    bool _seamJudged = false;

    uint64_t _calls = 0;
    bool _gapSeen = false;
    Verdict _gapDue = Verdict::Unknown;
    bool _overflowFirst = false;
    bool _live = false;  // no replayed record can come any more
    bool _lastWasLive = false;
    int64_t _lastReplayed = 0;
    std::array<Line, PRODUCERS> _lines;
    uint32_t _highestTurn = 0;
    uint32_t _lastNotice = 0;  // only later changes may be told
    uint32_t _noticesDue = 0;  // the changes up to this one have been told, or need not be
    uint64_t _heartbeats = 0;
    bool _completed = false;
    bool _deregistered = false;
    bool _awaitingRepeat = false;
    Identity _lastSeen{};
    Passed _passed = Passed::Nothing;
    Mark _lastLive{};

    // The purge that is being measured: producers still to be seen, and what is missing so far.
    unsigned int _purgeProducers = 0;
    uint64_t _purgeMissing = 0;
    uint64_t _purgeOther = 0;

    Account _account;
};

}  // namespace OrvStress
