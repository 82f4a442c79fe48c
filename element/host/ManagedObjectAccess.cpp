#include "ManagedObjectAccess.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "ElementData.h"
#include "LogService.h"
#include "Transaction.h"

namespace OrvElement
{
namespace
{

const int WARNING = 4;

std::atomic<ManagedObjectAccess*> theCurrent{nullptr};

// The tables are called from C: nothing may be thrown out of them.
template <typename Call>
ZelReturnT withCurrent(Call call) noexcept
{
    ManagedObjectAccess* const access = theCurrent.load(std::memory_order_acquire);
    if (!access)
    {
        return OrvFailure;
    }
    try
    {
        return call(*access);
    }
    catch (...)
    {
        return OrvFailure;
    }
}

ZelReturnT openTransaction(unsigned int mode, unsigned int timeout, unsigned long* transaction)
{
    return withCurrent([&](ManagedObjectAccess& access) { return access.openTransaction(mode, timeout, transaction); });
}

ZelReturnT closeTransaction(unsigned long transaction)
{
    return withCurrent([&](ManagedObjectAccess& access) { return access.closeTransaction(transaction); });
}

ZelReturnT getMoAttribute(unsigned long transaction, const char* dn, const char* attributeName,
                          ZelMoAttributeValueResult_3* result)
{
    return withCurrent([&](ManagedObjectAccess& access)
                       { return access.getMoAttribute(transaction, dn, attributeName, result); });
}

void reservedEntry() {}

ZelOamSpiTransactionMaster_2 theTransactionMaster = {{"ZelOamSpiTransactionService", "ZelOamSpiTransactionMaster", "2"},
                                                     openTransaction,
                                                     reservedEntry,
                                                     closeTransaction};
ZelOamSpiManagedObject_3 theManagedObject = {
    {"ZelOamSpiCmRouterService", "ZelOamSpiManagedObject", "3"}, reservedEntry, getMoAttribute};
ZelOamSpiManagedObject_3 theManagedObjectForComponents = {
    {"OrvOamSpiExtCmRouterService", "OrvOamSpiManagedObject", "3"}, reservedEntry, getMoAttribute};

}  // namespace

ManagedObjectAccess::ManagedObjectAccess(const YangModel& model, const ElementData& data, std::size_t maxOpen,
                                         TransactionTable::Clock clock)
    : _model(model), _data(data), _maxOpen(maxOpen), _transactions(maxOpen, std::move(clock))
{
    ManagedObjectAccess* none = nullptr;
    if (!theCurrent.compare_exchange_strong(none, this))
    {
        throw ElementError("a process can serve the managed objects of one element at a time");
    }
}

ManagedObjectAccess::~ManagedObjectAccess()
{
    theCurrent = nullptr;
}

ZelOamSpiTransactionMaster_2& ManagedObjectAccess::transactionMaster()
{
    return theTransactionMaster;
}

ZelOamSpiManagedObject_3& ManagedObjectAccess::managedObject()
{
    return theManagedObject;
}

ZelOamSpiManagedObject_3& ManagedObjectAccess::managedObjectForComponents()
{
    return theManagedObjectForComponents;
}

void ManagedObjectAccess::reclaim()
{
    const std::size_t reclaimed = _transactions.reclaim();
    if (reclaimed == 0)
    {
        return;
    }
    try
    {
        LogService::write(WARNING,
                          "transactions left open beyond their time-out and reclaimed: " + std::to_string(reclaimed));
    }
    catch (const std::bad_alloc&)
    {
        // Without memory there is no warning. What was asked for, above all a closing, goes on: the counters tell.
    }
}

ZelReturnT ManagedObjectAccess::openTransaction(unsigned int mode, unsigned int timeout, unsigned long* transaction)
{
    reclaim();
    if (mode != ZelOamSpiTransactionRead_2 || timeout == 0 || !transaction)
    {
        return OrvBadArgument;
    }
    const unsigned long handle =
        _transactions.open(std::make_shared<Transaction>(_model, _data.snapshot()), std::chrono::seconds(timeout));
    if (handle == 0)
    {
        if (!_exhausted.exchange(true))
        {
            LogService::write(WARNING, "no transaction can be opened: " + std::to_string(_maxOpen) + " are open");
        }
        return OrvFailure;
    }
    _exhausted = false;
    *transaction = handle;
    return OrvOk;
}

ZelReturnT ManagedObjectAccess::closeTransaction(unsigned long transaction)
{
    reclaim();
    return _transactions.close(transaction) ? OrvOk : OrvNotFound;
}

ZelReturnT ManagedObjectAccess::getMoAttribute(unsigned long transaction, const char* dn, const char* attributeName,
                                               ZelMoAttributeValueResult_3* result)
{
    reclaim();
    if (!dn || !attributeName || !result)
    {
        return OrvBadArgument;
    }
    const std::shared_ptr<Transaction> open = _transactions.find(transaction);
    ZelMoAttributeValueContainer_3* const value = open ? open->read(dn, attributeName) : nullptr;
    if (!value)
    {
        return OrvNotFound;
    }
    result->status = 0;
    result->value = value;
    return OrvOk;
}

}  // namespace OrvElement
