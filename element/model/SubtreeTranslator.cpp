#include "SubtreeTranslator.h"

#include <libyang/libyang.h>

#include <algorithm>
#include <cstddef>
#include <optional>

#include "AttributeValues.h"
#include "DataTree.h"
#include "DnTranslation.h"
#include "LooseLeaf.h"
#include "SchemaNodes.h"

namespace OrvElement
{

// What an element names: an attribute, a class, or a member of a struct, which is neither.
struct SubtreeTranslator::Target
{
    const lysc_node* schema;
    const ModelAttribute* attribute;
    const ModelClass* type;
    std::string path;
};

// What a node is put together from.
struct SubtreeTranslator::Parts
{
    struct Condition
    {
        const ModelAttribute* attribute;
        ZelMoNamedAttributeValueContainer_3* record;
        std::string text;  // the canonical value
    };
    struct StructCondition
    {
        const ModelAttribute* attribute;
        std::vector<const lysc_node*> conditioned;  // the members
        std::vector<ZelMoNamedAttributeValueContainer_3*> members;
    };

    const ModelClass* type;
    std::vector<Condition> conditions = {};
    std::vector<StructCondition> structConditions = {};
    std::vector<std::string> attributeSelection = {};
    std::vector<std::string> classSelection = {};
    std::vector<OrvOamSpiNbiNotificationSubTree_1*> containments = {};
};

namespace
{

// In a message: the name, with its module where another one begins.
std::string pathBelow(const std::string& parentPath, const std::string& name, const std::string& module,
                      const lysc_node* parent)
{
    const bool qualified = !module.empty() && (!parent || module != parent->module->name);
    return parentPath + "/" + (qualified ? module + ":" : "") + name;
}

std::string pathBelow(const std::string& parentPath, const lysc_node* schema, const lysc_node* parent)
{
    return pathBelow(parentPath, schema->name, schema->module->name, parent);
}

bool isCalled(const lysc_node* schema, const FilterElement& element, const lys_module* module)
{
    return schema && element.name == schema->name && (!module || module == schema->module);
}

bool isList(const lysc_node* schema)
{
    return (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
}

bool isStruct(const ModelAttribute& attribute)
{
    return attribute.type == ZelMoAttributeStruct_3;
}

void addOnce(std::vector<std::string>& names, const std::string& name)
{
    if (std::find(names.begin(), names.end(), name) == names.end())
    {
        names.push_back(name);
    }
}

[[noreturn]] void refuse(const std::string& path, const std::string& reason)
{
    throw ElementError(path + ": " + reason);
}

// The name is one of several nodes, at least two.
[[noreturn]] void refuseAmbiguous(const std::string& path, const std::vector<const lysc_node*>& nodes)
{
    std::vector<std::string> modules;
    for (const lysc_node* node : nodes)
    {
        modules.emplace_back(node->module->name);
    }
    std::sort(modules.begin(), modules.end());
    refuse(path, "name the module, " + modules[0] + " or " + modules[1]);
}

[[noreturn]] void refuseTwice(const std::string& path)
{
    refuse(path, "two values are asked for, and it can only have one");
}

// A leaf has nothing below it.
void requireLeaf(const FilterElement& element, const std::string& path)
{
    if (!element.children.empty() || element.everything)
    {
        refuse(path, "a leaf has nothing below it");
    }
}

// The text of a key in a DN, if there is a value for each of the class's keys.
template <typename Conditions>
std::optional<std::string> keyText(const ModelClass& type, const Conditions& conditions)
{
    std::vector<std::string> values;
    std::size_t keys = 0;
    for (const ModelAttribute& attribute : type.attributes)
    {
        if (!attribute.isKey || !attribute.schema)
        {
            continue;
        }
        ++keys;
        for (const auto& condition : conditions)
        {
            if (condition.attribute == &attribute)
            {
                values.push_back(condition.text);
            }
        }
    }
    if (keys == 0 || values.size() != keys)
    {
        return std::nullopt;
    }
    std::string text;
    for (std::size_t i = 0; i < keys; ++i)
    {
        text += (i == 0 ? "" : ";") + encodeKey(values[i], keys > 1);
    }
    return text;
}

}  // namespace

std::vector<OrvOamSpiNbiNotificationSubTree_1*> SubtreeTranslator::translate(const FilterElement& filter)
{
    std::vector<Parts> trees;
    std::size_t selection = 0;  // number of the tree of the selected leaves, counted from 1
    for (const FilterElement& element : filter.children)
    {
        const Target target = find(_model.rootClass(), element, "");
        const bool selected = target.attribute && !element.value && element.children.empty();
        if (!selected || selection == 0)
        {
            trees.push_back({&_model.rootClass()});
            selection = selected ? trees.size() : selection;
        }
        addElement(selected ? trees[selection - 1] : trees.back(), target, element);
    }
    if (filter.everything)
    {
        trees.push_back({&_model.rootClass()});
    }
    std::vector<OrvOamSpiNbiNotificationSubTree_1*> nodes;
    for (const Parts& parts : trees)
    {
        nodes.push_back(node(parts));
    }
    return nodes;
}

// Null for any module.
const lys_module* SubtreeTranslator::moduleOf(const FilterElement& element, const std::string& path) const
{
    if (element.module.empty())
    {
        return nullptr;
    }
    const lys_module* const module = element.prefixes
                                         ? ly_ctx_get_module_implemented_ns(_model.context(), element.module.c_str())
                                         : ly_ctx_get_module_implemented(_model.context(), element.module.c_str());
    if (!module)
    {
        refuse(path + "/" + element.name, std::string("no module of the element has the ") +
                                              (element.prefixes ? "namespace" : "name") + " \"" + element.module +
                                              "\"");
    }
    return module;
}

SubtreeTranslator::Target SubtreeTranslator::find(const ModelClass& owner, const FilterElement& element,
                                                  const std::string& parentPath) const
{
    const lys_module* const module = moduleOf(element, parentPath);
    std::vector<Target> found;
    for (const ModelAttribute& attribute : owner.attributes)
    {
        if (isCalled(attribute.schema, element, module))
        {
            found.push_back({attribute.schema, &attribute, nullptr, ""});
        }
    }
    for (const auto& [name, type] : owner.children)
    {
        if (isCalled(type->schema, element, module))
        {
            found.push_back({type->schema, nullptr, type, ""});
        }
    }
    if (found.empty())
    {
        refuse(pathBelow(parentPath, element.name, module ? module->name : "", owner.schema),
               "the model has no such class or attribute");
    }
    if (found.size() > 1)
    {
        refuseAmbiguous(parentPath + "/" + element.name, {found[0].schema, found[1].schema});
    }
    found[0].path = pathBelow(parentPath, found[0].schema, owner.schema);
    return found[0];
}

void SubtreeTranslator::addElement(Parts& parts, const Target& target, const FilterElement& element)
{
    if (target.type)
    {
        addClass(parts, target, element);
    }
    else if (isStruct(*target.attribute))
    {
        addStruct(parts, target, element);
    }
    else
    {
        addLeaf(parts, target, element);
    }
}

void SubtreeTranslator::addLeaf(Parts& parts, const Target& target, const FilterElement& element)
{
    requireLeaf(element, target.path);
    const ModelAttribute& attribute = *target.attribute;
    if (!element.value)
    {
        addOnce(parts.attributeSelection, attribute.name);
        return;
    }
    const bool conditioned = std::any_of(parts.conditions.begin(), parts.conditions.end(),
                                         [&](const Parts::Condition& other) { return other.attribute == &attribute; });
    if (conditioned && !isList(attribute.schema))
    {
        refuseTwice(target.path);
    }
    try
    {
        const LooseLeaf leaf(attribute.schema, *element.value, element.prefixes.get());
        parts.conditions.push_back(
            {&attribute, attributeOf(_arena.values(), attribute, {leaf.node()}), valueText(leaf.node())});
    }
    catch (const ElementError& e)
    {
        refuse(target.path, e.what());
    }
}

void SubtreeTranslator::addStruct(Parts& parts, const Target& target, const FilterElement& element)
{
    if (element.value)
    {
        refuse(target.path, "a struct has no value of its own, only its members have");
    }
    if (element.everything)
    {
        refuse(target.path, "a struct is one attribute, which is selected without \"/*\"");
    }
    if (element.children.empty())
    {
        addOnce(parts.attributeSelection, target.attribute->name);
        return;
    }
    auto condition =
        std::find_if(parts.structConditions.begin(), parts.structConditions.end(),
                     [&](const Parts::StructCondition& other) { return other.attribute == target.attribute; });
    if (condition == parts.structConditions.end())
    {
        condition = parts.structConditions.insert(condition, {target.attribute, {}, {}});
    }
    for (const FilterElement& child : element.children)
    {
        const lys_module* const module = moduleOf(child, target.path);
        std::vector<const lysc_node*> nodes = dataNodes(target.schema, nullptr);
        nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                                   [&](const lysc_node* schema) { return !isCalled(schema, child, module); }),
                    nodes.end());
        if (nodes.empty())
        {
            refuse(pathBelow(target.path, child.name, module ? module->name : "", target.schema),
                   "the struct has no such member");
        }
        if (nodes.size() > 1)
        {
            refuseAmbiguous(target.path + "/" + child.name, nodes);
        }
        const Target found = {nodes[0], nullptr, nullptr, pathBelow(target.path, nodes[0], target.schema)};
        const auto& conditioned = condition->conditioned;
        if (!isList(nodes[0]) && std::find(conditioned.begin(), conditioned.end(), nodes[0]) != conditioned.end())
        {
            refuseTwice(found.path);
        }
        condition->members.push_back(member(found, child));
        condition->conditioned.push_back(nodes[0]);
    }
}

