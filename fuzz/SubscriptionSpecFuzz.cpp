// The input is the text of a subscription, as the command line takes it.
#include <cstdint>

#include "ElementError.h"
#include "FuzzCheck.h"
#include "RegularExpression.h"
#include "SubscriptionSpec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using OrvElement::SubscriptionSpec;
    const int64_t now = 1700000000000000;
    try
    {
        const auto spec = SubscriptionSpec::parse(std::string(reinterpret_cast<const char*>(data), size), now);
        OrvFuzz::check(!spec.name.empty(), "no name");
        OrvFuzz::check(spec.filters.empty() || spec.subtrees.empty(), "filters of both forms");
        OrvFuzz::check(spec.heartbeat >= 0 && spec.heartbeat <= SubscriptionSpec::MAX_HEARTBEAT,
                       "a heartbeat too long");
        OrvFuzz::check(spec.startTime >= 0 && spec.stopTime >= 0, "a time before all times");
        OrvFuzz::check(spec.stopTime <= now + SubscriptionSpec::MAX_TIME_TO_STOP * 1000000, "a stop time too late");
        for (const auto& filter : spec.filters)
        {
            OrvFuzz::check(Orv::RegularExpression(filter.second, REG_EXTENDED).isExpressionValid(), "no expression");
        }
    }
    catch (const OrvElement::ElementError&)
    {
    }
    return 0;
}
