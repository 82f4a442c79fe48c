#include "ComponentRegistry.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "ElementError.h"
#include "OrvThreadLock.h"

namespace OrvElement
{

namespace
{

typedef Orv::OrvThreadLock<Poco::FastMutex> Lock;

std::atomic<ComponentRegistry*> theCurrent{nullptr};

bool equalText(const char* left, const char* right)
{
    if (left == nullptr || right == nullptr)
    {
        return left == right;
    }
    return std::strcmp(left, right) == 0;
}

bool equalIdentity(const ZelMgmtSpiInterface_1& left, const ZelMgmtSpiInterface_1& right)
{
    return equalText(left.interfaceName, right.interfaceName) && equalText(left.componentName, right.componentName) &&
           equalText(left.interfaceVersion, right.interfaceVersion);
}

std::string identityText(const ZelMgmtSpiInterface_1& identity)
{
    const auto text = [](const char* part) { return std::string(part != nullptr ? part : "-"); };
    return text(identity.componentName) + "/" + text(identity.interfaceName) + "/" + text(identity.interfaceVersion);
}

// The portals' functions are called from C tables: nothing may be thrown out of them.
template <typename Call>
ZelReturnT withCurrent(Call call) noexcept
{
    ComponentRegistry* registry = theCurrent.load(std::memory_order_acquire);
    if (registry == nullptr)
    {
        return OrvFailure;
    }
    try
    {
        return call(*registry);
    }
    catch (...)
    {
        return OrvFailure;
    }
}

ZelReturnT portalGetInterface(ZelMgmtSpiInterface_1 identity, void** result)
{
    return withCurrent([&](ComponentRegistry& registry) { return registry.getInterface(identity, result); });
}

ZelReturnT portalRegisterComponent(ZelMgmtSpiComponent* component)
{
    return withCurrent([&](ComponentRegistry& registry) { return registry.registerComponent(component); });
}

ZelReturnT portalUnregisterComponent(ZelMgmtSpiComponent* component)
{
    return withCurrent([&](ComponentRegistry& registry) { return registry.unregisterComponent(component); });
}

void reservedEntry() {}

OrvMgmtSpiInterfacePortal_1 thePortal1 = {{"OrvElement", "OrvMgmtSpiInterfacePortal", "1"}, portalGetInterface};
ZelMgmtSpiInterfacePortal_3 thePortal3 = {{"OrvElement", "ZelMgmtSpiInterfacePortal", "3"},
                                          portalGetInterface,
                                          reservedEntry,
                                          portalRegisterComponent,
                                          portalUnregisterComponent};

void* getPortal(const char* version)
{
    if (theCurrent.load(std::memory_order_acquire) == nullptr || version == nullptr)
    {
        return nullptr;
    }
    if (std::strcmp(version, "1") == 0)
    {
        return &thePortal1;
    }
    return std::strcmp(version, "3") == 0 ? &thePortal3 : nullptr;
}

ZelMgmtSpiInterfacePortalAccessor theAccessor = {getPortal};

}  // namespace

ComponentRegistry::ComponentRegistry()
{
    ComponentRegistry* none = nullptr;
    if (!theCurrent.compare_exchange_strong(none, this))
    {
        throw ElementError("this process has a component registry already");
    }
}

ComponentRegistry::~ComponentRegistry()
{
    theCurrent.store(nullptr, std::memory_order_release);
}

ZelMgmtSpiInterfacePortalAccessor& ComponentRegistry::accessor()
{
    return theAccessor;
}

void ComponentRegistry::offer(ZelMgmtSpiInterface_1& head)
{
    offer(head, &head);
}

void ComponentRegistry::offer(const ZelMgmtSpiInterface_1& identity, void* table)
{
    const Lock lock(_mutex);
    if (find(identity) != nullptr)
    {
        throw ElementError("interface " + identityText(identity) + " is offered already");
    }
    _offers.push_back(Offer{&identity, table, nullptr});
}

ZelReturnT ComponentRegistry::getInterface(const ZelMgmtSpiInterface_1& identity, void** result) const
{
    if (identity.interfaceName == nullptr || result == nullptr)
    {
        return OrvBadArgument;
    }
    const Lock lock(_mutex);
    const Offer* found = find(identity);
    if (found == nullptr)
    {
        return OrvNotFound;
    }
    *result = found->table;
    return OrvOk;
}

ZelReturnT ComponentRegistry::registerComponent(ZelMgmtSpiComponent* component)
{
    if (component == nullptr || component->componentName == nullptr || component->start == nullptr ||
        component->stop == nullptr)
    {
        return OrvBadArgument;
    }
    const Lock lock(_mutex);
    const bool nameTaken =
        std::any_of(_components.begin(), _components.end(),
                    [component](const ZelMgmtSpiComponent* other)
                    { return other == component || std::strcmp(other->componentName, component->componentName) == 0; });
    if (nameTaken || providesTakenInterface(*component))
    {
        return OrvFailure;
    }
    _components.push_back(component);
    for (ZelMgmtSpiInterface_1** head = component->interfaceArray; head != nullptr && *head != nullptr; ++head)
    {
        _offers.push_back(Offer{*head, *head, component});
    }
    return OrvOk;
}

ZelReturnT ComponentRegistry::unregisterComponent(ZelMgmtSpiComponent* component)
{
    const Lock lock(_mutex);
    const auto found = std::find(_components.begin(), _components.end(), component);
    if (found == _components.end())
    {
        return OrvNotFound;
    }
    _components.erase(found);
    _offers.erase(std::remove_if(_offers.begin(), _offers.end(),
                                 [component](const Offer& offer) { return offer.provider == component; }),
                  _offers.end());
    return OrvOk;
}

std::vector<ZelMgmtSpiComponent*> ComponentRegistry::components() const
{
    const Lock lock(_mutex);
    return _components;
}

std::vector<std::string> ComponentRegistry::missingDependencies(const ZelMgmtSpiComponent& component) const
{
    const Lock lock(_mutex);
    std::vector<std::string> missing;
    for (ZelMgmtSpiInterface_1** needed = component.dependencyArray; needed != nullptr && *needed != nullptr; ++needed)
    {
        if (find(**needed) == nullptr)
        {
            missing.push_back(identityText(**needed));
        }
    }
    return missing;
}

const ComponentRegistry::Offer* ComponentRegistry::find(const ZelMgmtSpiInterface_1& identity) const
{
    const auto found =
        std::find_if(_offers.begin(), _offers.end(),
                     [&identity](const Offer& offer) { return equalIdentity(*offer.identity, identity); });
    return found != _offers.end() ? &*found : nullptr;
}

bool ComponentRegistry::providesTakenInterface(const ZelMgmtSpiComponent& component) const
{
    for (ZelMgmtSpiInterface_1** head = component.interfaceArray; head != nullptr && *head != nullptr; ++head)
    {
        if (find(**head) != nullptr)
        {
            return true;
        }
    }
    return false;
}

}  // namespace OrvElement
