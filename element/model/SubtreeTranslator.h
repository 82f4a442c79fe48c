#pragma once

#include <string>
#include <vector>

#include "FilterElement.h"
#include "SubtreeArena.h"
#include "YangModel.h"

struct lys_module;

namespace OrvElement
{

// Turns the elements of a subtree filter into trees of the model's classes and attributes.
//
//   container or list with something in it   node of its class, in the containments of the one above
//   container or list with nothing in it     class selection of the node above
//   leaf with a value                        key attribute if all keys of a list are given, else attribute match
//   leaf without a value, struct             attribute selection
//   struct with members in it                structure containment
//
// Every tree begins with the root class. There is one for each outermost element, but one for all outermost leaves that
// are selected: a record is reduced by one tree only.
// Threads:   one at a time.
// Ownership: the trees are the arena's and refer to nothing of the model.
// Failure:   ElementError with the path of the element and the reason; what the arena then holds is of no use.
class SubtreeTranslator
{
public:
    SubtreeTranslator(const YangModel& model, SubtreeArena& arena) : _model(model), _arena(arena) {}

    std::vector<OrvOamSpiNbiNotificationSubTree_1*> translate(const FilterElement& filter);

    SubtreeTranslator(const SubtreeTranslator&) = delete;
    SubtreeTranslator& operator=(const SubtreeTranslator&) = delete;

private:
    struct Target;
    struct Parts;

    const lys_module* moduleOf(const FilterElement& element, const std::string& path) const;
    Target find(const ModelClass& owner, const FilterElement& element, const std::string& parentPath) const;
    void addElement(Parts& parts, const Target& target, const FilterElement& element);
    void addLeaf(Parts& parts, const Target& target, const FilterElement& element);
    void addStruct(Parts& parts, const Target& target, const FilterElement& element);
    void addClass(Parts& parts, const Target& target, const FilterElement& element);
    ZelMoNamedAttributeValueContainer_3* member(const Target& target, const FilterElement& element) const;
    OrvOamSpiNbiNotificationSubTree_1* node(const Parts& parts);

    const YangModel& _model;
    SubtreeArena& _arena;
};

}  // namespace OrvElement
