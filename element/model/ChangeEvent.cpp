#include "ChangeEvent.h"

namespace OrvElement
{

ChangeEvent::ChangeEvent(uint32_t txHandle, uint64_t eventTime) : _operationArray(1, nullptr)
{
    _record.txHandle = txHandle;
    _record.eventTime = eventTime;
    _record.sourceIndicator = SOURCE_INDICATOR;
    _record.txOperations = _operationArray.data();
}

void ChangeEvent::add(ChangeKind kind, const std::string& dn,
                      const std::vector<ZelMoNamedAttributeValueContainer_3*>& attributes)
{
    _attributeArrays.push_back(attributes);
    _attributeArrays.back().push_back(nullptr);
    _operations.push_back({_arena.text(dn), static_cast<int32_t>(kind), _attributeArrays.back().data()});
    _operationArray.back() = &_operations.back();
    _operationArray.push_back(nullptr);
    _record.txOperations = _operationArray.data();
    _dns.push_back(dn);
}

}  // namespace OrvElement
