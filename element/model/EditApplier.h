#pragma once

#include <string>

#include "DataTree.h"
#include "EditOperation.h"

struct lysc_node;

namespace OrvElement
{

// Applies a parsed edit to a data tree, node by node, in the edit's order.
// Threads:   one.
// Ownership: the tree stays the caller's.
// Failure:   ElementError ("data-exists", "data-missing", ...) naming the path; the tree is then half changed and good
//            for nothing.
class EditApplier
{
public:
    explicit EditApplier(DataTree& tree) : _tree(tree) {}
    void apply(const DataTree& edit);

private:
    void applySiblings(const lyd_node* edit, lyd_node* parent, EditOperation inherited);
    void applyNode(const lyd_node* edit, lyd_node* parent, EditOperation operation);
    void applyInner(const lyd_node* edit, lyd_node* parent, lyd_node* existing, EditOperation operation);
    void applyValue(const lyd_node* edit, lyd_node* parent, lyd_node* existing);

    lyd_node* insertCopy(const lyd_node* edit, lyd_node* parent);
    void place(const lyd_node* edit, lyd_node* node);
    lyd_node* anchor(const lyd_node* edit, lyd_node* node, const std::string& where) const;
    void erase(lyd_node* node);
    void eraseContent(lyd_node* node);
    lyd_node* find(const lyd_node* parent, const lyd_node* edit) const;
    void check(int code, const lyd_node* edit) const;

    DataTree& _tree;
};

}  // namespace OrvElement
