#include "ModelRepositoryWrapper.h"

#include "Portal.h"

namespace Orv
{
namespace ModRepWrap
{

OrvOamSpiModelRepository_2* spi()
{
    return Portal::instance()->getModelRepository();
}

OrvOamSpiModelRepository_2& requireSpi()
{
    OrvOamSpiModelRepository_2* const repository = spi();
    if (repository == nullptr)
    {
        throw OrvException("The framework has no model repository");
    }
    return *repository;
}

void verifyModelRepositoryRetCode(OrvReturnT code)
{
    if (code != OrvOk)
    {
        throw OrvException("The model repository failed with code %d", code);
    }
}

namespace
{

typedef ZelReturnT (*GetName)(uint64_t handle, const char** name);

std::string readName(GetName getName, uint64_t handle)
{
    const char* name = nullptr;
    verifyModelRepositoryRetCode(getName(handle, &name));
    if (name == nullptr)
    {
        throw OrvException("The model repository gave no name for handle %llu",
                           static_cast<unsigned long long>(handle));
    }
    return name;
}

}  // namespace

std::string AttrDescriptor::getName() const
{
    return readName(requireSpi().getAttributeName, _handle);
}

bool AttrDescriptor::isNotifiable() const
{
    bool notifiable = false;
    verifyModelRepositoryRetCode(requireSpi().getAttributeNotifiable(_handle, &notifiable));
    return notifiable;
}

std::string Moc::getName() const
{
    return readName(requireSpi().getMocName, _handle);
}

AttributeIterator Moc::attributesBegin() const
{
    OrvOamSpiModelRepository_2& repository = requireSpi();
    OrvOamSpiAttributeHandleT first;
    nullHandle(first);
    const OrvReturnT code = repository.getFirstAttribute(_handle, &first);
    if (code == OrvNotFound)
    {
        return AttributeIterator();
    }
    verifyModelRepositoryRetCode(code);
    return AttributeIterator(first, repository.getNextAttribute);
}

Moc Entry::getMocFromDn(const std::string& dn) const
{
    OrvOamSpiMocHandleT moc;
    nullHandle(moc);
    const OrvReturnT code = requireSpi().getMocFromDn(dn.c_str(), &moc);
    if (code == OrvNotFound)
    {
        nullHandle(moc);
        return Moc(moc);
    }
    verifyModelRepositoryRetCode(code);
    return Moc(moc);
}

}  // namespace ModRepWrap
}  // namespace Orv
