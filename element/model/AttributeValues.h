#pragma once

#include <string>
#include <vector>

#include "ValueArena.h"
#include "YangModel.h"

struct lyd_node;

namespace OrvElement
{

// The data nodes that make one attribute of one object: a leaf, the entries of a leaf-list in their order, or the
// container of a struct. Without nodes the attribute has no value.
// Threads:   any; nothing is kept.
// Ownership: the nodes are the tree's, the values the arena's.
typedef std::vector<const lyd_node*> AttributeNodes;

// The values as the framework passes them. A struct without any member has no value, unless its
// container's presence says something by itself: then it has an empty one.
ZelMoNamedAttributeValueContainer_3* attributeOf(ValueArena& arena, const ModelAttribute& attribute,
                                                 const AttributeNodes& nodes);

// The key that a container is given: it has no node, and its value is always the same.
ZelMoNamedAttributeValueContainer_3* containerKeyOf(ValueArena& arena, const ModelAttribute& attribute);

// The values without the attribute's name, of either kind of attribute.
ZelMoAttributeValueContainer_3* readValuesOf(ValueArena& arena, const ModelAttribute& attribute,
                                             const AttributeNodes& nodes);

// The name of a member of a struct. Two augments can give a struct two members of one name: the second is qualified.
std::string structMemberName(const lysc_node* schema);

// Equal for equal values, whether explicit or default; the order of a leaf-list counts only if the user sets it.
std::string valueSignature(const AttributeNodes& nodes);

// Whether every value is the default.
bool allDefault(const AttributeNodes& nodes);

}  // namespace OrvElement
