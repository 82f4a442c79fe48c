#include "SchemaNodes.h"

#include <libyang/libyang.h>

namespace OrvElement
{

std::vector<const lysc_node*> dataNodes(const lysc_node* parent, const lysc_module* module)
{
    std::vector<const lysc_node*> nodes;
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, parent, module, 0)))
    {
        if (node->nodetype & (LYS_CONTAINER | LYS_LIST | LYS_LEAF | LYS_LEAFLIST))
        {
            nodes.push_back(node);
        }
    }
    return nodes;
}

ZelOamSpiMoAttributeType_3 typeCode(const lysc_node* schema)
{
    if (schema->nodetype == LYS_CONTAINER)
    {
        return ZelMoAttributeStruct_3;
    }
    const lysc_type* const type = schema->nodetype == LYS_LEAF
                                      ? reinterpret_cast<const lysc_node_leaf*>(schema)->type
                                      : reinterpret_cast<const lysc_node_leaflist*>(schema)->type;
    switch (type->basetype)
    {
        case LY_TYPE_INT8:
            return ZelMoAttributeInt8_3;
        case LY_TYPE_INT16:
            return ZelMoAttributeInt16_3;
        case LY_TYPE_INT32:
            return ZelMoAttributeInt32_3;
        case LY_TYPE_INT64:
            return ZelMoAttributeInt64_3;
        case LY_TYPE_UINT8:
            return ZelMoAttributeUint8_3;
        case LY_TYPE_UINT16:
            return ZelMoAttributeUint16_3;
        case LY_TYPE_UINT32:
            return ZelMoAttributeUint32_3;
        case LY_TYPE_UINT64:
            return ZelMoAttributeUint64_3;
        case LY_TYPE_BOOL:
        case LY_TYPE_EMPTY:
            return ZelMoAttributeBoolean_3;
        case LY_TYPE_LEAFREF:
        case LY_TYPE_INST:
            return ZelMoAttributeReference_3;
        case LY_TYPE_ENUM:
            return ZelMoAttributeEnumeration_3;
        case LY_TYPE_DEC64:
            return ZelMoAttributeDouble_3;
        default:  // string, binary, bits, identityref, union
            return ZelMoAttributeString_3;
    }
}

bool isConfig(const lysc_node* schema)
{
    return (schema->flags & LYS_CONFIG_W) != 0;
}

std::string qualifiedName(const lysc_node* schema)
{
    return std::string(schema->module->name) + ":" + schema->name;
}

}  // namespace OrvElement