ZelMoNamedAttributeValueContainer_3* SubtreeTranslator::member(const Target& target, const FilterElement& element) const
{
    if (target.schema->nodetype == LYS_CONTAINER)
    {
        refuse(target.path, "no condition can be put on a struct within a struct");
    }
    requireLeaf(element, target.path);
    if (!element.value)
    {
        refuse(target.path, "a member of a struct cannot be selected, only the whole struct");
    }
    try
    {
        const LooseLeaf leaf(target.schema, *element.value, element.prefixes.get());
        const ModelAttribute asAttribute = {
            structMemberName(target.schema), typeCode(target.schema), false, true, target.schema, nullptr, 0, 0};
        return attributeOf(_arena.values(), asAttribute, {leaf.node()});
    }
    catch (const ElementError& e)
    {
        refuse(target.path, e.what());
    }
}

void SubtreeTranslator::addClass(Parts& parts, const Target& target, const FilterElement& element)
{
    if (element.value)
    {
        refuse(target.path, std::string("a ") + (isList(target.schema) ? "list" : "container") +
                                " has no value, only its leaves have");
    }
    if (element.condition)
    {
        refuse(target.path, "brackets take a leaf of the node before them, or a member of one of its structs");
    }
    if (element.children.empty() && !element.everything)
    {
        addOnce(parts.classSelection, target.type->name);
        return;
    }
    Parts below = {target.type};
    for (const FilterElement& child : element.children)
    {
        addElement(below, find(*target.type, child, target.path), child);
    }
    parts.containments.push_back(node(below));
}

