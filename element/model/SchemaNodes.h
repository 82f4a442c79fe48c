// How schema nodes are seen from the managed object world.
#pragma once

#include <string>
#include <vector>

#include "ZelOamSpiMoAttributeValue_3.h"

struct lysc_module;
struct lysc_node;

namespace OrvElement
{

// The containers, lists, leaves and leaf-lists below a parent (or, without one, at the top of a module), choice and
// case taken away.
std::vector<const lysc_node*> dataNodes(const lysc_node* parent, const lysc_module* module);

// The type code of a leaf, a leaf-list, or a container that is a struct.
ZelOamSpiMoAttributeType_3 typeCode(const lysc_node* schema);

bool isConfig(const lysc_node* schema);

// "module:name".
std::string qualifiedName(const lysc_node* schema);

}  // namespace OrvElement
