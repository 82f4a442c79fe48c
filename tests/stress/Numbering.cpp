#include "Numbering.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace OrvStress
{

namespace
{

const uint32_t TYPES = 3;

// Reads all but the attributes.
bool parseHead(const OrvOamSpiNbiNotificationValue_1& record, Mark& mark)
{
    mark.turn = record.txHandle;
    return parseDn(record.dn, mark) && dnOf(mark) == record.dn && record.eventTime == mark.stamp &&
           record.notificationType == typeOf(mark.number);
}

// How many numbers from 1 to `last` have this type.
uint32_t countOfType(int32_t type, uint32_t last)
{
    const uint32_t remainder = static_cast<uint32_t>(type) - 1;
    const uint32_t withZero = last / TYPES + (last % TYPES >= remainder ? 1 : 0);
    return remainder == 0 ? withZero - 1 : withZero;
}

}  // namespace

int64_t systemTime()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

int32_t typeOf(uint32_t number)
{
    return static_cast<int32_t>(number % TYPES) + objectCreated;
}

std::string dnOf(const Mark& mark)
{
    char text[96];
    std::snprintf(text, sizeof(text), "Producer=%u,Record=%" PRIu32 ",%s=%" PRId64, mark.producer, mark.number,
                  OBJECT_CLASS, mark.stamp);
    return text;
}

bool parseDn(const char* dn, Mark& mark)
{
    return dn != nullptr &&
           std::sscanf(dn, "Producer=%u,Record=%" SCNu32 ",Stamp=%" SCNd64, &mark.producer, &mark.number,
                       &mark.stamp) == 3 &&
           mark.producer < PRODUCERS;
}

bool parse(const OrvOamSpiNbiNotificationValue_1& record, Mark& mark)
{
    if (!parseHead(record, mark) || record.attributes == nullptr || record.attributes[0] == nullptr ||
        record.attributes[1] != nullptr)
    {
        return false;
    }
    const ZelMoNamedAttributeValueContainer_3& attribute = *record.attributes[0];
    if (std::strcmp(attribute.name, ATTRIBUTE) != 0 || attribute.type != 8 || attribute.noOfValues != 1)
    {
        return false;
    }
    mark.clock = static_cast<uint32_t>(attribute.values[0].u64);
    return attribute.values[0].u64 == valueOf(mark);
}

bool parseDerived(const OrvOamSpiNbiNotificationValue_1& record, Mark& mark)
{
    mark.clock = 1;
    return parseHead(record, mark) && record.notificationType == objectDeleted && record.attributes == nullptr;
}

uint64_t valueOf(const Mark& mark)
{
    return static_cast<uint64_t>(mark.number) << 32 | mark.clock;
}

MarkedRecord::MarkedRecord(const Mark& mark)
    : _dn(dnOf(mark)),
      _value(),
      _attribute{ATTRIBUTE, 8, 1, &_value},
      _attributes{&_attribute, nullptr},
      _record{mark.stamp, &_dn[0], mark.turn, mark.number, typeOf(mark.number), _attributes}
{
    _value.u64 = valueOf(mark);
}

Selection Selection::everything()
{
    return {(1u << PRODUCERS) - 1, 1u << objectCreated | 1u << objectDeleted | 1u << attributeChanged};
}

uint32_t Selection::count(uint32_t after, uint32_t before) const
{
    uint32_t count = 0;
    if (before > after + 1)
    {
        for (int32_t type = objectCreated; type <= attributeChanged; ++type)
        {
            if (wantsType(type))
            {
                count += countOfType(type, before - 1) - countOfType(type, after);
            }
        }
    }
    return count;
}

}  // namespace OrvStress
