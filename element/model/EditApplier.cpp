#include "EditApplier.h"

#include <libyang/libyang.h>

#include <cstring>

#include "LibyangErrors.h"

namespace OrvElement
{
namespace
{

bool isKey(const lyd_node* node)
{
    return node->schema && lysc_is_key(node->schema);
}

bool isUserOrdered(const lyd_node* node)
{
    return node->schema && lysc_is_userordered(node->schema);
}

// What is there by default only is not there for an edit.
bool isPresent(const lyd_node* existing)
{
    return existing && !(existing->flags & LYD_DEFAULT);
}

// The text of an annotation of YANG's own module, or null.
const char* yangAnnotation(const lyd_node* node, const char* name)
{
    for (const lyd_meta* meta = node->schema ? node->meta : nullptr; meta; meta = meta->next)
    {
        if (std::strcmp(meta->name, name) == 0 && std::strcmp(meta->annotation->module->name, "yang") == 0)
        {
            return lyd_get_meta_value(meta);
        }
    }
    return nullptr;
}

// In XML the keys of an anchor may carry prefixes ("[ex:name='a']"); all of them are the list's own.
std::string withoutPrefixes(const std::string& predicates)
{
    std::string result;
    char quote = 0;
    for (const char c : predicates)
    {
        if (quote)
        {
            quote = c == quote ? '\0' : quote;
        }
        else if (c == '\'' || c == '"')
        {
            quote = c;
        }
        else if (c == ':')
        {
            result.erase(result.rfind('[') + 1);
            continue;
        }
        result += c;
    }
    return result;
}

}  // namespace

void EditApplier::apply(const DataTree& edit)
{
    applySiblings(edit.first(), nullptr, EditOperation::Merge);
}

void EditApplier::applySiblings(const lyd_node* edit, lyd_node* parent, EditOperation inherited)
{
    for (const lyd_node* node = edit; node; node = node->next)
    {
        const EditOperation operation = operationOf(node, inherited);
        if (!isKey(node))
        {
            applyNode(node, parent, operation);
        }
        else if (hasOperation(node) && (operation == EditOperation::Delete || operation == EditOperation::Remove))
        {
            throw ElementError("bad-attribute: " + pathOf(node) + " is a key and goes with its list entry only");
        }
    }
}

void EditApplier::applyNode(const lyd_node* edit, lyd_node* parent, EditOperation operation)
{
    if (yangAnnotation(edit, "insert") && !isUserOrdered(edit))
    {
        throw ElementError("bad-attribute: " + pathOf(edit) + " has no order that an edit could set");
    }
    lyd_node* const existing = find(parent, edit);
    if (operation == EditOperation::Create && isPresent(existing))
    {
        throw ElementError("data-exists: " + pathOf(edit) + " is there already");
    }
    if (operation == EditOperation::Delete && !isPresent(existing))
    {
        throw ElementError("data-missing: " + pathOf(edit) + " does not exist");
    }
    if (operation == EditOperation::Delete || operation == EditOperation::Remove)
    {
        if (isPresent(existing))
        {
            erase(existing);
        }
    }
    else if (edit->schema->nodetype & (LYS_CONTAINER | LYS_LIST))
    {
        applyInner(edit, parent, existing, operation);
    }
    else
    {
        applyValue(edit, parent, existing);
    }
}

void EditApplier::applyInner(const lyd_node* edit, lyd_node* parent, lyd_node* existing, EditOperation operation)
{
    lyd_node* node = existing;
    if (!node)
    {
        node = insertCopy(edit, parent);
    }
    else if (operation == EditOperation::Replace)
    {
        eraseContent(node);
    }
    place(edit, node);
    applySiblings(lyd_child(edit), node, operation);
}

void EditApplier::applyValue(const lyd_node* edit, lyd_node* parent, lyd_node* existing)
{
    const bool same = isPresent(existing) && !(edit->schema->nodetype & LYS_ANYDATA) &&
                      lyd_compare_single(existing, edit, 0) == LY_SUCCESS;
    if (same)
    {
        place(edit, existing);
        return;
    }
    if (existing)
    {
        erase(existing);
    }
    place(edit, insertCopy(edit, parent));
}

lyd_node* EditApplier::insertCopy(const lyd_node* edit, lyd_node* parent)
{
    lyd_node* node = nullptr;
    check(lyd_dup_single(edit, nullptr, LYD_DUP_NO_META, &node), edit);
    if (edit->schema->nodetype == LYS_CONTAINER && !(edit->schema->flags & LYS_PRESENCE))
    {
        // Without explicit content a container is one of the defaults; the first explicit child takes the flag away.
        node->flags |= LYD_DEFAULT;
    }
    const LY_ERR code =
        parent ? lyd_insert_child(parent, node) : lyd_insert_sibling(_tree.first(), node, &_tree.first());
    if (code)
    {
        lyd_free_tree(node);
    }
    check(code, edit);
    return node;
}

// Where a new entry of a user-ordered list goes, or an old one moves. Without the annotation it stays where it is.
void EditApplier::place(const lyd_node* edit, lyd_node* node)
{
    const char* const where = yangAnnotation(edit, "insert");
    if (!where)
    {
        return;
    }
    lyd_node* const other = anchor(edit, node, where);
    if (!other || other == node)
    {
        return;
    }
    const bool before = std::strcmp(where, "first") == 0 || std::strcmp(where, "before") == 0;
    check(before ? lyd_insert_before(other, node) : lyd_insert_after(other, node), edit);
    _tree.first() = lyd_first_sibling(_tree.first());
}

// The entry beside which the node goes, or null if it is the only one.
lyd_node* EditApplier::anchor(const lyd_node* edit, lyd_node* node, const std::string& where) const
{
    lyd_node* other = nullptr;
    if (where == "first" || where == "last")
    {
        for (lyd_node* sibling = lyd_first_sibling(node); sibling; sibling = sibling->next)
        {
            if (sibling->schema == node->schema && sibling != node)
            {
                other = sibling;
                if (where == "first")
                {
                    break;
                }
            }
        }
        return other;
    }
    const bool isList = node->schema->nodetype == LYS_LIST;
    const char* const text = yangAnnotation(edit, isList ? "key" : "value");
    const std::string wanted = !text ? "" : isList ? withoutPrefixes(text) : text;
    if (!text || lyd_find_sibling_val(lyd_first_sibling(node), node->schema, wanted.c_str(), 0, &other) || !other)
    {
        takeLibyangError(_tree.context());
        throw ElementError("missing-instance: " + pathOf(edit) + " is to stand " + where + " \"" + wanted +
                           "\", which does not exist");
    }
    return other;
}

void EditApplier::erase(lyd_node* node)
{
    if (node == _tree.first())
    {
        _tree.first() = node->next;
    }
    lyd_free_tree(node);
}

// A replaced object keeps its keys and its place; everything else comes from the edit.
void EditApplier::eraseContent(lyd_node* node)
{
    for (lyd_node* child = lyd_child(node); child;)
    {
        lyd_node* const next = child->next;
        if (!isKey(child))
        {
            lyd_free_tree(child);
        }
        child = next;
    }
}

lyd_node* EditApplier::find(const lyd_node* parent, const lyd_node* edit) const
{
    const lyd_node* const siblings = parent ? lyd_child(parent) : _tree.first();
    const lysc_node* const schema = edit->schema ? edit->schema : leafWithoutValue(edit);
    lyd_node* match = nullptr;
    if (!siblings)
    {
        return nullptr;
    }
    if (schema->nodetype & (LYS_LIST | LYS_LEAFLIST))
    {
        lyd_find_sibling_first(siblings, edit, &match);
    }
    else
    {
        // The search by node would compare values, too, as long as there are few siblings.
        lyd_find_sibling_val(siblings, schema, nullptr, 0, &match);
    }
    return match;
}

void EditApplier::check(int code, const lyd_node* edit) const
{
    if (code != LY_SUCCESS)
    {
        throw ElementError(pathOf(edit) + ": " + takeLibyangError(_tree.context()));
    }
}

}  // namespace OrvElement
