#pragma once

#include <libyang/libyang.h>

#include <string>

#include "ElementError.h"
#include "FilterElement.h"

namespace OrvElement
{

// A leaf, or one entry of a leaf-list, that stands in no data tree: what a value is for the model, apart from any data.
// Whether a reference leads anywhere is not asked.
// Threads:   one at a time.
// Ownership: the value. The model that the schema node belongs to must outlive this object.
class LooseLeaf
{
public:
    // prefixes: of the value, from prefix to namespace; null for a value whose prefixes are names of modules.
    // ElementError with the reason why the type does not accept the value.
    LooseLeaf(const lysc_node* schema, const std::string& value, const FilterElement::Prefixes* prefixes);
    ~LooseLeaf();

    // It has neither parent nor siblings; its value is complete.
    const lyd_node* node() const { return &_node.node; }

    LooseLeaf(const LooseLeaf&) = delete;
    LooseLeaf& operator=(const LooseLeaf&) = delete;

private:
    lyd_node_term _node = {};
};

}  // namespace OrvElement
