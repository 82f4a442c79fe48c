#include "FakeFramework.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Crossing.h"
#include "LoggingWrapper.h"
#include "Nonsense.h"
#include "OrvCommon.h"

namespace OrvTest
{

namespace
{

std::atomic<FakeFramework*> currentFramework{nullptr};

// Two identities are the same if both strings are equal or both are null.
bool sameText(const char* left, const char* right)
{
    return left == nullptr || right == nullptr ? left == right : std::strcmp(left, right) == 0;
}

bool sameId(const ZelMgmtSpiInterface_1& left, const ZelMgmtSpiInterface_1& right)
{
    return sameText(left.componentName, right.componentName) && sameText(left.interfaceName, right.interfaceName) &&
           sameText(left.interfaceVersion, right.interfaceVersion);
}

// The one live framework's member, or OrvFailure when there is none.
template <typename Member, typename... Arguments>
ZelReturnT forward(Member member, Arguments... arguments)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? static_cast<ZelReturnT>(OrvFailure) : (framework->*member)(arguments...);
}

template <typename Member, typename... Arguments>
ZelReturnT forwardToModel(Member member, Arguments... arguments)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? static_cast<ZelReturnT>(OrvFailure) : (framework->model().*member)(arguments...);
}

template <typename Member, typename... Arguments>
ZelReturnT forwardToRouter(Member member, Arguments... arguments)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? static_cast<ZelReturnT>(OrvFailure) : (framework->router().*member)(arguments...);
}

void* accessorGetPortal(const char* version)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? nullptr : framework->getPortal(version);
}

ZelReturnT portal1GetInterface(ZelMgmtSpiInterface_1 id, void** result)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? static_cast<ZelReturnT>(OrvFailure) : framework->getInterface("portal1", id, result);
}

ZelReturnT portal3GetInterface(ZelMgmtSpiInterface_1 id, void** result)
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    return framework == nullptr ? static_cast<ZelReturnT>(OrvFailure) : framework->getInterface("portal3", id, result);
}

ZelReturnT portal3RegisterComponent(ZelMgmtSpiComponent* component)
{
    return forward(&FakeFramework::registerComponent, component);
}

ZelReturnT portal3UnregisterComponent(ZelMgmtSpiComponent* component)
{
    return forward(&FakeFramework::unregisterComponent, component);
}

ZelReturnT routerRegisterConsumer(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle)
{
    return forwardToRouter(&FakeEventRouter::registerConsumer, consumer, handle);
}

ZelReturnT routerAddSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePair** filter)
{
    return forwardToRouter(&FakeEventRouter::addSubscription, handle, eventType, filter);
}

ZelReturnT routerRemoveSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                    ZelNameValuePair** filter)
{
    return forwardToRouter(&FakeEventRouter::removeSubscription, handle, eventType, filter);
}

ZelReturnT routerUnregisterConsumer(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer)
{
    return forwardToRouter(&FakeEventRouter::unregisterConsumer, handle, consumer);
}

ZelReturnT modelGetMocFromDn(const char* dn, OrvOamSpiMocHandleT* moc)
{
    return forwardToModel(&FakeModelRepository::getMocFromDn, dn, moc);
}

ZelReturnT modelGetMocName(OrvOamSpiMocHandleT moc, const char** name)
{
    return forwardToModel(&FakeModelRepository::getMocName, moc, name);
}

ZelReturnT modelGetFirstAttribute(OrvOamSpiMocHandleT moc, OrvOamSpiAttributeHandleT* attribute)
{
    return forwardToModel(&FakeModelRepository::getFirstAttribute, moc, attribute);
}

ZelReturnT modelGetNextAttribute(OrvOamSpiAttributeHandleT attribute, OrvOamSpiAttributeHandleT* next)
{
    return forwardToModel(&FakeModelRepository::getNextAttribute, attribute, next);
}

ZelReturnT modelGetAttributeName(OrvOamSpiAttributeHandleT attribute, const char** name)
{
    return forwardToModel(&FakeModelRepository::getAttributeName, attribute, name);
}

ZelReturnT modelGetAttributeNotifiable(OrvOamSpiAttributeHandleT attribute, bool* notifiable)
{
    return forwardToModel(&FakeModelRepository::getAttributeNotifiable, attribute, notifiable);
}

int logGetLevel()
{
    const Crossing crossing(Crossing::toTest);
    FakeFramework* framework = FakeFramework::current();
    if (framework == nullptr)
    {
        return 0;
    }
    const int planned = framework->plan().pass("log.getLevel");
    return planned != 0 ? planned : framework->level();
}

void logVlog(const char* function, int severity, int flag, const char* format, va_list arguments)
    __attribute__((format(printf, 4, 0)));
void traceVtrace(const char* file, const char* function, int line, int kind, const char* format, va_list arguments)
    __attribute__((format(printf, 5, 0)));
void traceVtraceV2(const void* subsystem, int level, const char* file, const char* function, int line,
                   const char* format, va_list arguments) __attribute__((format(printf, 6, 0)));

void logVlog(const char* function, int severity, int flag, const char* format, va_list arguments)
{
    const Crossing crossing(Crossing::toTest);
    if (FakeFramework* framework = FakeFramework::current())
    {
        framework->plan().pass("log.vlog");
        framework->log().add(LogLine::log, severity, flag, nullptr, function, format, arguments);
    }
}

void traceVtrace(const char*, const char* function, int, int kind, const char* format, va_list arguments)
{
    const Crossing crossing(Crossing::toTest);
    if (FakeFramework* framework = FakeFramework::current())
    {
        framework->plan().pass("trace.vtrace");
        framework->log().add(LogLine::trace, kind, 0, nullptr, function, format, arguments);
    }
}

