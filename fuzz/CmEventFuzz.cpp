// A CM event by choice of the input, published by the router to the loaded service. Its attributes can all be copied:
// a message that is refused would be lost on the event thread, as it is meant to be. What is delivered is held against
// a plain translation of the event.
#include "FuzzCheck.h"
#include "FuzzRecords.h"
#include "FuzzService.h"
#include "Records.h"

using OrvFuzz::FuzzRecords;
using OrvFuzz::FuzzService;

namespace
{

// The classes that FuzzService has told the model repository.
bool isNotifiable(const std::string& dn, const std::string& attribute)
{
    const size_t comma = dn.rfind(',');
    const std::string last = comma == std::string::npos ? dn : dn.substr(comma + 1);
    const std::string name = last.substr(0, last.find('='));
    return (name == "A" && (attribute == "a" || attribute == "x")) ||
           (name == "B" && (attribute == "a" || attribute == "c"));
}

// What the event has to give; the numbers go on from event to event.
class Translation
{
public:
    std::vector<std::string> of(const ZelOamSpiCmEvent_Notification_1& event)
    {
        _records.clear();
        for (auto at = event.txOperations; *at != nullptr && translate(event, **at); ++at)
        {
        }
        return _records;
    }

private:
    // False if the rest of the event is dropped.
    bool translate(const ZelOamSpiCmEvent_Notification_1& event, const ZelOamSpiCmEvent_TxOperation_1& operation)
    {
        const std::string dn = operation.dn;
        if (dn.empty())
        {
            return true;
        }
        if (operation.notificationType != attributeChanged)
        {
            return add(event, operation, operation.attributes);
        }
        for (auto attribute = operation.attributes; *attribute != nullptr; ++attribute)
        {
            if (isNotifiable(dn, (*attribute)->name))
            {
                add(event, operation, attribute);
            }
        }
        return true;
    }

    bool add(const ZelOamSpiCmEvent_Notification_1& event, const ZelOamSpiCmEvent_TxOperation_1& operation,
             ZelMoNamedAttributeValueContainer_3** attributes)
    {
        const uint32_t number = _nextNumber++;
        if (operation.notificationType < objectCreated || operation.notificationType > overflowNotification)
        {
            return false;
        }
        const OrvOamSpiNbiNotificationValue_1 record = {static_cast<int64_t>(event.eventTime / 1000),
                                                        const_cast<char*>(operation.dn),
                                                        event.txHandle,
                                                        number,
                                                        operation.notificationType,
                                                        attributes};
        _records.push_back(OrvFuzz::textOf(record));
        return true;
    }

    std::vector<std::string> _records;
    uint32_t _nextNumber = 1;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Translation translation;
    FuzzedDataProvider input(data, size);
    FuzzService& service = FuzzService::instance();
    FuzzRecords records(input, false);
    OrvTest::CmEvent event(input.ConsumeIntegral<uint64_t>(), input.ConsumeIntegral<uint32_t>());
    const size_t operations = input.ConsumeIntegralInRange<size_t>(1, 6);
    for (size_t i = 0; i < operations; ++i)
    {
        const std::string usual = input.PickValueInArray({"A=1", "A=1,B=1", "A=1,B=2", "C=1", "B", ""});
        event.operation(input.ConsumeBool() ? usual : records.text(),
                        input.PickValueInArray({1, 2, 3, 3, 3, 4, 0, 5, -1}));
    }
    for (auto at = event.get().txOperations; *at != nullptr; ++at)
    {
        ZelMoNamedAttributeValueContainer_3** const attributes = records.attributes(4, {"a", "b", "c", "x"});
        const bool required = (*at)->notificationType == attributeChanged;
        (*at)->attributes = attributes != nullptr || !required ? attributes : (*at)->attributes;
    }
    service.framework().router().publish(event);
    OrvFuzz::check(service.received() == translation.of(event.get()), "delivered otherwise than the event says");
    return 0;
}
