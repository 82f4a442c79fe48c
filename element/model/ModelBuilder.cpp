#include "ModelBuilder.h"

#include <libyang/libyang.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>

#include "DnTranslation.h"
#include "LibyangErrors.h"
#include "MoUtils.h"
#include "SchemaNodes.h"

namespace OrvElement
{
namespace
{

const char* const NETCONF_MODULE = "ietf-netconf";

// Modules that belong to libyang itself hold nothing of the element, whatever data they define.
const char* const LIBYANG_MODULES[] = {"yang", "ietf-yang-schema-mount", "ietf-yang-library", "ietf-datastores",
                                       NETCONF_MODULE};

// libyang defines the annotation "operation" for a module of this name. When no other module brings the real one in,
// this takes its place; the feature is one that libyang's annotations refer to.
const char* const NETCONF_STAND_IN =
    "module ietf-netconf {"
    "  yang-version 1.1;"
    "  namespace \"urn:ietf:params:xml:ns:netconf:base:1.0\";"
    "  prefix nc;"
    "  feature xpath;"
    "}";

const char* ALL_FEATURES[] = {"*", nullptr};

struct ModuleName
{
    std::string name;
    std::string revision;  // empty: not pinned
};

ModuleName splitModuleName(const std::string& text)
{
    const std::size_t at = text.find('@');
    if (at != std::string::npos && at + 1 == text.size())
    {
        throw ElementError("YANG module " + text + ": the revision behind @ is missing");
    }
    return at == std::string::npos ? ModuleName{text, ""} : ModuleName{text.substr(0, at), text.substr(at + 1)};
}

struct FreeDeleter
{
    void operator()(char* text) const { std::free(text); }
};

// Serves the imports of a pinned module with its pinned revision: an import without a revision would take the newest
// that the directories hold, and two revisions of one module cannot both be the element's.
class PinnedImports
{
public:
    PinnedImports(ly_ctx* context, const std::vector<std::string>& modules) : _context(context)
    {
        for (const std::string& text : modules)
        {
            const ModuleName module = splitModuleName(text);
            if (!module.revision.empty())
            {
                _revisions[module.name] = module.revision;
            }
        }
        ly_ctx_set_module_imp_clb(_context, &PinnedImports::find, this);
    }
    ~PinnedImports() { ly_ctx_set_module_imp_clb(_context, nullptr, nullptr); }

    PinnedImports(const PinnedImports&) = delete;
    PinnedImports& operator=(const PinnedImports&) = delete;

private:
    static LY_ERR find(const char* module, const char* revision, const char* submodule, const char*, void* self,
                       LYS_INFORMAT* format, const char** text, ly_module_imp_data_free_clb* release)
    {
        return submodule ? LY_ENOTFOUND
                         : static_cast<PinnedImports*>(self)->findModule(module, revision, format, text, release);
    }

    LY_ERR findModule(const char* module, const char* revision, LYS_INFORMAT* format, const char** text,
                      ly_module_imp_data_free_clb* release)
    {
        const auto pinned = _revisions.find(module);
        if (pinned == _revisions.end() || (revision && pinned->second != revision))
        {
            return LY_ENOTFOUND;
        }
        char* path = nullptr;
        if (lys_search_localfile(ly_ctx_get_searchdirs(_context), 0, module, pinned->second.c_str(), &path, format) ||
            !path)
        {
            return LY_ENOTFOUND;
        }
        const std::unique_ptr<char, FreeDeleter> owned(path);
        std::ifstream file(path, std::ios::binary);
        _text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        *text = _text.c_str();
        *release = nullptr;  // libyang has parsed the text before it asks for another
        return LY_SUCCESS;
    }

