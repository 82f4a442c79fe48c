#pragma once

#include <set>
#include <string>
#include <vector>

#include "YangModel.h"

struct lys_module;

namespace OrvElement
{

// Fills a YangModel: loads the modules into a libyang context, then turns schema nodes into classes and attributes.
// Threads: one; used by the model's constructor only.
// Failure: ElementError.
class ModelBuilder
{
public:
    enum : uint64_t
    {
        CLASS_HANDLE = uint64_t(1) << 32,
        ATTRIBUTE_HANDLE = uint64_t(2) << 32,
        PROPERTIES_HANDLE = uint64_t(3) << 32
    };

    // The context with all modules compiled; the caller's to destroy.
    static ly_ctx* load(const ModelOptions& options);

    explicit ModelBuilder(YangModel& model) : _model(model) {}
    void build(const std::vector<std::string>& structPaths);

private:
    typedef std::set<std::string> Names;

    void markStructs(const std::vector<std::string>& paths);
    void checkStruct(const lysc_node* node, const std::string& path, int depth) const;

    ModelClass& addClass(const lysc_node* schema, const ModelClass* parent, const std::string& name);
    void addOwnKey(ModelClass& owner, Names& names, bool notifiable);
    void addAttribute(ModelClass& owner, Names& names, const lysc_node* schema, bool isKey);
    void addNodes(ModelClass& owner, Names& names, const std::vector<const lysc_node*>& nodes);
    void fillClass(ModelClass& owner);
    void registerAttributes(ModelClass& owner);

    static std::string uniqueName(const Names& names, const lysc_node* schema, bool forClass);

    YangModel& _model;
    std::set<const lysc_node*> _structs;
};

}  // namespace OrvElement
