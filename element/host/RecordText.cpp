#include "RecordText.h"

#include <nlohmann/json.hpp>

#include "TimeText.h"

namespace OrvElement
{

namespace
{

typedef nlohmann::ordered_json Json;

std::string attributeTypeName(ZelOamSpiMoAttributeType_3 type)
{
    static const char* const names[] = {"",       "int8",   "int16",  "int32",   "int64",     "uint8",       "uint16",
                                        "uint32", "uint64", "string", "boolean", "reference", "enumeration", "struct",
                                        "",       "",       "double"};
    const bool known = type >= 1 && type <= 16 && names[type][0] != '\0';
    return known ? names[type] : "type" + std::to_string(type);
}

Json text(const char* value)
{
    return value != nullptr ? Json(value) : Json(nullptr);
}

Json structMembers(const ZelMoStructMember_3* first);

// Numbers of 64 bits are strings, as JSON for YANG has them: most readers of JSON keep 53 bits of a number.
Json value(ZelOamSpiMoAttributeType_3 type, const ZelMoAttributeValue_3& value)
{
    switch (type)
    {
        case ZelMoAttributeInt8_3:
            return value.i8;
        case ZelMoAttributeInt16_3:
            return value.i16;
        case ZelMoAttributeInt32_3:
            return value.i32;
        case ZelMoAttributeInt64_3:
            return std::to_string(value.i64);
        case ZelMoAttributeUint8_3:
            return value.u8;
        case ZelMoAttributeUint16_3:
            return value.u16;
        case ZelMoAttributeUint32_3:
            return value.u32;
        case ZelMoAttributeUint64_3:
            return std::to_string(value.u64);
        case ZelMoAttributeString_3:
            return text(value.str);
        case ZelMoAttributeBoolean_3:
            return value.boolean != 0;
        case ZelMoAttributeReference_3:
            return text(value.ref);
        case ZelMoAttributeEnumeration_3:
            return value.enumeration;
        case ZelMoAttributeDouble_3:
            return value.f64;
        case ZelMoAttributeStruct_3:
            return structMembers(value.structMembers);
        default:
            return nullptr;
    }
}

Json values(ZelOamSpiMoAttributeType_3 type, uint32_t number, const ZelMoAttributeValue_3* first)
{
    Json array = Json::array();
    for (uint32_t i = 0; i < number; ++i)
    {
        array.push_back(value(type, first[i]));
    }
    return array;
}

Json structMembers(const ZelMoStructMember_3* first)
{
    Json array = Json::array();
    for (const ZelMoStructMember_3* member = first; member != nullptr; member = member->next)
    {
        const ZelMoAttributeValueContainer_3& container = *member->memberValue;
        array.push_back(Json{{"name", member->memberName},
                             {"type", attributeTypeName(container.type)},
                             {"values", values(container.type, container.noOfValues, container.values)}});
    }
    return array;
}

Json attributes(ZelMoNamedAttributeValueContainer_3** list)
{
    Json array = Json::array();
    for (; list != nullptr && *list != nullptr; ++list)
    {
        const ZelMoNamedAttributeValueContainer_3& attribute = **list;
        array.push_back(Json{{"name", attribute.name},
                             {"type", attributeTypeName(attribute.type)},
                             {"values", values(attribute.type, attribute.noOfValues, attribute.values)}});
    }
    return array;
}

bool hasDn(const OrvOamSpiNbiNotificationValue_1& record)
{
    return record.dn != nullptr;
}

std::string compact(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// "name=value", with one value alone and several in brackets; a struct's members look the same, in braces.
std::string attributeText(const Json& attribute);

std::string valueText(const Json& value, bool isNumber)
{
    if (isNumber)
    {
        return value.get<std::string>();
    }
    if (!value.is_array())
    {
        return compact(value);
    }
    std::string members;
    for (const Json& member : value)
    {
        members += (members.empty() ? "" : " ") + attributeText(member);
    }
    return "{" + members + "}";
}

std::string attributeText(const Json& attribute)
{
    const Json& all = attribute["values"];
    const bool isNumber = attribute["type"] == attributeTypeName(ZelMoAttributeInt64_3) ||
                          attribute["type"] == attributeTypeName(ZelMoAttributeUint64_3);
    std::string list;
    for (const Json& one : all)
    {
        list += (list.empty() ? "" : ", ") + valueText(one, isNumber);
    }
    return attribute["name"].get<std::string>() + "=" + (all.size() == 1 ? list : "[" + list + "]");
}

}  // namespace

std::string notificationTypeName(int32_t type)
{
    static const char* const names[] = {
        "objectCreated",  "objectDeleted",        "attributeChanged",      "overflowNotification", "replayGap",
        "replayComplete", "notificationComplete", "heartbeatNotification", "discardedOld"};
    return type >= objectCreated && type <= discardedOld ? names[type - 1] : "type" + std::to_string(type);
}

std::string recordAsText(const std::string& subscription, const OrvOamSpiNbiNotificationValue_1& record)
{
    std::string line =
        subscription + " " + notificationTypeName(record.notificationType) + " " + formatTime(record.eventTime);
    if (hasDn(record))
    {
        line += std::string(" ") + record.dn + " tx=" + std::to_string(record.txHandle) +
                " seq=" + std::to_string(record.sequenceNumber);
        for (const Json& attribute : attributes(record.attributes))
        {
            line += " " + attributeText(attribute);
        }
    }
    return line;
}

std::string recordSummary(const OrvOamSpiNbiNotificationValue_1& record)
{
    std::string text = notificationTypeName(record.notificationType);
    if (hasDn(record))
    {
        text += std::string(" ") + record.dn;
        for (const Json& attribute : attributes(record.attributes))
        {
            text += " " + attributeText(attribute);
            if (record.notificationType == attributeChanged)
            {
                break;
            }
        }
    }
    return text;
}

std::string recordAsJson(const std::string& subscription, const OrvOamSpiNbiNotificationValue_1& record)
{
    Json json{{"subscription", subscription},
              {"type", notificationTypeName(record.notificationType)},
              {"eventTime", formatTime(record.eventTime)}};
    if (hasDn(record))
    {
        json["dn"] = record.dn;
        json["txHandle"] = record.txHandle;
        json["sequenceNumber"] = record.sequenceNumber;
        json["attributes"] = attributes(record.attributes);
    }
    return compact(json);
}

}  // namespace OrvElement
