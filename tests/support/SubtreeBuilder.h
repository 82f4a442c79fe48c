// Trees of a subtree filter as a test writes them: node("A").key("1").child(node("B")).
#pragma once

#include <deque>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrvOamSpiNbiNotificationSubTree_1.h"
#include "Records.h"

namespace OrvTest
{

// A null-terminated array that grows. It does not exist, and is null, before something asks for it.
template <typename Entry>
class GrowingArray
{
public:
    Entry** create()
    {
        if (_entries.empty())
        {
            _entries.push_back(nullptr);
        }
        return _entries.data();
    }

    Entry** add(Entry* entry)
    {
        create();
        _entries.back() = entry;
        _entries.push_back(nullptr);
        return _entries.data();
    }

private:
    std::vector<Entry*> _entries;
};

// One node with all that it points to. Copies are the same node. Every field but the class is null until it is named;
// a call without arguments makes an empty array of it.
class Node
{
public:
    explicit Node(const char* className) : _parts(std::make_shared<Parts>())
    {
        _parts->record.className = className == nullptr ? nullptr : _parts->keep(className);
    }

    Node& key(const std::string& value, const std::string& name = "id") { return key(stringAttribute(name, value)); }
    Node& key(const Attribute& attribute)
    {
        _parts->record.keyAttribute = _parts->keep(attribute);
        return *this;
    }

    Node& match()
    {
        _parts->record.attributeMatch = _parts->conditions.create();
        return *this;
    }
    Node& match(const Attribute& condition)
    {
        _parts->record.attributeMatch = _parts->conditions.add(_parts->keep(condition));
        return *this;
    }

    Node& select(const std::vector<std::string>& attributes = {})
    {
        _parts->record.attributeSelection = _parts->keep(_parts->selection, attributes);
        return *this;
    }

    Node& classes(const std::vector<std::string>& names = {})
    {
        _parts->record.classSelection = _parts->keep(_parts->classes, names);
        return *this;
    }

    Node& child()
    {
        _parts->record.containments = _parts->children.create();
        return *this;
    }
    Node& child(const Node& node)
    {
        _parts->nodes.push_back(node);
        return lentChild(node);
    }
    // The child is not kept alive: it may be this very node.
    Node& lentChild(const Node& node)
    {
        _parts->record.containments = _parts->children.add(node.get());
        return *this;
    }

    Node& structure()
    {
        _parts->record.structureContainments = _parts->structures.create();
        return *this;
    }
    Node& structure(const std::string& attribute, const std::vector<Attribute>& members)
    {
        _parts->members.emplace_back(members);
        const int32_t unread = 4711;
        _parts->structs.push_back({_parts->keep(attribute), unread, _parts->members.back().get()});
        _parts->record.structureContainments = _parts->structures.add(&_parts->structs.back());
        return *this;
    }

    OrvOamSpiNbiNotificationSubTree_1* get() const { return &_parts->record; }
    OrvOamSpiNbiNotificationSubTree_1* operator->() const { return get(); }

private:
    struct Parts
    {
        char* keep(const std::string& text)
        {
            texts.push_back(text);
            return &texts.back()[0];
        }
        ZelMoNamedAttributeValueContainer_3* keep(const Attribute& attribute)
        {
            attributes.emplace_back(std::vector<Attribute>{attribute});
            return attributes.back().get()[0];
        }
        char** keep(GrowingArray<char>& array, const std::vector<std::string>& names)
        {
            char** start = array.create();
            for (const std::string& name : names)
            {
                start = array.add(keep(name));
            }
            return start;
        }

        OrvOamSpiNbiNotificationSubTree_1 record = OrvOamSpiNbiNotificationSubTree_1();
        std::deque<std::string> texts;
        std::deque<AttributeArray> attributes;  // of one entry each
        std::deque<AttributeArray> members;
        std::deque<StructContainment> structs;
        GrowingArray<ZelMoNamedAttributeValueContainer_3> conditions;
        GrowingArray<char> selection;
        GrowingArray<char> classes;
        GrowingArray<OrvOamSpiNbiNotificationSubTree_1> children;
        GrowingArray<StructContainment> structures;
        std::list<Node> nodes;
    };

    std::shared_ptr<Parts> _parts;
};

inline Node node(const char* className)
{
    return Node(className);
}

// The null-terminated array that a subscriber passes, with its trees.
class Trees
{
public:
    Trees(const std::vector<Node>& nodes = {}) : _nodes(nodes)
    {
        _array.create();
        for (const Node& tree : _nodes)
        {
            _array.add(tree.get());
        }
    }
    OrvOamSpiNbiNotificationSubTree_1** get() { return _array.create(); }

private:
    std::vector<Node> _nodes;
    GrowingArray<OrvOamSpiNbiNotificationSubTree_1> _array;
};

}  // namespace OrvTest
