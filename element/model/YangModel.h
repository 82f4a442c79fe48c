#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ElementError.h"
#include "ZelOamSpiMoAttributeValue_3.h"

struct ly_ctx;
struct lysc_node;

namespace OrvElement
{

struct ModelClass;

// What a model is built from.
struct ModelOptions
{
    std::vector<std::string> yangDirs;     // searched in this order, with their subdirectories
    std::vector<std::string> modules;      // name or name@revision; a pinned revision also serves imports of the module
    std::vector<std::string> structPaths;  // data paths of containers that are struct attributes of their parent
    std::string elementName = "1";         // key of the root object outside the framework
};

// One attribute of a class.
struct ModelAttribute
{
    std::string name;
    ZelOamSpiMoAttributeType_3 type;
    bool isKey;
    bool notifiable;          // false for "config false"
    const lysc_node* schema;  // leaf, leaf-list or struct container; null for the key that a container is given
    const ModelClass* owner;
    std::size_t index;  // position in owner->attributes
    uint64_t handle;
};

// A class of objects: the element itself, a container or a list.
struct ModelClass
{
    std::string name;
    const lysc_node* schema;                 // null for the root
    const ModelClass* parent;                // null for the root
    bool alwaysThere;                        // the root, and containers without presence: never created, never deleted
    std::vector<ModelAttribute> attributes;  // keys first
    std::map<std::string, const ModelClass*, std::less<>> children;  // by class name
    uint64_t handle;
};

// The element's model: YANG modules compiled by libyang, and the classes and attributes that they become.
//
//   container, list         class (a struct container excepted); choice and case are transparent
//   leaf, leaf-list         attribute, one value or several
//   anydata, anyxml         nothing: they have no type code
//   rpc, action, notification   nothing
//
// All features of the modules are enabled. Of sibling nodes that would get one name, the second is called
// "module:name"; the name of a class has "_" for every ".".
// Threads:   built by one; immutable afterwards, so every member may be called from any.
// Ownership: classes, attributes and names live as long as the model, which must outlive its data.
// Failure:   the constructor throws ElementError and leaves nothing behind.
class YangModel
{
public:
    explicit YangModel(const ModelOptions& options);
    ~YangModel();

    const std::string& elementName() const { return _elementName; }
    const ModelClass& rootClass() const { return *_classes.front(); }
    std::size_t numberOfClasses() const { return _classes.size(); }

    // The class of the object with this DN, in its internal or external form, or null. Only the classes on the way are
    // looked at, not whether such an object exists: any key will do, but for the root's.
    const ModelClass* classOfDn(const std::string& dn) const;

    // Null for a value that is no handle of this model. A handle of a class is none of an attribute.
    const ModelClass* classOfHandle(uint64_t handle) const;
    const ModelAttribute* attributeOfHandle(uint64_t handle) const;

    // The handle of an attribute's properties, which is none of the attribute itself, and the way back.
    uint64_t propertiesHandle(const ModelAttribute& attribute) const;
    const ModelAttribute* attributeOfProperties(uint64_t handle) const;

    // Null for the last one of its class.
    const ModelAttribute* nextAttribute(const ModelAttribute& attribute) const;

    // What a schema node became; null for a node that became something else.
    const ModelClass* classOfSchema(const lysc_node* schema) const;
    const ModelAttribute* attributeOfSchema(const lysc_node* schema) const;

    ly_ctx* context() const { return _context.get(); }

    YangModel(const YangModel&) = delete;
    YangModel& operator=(const YangModel&) = delete;

private:
    friend class ModelBuilder;

    const ModelAttribute* attributeAt(uint64_t handle, uint64_t kind) const;

    struct ContextDeleter
    {
        void operator()(ly_ctx* context) const;
    };

    const uint64_t _handleBase;  // differs between the models of a process, so that a stale handle is found out
    const std::string _elementName;
    std::unique_ptr<ly_ctx, ContextDeleter> _context;
    std::vector<std::unique_ptr<ModelClass>> _classes;  // root first
    std::vector<const ModelAttribute*> _attributes;     // of all classes, in the order of their handles
    std::unordered_map<const lysc_node*, const ModelClass*> _classOfSchema;
    std::unordered_map<const lysc_node*, const ModelAttribute*> _attributeOfSchema;
};

}  // namespace OrvElement
