#include "EditOperation.h"

#include <libyang/libyang.h>

#include <cstring>
#include <string>

namespace OrvElement
{
namespace
{

const char* const NETCONF_MODULE = "ietf-netconf";
const char* const NETCONF_BASE = "urn:ietf:params:xml:ns:netconf:base:1.0";

const lyd_node_opaq* asOpaque(const lyd_node* node)
{
    return reinterpret_cast<const lyd_node_opaq*>(node);
}

bool isOperation(const lyd_attr* attribute)
{
    const char* const module = attribute->name.module_ns;  // or the module's name: the two share their place
    return std::strcmp(attribute->name.name, "operation") == 0 && module &&
           std::strcmp(module, attribute->format == LY_VALUE_JSON ? NETCONF_MODULE : NETCONF_BASE) == 0;
}

// The text of the node's own operation, or null.
const char* operationText(const lyd_node* node)
{
    if (!node->schema)
    {
        for (const lyd_attr* attribute = asOpaque(node)->attr; attribute; attribute = attribute->next)
        {
            if (isOperation(attribute))
            {
                return attribute->value;
            }
        }
        return nullptr;
    }
    for (const lyd_meta* meta = node->meta; meta; meta = meta->next)
    {
        if (std::strcmp(meta->name, "operation") == 0 &&
            std::strcmp(meta->annotation->module->name, NETCONF_MODULE) == 0)
        {
            return lyd_get_meta_value(meta);
        }
    }
    return nullptr;
}

const lys_module* moduleOf(const lyd_node_opaq* node)
{
    if (!node->name.module_ns)
    {
        // A JSON name without a module is of its parent's.
        return node->parent && node->parent->schema ? node->parent->schema->module : nullptr;
    }
    return node->format == LY_VALUE_JSON ? ly_ctx_get_module_implemented(node->ctx, node->name.module_name)
                                         : ly_ctx_get_module_implemented_ns(node->ctx, node->name.module_ns);
}

}  // namespace

EditOperation operationOf(const lyd_node* node, EditOperation inherited)
{
    const char* const text = operationText(node);
    if (!text)
    {
        return inherited;
    }
    const std::string name(text);
    if (name == "replace")
    {
        return EditOperation::Replace;
    }
    if (name == "create")
    {
        return EditOperation::Create;
    }
    if (name == "delete")
    {
        return EditOperation::Delete;
    }
    return name == "remove" ? EditOperation::Remove : EditOperation::Merge;
}

bool hasOperation(const lyd_node* node)
{
    return operationText(node) != nullptr;
}

const lysc_node* leafWithoutValue(const lyd_node* node)
{
    const lyd_node_opaq* const opaque = asOpaque(node);
    const lys_module* const module = moduleOf(opaque);
    const lyd_node* const parent = lyd_parent(node);
    if (!module || opaque->child || (opaque->value && *opaque->value) || (parent && !parent->schema))
    {
        return nullptr;
    }
    const EditOperation operation = operationOf(node, EditOperation::Merge);
    if (operation != EditOperation::Delete && operation != EditOperation::Remove)
    {
        return nullptr;
    }
    const lysc_node* const leaf =
        lys_find_child(parent ? parent->schema : nullptr, module, opaque->name.name, 0, LYS_LEAF, 0);
    return leaf && !lysc_is_key(leaf) && (leaf->flags & LYS_CONFIG_W) ? leaf : nullptr;
}

}  // namespace OrvElement
