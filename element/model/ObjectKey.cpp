#include "ObjectKey.h"

#include <libyang/libyang.h>

#include <cstddef>
#include <vector>

#include "DataTree.h"
#include "DnTranslation.h"

namespace OrvElement
{
namespace
{

std::vector<std::string> splitKeys(const std::string& text)
{
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find(';', begin)) != std::string::npos; begin = end + 1)
    {
        parts.push_back(text.substr(begin, end - begin));
    }
    parts.push_back(text.substr(begin));
    return parts;
}

std::vector<const lysc_node*> keyLeaves(const lysc_node* list)
{
    std::vector<const lysc_node*> keys;
    for (const lysc_node* child = lysc_node_child(list); child && lysc_is_key(child); child = child->next)
    {
        keys.push_back(child);
    }
    return keys;
}

// The encoded values of the keys, in their order; empty if it is no key of this list.
std::vector<std::string> keyParts(const std::vector<const lysc_node*>& keys, const std::string& text)
{
    const std::vector<std::string> parts = keys.size() == 1 ? std::vector<std::string>{text} : splitKeys(text);
    return parts.size() == keys.size() ? parts : std::vector<std::string>();
}

// "[key='value']..." of an entry. Empty if a value holds both kinds of quotes: then there is no way to write it.
std::string predicates(const std::vector<const lysc_node*>& keys, const std::vector<std::string>& parts)
{
    std::string text;
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        const std::string value = decodeKey(parts[i]);
        const char quote = value.find('\'') == std::string::npos ? '\'' : '"';
        if (value.find(quote) != std::string::npos)
        {
            return "";
        }
        text += std::string("[") + keys[i]->name + "=" + quote + value + quote + "]";
    }
    return text;
}

const lyd_node* findByComparison(const lyd_node* siblings, const lysc_node* list, const std::string& key)
{
    for (const lyd_node* node = firstOfSchema(siblings, list); node && node->schema == list; node = node->next)
    {
        if (objectKey(node) == key)
        {
            return node;
        }
    }
    return nullptr;
}

// libyang takes a value in any form of its type, while an object has one DN only: that of the canonical form.
const lyd_node* findEntry(const lyd_node* siblings, const lysc_node* list, const std::string& key)
{
    const std::vector<const lysc_node*> keys = keyLeaves(list);
    const std::vector<std::string> parts = keyParts(keys, key);
    if (parts.empty() || key.find("%00") != std::string::npos)
    {
        return nullptr;
    }
    const std::string predicate = predicates(keys, parts);
    if (predicate.empty())
    {
        return findByComparison(siblings, list, key);
    }
    lyd_node* match = nullptr;
    const LY_ERR code = lyd_find_sibling_val(siblings, list, predicate.c_str(), predicate.size(), &match);
    if (code && code != LY_ENOTFOUND)
    {
        // The text is no value of the key's type. libyang has stored a message for this thread.
        ly_err_clean(list->module->ctx, nullptr);
    }
    return !code && objectKey(match) == key ? match : nullptr;
}

}  // namespace

std::string objectKey(const lyd_node* node)
{
    if (node->schema->nodetype == LYS_CONTAINER)
    {
        return CONTAINER_KEY;
    }
    std::vector<const lyd_node*> keys;
    for (const lyd_node* child = lyd_child(node); child && lysc_is_key(child->schema); child = child->next)
    {
        keys.push_back(child);
    }
    std::string text;
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        text += (i == 0 ? "" : ";") + encodeKey(valueText(keys[i]), keys.size() > 1);
    }
    return text;
}

const lyd_node* findObject(const lyd_node* siblings, const lysc_node* schema, const std::string& key)
{
    if (schema->nodetype == LYS_CONTAINER)
    {
        return key == CONTAINER_KEY ? firstOfSchema(siblings, schema) : nullptr;
    }
    return siblings && !(schema->flags & LYS_KEYLESS) ? findEntry(siblings, schema, key) : nullptr;
}

// Not libyang's own search by schema, which is none for several readers of one tree: see DataTree.
const lyd_node* firstOfSchema(const lyd_node* siblings, const lysc_node* schema)
{
    const lyd_node* node = siblings;
    while (node && node->schema != schema)
    {
        node = node->next;
    }
    return node;
}

}  // namespace OrvElement
