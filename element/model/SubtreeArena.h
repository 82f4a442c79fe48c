#pragma once

#include <deque>
#include <string>
#include <tuple>
#include <vector>

#include "OrvOamSpiNbiNotificationSubTree_1.h"
#include "ValueArena.h"

namespace OrvElement
{

// Memory for the trees of a subtree filter: everything that it hands out is freed with it.
// Threads:   one at a time.
// Ownership: what it returns is the arena's; addresses stay until it is destroyed.
class SubtreeArena
{
public:
    SubtreeArena() = default;

    // Texts, attributes and values.
    ValueArena& values() { return _values; }

    // A node of the class, with nothing else.
    OrvOamSpiNbiNotificationSubTree_1* node(const std::string& className);
    StructContainment* structContainment(const std::string& attributeName,
                                         const std::vector<ZelMoNamedAttributeValueContainer_3*>& members);

    // With a null pointer at the end. Null for an empty list: the service takes a node whose arrays are null for a leaf
    // of the tree, and one with empty arrays for a node that nothing can satisfy.
    template <typename Record>
    Record** array(const std::vector<Record*>& records)
    {
        if (records.empty())
        {
            return nullptr;
        }
        auto& arrays = std::get<Arrays<Record>>(_arrays);
        arrays.push_back(records);
        arrays.back().push_back(nullptr);
        return arrays.back().data();
    }

    SubtreeArena(const SubtreeArena&) = delete;
    SubtreeArena& operator=(const SubtreeArena&) = delete;

private:
    template <typename Record>
    using Arrays = std::deque<std::vector<Record*>>;

    ValueArena _values;
    std::deque<OrvOamSpiNbiNotificationSubTree_1> _nodes;
    std::deque<StructContainment> _structContainments;
    std::tuple<Arrays<char>, Arrays<ZelMoNamedAttributeValueContainer_3>, Arrays<StructContainment>,
               Arrays<OrvOamSpiNbiNotificationSubTree_1>>
        _arrays;
};

}  // namespace OrvElement
