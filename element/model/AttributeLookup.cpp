#include "AttributeLookup.h"

#include <libyang/libyang.h>

#include <algorithm>

#include "DnTranslation.h"
#include "ObjectKey.h"

namespace OrvElement
{
namespace
{

// An object: its class, and the first of the nodes in it, or null if it has none.
struct Object
{
    const ModelClass* type;
    const lyd_node* content;
};

std::optional<Object> findChild(const Object& parent, const DnComponent& component)
{
    const auto type = parent.type->children.find(component.className);
    if (type == parent.type->children.end())
    {
        return std::nullopt;
    }
    const ModelClass* const child = type->second;
    if (const lyd_node* const node = findObject(parent.content, child->schema, component.key))
    {
        return Object{child, lyd_child(node)};
    }
    if (child->alwaysThere && component.key == CONTAINER_KEY)
    {
        return Object{child, nullptr};
    }
    return std::nullopt;
}

std::optional<Object> findObjectOfDn(const YangModel& model, const DataTree& data, const std::string& dn)
{
    const std::vector<DnComponent> components = splitDn(dn);
    if (components.empty() || !isRootComponent(components.front(), model.elementName()))
    {
        return std::nullopt;
    }
    std::optional<Object> object = Object{&model.rootClass(), data.first()};
    for (auto component = components.begin() + 1; object && component != components.end(); ++component)
    {
        object = findChild(*object, *component);
    }
    return object;
}

// The entries of a leaf-list stand side by side.
AttributeNodes nodesOf(const lyd_node* content, const lysc_node* schema)
{
    AttributeNodes nodes;
    for (const lyd_node* node = firstOfSchema(content, schema); node && node->schema == schema; node = node->next)
    {
        nodes.push_back(node);
    }
    return nodes;
}

}  // namespace

std::optional<FoundAttribute> findAttribute(const YangModel& model, const DataTree& data, const std::string& dn,
                                            const std::string& attributeName)
{
    const std::optional<Object> object = findObjectOfDn(model, data, dn);
    if (!object)
    {
        return std::nullopt;
    }
    const std::vector<ModelAttribute>& attributes = object->type->attributes;
    const auto attribute =
        std::find_if(attributes.begin(), attributes.end(),
                     [&attributeName](const ModelAttribute& candidate) { return candidate.name == attributeName; });
    if (attribute == attributes.end())
    {
        return std::nullopt;
    }
    return FoundAttribute{&*attribute,
                          attribute->schema ? nodesOf(object->content, attribute->schema) : AttributeNodes()};
}

}  // namespace OrvElement
