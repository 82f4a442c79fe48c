// Up to three notification records by choice of the input, pushed through the loaded service's table. The DN is never
// null, and a null pointer stands only where the interface lets it be: a producer's other ones are its own error. A
// record is delivered as it was pushed, or refused if it cannot be copied.
#include "ExpectedLeak.h"
#include "FuzzCheck.h"
#include "FuzzRecords.h"
#include "FuzzService.h"

using OrvFuzz::FuzzRecords;
using OrvFuzz::FuzzService;

namespace
{

std::string dnOf(FuzzedDataProvider& input, FuzzRecords& records)
{
    static const char* const USUAL[] = {"A=1", "A=1,B=1", "A=1,B=2", "A=2,B=2", "A=1,B=1,C=1", "A=1,B=1,D=1"};
    const size_t choice = input.ConsumeIntegralInRange<size_t>(0, 2 * std::size(USUAL));
    return choice < std::size(USUAL) ? USUAL[choice] : records.text();
}

OrvReturnT push(OrvOamSpiNbiNotificationValue_1& record, bool copyable)
{
    if (copyable)
    {
        return FuzzService::instance().table().pushNotification(record);
    }
    const OrvTest::ExpectedLeak message;
    return FuzzService::instance().table().pushNotification(record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    FuzzService& service = FuzzService::instance();
    std::vector<std::string> expected;
    for (int i = input.ConsumeIntegralInRange<int>(1, 3); i > 0; --i)
    {
        FuzzRecords records(input, true);
        std::string dn = dnOf(input, records);
        OrvOamSpiNbiNotificationValue_1 record = OrvOamSpiNbiNotificationValue_1();
        record.eventTime = input.ConsumeIntegral<int64_t>();
        record.txHandle = input.ConsumeIntegral<uint32_t>();
        record.sequenceNumber = input.ConsumeIntegral<uint32_t>();
        record.notificationType =
            input.ConsumeBool() ? input.ConsumeIntegralInRange<int32_t>(0, 10) : input.ConsumeIntegral<int32_t>();
        record.dn = &dn[0];
        record.attributes = records.attributes(4, {"a", "b", "x"});
        const OrvReturnT result = push(record, records.allCopyable());
        OrvFuzz::check(result == (records.allCopyable() ? OrvOk : OrvFailure), "answer " + std::to_string(result));
        if (result == OrvOk)
        {
            expected.push_back(OrvFuzz::textOf(record));
        }
    }
    OrvFuzz::check(service.received() == expected, "delivered otherwise than pushed");
    return 0;
}
