// The members of NbiNotificationServiceCM through which the subtree filters read the managed objects and their model.
#include "NbiNotificationServiceCM.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

namespace
{

const ZelMgmtSpiInterface_1 MANAGED_OBJECT = {"ZelOamSpiCmRouterService", "ZelOamSpiManagedObject", "3"};
const ZelMgmtSpiInterface_1 TRANSACTION_MASTER = {"ZelOamSpiTransactionService", "ZelOamSpiTransactionMaster", "2"};
const ZelMgmtSpiInterface_1 MODEL_REPOSITORY = {"ZelOamSpiModelRepositoryService", "ZelOamSpiModelRepository", "3"};

const unsigned int TRANSACTION_TIMEOUT = 3600;  // seconds

// The one selector in use of each operation that takes one.
const unsigned int MOC_OF_DN = 0;
const unsigned int KEY_FLAG = 0;
const unsigned int NAME_TEXT = 0;

// The portal's answer; a success without a table is a failure.
template <typename Table>
ZelReturnT lookUp(const ZelMgmtSpiInterfacePortal_3& portal, const ZelMgmtSpiInterface_1& id, Table*& table)
{
    void* found = nullptr;
    const ZelReturnT result = portal.getInterface(id, &found);
    if (result != OrvOk)
    {
        return result;
    }
    table = static_cast<Table*>(found);
    return table != nullptr ? OrvOk : OrvFailure;
}

}  // namespace

ZelReturnT NbiNotificationServiceCM::getAttributeValue(const char* dn, const char* attributeName,
                                                       ZelMoAttributeValueResult_3* result, unsigned long& transaction)
{
    NOTIF_TRACE(" >> ");
    ZelOamSpiManagedObject_3* managedObject = nullptr;
    if (lookUp(*portal3, MANAGED_OBJECT, managedObject) != OrvOk)
    {
        NOTIF_ERROR("Could not lookup cmrouterservice");
        return OrvFailure;
    }
    ZelOamSpiTransactionMaster_2* transactionMaster = nullptr;
    const ZelReturnT found = lookUp(*portal3, TRANSACTION_MASTER, transactionMaster);
    if (found != OrvOk)
    {
        return found;
    }
    if (transactionMaster->openTransaction(ZelOamSpiTransactionRead_2, TRANSACTION_TIMEOUT, &transaction) != OrvOk)
    {
        NOTIF_ERROR("could not get a transaction handle");
        return OrvFailure;
    }
    NOTIF_TRACE(" Calling getMOAtrribute  ");
    const ZelReturnT read = managedObject->getMoAttribute(transaction, dn, attributeName, result);
    NOTIF_TRACE(" << ");
    return read;
}

ZelReturnT NbiNotificationServiceCM::endTransaction(unsigned long transaction)
{
    NOTIF_TRACE(" >> ");
    // Not needed to close, but without it nothing is closed.
    ZelOamSpiManagedObject_3* managedObject = nullptr;
    if (lookUp(*portal3, MANAGED_OBJECT, managedObject) != OrvOk)
    {
        NOTIF_ERROR("Could not lookup cmrouterservice");
        return OrvFailure;
    }
    ZelOamSpiTransactionMaster_2* transactionMaster = nullptr;
    const ZelReturnT found = lookUp(*portal3, TRANSACTION_MASTER, transactionMaster);
    if (found != OrvOk)
    {
        return found;
    }
    const ZelReturnT closed = transactionMaster->closeTransaction(transaction);
    NOTIF_TRACE(" << ");
    return closed;
}

ZelReturnT NbiNotificationServiceCM::getKeyName(const char* dn, std::string& keyName)
{
    NOTIF_TRACE(" >> ");
    ZelOamSpiModelRepository_3* repository = nullptr;
    const ZelReturnT found = lookUp(*portal3, MODEL_REPOSITORY, repository);
    modelRepository.store(repository, std::memory_order_relaxed);
    if (found != OrvOk)
    {
        NOTIF_ERROR("could not get a model repository interface");
        return OrvFailure;
    }
    uint64_t moc = 0;
    if (repository->t1->getMocFromDn(dn, MOC_OF_DN, &moc) != OrvOk)
    {
        NOTIF_ERROR("could not get MOC handle");
        return OrvFailure;
    }
    uint64_t attribute = 0;
    if (repository->t4->getFirstAttribute(moc, &attribute) != OrvOk)
    {
        NOTIF_ERROR("could not get attribute handle");
        return OrvFailure;
    }
    for (bool isKey = false;;)
    {
        if (repository->t9->getAttributeFlag(attribute, KEY_FLAG, &isKey) != OrvOk)
        {
            NOTIF_ERROR("could not get attribute property handle");
            return OrvFailure;
        }
        if (isKey)
        {
            break;
        }
        // A success that leads nowhere is a failure: the walk would never end.
        uint64_t next = attribute;
        if (repository->t9->getNextAttribute(attribute, &next) != OrvOk || next == attribute)
        {
            NOTIF_ERROR("could not get next attribute handle");
            return OrvFailure;
        }
        attribute = next;
    }
    uint64_t properties = 0;
    if (repository->t9->getGeneralProperties(attribute, &properties) != OrvOk)
    {
        NOTIF_ERROR("could not get attribute general properties handle");
        return OrvFailure;
    }
    const char* name = nullptr;
    if (repository->t2->getPropertyText(properties, NAME_TEXT, &name) != OrvOk || name == nullptr)
    {
        NOTIF_ERROR("could not get attribute name property handle");
        return OrvFailure;
    }
    NOTIF_TRACE("Non standard key attribute name is %s", name);
    keyName = name;
    NOTIF_TRACE(" << ");
    return OrvOk;
}

}  // namespace OrvNbiNotificationService
