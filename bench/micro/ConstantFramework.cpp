#include "ConstantFramework.h"

#include <string>

#include "NbiNotificationServiceCM.h"
#include "ZelMgmtSpi.h"
#include "ZelOamSpiCm.h"

namespace OrvBench
{

namespace
{

ZelMoAttributeValue_3 trueValue()
{
    ZelMoAttributeValue_3 value = ZelMoAttributeValue_3();
    value.boolean = 1;
    return value;
}

ZelMoAttributeValue_3 liveValue = trueValue();
ZelMoAttributeValueContainer_3 liveValues = {ZelMoAttributeBoolean_3, 1, &liveValue};
unsigned long transactions = 0;

void reserved() {}

ZelReturnT openTransaction(unsigned int, unsigned int, unsigned long* transaction)
{
    *transaction = ++transactions;
    return OrvOk;
}

ZelReturnT closeTransaction(unsigned long)
{
    --transactions;
    return OrvOk;
}

ZelReturnT getMoAttribute(unsigned long, const char*, const char*, ZelMoAttributeValueResult_3* result)
{
    result->status = 0;
    result->value = &liveValues;
    return OrvOk;
}

ZelOamSpiTransactionMaster_2 transactionMaster = {
    {"ZelOamSpiTransactionService", "ZelOamSpiTransactionMaster", "2"}, openTransaction, reserved, closeTransaction};
ZelOamSpiManagedObject_3 managedObject = {
    {"ZelOamSpiCmRouterService", "ZelOamSpiManagedObject", "3"}, reserved, getMoAttribute};

ZelReturnT getInterface(ZelMgmtSpiInterface_1 id, void** result)
{
    const std::string name(id.interfaceName);
    if (name == transactionMaster.id.interfaceName)
    {
        *result = &transactionMaster;
        return OrvOk;
    }
    if (name == managedObject.id.interfaceName)
    {
        *result = &managedObject;
        return OrvOk;
    }
    return OrvNotFound;
}

// The component then goes no further: it is no service, but it has the portal, which is all that a filter needs.
ZelReturnT refuseComponent(ZelMgmtSpiComponent*)
{
    return OrvFailure;
}

ZelMgmtSpiInterfacePortal_3 portal3 = {
    {nullptr, nullptr, "3"}, getInterface, reserved, refuseComponent, refuseComponent};
OrvMgmtSpiInterfacePortal_1 portal1 = {{nullptr, nullptr, "1"}, getInterface};

void* getPortal(const char* version)
{
    return std::string(version) == "3" ? static_cast<void*>(&portal3) : static_cast<void*>(&portal1);
}

ZelMgmtSpiInterfacePortalAccessor accessor = {getPortal};

}  // namespace

void loadConstantFramework()
{
    Orv::ZelComponent<OrvNbiNotificationService::NbiNotificationServiceCM>::instance().load(&accessor, nullptr);
}

unsigned long openTransactions()
{
    return transactions;
}

}  // namespace OrvBench
