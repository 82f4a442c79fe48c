// The nodes of a subtree filter: plain records that the subscriber makes and owns.
//
// A filter is one or more trees, modelled on the subtree filters of RFC 6241. A notification passes if one of the trees
// describes the object that its DN names. A tree is laid along the DN, not along the data: its top node stands for the
// DN's first component, a child for the next one, and so on.
//
//   A node matches a component if the class is its className (what stands before the first "." or "=") and, with a
//   keyAttribute, the key (what stands between the first and the second "=") is that attribute's first value.
//   Where this is the last component of a deleted object, that is all: the object passes. Otherwise the node's
//   attributeMatch and structureContainments must all hold in the live data of the component's object, at the moment of
//   matching; a condition that cannot be read does not hold.
//   A node without attributeSelection, classSelection and containments then passes its object and all below it.
//   In any other node one of these must succeed, tried in this order:
//     attributeSelection   the DN ends here and the notification carries one of the attributes
//     classSelection       the DN's next component has one of the classes
//     containments         a child matches the DN's next component
//
// Of a deleted object a filter tells what was selected below it: one objectDeleted notification for each end of the
// tree (a node without children or selected classes, a selected class) and for each other node with an
// attributeSelection, without attributes, where the key that a node leaves open is "*". Keys add up along the children
// and selected classes of one node: two of them without a key are recorded as "*" and "**". A class that the model does
// not know ends its level. Where nothing is left to tell, or the object stood below the end of the tree, the
// notification comes as it is.
//
// An attributeSelection in the top node of a tree reduces a notification to the selected attributes; further down it
// decides what passes, and the notification stays whole. A replay brings plain notifications in either case.
//
// What the service requires, and does not test:
//   - Nothing is copied. Trees, arrays, strings and values stay where they are, unchanged, until unsubscribe or
//     unregisterHandler has returned, or a refused subscription has been reported.
//   - A tree is finite: no node stands below itself. Nodes are walked by recursion, on the service's thread and, for a
//     replay, on the thread that subscribes, both taken to have the system's default stack size: stay below a thousand
//     levels. A tree that refers to itself ends the process when an object in the loop or above it is deleted.
//   - Pointers are valid or null. A node whose className is null matches nothing.
//   - Attributes and members of structs are named. A null name of an attribute, in attributeMatch or as attributeName,
//     is handed to the framework as it is; a condition on a member without a name is passed over.
//   - The pointers named "first value" below lead to a value of the type code that stands beside it.
//   - A structureContainment names an attribute whose values are structs (type code 13): the value is followed as one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelOamSpiMoAttributeValue_3.h"

// Conditions on the members of one struct-valued attribute, of which the first value counts.
struct StructContainment
{
    char* attributeName;
    int32_t reserved;
    // Null-terminated; each names a member, a type code and, as first value, what one of the member's values must
    // equal. A condition on a member that the struct does not have is passed over.
    ZelMoNamedAttributeValueContainer_3** members;
};

// One node. Every array ends with a null pointer; every pointer but className may be null. An empty array selects
// nothing, but only a null pointer makes a node the end of a tree.
struct OrvOamSpiNbiNotificationSubTree_1
{
    char* className;                                       // required
    ZelMoNamedAttributeValueContainer_3* keyAttribute;     // first value: the key as a string; null: any key
    ZelMoNamedAttributeValueContainer_3** attributeMatch;  // each: an attribute, its exact type code; first value: what
                                                           // one of its values must equal
    char** attributeSelection;                             // names of attributes
    char** classSelection;                                 // names of classes directly below
    OrvOamSpiNbiNotificationSubTree_1** containments;      // child nodes
    StructContainment** structureContainments;             // conditions on struct-valued attributes
};

static_assert(offsetof(StructContainment, attributeName) == 0, "the conditions on a struct are fixed");
static_assert(offsetof(StructContainment, reserved) == 8, "the conditions on a struct are fixed");
static_assert(offsetof(StructContainment, members) == 16, "the conditions on a struct are fixed");
static_assert(sizeof(StructContainment) == 24, "the conditions on a struct are fixed");

static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, className) == 0, "field 1");
static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, keyAttribute) == 8, "field 2");
static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, attributeMatch) == 16, "field 3");
static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, attributeSelection) == 24, "field 4");
static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, classSelection) == 32, "field 5");
static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, containments) == 40, "field 6");
static_assert(offsetof(OrvOamSpiNbiNotificationSubTree_1, structureContainments) == 48, "field 7");
static_assert(sizeof(OrvOamSpiNbiNotificationSubTree_1) == 56, "the node is fixed");
