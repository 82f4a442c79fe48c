#include "EditParser.h"

#include <libyang/libyang.h>

#include "EditOperation.h"
#include "LibyangErrors.h"

namespace OrvElement
{
namespace
{

LY_ERR parse(DataTree& tree, const std::string& text, EditFormat format, uint32_t unknownNodes)
{
    return lyd_parse_data_mem(tree.context(), text.c_str(), format == EditFormat::Xml ? LYD_XML : LYD_JSON,
                              LYD_PARSE_ONLY | unknownNodes, 0, &tree.first());
}

// Calls the function with every node of the tree until it returns false.
template <typename Function>
bool everyNode(const DataTree& tree, Function function)
{
    for (const lyd_node* top = tree.first(); top; top = top->next)
    {
        const lyd_node* node;
        LYD_TREE_DFS_BEGIN(top, node)
        {
            if (!function(node))
            {
                return false;
            }
            LYD_TREE_DFS_END(top, node);
        }
    }
    return true;
}

void requireConfiguration(const DataTree& tree)
{
    everyNode(tree,
              [](const lyd_node* node)
              {
                  if (node->schema && !(node->schema->flags & LYS_CONFIG_W))
                  {
                      throw ElementError(pathOf(node) + " is state, and only configuration can be written");
                  }
                  return true;
              });
}

std::string content(const std::string& text, EditFormat format)
{
    // libyang would stop at it and take the first half for the whole.
    if (text.find('\0') != std::string::npos)
    {
        throw ElementError("the text holds a null character");
    }
    return format == EditFormat::Xml ? unwrapXml(text) : text;
}

}  // namespace

DataTree parseStartup(const ly_ctx* context, const std::string& text, EditFormat format)
{
    DataTree tree(context);
    if (parse(tree, content(text, format), format, LYD_PARSE_STRICT))
    {
        throw ElementError(takeLibyangError(context));
    }
    requireConfiguration(tree);
    everyNode(tree,
              [](const lyd_node* node)
              {
                  if (node->meta)
                  {
                      throw ElementError(pathOf(node) + " carries an annotation, and startup data can have none");
                  }
                  return true;
              });
    return tree;
}

DataTree parseEdit(const ly_ctx* context, const std::string& text, EditFormat format)
{
    const std::string edit = content(text, format);
    DataTree strict(context);
    if (!parse(strict, edit, format, LYD_PARSE_STRICT))
    {
        requireConfiguration(strict);
        return strict;
    }
    // Was the trouble nothing but leaves without value that are to be deleted?
    const std::string cause = takeLibyangError(context);
    DataTree lenient(context);
    const bool wellFormed = !parse(lenient, edit, format, LYD_PARSE_OPAQ);
    const bool understood =
        wellFormed && everyNode(lenient, [](const lyd_node* node) { return node->schema || leafWithoutValue(node); });
    if (!understood)
    {
        takeLibyangError(context);
        throw ElementError(cause);
    }
    requireConfiguration(lenient);
    return lenient;
}

}  // namespace OrvElement
