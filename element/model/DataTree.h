#pragma once

#include <string>

#include "DataText.h"

struct ly_ctx;
struct lyd_node;

namespace OrvElement
{

// Owns a libyang data tree: all its top siblings, or none.
//
// Of libyang's functions that only seem to read, two change a tree: getting the text of a value, which is made and kept
// at the first call, and the search for a node by its schema (lyd_find_path, lyd_find_sibling_val without a value),
// which exchanges a function of the parent's hash table while it searches. settle() does the first once for all;
// readers leave the second alone. The rest (walking, printing, copying, the search for a list entry or for a node's
// counterpart) touches nothing but the context's dictionary, which has a lock of its own.
// Threads:   one at a time while it is built; once settle() has run and nobody changes it, any number may read it.
// Ownership: the nodes. The context must outlive the tree.
class DataTree
{
public:
    explicit DataTree(const ly_ctx* context) : _context(context) {}
    ~DataTree();
    DataTree(DataTree&& other) noexcept;

    // With all flags, so that libyang takes the copy for as validated as this tree. ElementError if there is no memory.
    DataTree copy() const;

    // Completes the values' canonical texts, which libyang otherwise caches inside a read.
    void settle();

    std::string print(EditFormat format) const;

    // The first top sibling; libyang's functions may put another one in its place.
    lyd_node*& first() { return _first; }
    const lyd_node* first() const { return _first; }
    const ly_ctx* context() const { return _context; }

    DataTree(const DataTree&) = delete;
    DataTree& operator=(const DataTree&) = delete;
    DataTree& operator=(DataTree&&) = delete;

private:
    const ly_ctx* _context;
    lyd_node* _first = nullptr;
};

// The canonical text of the value of a leaf or of one entry of a leaf-list.
std::string valueText(const lyd_node* node);

// The data path of a node, as messages name it.
std::string pathOf(const lyd_node* node);

}  // namespace OrvElement
