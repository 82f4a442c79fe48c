#include "DemoRecorder.h"

#include <Poco/Timestamp.h>

#include "OrvThreadLock.h"
#include "RecordText.h"

namespace OrvElement
{

typedef Orv::OrvThreadLock<Poco::FastMutex> Lock;

void DemoRecorder::record(const std::string& subscriber, const OrvOamSpiNbiNotificationValue_1& record)
{
    const Lock lock(_mutex);
    if (record.notificationType == heartbeatNotification)
    {
        ++_heartbeats[subscriber];
    }
    else
    {
        _received[subscriber].push_back(recordSummary(record));
    }
    _grown.broadcast();
}

std::vector<std::string> DemoRecorder::waitFor(const std::string& subscriber, size_t number, long timeout)
{
    const Poco::Timestamp begin;
    const Lock lock(_mutex);
    while (_received[subscriber].size() < number)
    {
        const long left = timeout - static_cast<long>(begin.elapsed() / 1000);
        if (left <= 0)
        {
            break;
        }
        _grown.tryWait(_mutex, left);
    }
    return _received[subscriber];
}

std::vector<std::string> DemoRecorder::subscribers() const
{
    const Lock lock(_mutex);
    std::vector<std::string> names;
    for (const auto& entry : _received)
    {
        names.push_back(entry.first);
    }
    return names;
}

unsigned int DemoRecorder::heartbeats(const std::string& subscriber) const
{
    const Lock lock(_mutex);
    const auto found = _heartbeats.find(subscriber);
    return found != _heartbeats.end() ? found->second : 0;
}

}  // namespace OrvElement
