#include "ChangeCollector.h"

#include <libyang/libyang.h>
#include <cassert>

#include "DnTranslation.h"
#include "ObjectKey.h"

namespace OrvElement
{
namespace
{

// The node among the siblings that is the same instance as the target; null if there is none.
const lyd_node* find(const lyd_node* siblings, const lyd_node* target)
{
    lyd_node* match = nullptr;
    if (siblings)
    {
        lyd_find_sibling_first(siblings, target, &match);
    }
    return match;
}

const lyd_node* firstChild(const lyd_node* node)
{
    return node ? lyd_child(node) : nullptr;
}

bool isObject(const YangModel& model, const lyd_node* node)
{
    return node->schema && (node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) && model.classOfSchema(node->schema);
}

}  // namespace

ChangeCollector::ChangeCollector(const YangModel& model, const DataTree& before, const DataTree& after)
    : _model(model),
      _root{&model.rootClass(), std::string(ROOT_CLASS) + "=" + ROOT_KEY, before.first(), after.first(), false}
{
}

void ChangeCollector::follow(const DataTree& guide)
{
    followSiblings(guide.first(), _root);
}

void ChangeCollector::followSiblings(const lyd_node* guide, const Instance& parent)
{
    bool attributesTouched = false;
    for (const lyd_node* node = guide; node; node = node->next)
    {
        if (isObject(_model, node))
        {
            followObject(node, parent);
        }
        else if (!node->schema || !lysc_is_key(node->schema))
        {
            attributesTouched = true;
        }
    }
    if (attributesTouched)
    {
        compareAttributes(parent);
    }
}

void ChangeCollector::followObject(const lyd_node* guide, const Instance& parent)
{
    const lyd_node* const before = find(parent.before, guide);
    const lyd_node* const after = find(parent.after, guide);
    if (before && after && operationOf(guide, EditOperation::Merge) == EditOperation::Merge)
    {
        followSiblings(lyd_child(guide), instanceOf(before, after, parent));
    }
    else
    {
        compareObject(before, after, parent);
    }
}

// Either may be missing.
void ChangeCollector::compareObject(const lyd_node* before, const lyd_node* after, const Instance& parent)
{
    if (!before && !after)
    {
        return;
    }
    const bool alwaysThere = _model.classOfSchema((after ? after : before)->schema)->alwaysThere;
    if (alwaysThere || (before && after))
    {
        compareContent(instanceOf(before, after, parent));
    }
    else if (after)
    {
        addCreated(after, parent);
    }
    else
    {
        addDeleted(before, parent);
    }
}

void ChangeCollector::compareContent(const Instance& instance)
{
    compareAttributes(instance);
    for (const lyd_node* before = instance.before; before; before = before->next)
    {
        if (isObject(_model, before))
        {
            compareObject(before, find(instance.after, before), instance);
        }
    }
    for (const lyd_node* after = instance.after; after; after = after->next)
    {
        if (isObject(_model, after) && !find(instance.before, after))
        {
            compareObject(nullptr, after, instance);
        }
    }
}

void ChangeCollector::compareAttributes(const Instance& instance)
{
    if (!_compared.insert({instance.before, instance.after}).second)
    {
        return;
    }
    const NodesByAttribute before = attributeNodes(instance.before);
    const NodesByAttribute after = attributeNodes(instance.after);
    Operation operation{instance.dn, {}};
    for (const ModelAttribute& attribute : instance.type->attributes)
    {
        const auto oldNodes = before.find(&attribute);
        const auto newNodes = after.find(&attribute);
        const AttributeNodes oldValue = oldNodes == before.end() ? AttributeNodes() : oldNodes->second;
        const AttributeNodes newValue = newNodes == after.end() ? AttributeNodes() : newNodes->second;
        const bool defaultOfNewObject = instance.parentCreated && allDefault(newValue);
        if (!attribute.isKey && !defaultOfNewObject && valueSignature(oldValue) != valueSignature(newValue))
        {
            operation.attributes.push_back({&attribute, newValue});
        }
    }
    if (!operation.attributes.empty())
    {
        _changed.push_back(operation);
    }
}

void ChangeCollector::addCreated(const lyd_node* after, const Instance& parent)
{
    if (!_reported.insert(after).second)
    {
        return;
    }
    Instance instance = instanceOf(nullptr, after, parent);
    instance.parentCreated = true;
    const NodesByAttribute nodes = attributeNodes(instance.after);
    Operation operation{instance.dn, {}};
    for (const ModelAttribute& attribute : instance.type->attributes)
    {
        const auto found = nodes.find(&attribute);
        if (found != nodes.end())
        {
            operation.attributes.push_back({&attribute, found->second});
        }
        else if (!attribute.schema)
        {
            operation.attributes.push_back({&attribute, {}});
        }
    }
    _created.push_back(operation);
    for (const lyd_node* child = instance.after; child; child = child->next)
    {
        if (isObject(_model, child))
        {
            compareObject(nullptr, child, instance);
        }
    }
}

void ChangeCollector::addDeleted(const lyd_node* before, const Instance& parent)
{
    const bool alwaysThere = _model.classOfSchema(before->schema)->alwaysThere;
    if (!alwaysThere && !_reported.insert(before).second)
    {
        return;
    }
    const Instance instance = instanceOf(before, nullptr, parent);
    for (const lyd_node* child = instance.before; child; child = child->next)
    {
        if (isObject(_model, child))
        {
            addDeleted(child, instance);
        }
    }
    // The attributes of a container that is always there go silently with the object that held it.
    if (!alwaysThere)
    {
        _deleted.push_back({instance.dn, {}});
    }
}

ChangeCollector::Instance ChangeCollector::instanceOf(const lyd_node* before, const lyd_node* after,
                                                      const Instance& parent) const
{
    const lyd_node* const node = after ? after : before;
    assert(node);
    const ModelClass* const type = _model.classOfSchema(node->schema);
    return {type, parent.dn + "," + type->name + "=" + objectKey(node), firstChild(before), firstChild(after),
            parent.parentCreated};
}

ChangeCollector::NodesByAttribute ChangeCollector::attributeNodes(const lyd_node* first) const
{
    NodesByAttribute result;
    for (const lyd_node* node = first; node; node = node->next)
    {
        const ModelAttribute* const attribute =
            node->schema->nodetype == LYS_LIST ? nullptr : _model.attributeOfSchema(node->schema);
        if (attribute)
        {
            result[attribute].push_back(node);
        }
    }
    return result;
}

std::unique_ptr<ChangeEvent> ChangeCollector::event(uint32_t txHandle, uint64_t eventTime) const
{
    auto event = std::make_unique<ChangeEvent>(txHandle, eventTime);
    const std::pair<ChangeKind, const std::vector<Operation>&> groups[] = {
        {ChangeKind::Created, _created}, {ChangeKind::AttributeChanged, _changed}, {ChangeKind::Deleted, _deleted}};
    for (const auto& [kind, operations] : groups)
    {
        for (const Operation& operation : operations)
        {
            std::vector<ZelMoNamedAttributeValueContainer_3*> attributes;
            for (const auto& [attribute, nodes] : operation.attributes)
            {
                attributes.push_back(attribute->schema ? attributeOf(event->arena(), *attribute, nodes)
                                                       : containerKeyOf(event->arena(), *attribute));
            }
            event->add(kind, operation.dn, attributes);
        }
    }
    return event;
}

}  // namespace OrvElement
