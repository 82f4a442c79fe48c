#include "Oracle.h"

#include <algorithm>

namespace OrvStress
{

namespace
{

std::string text(int64_t number)
{
    return std::to_string(number);
}

}  // namespace

bool Oracle::Identity::operator==(const Identity& other) const
{
    return type == other.type && time == other.time && producer == other.producer && number == other.number;
}

Oracle::Oracle(Ledger& ledger, Complaints& complaints, unsigned int queueLimit)
    : _ledger(ledger), _complaints(complaints), _queueLimit(queueLimit)
{
}

void Oracle::wrong(const std::string& what)
{
    _complaints.add(_name + ": " + what);
}

void Oracle::open(const std::string& name, const Wish& wish, int64_t coveredBefore)
{
    _name = name;
    _wish = wish;
    _open = true;
    _begun = false;
    _openTime = systemTime();
    _phaseBefore = _ledger.phase();
    _clockBefore = _ledger.clock();
    _coveredBefore = coveredBefore;
    _processedBefore = _ledger.processed();
    _goneBefore = _ledger.gone();
    // While a change goes on, the buffer may still be full.
    _discardedBefore = _clockBefore % 2 == 0 ? _ledger.discardedUpTo() : Numbers();
    _mustFrom = Numbers();
    _anyBeginning = false;
    _seamJudged = false;
    _calls = 0;
    _gapSeen = false;
    _gapDue = Verdict::Unknown;
    _overflowFirst = false;
    _live = wish.startTime == 0;
    _lastWasLive = false;
    _lastReplayed = 0;
    _lines = {};
    _highestTurn = 0;
    _lastNotice = _clockBefore / 2;
    _noticesDue = _lastNotice;
    _heartbeats = 0;
    _completed = false;
    _deregistered = false;
    _awaitingRepeat = false;
    _lastSeen = Identity();
    _passed = _live ? Passed::Nothing : Passed::Unknown;
    _purgeProducers = 0;
    ++_account.subscriptions;
}

bool Oracle::tolerateAnyBeginning(uint32_t phaseAfter) const
{
    return _phaseBefore % 2 != 0 || phaseAfter != _phaseBefore;
}

uint32_t Oracle::tolerateRestart(unsigned int producer) const
{
    return _anyBeginning || !_begun ? _ledger.restartedAt()[producer] : 0;
}

Oracle::Verdict Oracle::tolerateAgeing(int64_t coveredAfter, int64_t margin) const
{
    if (_wish.startTime == 0 || _anyBeginning || _clockBefore % 2 != 0 || _ledger.clock() != _clockBefore)
    {
        return Verdict::Unknown;
    }
    if (_wish.startTime < _coveredBefore - margin)
    {
        return Verdict::Due;
    }
    return _wish.startTime >= coveredAfter + margin ? Verdict::NotDue : Verdict::Unknown;
}

void Oracle::subscribed(int64_t coveredAfter)
{
    const uint32_t clockAfter = _ledger.clock();
    _anyBeginning = tolerateAnyBeginning(_ledger.phase());
    // After the call: what is begun from now on is offered live.
    _mustFrom = _ledger.begun();
    const int64_t longest = _ledger.longestPush();
    _gapDue = tolerateAgeing(coveredAfter, longest);
    _account.gapsJudged += _gapDue != Verdict::Unknown ? 1 : 0;
    if (_wish.fromCheckpoint && tolerateAgeing(coveredAfter, 2 * longest) == Verdict::NotDue &&
        _wish.from.phase == _phaseBefore && _wish.from.clock == _clockBefore)
    {
        _mustFrom = _wish.from.begun;
        _seamJudged = true;
        ++_account.seamsJudged;
    }
    // Notices that are later than this must come; earlier ones have come already, or may still.
    _noticesDue = std::max(_noticesDue, tolerateChange(clockAfter));
    _begun = true;
    if (_calls != 0)
    {
        judgeBeginning();
    }
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        if (_lines[p].seen && !_anyBeginning)
        {
            checkMissing(p, _mustFrom[p], _lines[p].first, _lines[p].firstExplained);
        }
    }
    if (_completed)
    {
        judgeEnd();
    }
}

