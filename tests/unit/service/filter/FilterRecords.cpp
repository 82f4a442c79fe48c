#include "FilterRecords.h"

#include <sstream>

namespace OrvTest
{

namespace
{

bool isText(int32_t type)
{
    return type == ZelMoAttributeString_3 || type == ZelMoAttributeReference_3;
}

std::vector<Naive::Value> valuesOf(int32_t type, uint32_t count, const ZelMoAttributeValue_3* values);

std::vector<Naive::Member> membersOf(const ZelMoStructMember_3* member)
{
    std::vector<Naive::Member> members;
    for (; member != nullptr; member = member->next)
    {
        const ZelMoAttributeValueContainer_3& value = *member->memberValue;
        members.push_back({member->memberName, value.type, valuesOf(value.type, value.noOfValues, value.values)});
    }
    return members;
}

std::vector<Naive::Value> valuesOf(int32_t type, uint32_t count, const ZelMoAttributeValue_3* values)
{
    std::vector<Naive::Value> plain(count);
    for (uint32_t i = 0; i < count; ++i)
    {
        if (isText(type))
        {
            plain[i].text = values[i].str;
        }
        else if (type == ZelMoAttributeStruct_3)
        {
            plain[i].members = membersOf(values[i].structMembers);
        }
        else
        {
            plain[i].bits = values[i].u64;
        }
    }
    return plain;
}

void write(std::ostream& out, int32_t type, const std::vector<Naive::Value>& values)
{
    out << ":" << type << "[";
    for (size_t i = 0; i < values.size(); ++i)
    {
        out << (i == 0 ? "" : " ");
        if (isText(type))
        {
            out << '"' << values[i].text << '"';
        }
        else if (type == ZelMoAttributeStruct_3)
        {
            out << "{";
            for (const Naive::Member& member : values[i].members)
            {
                out << " " << member.name;
                write(out, member.type, member.values);
            }
            out << " }";
        }
        else
        {
            out << "0x" << std::hex << values[i].bits << std::dec;
        }
    }
    out << "]";
}

}  // namespace

OrvOamSpiNbiNotificationSubTree_1** FilterRecords::trees(const std::optional<std::vector<Naive::TreeNode>>& trees)
{
    return array<OrvOamSpiNbiNotificationSubTree_1*>(trees, [this](const auto& node) { return tree(node); });
}

OrvOamSpiNbiNotificationSubTree_1* FilterRecords::tree(const Naive::TreeNode& node)
{
    auto* const record = _blocks.make<OrvOamSpiNbiNotificationSubTree_1>();
    record->className = _blocks.copy(node.className);
    record->keyAttribute = node.key ? attribute(*node.key) : nullptr;
    record->attributeMatch = array<ZelMoNamedAttributeValueContainer_3*>(
        node.attributeMatch, [this](const auto& condition) { return attribute(condition); });
    record->attributeSelection = texts(node.attributeSelection);
    record->classSelection = texts(node.classSelection);
    record->containments = trees(node.containments);
    record->structureContainments = array<StructContainment*>(
        node.structContainments, [this](const auto& condition) { return structCondition(condition); });
    return record;
}

StructContainment* FilterRecords::structCondition(const Naive::StructCondition& condition)
{
    auto* const record = _blocks.make<StructContainment>();
    record->attributeName = _blocks.copy(condition.attributeName);
    record->reserved = -1;
    record->members = array<ZelMoNamedAttributeValueContainer_3*>(
        std::make_optional(condition.members), [this](const auto& member) { return attribute(member); });
    return record;
}

OrvOamSpiNbiNotificationValue_1* FilterRecords::notification(const Naive::Change& change)
{
    auto* const record = _blocks.make<OrvOamSpiNbiNotificationValue_1>();
    record->eventTime = change.eventTime;
    record->dn = change.dn ? _blocks.copy(*change.dn) : nullptr;
    record->txHandle = change.txHandle;
    record->sequenceNumber = change.sequenceNumber;
    record->notificationType = change.type;
    record->attributes = array<ZelMoNamedAttributeValueContainer_3*>(
        change.attributes,
        [this](const Naive::Attribute& one)
        {
            ZelMoNamedAttributeValueContainer_3*& shared = _identities[one.identity];
            shared = shared == nullptr ? attribute(one) : shared;
            return shared;
        });
    return record;
}

ZelMoNamedAttributeValueContainer_3* FilterRecords::attribute(const Naive::Attribute& attribute)
{
    auto* const record = _blocks.make<ZelMoNamedAttributeValueContainer_3>();
    record->name = _blocks.copy(attribute.name);
    record->type = attribute.type;
    record->noOfValues = static_cast<uint32_t>(attribute.values.size());
    record->values = valueArray(attribute.type, attribute.values);
    return record;
}

ZelMoAttributeValueContainer_3* FilterRecords::values(int32_t type, const std::vector<Naive::Value>& values)
{
    auto* const record = _blocks.make<ZelMoAttributeValueContainer_3>();
    record->type = type;
    record->noOfValues = static_cast<uint32_t>(values.size());
    record->values = valueArray(type, values);
    return record;
}

ZelMoAttributeValue_3* FilterRecords::valueArray(int32_t type, const std::vector<Naive::Value>& values)
{
    if (values.empty())
    {
        return nullptr;
    }
    auto* const records = _blocks.make<ZelMoAttributeValue_3>(values.size());
    for (size_t i = 0; i < values.size(); ++i)
    {
        if (isText(type))
        {
            records[i].str = _blocks.copy(values[i].text);
        }
        else if (type == ZelMoAttributeStruct_3)
        {
            records[i].structMembers = members(values[i].members);
        }
        else
        {
            records[i].u64 = values[i].bits;
        }
    }
    return records;
}

ZelMoStructMember_3* FilterRecords::members(const std::vector<Naive::Member>& members)
{
    ZelMoStructMember_3* next = nullptr;
    for (auto member = members.rbegin(); member != members.rend(); ++member)
    {
        auto* const record = _blocks.make<ZelMoStructMember_3>();
        record->memberName = _blocks.copy(member->name);
        record->memberValue = values(member->type, member->values);
        record->next = next;
        next = record;
    }
    return next;
}

char** FilterRecords::texts(const std::optional<std::vector<std::string>>& texts)
{
    return array<char*>(texts, [this](const std::string& one) { return _blocks.copy(one); });
}

std::string textOf(const OrvOamSpiNbiNotificationValue_1& notification)
{
    Naive::Change change{notification.eventTime,        std::nullopt,
                         notification.txHandle,         notification.sequenceNumber,
                         notification.notificationType, std::nullopt};
    if (notification.dn != nullptr)
    {
        change.dn = notification.dn;
    }
    if (notification.attributes != nullptr)
    {
        change.attributes.emplace();
        for (ZelMoNamedAttributeValueContainer_3** entry = notification.attributes; *entry != nullptr; ++entry)
        {
            const ZelMoNamedAttributeValueContainer_3& attribute = **entry;
            change.attributes->push_back(
                {attribute.name, attribute.type, valuesOf(attribute.type, attribute.noOfValues, attribute.values), 0});
        }
    }
    return textOf(change);
}

std::string textOf(const Naive::Change& change)
{
    std::ostringstream out;
    out << "type " << change.type << ", dn " << (change.dn ? "\"" + *change.dn + "\"" : "null") << ", time "
        << change.eventTime << ", tx " << change.txHandle << ", number " << change.sequenceNumber << ", attributes";
    if (!change.attributes)
    {
        out << " null";
    }
    else
    {
        for (const Naive::Attribute& attribute : *change.attributes)
        {
            out << " " << textOf(attribute);
        }
        out << " .";
    }
    return out.str();
}

std::string textOf(const Naive::Attribute& attribute)
{
    std::ostringstream out;
    out << attribute.name;
    write(out, attribute.type, attribute.values);
    return out.str();
}

}  // namespace OrvTest
