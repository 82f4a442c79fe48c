#pragma once

#include <atomic>
#include <cstddef>

#include "TransactionTable.h"
#include "ZelOamSpiCm.h"

namespace OrvElement
{

class ElementData;
class YangModel;

// Serves the transaction master and the managed object interface from the element's data.
//
// A transaction reads the data as they were when it was opened. One that is left open is reclaimed once its time-out
// has passed: at the next call of a table, or when the host says that the data have changed, so that a caller that
// forgets its transactions does not keep every old state of a busy element in memory.
//
//   openTransaction    mode ZelOamSpiTransactionRead_2 only; timeout in seconds, at least 1. OrvBadArgument for another
//                      mode, a time-out of 0 or a null pointer, OrvFailure while too many transactions are open.
//   closeTransaction   OrvNotFound for what is no handle of an open transaction, so also for a reclaimed one.
//   getMoAttribute     status 0 and all values, defaults in use included; no value if there is none. The DN may have
//                      its internal or external form. OrvNotFound for an unknown transaction, object, class or
//                      attribute, OrvBadArgument for a null pointer. What is read is valid until the transaction ends.
//
// What an operation would have filled stays as it was when it fails. The tables are plain functions without a context,
// so a process has one current object: the living one.
// Threads:   the tables' functions from any thread; construction and destruction by the host, while no component runs.
// Ownership: model and data are the caller's and must outlive this object. The tables live as long as the process;
//            without a living object their functions answer OrvFailure.
// Failure:   a second living object is refused with ElementError. Nothing is thrown across a table: no memory is
//            OrvFailure.
class ManagedObjectAccess
{
public:
    static constexpr std::size_t MAX_OPEN_TRANSACTIONS = 10000;

    ManagedObjectAccess(const YangModel& model, const ElementData& data, std::size_t maxOpen = MAX_OPEN_TRANSACTIONS,
                        TransactionTable::Clock clock = std::chrono::steady_clock::now);
    ~ManagedObjectAccess();

    // "ZelOamSpiTransactionService" / "ZelOamSpiTransactionMaster" / "2".
    static ZelOamSpiTransactionMaster_2& transactionMaster();
    // "ZelOamSpiCmRouterService" / "ZelOamSpiManagedObject" / "3".
    static ZelOamSpiManagedObject_3& managedObject();
    // The same functions as "OrvOamSpiExtCmRouterService" / "OrvOamSpiManagedObject" / "3", which components declare.
    static ZelOamSpiManagedObject_3& managedObjectForComponents();

    // Ends the transactions whose time-out has passed. To be called when an edit has been applied.
    void reclaim();

    TransactionCounters counters() const { return _transactions.counters(); }

    ZelReturnT openTransaction(unsigned int mode, unsigned int timeout, unsigned long* transaction);
    ZelReturnT closeTransaction(unsigned long transaction);
    ZelReturnT getMoAttribute(unsigned long transaction, const char* dn, const char* attributeName,
                              ZelMoAttributeValueResult_3* result);

    ManagedObjectAccess(const ManagedObjectAccess&) = delete;
    ManagedObjectAccess& operator=(const ManagedObjectAccess&) = delete;

private:
    const YangModel& _model;
    const ElementData& _data;
    const std::size_t _maxOpen;
    TransactionTable _transactions;
    std::atomic<bool> _exhausted{false};  // the limit was met, and nothing has been opened since: said once
};

}  // namespace OrvElement