void Oracle::judgeBeginning()
{
    if (_gapDue == Verdict::Due && !_gapSeen && !_overflowFirst)
    {
        wrong("no gap record, though the start time " + text(_wish.startTime) + " lies before " + text(_coveredBefore));
    }
    if (_gapDue == Verdict::NotDue && _gapSeen)
    {
        wrong("a gap record, though the buffer reaches back to the start time " + text(_wish.startTime));
    }
}

void Oracle::close()
{
    _open = false;
}

bool Oracle::isOfferedAgain(const Identity& identity)
{
    const bool awaited = _awaitingRepeat;
    _awaitingRepeat = false;
    if (!awaited)
    {
        return false;
    }
    if (identity == _lastSeen)
    {
        ++_account.offeredAgain;
        return true;
    }
    if (identity.type != overflowNotification)
    {
        wrong("after a retry of " + text(_lastSeen.type) + " at " + text(_lastSeen.time) + " came " +
              text(identity.type) + " at " + text(identity.time));
    }
    return false;
}

void Oracle::received(const OrvOamSpiNbiNotificationValue_1& record)
{
    if (!_open)
    {
        wrong("a call after the end, type " + text(record.notificationType));
        return;
    }
    const bool isControl = record.notificationType >= overflowNotification;
    Mark mark = Mark();
    const bool derived = _live && _wish.derivesDeletes() && record.notificationType == objectDeleted;
    if (!isControl && !(derived ? parseDerived(record, mark) : parse(record, mark)))
    {
        wrong(std::string("not as it was pushed: ") + (record.dn == nullptr ? "(null)" : record.dn));
        return;
    }
    const Identity identity = {record.notificationType, record.eventTime, mark.producer, mark.number};
    if (isOfferedAgain(identity))
    {
        return;
    }
    _lastSeen = identity;
    if (_deregistered)
    {
        wrong("a call after the answer that it is deregistering");
    }
    if (_completed)
    {
        wrong("type " + text(record.notificationType) + " after notification complete");
    }
    if (++_calls == 1)
    {
        _gapSeen = record.notificationType == replayGap;
        _overflowFirst = record.notificationType == overflowNotification;
        if (_begun)
        {
            judgeBeginning();
        }
    }
    _lastWasLive = !isControl && _live;
    if (isControl)
    {
        control(record);
    }
    else
    {
        _account.derivedDeletes += derived ? 1 : 0;
        regular(mark);
    }
}

void Oracle::answered(OrvReturnT answer)
{
    _awaitingRepeat = answer == OrvRetry;
    _deregistered = _deregistered || answer == OrvNotFound;
}

void Oracle::regular(const Mark& mark)
{
    ++_account.delivered;
    const std::string name = dnOf(mark);
    if (!_wish.selection.wants(mark.producer) || !_wish.selection.wantsType(typeOf(mark.number)))
    {
        wrong(name + " is not wanted");
        return;
    }
    if (_wish.stopTime > 0 && mark.stamp > _wish.stopTime)
    {
        wrong(name + " lies behind the stop time " + text(_wish.stopTime));
    }
    if (mark.number <= _goneBefore[mark.producer])
    {
        wrong(name + " was pushed before the last restart");
    }
    Line& line = _lines[mark.producer];
    if (_live)
    {
        live(mark);
        checkOrder(mark, line);
        checkClock(mark);
    }
    else
    {
        replayed(mark);
    }
    if (line.seen && mark.number <= line.last)
    {
        wrong(name + " came after " + text(line.last));
    }
    else if (line.seen)
    {
        measurePurge(mark.producer, checkMissing(mark.producer, line.last, mark.number, line.explained));
    }
    else
    {
        line.first = mark.number;
        line.firstExplained = line.explained;
        if (_begun && !_anyBeginning)
        {
            checkMissing(mark.producer, _mustFrom[mark.producer], mark.number, line.explained);
        }
    }
    line.seen = true;
    line.last = std::max(line.last, mark.number);
}

