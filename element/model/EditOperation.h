#pragma once

struct lyd_node;
struct lysc_node;

namespace OrvElement
{

// What an edit does with a node (RFC 6241).
enum class EditOperation
{
    Merge,
    Replace,
    Create,
    Delete,
    Remove
};

// The node's own operation, or the one that it has from its parent.
EditOperation operationOf(const lyd_node* node, EditOperation inherited);
bool hasOperation(const lyd_node* node);

// An edit may delete a leaf without giving a value, which libyang can keep only as a node without a schema. The leaf
// that is meant, or null for any other node without a schema.
const lysc_node* leafWithoutValue(const lyd_node* node);

}  // namespace OrvElement
