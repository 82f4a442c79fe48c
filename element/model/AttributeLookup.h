#pragma once

#include <optional>
#include <string>

#include "AttributeValues.h"
#include "DataTree.h"
#include "YangModel.h"

namespace OrvElement
{

// An attribute of an object that exists.
struct FoundAttribute
{
    const ModelAttribute* attribute;
    AttributeNodes nodes;  // none if it has no value, or is the key that a container is given
};

// The attribute with this name of the object with this DN, which may have its internal or external form. Nothing if the
// model does not know the class or the attribute, or if there is no such object. What is always there (the element, a
// container without presence) exists wherever its parent does, also without a node.
// Threads:   any number at once on a settled tree.
// Ownership: the attribute is the model's, the nodes are the tree's.
std::optional<FoundAttribute> findAttribute(const YangModel& model, const DataTree& data, const std::string& dn,
                                            const std::string& attributeName);

}  // namespace OrvElement
