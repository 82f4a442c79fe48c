#include "ServiceHost.h"

#include <cstdio>
#include <stdexcept>

#include "Clock.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

const int WARNING = 4;
const int64_t PATIENCE = 60 * NANOSECONDS;

void printWarning(const OrvTest::LogLine& line)
{
    if (line.source == OrvTest::LogLine::log && line.level <= WARNING)
    {
        std::fprintf(stderr, "%s: %s\n", line.function.c_str(), line.text.c_str());
    }
}

}  // namespace

void requireOk(OrvReturnT result, const char* call)
{
    if (result != OrvOk)
    {
        throw std::runtime_error(std::string(call) + " answered " + std::to_string(result));
    }
}

ServiceHost::ServiceHost(const std::string& library, unsigned int storeSize)
    : _component(_framework, library), _storeSize(storeSize)
{
    _framework.log().keepNothing(printWarning);
    requireOk(_component.initWithConfiguration(OrvTest::configurationWithBufferSize(std::to_string(storeSize))),
              "zelLCMinit");
    requireOk(_component.start(), "start");
}

void ServiceHost::fillStore()
{
    OrvOamSpiNbiNotificationValue_1 record = benchRecord();
    record.sequenceNumber = 0;
    record.eventTime = 0;
    for (unsigned int i = 0; i <= _storeSize; ++i)
    {
        ++record.eventTime;
        requireOk(table().pushNotification(record), "pushNotification");
    }
    const int64_t end = nowNanoseconds() + PATIENCE;
    long long aged = 0;
    while (aged == 0)
    {
        if (nowNanoseconds() > end)
        {
            throw std::runtime_error("the store does not get full");
        }
        sleepUntil(nowNanoseconds() + MILLISECOND);
        requireOk(table().getLastAgedNotificationTime(&aged), "getLastAgedNotificationTime");
    }
}

}  // namespace OrvBench
