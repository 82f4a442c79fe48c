#include <cstdio>
#include <cstdlib>

#include "Crossing.h"
#include "FakeFramework.h"

namespace OrvTest
{

namespace
{

template <typename Member, typename... Arguments>
ZelReturnT forward(Member member, Arguments... arguments)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? static_cast<ZelReturnT>(OrvFailure) : (framework->objects().*member)(arguments...);
}

ZelReturnT openTransaction(unsigned int mode, unsigned int timeout, unsigned long* transaction)
{
    return forward(&FakeManagedObjects::openTransaction, mode, timeout, transaction);
}

ZelReturnT closeTransaction(unsigned long transaction)
{
    return forward(&FakeManagedObjects::closeTransaction, transaction);
}

ZelReturnT getMoAttribute(unsigned long transaction, const char* dn, const char* attributeName,
                          ZelMoAttributeValueResult_3* result)
{
    return forward(&FakeManagedObjects::getMoAttribute, transaction, dn, attributeName, result);
}

ZelReturnT getMocFromDn(const char* dn, unsigned int selector, uint64_t* moc)
{
    return forward(&FakeManagedObjects::getMocFromDn, dn, selector, moc);
}

ZelReturnT getFirstAttribute(uint64_t moc, uint64_t* attribute)
{
    return forward(&FakeManagedObjects::getFirstAttribute, moc, attribute);
}

ZelReturnT getNextAttribute(uint64_t attribute, uint64_t* next)
{
    return forward(&FakeManagedObjects::getNextAttribute, attribute, next);
}

ZelReturnT getAttributeFlag(uint64_t attribute, unsigned int selector, bool* flag)
{
    return forward(&FakeManagedObjects::getAttributeFlag, attribute, selector, flag);
}

ZelReturnT getGeneralProperties(uint64_t attribute, uint64_t* properties)
{
    return forward(&FakeManagedObjects::getGeneralProperties, attribute, properties);
}

ZelReturnT getPropertyText(uint64_t properties, unsigned int selector, const char** text)
{
    return forward(&FakeManagedObjects::getPropertyText, properties, selector, text);
}

void reservedEntry()
{
    std::fputs("a reserved entry of the managed objects was called\n", stderr);
    std::abort();
}

ZelReturnT neverCalled(unsigned long, const char*, const char*, ZelMoAttributeValueResult_3*)
{
    reservedEntry();
    return OrvFailure;
}

ZelOamSpiTransactionMaster_2 transactionMasterTable = {
    {"ZelOamSpiTransactionService", "ZelOamSpiTransactionMaster", "2"},
    openTransaction,
    reservedEntry,
    closeTransaction};

ZelOamSpiManagedObject_3 managedObjectTable = {
    {"ZelOamSpiCmRouterService", "ZelOamSpiManagedObject", "3"}, reservedEntry, getMoAttribute};

ZelOamSpiManagedObject_3 externalManagedObjectTable = {
    {"OrvOamSpiExtCmRouterService", "OrvOamSpiManagedObject", "3"}, reservedEntry, neverCalled};

const ZelOamSpiModelRepositoryMoc_3 mocTable = {reservedEntry, reservedEntry, getMocFromDn};
const ZelOamSpiModelRepositoryProperties_3 propertiesTable = {getPropertyText};
const ZelOamSpiModelRepositoryClass_3 classTable = {reservedEntry, reservedEntry, reservedEntry,
                                                    reservedEntry, reservedEntry, getFirstAttribute};
const ZelOamSpiModelRepositoryAttribute_3 attributeTable = {getGeneralProperties, reservedEntry, reservedEntry,
                                                            getNextAttribute,     reservedEntry, getAttributeFlag};

ZelOamSpiModelRepository_3 modelRepositoryTable = {{"ZelOamSpiModelRepositoryService", "ZelOamSpiModelRepository", "3"},
                                                   &mocTable,
                                                   &propertiesTable,
                                                   nullptr,
                                                   &classTable,
                                                   nullptr,
                                                   nullptr,
                                                   nullptr,
                                                   nullptr,
                                                   &attributeTable};

}  // namespace

std::vector<ZelMgmtSpiInterface_1*> managedObjectTables()
{
    return {&transactionMasterTable.id, &managedObjectTable.id, &externalManagedObjectTable.id,
            &modelRepositoryTable.id};
}

}  // namespace OrvTest
