#include "Transaction.h"

#include <utility>

#include "AttributeLookup.h"
#include "OrvThreadLock.h"

namespace OrvElement
{

Transaction::Transaction(const YangModel& model, std::shared_ptr<const DataTree> data)
    : _model(model), _data(std::move(data))
{
}

ZelMoAttributeValueContainer_3* Transaction::read(const std::string& dn, const std::string& attributeName)
{
    const std::optional<FoundAttribute> found = findAttribute(_model, *_data, dn, attributeName);
    if (!found)
    {
        return nullptr;
    }
    const Orv::OrvThreadLock<Poco::FastMutex> lock(_mutex);
    if (!_results)
    {
        _results.emplace();
    }
    return readValuesOf(*_results, *found->attribute, found->nodes);
}

}  // namespace OrvElement
