#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "ZelOamSpiMoAttributeValue_3.h"

namespace OrvElement
{

// Memory for attribute values that live and die together: everything that it hands out is freed with it.
// Threads:   one at a time.
// Ownership: what it returns is the arena's; addresses stay until it is destroyed.
class ValueArena
{
public:
    ValueArena() = default;

    char* text(const std::string& text);

    // The values pointer is null for an empty list.
    ZelMoNamedAttributeValueContainer_3* attribute(const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                                   const std::vector<ZelMoAttributeValue_3>& values);
    ZelMoAttributeValueContainer_3* container(ZelOamSpiMoAttributeType_3 type,
                                              const std::vector<ZelMoAttributeValue_3>& values);
    ZelMoStructMember_3* structMember(const std::string& name, ZelOamSpiMoAttributeType_3 type,
                                      const std::vector<ZelMoAttributeValue_3>& values, ZelMoStructMember_3* next);

    ValueArena(const ValueArena&) = delete;
    ValueArena& operator=(const ValueArena&) = delete;

private:
    ZelMoAttributeValue_3* values(const std::vector<ZelMoAttributeValue_3>& values);

    std::deque<std::string> _texts;
    std::deque<std::vector<ZelMoAttributeValue_3>> _values;
    std::deque<ZelMoNamedAttributeValueContainer_3> _attributes;
    std::deque<ZelMoAttributeValueContainer_3> _containers;
    std::deque<ZelMoStructMember_3> _members;
};

}  // namespace OrvElement