    ly_ctx* _context;
    std::map<std::string, std::string> _revisions;
    std::string _text;
};

void addNetconfAnnotations(ly_ctx* context)
{
    if (ly_ctx_get_module_implemented(context, NETCONF_MODULE))
    {
        return;
    }
    lys_module* const imported = ly_ctx_get_module_latest(context, NETCONF_MODULE);
    LY_ERR code;
    if (imported)
    {
        code = lys_set_implemented(imported, ALL_FEATURES);
    }
    else
    {
        ly_in* in = nullptr;
        code = ly_in_new_memory(NETCONF_STAND_IN, &in);
        if (!code)
        {
            code = lys_parse(context, in, LYS_IN_YANG, ALL_FEATURES, nullptr);
            ly_in_free(in, 0);
        }
    }
    if (code)
    {
        throw ElementError("module " + std::string(NETCONF_MODULE) + ": " + takeLibyangError(context));
    }
}

bool belongsToLibyang(const lys_module* module)
{
    return std::any_of(std::begin(LIBYANG_MODULES), std::end(LIBYANG_MODULES),
                       [module](const char* name) { return std::string(name) == module->name; });
}

std::string className(const std::string& nodeName)
{
    std::string name(nodeName);
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

}  // namespace

ly_ctx* ModelBuilder::load(const ModelOptions& options)
{
    struct Destroyer
    {
        void operator()(ly_ctx* context) const { ly_ctx_destroy(context); }
    };
    ly_ctx* raw = nullptr;
    if (ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIR_CWD, &raw))
    {
        throw ElementError("libyang cannot make a context");
    }
    std::unique_ptr<ly_ctx, Destroyer> context(raw);
    for (const std::string& directory : options.yangDirs)
    {
        const LY_ERR code = ly_ctx_set_searchdir(raw, directory.c_str());
        if (code && code != LY_EEXIST)
        {
            throw ElementError("YANG directory " + directory + ": " + takeLibyangError(raw));
        }
    }
    if (options.modules.empty())
    {
        throw ElementError("no YANG module was named");
    }
    const PinnedImports imports(raw, options.modules);
    for (const std::string& text : options.modules)
    {
        const ModuleName module = splitModuleName(text);
        const char* const revision = module.revision.empty() ? nullptr : module.revision.c_str();
        if (!ly_ctx_load_module(raw, module.name.c_str(), revision, ALL_FEATURES))
        {
            throw ElementError("YANG module " + text + ": " + takeLibyangError(raw));
        }
    }
    addNetconfAnnotations(raw);
    return context.release();
}

void ModelBuilder::build(const std::vector<std::string>& structPaths)
{
    markStructs(structPaths);

    ModelClass& root = addClass(nullptr, nullptr, ROOT_CLASS);
    Names names;
    addOwnKey(root, names, true);
    uint32_t index = 0;
    while (const lys_module* module = ly_ctx_get_module_iter(_model.context(), &index))
    {
        if (module->implemented && module->compiled && !belongsToLibyang(module))
        {
            addNodes(root, names, dataNodes(nullptr, module->compiled));
        }
    }
    registerAttributes(root);

    // Classes are added behind the one that is being filled: breadth first, without recursion.
    for (std::size_t i = 1; i < _model._classes.size(); ++i)
    {
        fillClass(*_model._classes[i]);
    }
}

void ModelBuilder::markStructs(const std::vector<std::string>& paths)
{
    for (const std::string& path : paths)
    {
        const lysc_node* const node = lys_find_path(_model.context(), nullptr, path.c_str(), 0);
        if (!node)
        {
            throw ElementError("struct " + path + ": " + takeLibyangError(_model.context()));
        }
        if (node->nodetype != LYS_CONTAINER || belongsToLibyang(node->module))
        {
            throw ElementError("struct " + path + ": only a container of the model can be a struct");
        }
        checkStruct(node, path, 1);
        _structs.insert(node);
    }
}

void ModelBuilder::checkStruct(const lysc_node* node, const std::string& path, int depth) const
{
    if (depth > Orv::MoUtils::MAX_STRUCT_DEPTH)
    {
        throw ElementError("struct " + path + ": containers are nested deeper than " +
                           std::to_string(static_cast<int>(Orv::MoUtils::MAX_STRUCT_DEPTH)));
    }
    for (const lysc_node* child : dataNodes(node, nullptr))
    {
        if (child->nodetype == LYS_LIST)
        {
            throw ElementError("struct " + path + ": the list " + child->name + " in it cannot be a struct member");
        }
        if (child->nodetype == LYS_CONTAINER)
        {
            checkStruct(child, path, depth + 1);
        }
    }
}

ModelClass& ModelBuilder::addClass(const lysc_node* schema, const ModelClass* parent, const std::string& name)
{
    const bool presence = schema && schema->nodetype == LYS_CONTAINER && (schema->flags & LYS_PRESENCE);
    const bool alwaysThere = !schema || (schema->nodetype == LYS_CONTAINER && !presence);
    const uint64_t handle = _model._handleBase | CLASS_HANDLE | _model._classes.size();
    _model._classes.push_back(
        std::make_unique<ModelClass>(ModelClass{name, schema, parent, alwaysThere, {}, {}, handle}));
    if (schema)
    {
        _model._classOfSchema[schema] = _model._classes.back().get();
    }
    return *_model._classes.back();
}

// A container, and a list without keys, gets a key of its own: the class name with its first letter in lower case, and
// "Id".
void ModelBuilder::addOwnKey(ModelClass& owner, Names& names, bool notifiable)
{
    std::string name = owner.name + "Id";
    name[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
    names.insert(name);
    owner.attributes.push_back({name, ZelMoAttributeString_3, true, notifiable, nullptr, &owner, 0, 0});
}

void ModelBuilder::addAttribute(ModelClass& owner, Names& names, const lysc_node* schema, bool isKey)
{
    const std::string name = uniqueName(names, schema, false);
    names.insert(name);
    owner.attributes.push_back({name, typeCode(schema), isKey, isConfig(schema), schema, &owner, 0, 0});
}

void ModelBuilder::addNodes(ModelClass& owner, Names& names, const std::vector<const lysc_node*>& nodes)
{
    for (const lysc_node* node : nodes)
    {
        if ((node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) || _structs.count(node) != 0)
        {
            addAttribute(owner, names, node, false);
        }
        else
        {
            const std::string name = uniqueName(names, node, true);
            names.insert(name);
            owner.children[name] = &addClass(node, &owner, name);
        }
    }
}

void ModelBuilder::fillClass(ModelClass& owner)
{
    Names names;
    std::vector<const lysc_node*> nodes = dataNodes(owner.schema, nullptr);
    const auto isKey = [](const lysc_node* node) { return lysc_is_key(node); };
    const auto others = std::stable_partition(nodes.begin(), nodes.end(), isKey);
    if (others == nodes.begin())
    {
        addOwnKey(owner, names, isConfig(owner.schema));
    }
    for (auto key = nodes.begin(); key != others; ++key)
    {
        addAttribute(owner, names, *key, true);
    }
    addNodes(owner, names, std::vector<const lysc_node*>(others, nodes.end()));
    registerAttributes(owner);
}

// Once a class is complete its attributes have their final addresses.
void ModelBuilder::registerAttributes(ModelClass& owner)
{
    for (std::size_t i = 0; i < owner.attributes.size(); ++i)
    {
        ModelAttribute& attribute = owner.attributes[i];
        attribute.index = i;
        attribute.handle = _model._handleBase | ATTRIBUTE_HANDLE | _model._attributes.size();
        _model._attributes.push_back(&attribute);
        if (attribute.schema)
        {
            _model._attributeOfSchema[attribute.schema] = &attribute;
        }
    }
}

std::string ModelBuilder::uniqueName(const Names& names, const lysc_node* schema, bool forClass)
{
    const std::string plain(schema->name);
    for (const std::string& candidate : {plain, qualifiedName(schema)})
    {
        std::string name = forClass ? className(candidate) : candidate;
        if (names.count(name) == 0)
        {
            return name;
        }
    }
    throw ElementError("YANG module " + std::string(schema->module->name) + ": node " + plain +
                       " cannot be told from its siblings");
}

}  // namespace OrvElement
