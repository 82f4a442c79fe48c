// The key of an object in its DN, and the way from there to the object's node.
#pragma once

#include <string>

struct lyd_node;
struct lysc_node;

namespace OrvElement
{

// Key of a container, of which its parent has one at most.
constexpr const char* CONTAINER_KEY = "1";

// Of a container, or of an entry of a list with keys: their canonical values, encoded, several joined by ";".
std::string objectKey(const lyd_node* node);

// The container or list entry of this schema and key among the siblings of a settled tree, or null. A list entry is
// found by hash below a parent, by comparison at the top. Any number of threads may call it on one tree.
const lyd_node* findObject(const lyd_node* siblings, const lysc_node* schema, const std::string& key);

// The first of the siblings with this schema, or null.
const lyd_node* firstOfSchema(const lyd_node* siblings, const lysc_node* schema);

}  // namespace OrvElement
