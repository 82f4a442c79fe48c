#include "Records.h"

namespace OrvTest
{

Attribute int32Attribute(const std::string& name, int32_t value)
{
    return {name, ZelMoAttributeInt32_3, value, ""};
}

Attribute stringAttribute(const std::string& name, const std::string& value)
{
    return {name, ZelMoAttributeString_3, 0, value};
}

Attribute uncopyableAttribute(const std::string& name)
{
    return {name, ZelMoAttributeReserved14_3, 0, ""};
}

AttributeArray::AttributeArray(const std::vector<Attribute>& attributes)
    : _cells(std::make_unique<std::deque<Cell>>()),
      _pointers(new ZelMoNamedAttributeValueContainer_3*[attributes.size() + 1]())
{
    for (const Attribute& attribute : attributes)
    {
        _cells->push_back(Cell{attribute.name, attribute.text, {}, {}});
        Cell& cell = _cells->back();
        if (attribute.type == ZelMoAttributeString_3 || attribute.type == ZelMoAttributeReference_3)
        {
            cell.value.str = cell.text.c_str();
        }
        else
        {
            cell.value.i64 = attribute.number;
        }
        cell.container = {cell.name.c_str(), attribute.type, 1, &cell.value};
        _pointers[_cells->size() - 1] = &cell.container;
    }
}

Notification::Notification(int64_t eventTime, const char* dn, int32_t type, const std::vector<Attribute>& attributes)
    : _dn(dn == nullptr ? nullptr : std::make_unique<std::string>(dn)),
      _attributes(attributes),
      _record(new OrvOamSpiNbiNotificationValue_1{eventTime, _dn ? &(*_dn)[0] : nullptr, 0, 0, type, _attributes.get()})
{
}

Notification makeNotification(int64_t eventTime, const std::string& dn, int32_t type,
                              const std::vector<Attribute>& attributes)
{
    return Notification(eventTime, dn.c_str(), type, attributes);
}

CmEvent::CmEvent(uint64_t eventTime, uint32_t txHandle, int32_t sourceIndicator)
    : _pointers(1, nullptr), _event{txHandle, eventTime, sourceIndicator, _pointers.data()}
{
}

CmEvent& CmEvent::operation(const std::string& dn, int32_t type, const std::vector<Attribute>& attributes)
{
    _operations.push_back(Operation{dn, AttributeArray(attributes), {}});
    Operation& added = _operations.back();
    added.record = {added.dn.c_str(), type, added.attributes.get()};
    _pointers.back() = &added.record;
    _pointers.push_back(nullptr);
    _event.txOperations = _pointers.data();
    return *this;
}

std::vector<std::string> CmEvent::dns() const
{
    std::vector<std::string> dns;
    for (const Operation& operation : _operations)
    {
        dns.push_back(operation.dn);
    }
    return dns;
}

LegacyFilter::LegacyFilter(const std::vector<std::pair<std::string, std::string>>& pairs)
    : _texts(std::make_unique<std::deque<std::pair<std::string, std::string>>>(pairs.begin(), pairs.end())),
      _pairs(std::make_unique<std::deque<OrvNameValuePair>>()),
      _pointers(new OrvNameValuePair*[pairs.size() + 1]())
{
    for (const auto& text : *_texts)
    {
        _pairs->push_back({text.first.c_str(), text.second.c_str()});
        _pointers[_pairs->size() - 1] = &_pairs->back();
    }
}

}  // namespace OrvTest
