// The control records: whether each was due, and what follows from it.
#include <algorithm>

#include "Oracle.h"

namespace OrvStress
{

namespace
{

const int64_t SECOND = 1000000;

std::string text(int64_t number)
{
    return std::to_string(number);
}

}  // namespace

void Oracle::control(const OrvOamSpiNbiNotificationValue_1& record)
{
    const int32_t type = record.notificationType;
    const bool bare = record.dn == nullptr && (record.attributes == nullptr || record.attributes[0] == nullptr);
    if (!bare && !bearsADelete(record))
    {
        wrong("a control record of type " + text(type) + " with content" + (record.dn != nullptr ? ": " : "") +
              (record.dn != nullptr ? record.dn : ""));
    }
    _account.derivedControls += bare ? 0 : 1;
    if (type != discardedOld && (record.eventTime < _openTime || record.eventTime > systemTime()))
    {
        wrong("a control record of type " + text(type) + " of the time " + text(record.eventTime));
    }
    switch (type)
    {
        case overflowNotification:
            overflow();
            break;
        case replayGap:
            ++_account.gaps;
            if (_wish.startTime == 0 || _calls != 1)
            {
                wrong("a gap record that is not the first, or without a replay");
            }
            break;
        case replayComplete:
            if (_live)
            {
                wrong("a replay complete record without a replay");
            }
            _live = true;
            break;
        case notificationComplete:
            complete(record.eventTime);
            break;
        case heartbeatNotification:
            heartbeat(record.eventTime);
            break;
        case discardedOld:
            notice(record.eventTime);
            break;
        default:
            wrong("unknown type " + text(type));
            break;
    }
}

bool Oracle::bearsADelete(const OrvOamSpiNbiNotificationValue_1& record) const
{
    const int32_t type = record.notificationType;
    const bool asksTheFilter = type == discardedOld || type == heartbeatNotification || type == notificationComplete;
    Mark mark = Mark();
    if (!_wish.derivesDeletes() || !asksTheFilter || record.attributes != nullptr || !parseDn(record.dn, mark) ||
        dnOf(mark) != record.dn || typeOf(mark.number) != objectDeleted || !_wish.selection.wants(mark.producer))
    {
        return false;
    }
    const bool isLast = mark.producer == _lastLive.producer && mark.number == _lastLive.number;
    return (_passed == Passed::Last && isLast) || tolerateOtherDelete(mark, type);
}

bool Oracle::tolerateOtherDelete(const Mark& mark, int32_t type) const
{
    const bool refused = type == notificationComplete && mark.number > _lines[mark.producer].last;
    return (_passed == Passed::Unknown || refused) && mark.number <= _ledger.begun()[mark.producer];
}

void Oracle::toleratePurged()
{
    const Numbers begun = _ledger.begun();
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        _lines[p].explained = begun[p];
    }
    _noticesDue = std::max(_noticesDue, tolerateChange(_ledger.clock()));
}

void Oracle::overflow()
{
    ++_account.overflows;
    const uint32_t noticesDue = _noticesDue;
    toleratePurged();
    bool allSeen = true;
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        allSeen = allSeen && (_lines[p].seen || !_wish.selection.wants(p));
    }
    // The first of a producer does not tell how many were missing before it.
    _purgeProducers = allSeen ? _wish.selection.producers : 0;
    _purgeMissing = 0;
    // An earlier overflow record, a record put back after a retry, gap and replay complete, notices, heartbeats.
    _purgeOther = 2 + (_live ? 0 : 2) + _ledger.told(noticesDue, _noticesDue, _wish.stopTime);
    if (_wish.heartbeat)
    {
        const long long interval = _wish.heartbeatInterval;
        _purgeOther += 1 + (interval > 0 ? static_cast<uint64_t>((systemTime() - _openTime) / (interval * SECOND)) : 0);
    }
    _live = true;
    _passed = Passed::Unknown;
}

void Oracle::notice(int64_t newTime)
{
    ++_account.notices;
    const uint32_t index = _ledger.clockChangeTo(newTime);
    if (index == 0)
    {
        wrong("a notice of a clock change to " + text(newTime) + " that did not empty the buffer");
        return;
    }
    if (!_live)
    {
        wrong("a notice of a clock change before the replay complete record");
    }
    if (index <= _lastNotice)
    {
        wrong("the notice of clock change " + text(index) + " after that of " + text(_lastNotice) +
              ", or of one before the subscription");
    }
    if (_begun && _ledger.told(_noticesDue, index - 1, _wish.stopTime) != 0)
    {
        wrong("the notice of a clock change before number " + text(index) + " is missing");
    }
    if (_wish.stopTime > 0 && newTime > _wish.stopTime)
    {
        wrong("a notice of a time behind the stop time");
    }
    _lastNotice = index;
    _noticesDue = _begun ? std::max(_noticesDue, index) : _noticesDue;
}

void Oracle::heartbeat(int64_t time)
{
    ++_account.heartbeats;
    ++_heartbeats;
    if (!_live)
    {
        wrong("a heartbeat before the replay complete record");
    }
    const long long interval = _wish.heartbeatInterval;
    if (!_wish.heartbeat || (interval == 0 && _heartbeats > 1))
    {
        wrong("a heartbeat that was not asked for");
    }
    if (time < tolerateTimer(_openTime + static_cast<int64_t>(_heartbeats) * interval * SECOND))
    {
        wrong("heartbeat " + text(static_cast<int64_t>(_heartbeats)) + " is early");
    }
    if (_wish.stopTime > 0 && time > _wish.stopTime)
    {
        wrong("a heartbeat behind the stop time");
    }
}

void Oracle::complete(int64_t time)
{
    ++_account.completions;
    if (_wish.stopTime == 0 || time < tolerateTimer(_wish.stopTime))
    {
        wrong("notification complete at " + text(time) + ", stop time " + text(_wish.stopTime));
    }
    if (!_live)
    {
        wrong("notification complete before the replay complete record");
    }
    _completed = true;
    if (_begun)
    {
        judgeEnd();
    }
}

// A replay that ends in the past, and whose beginning is certain: all of it has come.
void Oracle::judgeEnd()
{
    if (!_wish.toCheckpoint || !_seamJudged)
    {
        return;
    }
    ++_account.endsJudged;
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        const Line& line = _lines[p];
        if (_wish.selection.wants(p))
        {
            measurePurge(p,
                         checkMissing(p, line.seen ? line.last : _mustFrom[p], _wish.to.before[p] + 1, line.explained));
        }
    }
}

}  // namespace OrvStress