void Oracle::replayed(const Mark& mark)
{
    ++_account.replayed;
    if (mark.stamp < _wish.startTime)
    {
        wrong(dnOf(mark) + " was replayed, but lies before the start time " + text(_wish.startTime));
    }
    if (mark.stamp <= _lastReplayed)
    {
        wrong(dnOf(mark) + " was replayed after " + text(_lastReplayed));
    }
    if (mark.number <= _discardedBefore[mark.producer])
    {
        wrong(dnOf(mark) + " was replayed, but had been discarded by a clock change");
    }
    _lastReplayed = mark.stamp;
}

void Oracle::live(const Mark& mark)
{
    if (mark.number <= _processedBefore[mark.producer])
    {
        wrong(dnOf(mark) + " came live, but had been handled before the subscription");
    }
    _passed = Passed::Last;
    _lastLive = mark;
}

// A record that came before the last one of this producer, and whose push began after the present one had begun, began
// after that last one had ended.
void Oracle::checkOrder(const Mark& mark, Line& line)
{
    if (line.live && line.highestTurnBefore > mark.turn)
    {
        wrong(dnOf(mark) + " or the one before it came behind a record that was pushed later");
    }
    line.live = true;
    line.highestTurnBefore = _highestTurn;
    _highestTurn = std::max(_highestTurn, mark.turn);
}

void Oracle::checkClock(const Mark& mark)
{
    // The changes that were over before the push.
    const uint32_t over = mark.clock / 2;
    if (_begun && _ledger.told(_noticesDue, over, _wish.stopTime) != 0)
    {
        wrong(dnOf(mark) + " came without the notice of an earlier clock change");
    }
    _noticesDue = _begun ? std::max(_noticesDue, over) : _noticesDue;
    // No change since before the push.
    const int64_t lowest = _ledger.lowestStamp();
    if (mark.clock % 2 == 0 && _ledger.clock() == mark.clock && mark.stamp < lowest)
    {
        wrong(dnOf(mark) + " came, but the clock had been set to " + text(lowest));
    }
}

uint32_t Oracle::checkMissing(unsigned int producer, uint32_t after, uint32_t before, uint32_t explained)
{
    const Selection& selection = _wish.selection;
    const uint32_t all = selection.count(after, before);
    uint32_t missing = 0;
    if (all != 0)
    {
        const uint32_t refused = _ledger.refused(producer, after, before, selection);
        missing = all - refused;
        _account.refused += refused;
        const uint32_t later = std::max(after, std::min(std::max(explained, tolerateRestart(producer)), before));
        const uint32_t unexplained =
            selection.count(later, before) - _ledger.refused(producer, later, before, selection);
        if (unexplained != 0)
        {
            wrong(text(unexplained) + " records of producer " + text(producer) + " are missing between " + text(later) +
                  " and " + text(before));
        }
        if (explained > after)
        {
            _account.purged += missing - unexplained;
        }
    }
    return missing;
}

void Oracle::measurePurge(unsigned int producer, uint32_t missing)
{
    if ((_purgeProducers >> producer & 1) == 0)
    {
        return;
    }
    _purgeProducers &= ~(1u << producer);
    _purgeMissing += missing;
    if (_purgeProducers == 0)
    {
        ++_account.purgesMeasured;
        if (_purgeMissing + _purgeOther < _queueLimit)
        {
            wrong("an overflow record for " + text(static_cast<int64_t>(_purgeMissing)) + " records and at most " +
                  text(static_cast<int64_t>(_purgeOther)) + " others, below the limit of " + text(_queueLimit));
        }
    }
}

bool Oracle::hasPassed(const Numbers& numbers) const
{
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        const Line& line = _lines[p];
        if (!_wish.selection.wants(p) || line.last >= numbers[p])
        {
            continue;
        }
        const uint32_t after = std::max(line.last, _mustFrom[p]);
        if (_wish.selection.count(after, numbers[p] + 1) != _ledger.refused(p, after, numbers[p] + 1, _wish.selection))
        {
            return false;
        }
    }
    return true;
}

}  // namespace OrvStress
