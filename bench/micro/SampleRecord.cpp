#include "SampleRecord.h"

#include "Records.h"

namespace OrvBench
{

OrvOamSpiNbiNotificationValue_1& sampleRecord()
{
    static const char DN[] = "ManagedElement=ne1,interfaces=1,interface=eth0,ipv4=1,addr=1";
    static_assert(sizeof(DN) - 1 == 60, "the DN has 60 characters");
    static const OrvTest::Notification record = OrvTest::makeNotification(
        1, DN, objectCreated,
        {OrvTest::int32Attribute("mtu", 1500), OrvTest::stringAttribute("description", "uplink to the core")});
    return *record;
}

}  // namespace OrvBench
