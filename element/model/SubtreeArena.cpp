#include "SubtreeArena.h"

namespace OrvElement
{

OrvOamSpiNbiNotificationSubTree_1* SubtreeArena::node(const std::string& className)
{
    _nodes.push_back({});
    _nodes.back().className = _values.text(className);
    return &_nodes.back();
}

StructContainment* SubtreeArena::structContainment(const std::string& attributeName,
                                                   const std::vector<ZelMoNamedAttributeValueContainer_3*>& members)
{
    _structContainments.push_back({_values.text(attributeName), 0, array(members)});
    return &_structContainments.back();
}

}  // namespace OrvElement
