// Trees of a subtree filter as text.
#pragma once

#include <string>
#include <vector>

#include "SubtreeFilter.h"

namespace ModelTest
{

// A node is its class, then in brackets its key (with the key's name), its attribute matches "name:type=value" and its
// structure containments "name(member:type=value ...)", then in braces, if it is no leaf, its selected attributes
// "@name", its selected classes "#name" and its containments. Fails the test for an array that is there and empty.
std::string treeText(const OrvOamSpiNbiNotificationSubTree_1& node);

// Of all trees that the texts make.
std::vector<std::string> treesOf(const OrvElement::YangModel& model, const std::vector<std::string>& texts);

}  // namespace ModelTest
