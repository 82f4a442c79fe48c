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

ZelMoStructMember_3* ValueArena::structMember(const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                              const std::vector<ZelMoAttributeValue_3>& memberValues,
                                              ZelMoStructMember_3* next)
{
    _memberValues.push_back({type, static_cast<uint32_t>(memberValues.size()), values(memberValues)});
    _members.push_back({text(name), &_memberValues.back(), next});
    return &_members.back();
}

}  // namespace OrvElement
