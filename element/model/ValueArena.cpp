#include "ValueArena.h"

#include <cstdint>

namespace OrvElement
{

char* ValueArena::text(const std::string& text)
{
    _texts.push_back(text);
    return &_texts.back()[0];
}

ZelMoAttributeValue_3* ValueArena::values(const std::vector<ZelMoAttributeValue_3>& values)
{
    if (values.empty())
    {
        return nullptr;
    }
    _values.push_back(values);
    return _values.back().data();
}

ZelMoNamedAttributeValueContainer_3* ValueArena::attribute(const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                                           const std::vector<ZelMoAttributeValue_3>& attributeValues)
{
    _attributes.push_back({text(name), type, static_cast<uint32_t>(attributeValues.size()), values(attributeValues)});
    return &_attributes.back();
}

ZelMoAttributeValueContainer_3* ValueArena::container(ZelOamSpiMoAttributeType_3 type,
                                                      const std::vector<ZelMoAttributeValue_3>& containedValues)
{
    _containers.push_back({type, static_cast<uint32_t>(containedValues.size()), values(containedValues)});
    return &_containers.back();
}

ZelMoStructMember_3* ValueArena::structMember(const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                              const std::vector<ZelMoAttributeValue_3>& memberValues,
                                              ZelMoStructMember_3* next)
{
    _members.push_back({text(name), container(type, memberValues), next});
    return &_members.back();
}

}  // namespace OrvElement
