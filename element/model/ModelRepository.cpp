#include "ModelRepository.h"

#include <atomic>

namespace OrvElement
{
namespace
{

std::atomic<const YangModel*> currentModel(nullptr);

ZelReturnT getMocFromDn(const char* dn, OrvOamSpiMocHandleT* moc)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    if (!dn || !moc)
    {
        return OrvBadArgument;
    }
    try
    {
        const ModelClass* const found = model->classOfDn(dn);
        if (!found)
        {
            return OrvNotFound;
        }
        *moc = found->handle;
        return OrvOk;
    }
    catch (...)  // no memory: the caller is C
    {
        return OrvFailure;
    }
}

ZelReturnT getMocName(OrvOamSpiMocHandleT moc, const char** name)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelClass* const found = model->classOfHandle(moc);
    if (!found || !name)
    {
        return OrvBadArgument;
    }
    *name = found->name.c_str();
    return OrvOk;
}

ZelReturnT getFirstAttribute(OrvOamSpiMocHandleT moc, OrvOamSpiAttributeHandleT* attribute)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelClass* const found = model->classOfHandle(moc);
    if (!found || !attribute)
    {
        return OrvBadArgument;
    }
    if (found->attributes.empty())
    {
        return OrvNotFound;
    }
    *attribute = found->attributes.front().handle;
    return OrvOk;
}

ZelReturnT getNextAttribute(OrvOamSpiAttributeHandleT attribute, OrvOamSpiAttributeHandleT* next)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelAttribute* const found = model->attributeOfHandle(attribute);
    if (!found || !next)
    {
        return OrvBadArgument;
    }
    const ModelAttribute* const following = model->nextAttribute(*found);
    if (!following)
    {
        return OrvNotFound;
    }
    *next = following->handle;
    return OrvOk;
}

ZelReturnT getAttributeName(OrvOamSpiAttributeHandleT attribute, const char** name)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelAttribute* const found = model->attributeOfHandle(attribute);
    if (!found || !name)
    {
        return OrvBadArgument;
    }
    *name = found->name.c_str();
    return OrvOk;
}

ZelReturnT getAttributeNotifiable(OrvOamSpiAttributeHandleT attribute, bool* notifiable)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelAttribute* const found = model->attributeOfHandle(attribute);
    if (!found || !notifiable)
    {
        return OrvBadArgument;
    }
    *notifiable = found->notifiable;
    return OrvOk;
}

OrvOamSpiModelRepository_2 repositoryTable = {{"OrvOamSpiModelRepositoryService", "OrvOamSpiModelRepository", "2"},
                                              getMocFromDn,
                                              getMocName,
                                              getFirstAttribute,
                                              getNextAttribute,
                                              getAttributeName,
                                              getAttributeNotifiable};

// The functions that version "3" has otherwise. A selector says what is asked for; each knows one thing only.

ZelReturnT getMocFromDnBySelector(const char* dn, unsigned int selector, uint64_t* moc)
{
    return selector == 0 ? getMocFromDn(dn, moc) : OrvBadArgument;
}

ZelReturnT getAttributeFlag(uint64_t attribute, unsigned int selector, bool* isKey)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelAttribute* const found = model->attributeOfHandle(attribute);
    if (!found || selector != 0 || !isKey)
    {
        return OrvBadArgument;
    }
    *isKey = found->isKey;
    return OrvOk;
}

ZelReturnT getGeneralProperties(uint64_t attribute, uint64_t* properties)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelAttribute* const found = model->attributeOfHandle(attribute);
    if (!found || !properties)
    {
        return OrvBadArgument;
    }
    *properties = model->propertiesHandle(*found);
    return OrvOk;
}

ZelReturnT getPropertyText(uint64_t properties, unsigned int selector, const char** name)
{
    const YangModel* const model = currentModel;
    if (!model)
    {
        return OrvFailure;
    }
    const ModelAttribute* const found = model->attributeOfProperties(properties);
    if (!found || selector != 0 || !name)
    {
        return OrvBadArgument;
    }
    *name = found->name.c_str();
    return OrvOk;
}

void reservedEntry() {}

const ZelOamSpiModelRepositoryMoc_3 mocTable = {reservedEntry, reservedEntry, getMocFromDnBySelector};
const ZelOamSpiModelRepositoryProperties_3 propertiesTable = {getPropertyText};
const ZelOamSpiModelRepositoryClass_3 classTable = {reservedEntry, reservedEntry, reservedEntry,
                                                    reservedEntry, reservedEntry, getFirstAttribute};
const ZelOamSpiModelRepositoryAttribute_3 attributeTable = {getGeneralProperties, reservedEntry, reservedEntry,
                                                            getNextAttribute,     reservedEntry, getAttributeFlag};

ZelOamSpiModelRepository_3 repositoryTableOfVersion3 = {
    {"ZelOamSpiModelRepositoryService", "ZelOamSpiModelRepository", "3"},
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

ModelRepository::ModelRepository(const YangModel& model)
{
    const YangModel* none = nullptr;
    if (!currentModel.compare_exchange_strong(none, &model))
    {
        throw ElementError("a process can serve one model at a time, and another model repository is still alive");
    }
}

ModelRepository::~ModelRepository()
{
    currentModel = nullptr;
}

OrvOamSpiModelRepository_2* ModelRepository::table()
{
    return &repositoryTable;
}

ZelOamSpiModelRepository_3* ModelRepository::tableOfVersion3()
{
    return &repositoryTableOfVersion3;
}

}  // namespace OrvElement