void traceVtraceV2(const void* subsystem, int level, const char*, const char* function, int, const char* format,
                   va_list arguments)
{
    const Crossing crossing(Crossing::toTest);
    if (FakeFramework* framework = FakeFramework::current())
    {
        framework->plan().pass("trace.vtraceV2");
        framework->log().add(LogLine::traceV2, level, 0, subsystem, function, format, arguments);
    }
}

void reservedEntry()
{
    std::fputs("a reserved entry of the framework was called\n", stderr);
    std::abort();
}

ZelMgmtSpiInterfacePortalAccessor accessorTable = {accessorGetPortal};

OrvMgmtSpiInterfacePortal_1 portal1Table = {{"FakeFramework", "OrvMgmtSpiInterfacePortal", "1"}, portal1GetInterface};

ZelMgmtSpiInterfacePortal_3 portal3Table = {{"FakeFramework", "ZelMgmtSpiInterfacePortal", "3"},
                                            portal3GetInterface,
                                            reservedEntry,
                                            portal3RegisterComponent,
                                            portal3UnregisterComponent};

OrvOamSpiEventRouter_1 routerTable = {{"OrvOamSpiEventService", "OrvOamSpiEventRouter", "1"},
                                      reservedEntry,
                                      routerRegisterConsumer,
                                      routerAddSubscription,
                                      routerRemoveSubscription,
                                      routerUnregisterConsumer};

OrvOamSpiModelRepository_2 modelTable = {{"OrvOamSpiModelRepositoryService", "OrvOamSpiModelRepository", "2"},
                                         modelGetMocFromDn,
                                         modelGetMocName,
                                         modelGetFirstAttribute,
                                         modelGetNextAttribute,
                                         modelGetAttributeName,
                                         modelGetAttributeNotifiable};

OrvMwSpiLog_1 logTable = {{nullptr, "OrvMwSpiLog", "1"}, logGetLevel, logVlog};

ZelMwSpiTrace traceTable = {{nullptr, "ZelMwSpiTrace", nullptr}, traceVtrace, traceVtraceV2};

}  // namespace

FakeFramework::FakeFramework() : _level(6), _component(nullptr), _model(_plan), _objects(_plan), _router(_plan)
{
    FakeFramework* none = nullptr;
    if (!currentFramework.compare_exchange_strong(none, this))
    {
        std::fputs("two FakeFramework objects at a time\n", stderr);
        std::abort();
    }
}

FakeFramework::~FakeFramework()
{
    _router.drain();
    currentFramework.store(nullptr);
}

FakeFramework* FakeFramework::current()
{
    return currentFramework.load();
}

ZelMgmtSpiInterfacePortalAccessor* FakeFramework::accessor()
{
    return &accessorTable;
}

void FakeFramework::setLevel(int level)
{
    _level.store(level);
    Orv::LoggingWrapper::instance().refreshLevel();
}

void FakeFramework::withdraw(const std::string& interfaceName)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _withdrawn[interfaceName] = true;
}

void FakeFramework::restore(const std::string& interfaceName)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _withdrawn.erase(interfaceName);
}

void* FakeFramework::getPortal(const char* version)
{
    if (_plan.enter(std::string("getPortal:") + version) != 0)
    {
        return nullptr;
    }
    if (std::strcmp(version, "1") == 0)
    {
        return &portal1Table;
    }
    return std::strcmp(version, "3") == 0 ? &portal3Table : nullptr;
}

ZelReturnT FakeFramework::getInterface(const char* portal, const ZelMgmtSpiInterface_1& id, void** result)
{
    const int planned = _plan.enter(std::string(portal) + ".getInterface:" + id.interfaceName);
    if (planned != 0)
    {
        return answerPlanned(planned, result);
    }
    void* found = find(id);
    if (found == nullptr)
    {
        return OrvNotFound;
    }
    *result = found;
    return OrvOk;
}

void* FakeFramework::find(const ZelMgmtSpiInterface_1& id) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_withdrawn.count(id.interfaceName) != 0)
    {
        return nullptr;
    }
    const ZelMgmtSpiComponent* component = _component.load();
    if (component != nullptr)
    {
        for (ZelMgmtSpiInterface_1** offered = component->interfaceArray; *offered != nullptr; ++offered)
        {
            if (sameId(**offered, id))
            {
                return *offered;
            }
        }
    }
    std::vector<ZelMgmtSpiInterface_1*> own = managedObjectTables();
    own.insert(own.end(), {&routerTable.id, &modelTable.id, &logTable.id, &traceTable.id});
    for (ZelMgmtSpiInterface_1* table : own)
    {
        if (sameId(*table, id))
        {
            return table;
        }
    }
    return nullptr;
}

ZelReturnT FakeFramework::registerComponent(ZelMgmtSpiComponent* component)
{
    const int planned = _plan.enter("registerComponent");
    if (planned == 0)
    {
        _component.store(component);
    }
    return planned;
}

ZelReturnT FakeFramework::unregisterComponent(ZelMgmtSpiComponent* component)
{
    const int planned = _plan.enter("unregisterComponent");
    if (planned != 0)
    {
        return planned;
    }
    ZelMgmtSpiComponent* registered = component;
    return _component.compare_exchange_strong(registered, nullptr) ? static_cast<ZelReturnT>(OrvOk)
                                                                   : static_cast<ZelReturnT>(OrvNotFound);
}

CommonSession::CommonSession(FakeFramework& framework)
{
    orvCommonInit(framework.accessor());
}

CommonSession::~CommonSession()
{
    orvCommonTerminate();
}

}  // namespace OrvTest
