// The nodes of a subtree filter: plain records that the subscriber makes and owns.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelOamSpiMoAttributeValue_3.h"

// Conditions on the members of one struct-valued attribute.
struct StructContainment
{
    char* attributeName;
    int32_t reserved;
    ZelMoNamedAttributeValueContainer_3** members;  // null-terminated
};

// One node. Every array ends with a null pointer; every pointer but className may be null.
// The records are not copied: they must live until the subscription has been removed.
struct OrvOamSpiNbiNotificationSubTree_1
{
    char* className;                                       // required
    ZelMoNamedAttributeValueContainer_3* keyAttribute;     // first value: the key as a string; null: any key
    ZelMoNamedAttributeValueContainer_3** attributeMatch;  // content match: each names an attribute and its value
    char** attributeSelection;                             // names of attributes
    char** classSelection;                                 // names of classes directly below
    OrvOamSpiNbiNotificationSubTree_1** containments;      // child nodes
    StructContainment** structureContainments;             // conditions on struct-valued attributes
};

static_assert(sizeof(OrvOamSpiNbiNotificationSubTree_1) == 56, "the node is fixed");
