#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Blocks.h"
#include "FilterModel.h"
#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvTest
{

// Makes the interface's records of plain values.
// Threads:   one.
// Ownership: all that it gives is lent until its end.
class FilterRecords
{
public:
    FilterRecords() = default;

    // Null for no trees; the array ends with a null pointer.
    OrvOamSpiNbiNotificationSubTree_1** trees(const std::optional<std::vector<Naive::TreeNode>>& trees);

    // Attributes of one identity get one record, over all notifications made here.
    OrvOamSpiNbiNotificationValue_1* notification(const Naive::Change& change);

    FilterRecords(const FilterRecords&) = delete;
    FilterRecords& operator=(const FilterRecords&) = delete;

private:
    // A null-terminated array of what one element gives, null for no elements.
    template <typename Pointer, typename Element, typename Maker>
    Pointer* array(const std::optional<std::vector<Element>>& elements, Maker maker)
    {
        if (!elements)
        {
            return nullptr;
        }
        Pointer* const pointers = _blocks.make<Pointer>(elements->size() + 1);
        for (size_t i = 0; i < elements->size(); ++i)
        {
            pointers[i] = maker((*elements)[i]);
        }
        return pointers;
    }

    char** texts(const std::optional<std::vector<std::string>>& texts);
    OrvOamSpiNbiNotificationSubTree_1* tree(const Naive::TreeNode& node);
    StructContainment* structCondition(const Naive::StructCondition& condition);
    ZelMoNamedAttributeValueContainer_3* attribute(const Naive::Attribute& attribute);
    ZelMoAttributeValueContainer_3* values(int32_t type, const std::vector<Naive::Value>& values);
    ZelMoAttributeValue_3* valueArray(int32_t type, const std::vector<Naive::Value>& values);
    ZelMoStructMember_3* members(const std::vector<Naive::Member>& members);

    Blocks _blocks;
    std::map<int, ZelMoNamedAttributeValueContainer_3*> _identities;
};

// All that a notification holds, for comparing: the record and the plain form give the same text.
std::string textOf(const OrvOamSpiNbiNotificationValue_1& notification);
std::string textOf(const Naive::Change& change);

std::string textOf(const Naive::Attribute& attribute);

}  // namespace OrvTest
