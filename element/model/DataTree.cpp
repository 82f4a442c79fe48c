#include "DataTree.h"

#include <libyang/libyang.h>

#include <cstdlib>
#include <memory>

#include "LibyangErrors.h"

namespace OrvElement
{
namespace
{

struct FreeDeleter
{
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

DataTree::~DataTree()
{
    lyd_free_all(_first);
}

DataTree::DataTree(DataTree&& other) noexcept : _context(other._context), _first(other._first)
{
    other._first = nullptr;
}

DataTree DataTree::copy() const
{
    DataTree result(_context);
    if (_first && lyd_dup_siblings(_first, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS, &result._first))
    {
        throw ElementError("the data cannot be copied: " + takeLibyangError(_context));
    }
    return result;
}

void DataTree::settle()
{
    for (const lyd_node* top = _first; top; top = top->next)
    {
        const lyd_node* node;
        LYD_TREE_DFS_BEGIN(top, node)
        {
            lyd_get_value(node);
            LYD_TREE_DFS_END(top, node);
        }
    }
}

std::string DataTree::print(EditFormat format) const
{
    char* raw = nullptr;
    if (lyd_print_mem(&raw, _first, format == EditFormat::Xml ? LYD_XML : LYD_JSON, LYD_PRINT_WITHSIBLINGS))
    {
        throw ElementError("the data cannot be printed: " + takeLibyangError(_context));
    }
    const std::unique_ptr<char, FreeDeleter> text(raw);
    return text ? std::string(text.get()) : std::string();
}

std::string valueText(const lyd_node* node)
{
    const char* const text = lyd_get_value(node);
    return text ? text : "";
}

std::string pathOf(const lyd_node* node)
{
    const std::unique_ptr<char, FreeDeleter> path(lyd_path(node, LYD_PATH_STD, nullptr, 0));
    return path ? path.get() : "";
}

}  // namespace OrvElement