OrvOamSpiNbiNotificationSubTree_1* SubtreeTranslator::node(const Parts& parts)
{
    const std::optional<std::string> key = keyText(*parts.type, parts.conditions);
    OrvOamSpiNbiNotificationSubTree_1* const node = _arena.node(parts.type->name);
    if (key)
    {
        ZelMoAttributeValue_3 value = {};
        value.str = _arena.values().text(*key);
        // Keys come first. Of several the first lends its name, as it does when the model is asked for the key.
        node->keyAttribute =
            _arena.values().attribute(parts.type->attributes.front().name, ZelMoAttributeString_3, {value});
    }
    std::vector<ZelMoNamedAttributeValueContainer_3*> matches;
    for (const Parts::Condition& condition : parts.conditions)
    {
        if (!key || !condition.attribute->isKey)
        {
            matches.push_back(condition.record);
        }
    }
    std::vector<StructContainment*> structs;
    for (const Parts::StructCondition& condition : parts.structConditions)
    {
        structs.push_back(_arena.structContainment(condition.attribute->name, condition.members));
    }
    const auto texts = [this](const std::vector<std::string>& names)
    {
        std::vector<char*> copies;
        for (const std::string& name : names)
        {
            copies.push_back(_arena.values().text(name));
        }
        return _arena.array(copies);
    };
    node->attributeMatch = _arena.array(matches);
    node->attributeSelection = texts(parts.attributeSelection);
    node->classSelection = texts(parts.classSelection);
    node->containments = _arena.array(parts.containments);
    node->structureContainments = _arena.array(structs);
    return node;
}

}  // namespace OrvElement
