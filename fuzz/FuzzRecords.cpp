#include "FuzzRecords.h"

#include <algorithm>

#include "MoUtils.h"

namespace OrvFuzz
{

namespace
{

const size_t LONG = 70000;

std::string textOf(int32_t type, uint32_t count, const ZelMoAttributeValue_3* values);

std::string textOf(const ZelMoStructMember_3* member)
{
    std::string text;
    for (; member != nullptr; member = member->next)
    {
        const ZelMoAttributeValueContainer_3& value = *member->memberValue;
        text += std::string(member->memberName) + textOf(value.type, value.noOfValues, value.values);
    }
    return "{" + text + "}";
}

// A number counts by all eight bytes, whatever its type; a string or a struct by its content.
std::string textOf(int32_t type, uint32_t count, const ZelMoAttributeValue_3* values)
{
    std::string text = ":" + std::to_string(type) + "=";
    for (uint32_t i = 0; i < count; ++i)
    {
        if (type == ZelMoAttributeString_3 || type == ZelMoAttributeReference_3)
        {
            text += std::string(values[i].str) + ";";
        }
        else if (type == ZelMoAttributeStruct_3)
        {
            text += textOf(values[i].structMembers);
        }
        else
        {
            text += std::to_string(values[i].u64) + ";";
        }
    }
    return text;
}

}  // namespace

bool FuzzRecords::refuses()
{
    const bool now = _mayRefuse && _input.ConsumeIntegral<uint8_t>() == 7;
    _allCopyable = _allCopyable && !now;
    return now;
}

int32_t FuzzRecords::type()
{
    if (!refuses())
    {
        return _input.PickValueInArray({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 13, 16});
    }
    return _input.PickValueInArray({0, 14, 15, 17, -1, 1 << 30});
}

std::string FuzzRecords::text()
{
    std::string text = _input.ConsumeRandomLengthString(64);
    std::replace(text.begin(), text.end(), '\0', '0');
    std::replace(text.begin(), text.end(), MARKER, '1');
    if (_input.ConsumeIntegral<uint8_t>() == 9 && !text.empty())
    {
        const std::string piece = text;
        while (text.size() < LONG)
        {
            text += piece;
        }
    }
    return text;
}

char* FuzzRecords::string()
{
    return refuses() ? nullptr : _blocks.copy(text());
}

ZelMoAttributeValue_3* FuzzRecords::values(int32_t type, uint32_t count, int depth)
{
    if (type == ZelMoAttributeStruct_3 && depth == Orv::MoUtils::MAX_STRUCT_DEPTH)
    {
        _allCopyable = false;
    }
    if (count == 0)
    {
        return _input.ConsumeBool() ? _blocks.make<ZelMoAttributeValue_3>() : nullptr;
    }
    if (refuses())
    {
        return nullptr;
    }
    auto* const made = _blocks.make<ZelMoAttributeValue_3>(count);
    for (uint32_t i = 0; i < count; ++i)
    {
        if (type == ZelMoAttributeString_3 || type == ZelMoAttributeReference_3)
        {
            made[i].str = string();
        }
        else if (type == ZelMoAttributeStruct_3)
        {
            made[i].structMembers = members(depth + 1);
        }
        else
        {
            made[i].u64 = _input.ConsumeIntegral<uint64_t>();
        }
    }
    return made;
}

// Deeper than what is copied only where a refusal is welcome.
ZelMoStructMember_3* FuzzRecords::members(int depth)
{
    const int deepest = Orv::MoUtils::MAX_STRUCT_DEPTH - (_mayRefuse ? -2 : 1);
    ZelMoStructMember_3* head = nullptr;
    for (size_t i = _input.ConsumeIntegralInRange<size_t>(0, 3); i > 0 && depth <= deepest; --i)
    {
        auto* const member = _blocks.make<ZelMoStructMember_3>();
        member->memberName = string();
        member->next = head;
        head = member;
        if (!refuses())
        {
            member->memberValue = _blocks.make<ZelMoAttributeValueContainer_3>();
            const bool deepEnough = depth >= deepest;
            const int32_t chosen = type();
            member->memberValue->type = deepEnough && chosen == ZelMoAttributeStruct_3 ? 1 : chosen;
            member->memberValue->noOfValues = _input.ConsumeIntegralInRange<uint32_t>(0, 2);
            member->memberValue->values = values(member->memberValue->type, member->memberValue->noOfValues, depth);
        }
    }
    return head;
}

ZelMoNamedAttributeValueContainer_3** FuzzRecords::attributes(size_t most, const std::vector<std::string>& names)
{
    const size_t count = _input.ConsumeIntegralInRange<size_t>(0, most);
    if (count == 0 && _input.ConsumeBool())
    {
        return nullptr;
    }
    auto** const made = _blocks.make<ZelMoNamedAttributeValueContainer_3*>(count + 1);
    for (size_t i = 0; i < count; ++i)
    {
        made[i] = _blocks.make<ZelMoNamedAttributeValueContainer_3>();
        const size_t name = _input.ConsumeIntegralInRange<size_t>(0, names.size());
        made[i]->name = name < names.size() ? _blocks.copy(names[name]) : string();
        made[i]->type = type();
        made[i]->noOfValues = _input.ConsumeIntegralInRange<uint32_t>(0, 3);
        made[i]->values = values(made[i]->type, made[i]->noOfValues, 0);
    }
    return made;
}

std::string textOf(const OrvOamSpiNbiNotificationValue_1& notification)
{
    std::string text = std::to_string(notification.eventTime) + " " + std::to_string(notification.txHandle) + " " +
                       std::to_string(notification.sequenceNumber) + " " +
                       std::to_string(notification.notificationType) + " " +
                       (notification.dn != nullptr ? notification.dn : "null");
    for (auto at = notification.attributes; at != nullptr && *at != nullptr; ++at)
    {
        text += std::string(" ") + (*at)->name + textOf((*at)->type, (*at)->noOfValues, (*at)->values);
    }
    return text;
}

}  // namespace OrvFuzz
