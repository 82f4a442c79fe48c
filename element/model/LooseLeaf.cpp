#include "LooseLeaf.h"

#include <libyang/plugins_types.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace OrvElement
{
namespace
{

const lysc_type* typeOf(const lysc_node* schema)
{
    return schema->nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf*>(schema)->type
                                        : reinterpret_cast<const lysc_node_leaflist*>(schema)->type;
}

// Prefixes as libyang resolves them: an array with its length in front.
class ResolvedPrefixes
{
public:
    // Prefixes of namespaces that no module has are left out.
    ResolvedPrefixes(const ly_ctx* context, const FilterElement::Prefixes& prefixes, const lys_module* ownModule)
    {
        void* const memory = std::calloc(1, sizeof(LY_ARRAY_COUNT_TYPE) + (prefixes.size() + 1) * sizeof(lysc_prefix));
        if (!memory)
        {
            throw std::bad_alloc();
        }
        _count.reset(static_cast<LY_ARRAY_COUNT_TYPE*>(memory));
        // Without a default namespace a name without prefix is of the leaf's own module.
        const lys_module* defaultModule = ownModule;
        for (const auto& [prefix, ns] : prefixes)
        {
            const lys_module* const module = ly_ctx_get_module_implemented_ns(context, ns.c_str());
            if (module && prefix.empty())
            {
                defaultModule = module;
            }
            else if (module)
            {
                add(prefix.c_str(), module);
            }
        }
        add(nullptr, defaultModule);
    }

    void* array() { return _count.get() + 1; }

private:
    struct FreeDeleter
    {
        void operator()(LY_ARRAY_COUNT_TYPE* memory) const { std::free(memory); }
    };

    void add(const char* prefix, const lys_module* module)
    {
        static_cast<lysc_prefix*>(array())[(*_count)++] = {const_cast<char*>(prefix), module};
    }

    std::unique_ptr<LY_ARRAY_COUNT_TYPE, FreeDeleter> _count;
};

std::string reasonOf(ly_err_item* error, const std::string& value)
{
    std::string reason = "the type does not accept \"" + value + "\"";
    if (error && error->msg)
    {
        reason = error->msg;
        if (!reason.empty() && reason.back() == '.')
        {
            reason.pop_back();
        }
    }
    ly_err_free(error);
    return reason;
}

}  // namespace

LooseLeaf::LooseLeaf(const lysc_node* schema, const std::string& value, const FilterElement::Prefixes* prefixes)
{
    const ly_ctx* const context = schema->module->ctx;
    const lysc_type* const type = typeOf(schema);
    ly_err_item* error = nullptr;
    LY_ERR code;
    if (prefixes)
    {
        ResolvedPrefixes resolved(context, *prefixes, schema->module);
        code = type->plugin->store(context, type, value.c_str(), value.size(), 0, LY_VALUE_SCHEMA_RESOLVED,
                                   resolved.array(), LYD_HINT_DATA, schema, &_node.value, nullptr, &error);
    }
    else
    {
        code = type->plugin->store(context, type, value.c_str(), value.size(), 0, LY_VALUE_JSON, nullptr, LYD_HINT_DATA,
                                   schema, &_node.value, nullptr, &error);
    }
    // Incomplete is a value that refers to data.
    if (code && code != LY_EINCOMPLETE)
    {
        const std::string reason = reasonOf(error, value);
        // Some types also store a message for this thread, which would be taken for the cause of the next refusal.
        ly_err_clean(schema->module->ctx, nullptr);
        throw ElementError(reason);
    }
    _node.schema = schema;
    lyd_get_value(&_node.node);
}

LooseLeaf::~LooseLeaf()
{
    _node.value.realtype->plugin->free(_node.schema->module->ctx, &_node.value);
}

}  // namespace OrvElement
