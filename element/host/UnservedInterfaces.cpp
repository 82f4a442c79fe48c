#include "UnservedInterfaces.h"

#include <string>

#include "LogService.h"

namespace OrvElement
{

namespace
{

ZelReturnT notServed(const char* operation) noexcept
{
    try
    {
        LogService::write(4, std::string(operation) + " is not available in this element yet");
    }
    catch (...)
    {
        // No memory for the line; the answer is the same.
    }
    return OrvFailure;
}

void reservedEntry() {}

ZelReturnT getMoAttribute(unsigned long, const char*, const char*, ZelMoAttributeValueResult_3*)
{
    return notServed("getMoAttribute");
}

ZelReturnT getMocFromDn(const char*, unsigned int, uint64_t*)
{
    return notServed("getMocFromDn");
}

ZelReturnT getPropertyText(uint64_t, unsigned int, const char**)
{
    return notServed("getPropertyText");
}

ZelReturnT getFirstAttribute(uint64_t, uint64_t*)
{
    return notServed("getFirstAttribute");
}

ZelReturnT getGeneralProperties(uint64_t, uint64_t*)
{
    return notServed("getGeneralProperties");
}

ZelReturnT getNextAttribute(uint64_t, uint64_t*)
{
    return notServed("getNextAttribute");
}

ZelReturnT getAttributeFlag(uint64_t, unsigned int, bool*)
{
    return notServed("getAttributeFlag");
}

const ZelOamSpiModelRepositoryMoc_3 theMocTable = {reservedEntry, reservedEntry, getMocFromDn};
const ZelOamSpiModelRepositoryProperties_3 thePropertiesTable = {getPropertyText};
const ZelOamSpiModelRepositoryClass_3 theClassTable = {reservedEntry, reservedEntry, reservedEntry,
                                                       reservedEntry, reservedEntry, getFirstAttribute};
const ZelOamSpiModelRepositoryAttribute_3 theAttributeTable = {getGeneralProperties, reservedEntry, reservedEntry,
                                                               getNextAttribute,     reservedEntry, getAttributeFlag};

ZelOamSpiManagedObject_3 theManagedObject = {
    {"OrvOamSpiExtCmRouterService", "OrvOamSpiManagedObject", "3"}, reservedEntry, getMoAttribute};
ZelOamSpiModelRepository_3 theModelRepository = {{"ZelOamSpiModelRepositoryService", "ZelOamSpiModelRepository", "3"},
                                                 &theMocTable,
                                                 &thePropertiesTable,
                                                 nullptr,
                                                 &theClassTable,
                                                 nullptr,
                                                 nullptr,
                                                 nullptr,
                                                 nullptr,
                                                 &theAttributeTable};

}  // namespace

ZelOamSpiManagedObject_3& UnservedInterfaces::managedObject()
{
    return theManagedObject;
}

ZelOamSpiModelRepository_3& UnservedInterfaces::modelRepository()
{
    return theModelRepository;
}

}  // namespace OrvElement
