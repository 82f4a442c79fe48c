#include "YangModel.h"

#include <libyang/libyang.h>

#include <atomic>

#include "DnTranslation.h"
#include "LibyangErrors.h"
#include "ModelBuilder.h"

namespace OrvElement
{
namespace
{

// A handle: the model's number, then which kind of thing, then its position among its kind.
constexpr unsigned MODEL_SHIFT = 40;
constexpr uint64_t POSITION_MASK = 0xFFFFFFFF;

uint64_t nextHandleBase()
{
    static std::atomic<uint64_t> models(0);
    return (models.fetch_add(1) % 0xFFFF + 1) << MODEL_SHIFT;
}

const std::string& checkedName(const std::string& name)
{
    if (name.empty() || encodeKey(name, false) != name)
    {
        throw ElementError("element name \"" + encodeKey(name, false) +
                           "\": it must not be empty nor hold any of % , = or a control character");
    }
    return name;
}

}  // namespace

void YangModel::ContextDeleter::operator()(ly_ctx* context) const
{
    ly_ctx_destroy(context);
}

YangModel::YangModel(const ModelOptions& options)
    : _handleBase(nextHandleBase()), _elementName(checkedName(options.elementName))
{
    quietLibyang();
    _context.reset(ModelBuilder::load(options));
    ModelBuilder(*this).build(options.structPaths);
}

YangModel::~YangModel() = default;

const ModelClass* YangModel::classOfDn(const std::string& dn) const
{
    const std::vector<DnComponent> components = splitDn(dn);
    if (components.empty() || !isRootComponent(components.front(), _elementName))
    {
        return nullptr;
    }
    const ModelClass* found = &rootClass();
    for (auto component = components.begin() + 1; component != components.end(); ++component)
    {
        const auto child = found->children.find(component->className);
        if (child == found->children.end())
        {
            return nullptr;
        }
        found = child->second;
    }
    return found;
}

const ModelClass* YangModel::classOfHandle(uint64_t handle) const
{
    const uint64_t position = handle & POSITION_MASK;
    const bool valid = (handle & ~POSITION_MASK) == (_handleBase | ModelBuilder::CLASS_HANDLE);
    return valid && position < _classes.size() ? _classes[position].get() : nullptr;
}

const ModelAttribute* YangModel::attributeAt(uint64_t handle, uint64_t kind) const
{
    const uint64_t position = handle & POSITION_MASK;
    const bool valid = (handle & ~POSITION_MASK) == (_handleBase | kind);
    return valid && position < _attributes.size() ? _attributes[position] : nullptr;
}

const ModelAttribute* YangModel::attributeOfHandle(uint64_t handle) const
{
    return attributeAt(handle, ModelBuilder::ATTRIBUTE_HANDLE);
}

uint64_t YangModel::propertiesHandle(const ModelAttribute& attribute) const
{
    return _handleBase | ModelBuilder::PROPERTIES_HANDLE | (attribute.handle & POSITION_MASK);
}

const ModelAttribute* YangModel::attributeOfProperties(uint64_t handle) const
{
    return attributeAt(handle, ModelBuilder::PROPERTIES_HANDLE);
}

const ModelAttribute* YangModel::nextAttribute(const ModelAttribute& attribute) const
{
    const std::size_t next = attribute.index + 1;
    return next < attribute.owner->attributes.size() ? &attribute.owner->attributes[next] : nullptr;
}

const ModelClass* YangModel::classOfSchema(const lysc_node* schema) const
{
    const auto found = _classOfSchema.find(schema);
    return found == _classOfSchema.end() ? nullptr : found->second;
}

const ModelAttribute* YangModel::attributeOfSchema(const lysc_node* schema) const
{
    const auto found = _attributeOfSchema.find(schema);
    return found == _attributeOfSchema.end() ? nullptr : found->second;
}

}  // namespace OrvElement
