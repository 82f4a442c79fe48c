#include "AttributeValues.h"

#include <libyang/libyang.h>

#include <algorithm>
#include <charconv>

#include "DataTree.h"
#include "ObjectKey.h"
#include "SchemaNodes.h"

namespace OrvElement
{
namespace
{

// Control characters that no YANG value holds.
const char SEPARATOR = '\x01';
const char STRUCT_BEGIN = '\x02';
const char STRUCT_END = '\x03';

bool isStruct(const lyd_node* node)
{
    return node->schema->nodetype == LYS_CONTAINER;
}

bool hasPresence(const lyd_node* container)
{
    return (container->schema->flags & LYS_PRESENCE) != 0;
}

// The members that a struct has, in the order of the data.
struct Member
{
    const lysc_node* schema;
    AttributeNodes nodes;
};

std::vector<Member> membersOf(const lyd_node* container)
{
    std::vector<Member> members;
    for (const lyd_node* child = lyd_child(container); child; child = child->next)
    {
        if (child->schema->nodetype & LYS_ANYDATA)
        {
            continue;
        }
        if (members.empty() || members.back().schema != child->schema)
        {
            members.push_back({child->schema, {}});
        }
        members.back().nodes.push_back(child);
    }
    return members;
}

double toDouble(const std::string& text)
{
    double result = 0;
    std::from_chars(text.data(), text.data() + text.size(), result);
    return result;
}

ZelMoAttributeValue_3 termValue(ValueArena& arena, const lyd_node* node, ZelOamSpiMoAttributeType_3 type)
{
    const lyd_value& stored = reinterpret_cast<const lyd_node_term*>(node)->value;
    ZelMoAttributeValue_3 value{};
    switch (type)
    {
        case ZelMoAttributeInt8_3:
            value.i8 = stored.int8;
            break;
        case ZelMoAttributeInt16_3:
            value.i16 = stored.int16;
            break;
        case ZelMoAttributeInt32_3:
            value.i32 = stored.int32;
            break;
        case ZelMoAttributeInt64_3:
            value.i64 = stored.int64;
            break;
        case ZelMoAttributeUint8_3:
            value.u8 = stored.uint8;
            break;
        case ZelMoAttributeUint16_3:
            value.u16 = stored.uint16;
            break;
        case ZelMoAttributeUint32_3:
            value.u32 = stored.uint32;
            break;
        case ZelMoAttributeUint64_3:
            value.u64 = stored.uint64;
            break;
        case ZelMoAttributeBoolean_3:
            // A leaf of type empty says yes by being there.
            value.boolean = stored.realtype->basetype == LY_TYPE_EMPTY || stored.boolean;
            break;
        case ZelMoAttributeReference_3:
            value.ref = arena.text(valueText(node));
            break;
        case ZelMoAttributeEnumeration_3:
            value.enumeration = stored.enum_item->value;
            break;
        case ZelMoAttributeDouble_3:
            value.f64 = toDouble(valueText(node));
            break;
        default:
            value.str = arena.text(valueText(node));
            break;
    }
    return value;
}

std::vector<ZelMoAttributeValue_3> valuesOf(ValueArena& arena, const AttributeNodes& nodes,
                                            ZelOamSpiMoAttributeType_3 type);

ZelMoStructMember_3* structMembers(ValueArena& arena, const lyd_node* container)
{
    const std::vector<Member> members = membersOf(container);
    ZelMoStructMember_3* head = nullptr;
    for (auto member = members.rbegin(); member != members.rend(); ++member)
    {
        const ZelOamSpiMoAttributeType_3 type = typeCode(member->schema);
        const std::vector<ZelMoAttributeValue_3> values = valuesOf(arena, member->nodes, type);
        if (!values.empty())
        {
            head = arena.structMember(structMemberName(member->schema), type, values, head);
        }
    }
    return head;
}

std::vector<ZelMoAttributeValue_3> valuesOf(ValueArena& arena, const AttributeNodes& nodes,
                                            ZelOamSpiMoAttributeType_3 type)
{
    std::vector<ZelMoAttributeValue_3> values;
    for (const lyd_node* node : nodes)
    {
        ZelMoAttributeValue_3 value{};
        if (!isStruct(node))
        {
            value = termValue(arena, node, type);
        }
        else
        {
            value.structMembers = structMembers(arena, node);
            if (!value.structMembers && !hasPresence(node))
            {
                continue;
            }
        }
        values.push_back(value);
    }
    return values;
}

std::vector<ZelMoAttributeValue_3> containerKeyValue(ValueArena& arena)
{
    ZelMoAttributeValue_3 value{};
    value.str = arena.text(CONTAINER_KEY);
    return {value};
}

}  // namespace

std::string structMemberName(const lysc_node* schema)
{
    for (const lysc_node* sibling : dataNodes(lysc_data_parent(schema), nullptr))
    {
        if (std::string(sibling->name) == schema->name)
        {
            return sibling == schema ? schema->name : qualifiedName(schema);
        }
    }
    return schema->name;
}

ZelMoNamedAttributeValueContainer_3* attributeOf(ValueArena& arena, const ModelAttribute& attribute,
                                                 const AttributeNodes& nodes)
{
    return arena.attribute(attribute.name, attribute.type, valuesOf(arena, nodes, attribute.type));
}

ZelMoNamedAttributeValueContainer_3* containerKeyOf(ValueArena& arena, const ModelAttribute& attribute)
{
    return arena.attribute(attribute.name, attribute.type, containerKeyValue(arena));
}

ZelMoAttributeValueContainer_3* readValuesOf(ValueArena& arena, const ModelAttribute& attribute,
                                             const AttributeNodes& nodes)
{
    return arena.container(attribute.type,
                           attribute.schema ? valuesOf(arena, nodes, attribute.type) : containerKeyValue(arena));
}

std::string valueSignature(const AttributeNodes& nodes)
{
    std::vector<std::string> parts;
    for (const lyd_node* node : nodes)
    {
        if (!isStruct(node))
        {
            parts.push_back(valueText(node) + SEPARATOR);
            continue;
        }
        std::string content;
        for (const Member& member : membersOf(node))
        {
            const std::string signature = valueSignature(member.nodes);
            if (!signature.empty())
            {
                content += qualifiedName(member.schema) + STRUCT_BEGIN + signature + STRUCT_END;
            }
        }
        if (!content.empty() || hasPresence(node))
        {
            parts.push_back(content + SEPARATOR);
        }
    }
    if (!nodes.empty() && nodes.front()->schema->nodetype == LYS_LEAFLIST &&
        !lysc_is_userordered(nodes.front()->schema))
    {
        std::sort(parts.begin(), parts.end());
    }
    std::string signature;
    for (const std::string& part : parts)
    {
        signature += part;
    }
    return signature;
}

bool allDefault(const AttributeNodes& nodes)
{
    return std::all_of(nodes.begin(), nodes.end(),
                       [](const lyd_node* node)
                       {
                           if (!isStruct(node))
                           {
                               return (node->flags & LYD_DEFAULT) || lyd_is_default(node);
                           }
                           const std::vector<Member> members = membersOf(node);
                           return std::all_of(members.begin(), members.end(),
                                              [](const Member& member) { return allDefault(member.nodes); });
                       });
}

}  // namespace OrvElement
