#include "Element.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "DnTranslation.h"
#include "ElementError.h"
#include "MeIdTranslator.h"
#include "OrvCommon.h"
#include "Portal.h"

namespace OrvElement
{

namespace
{

// Milliseconds.
const long CLOCK_SUBSCRIPTION_TIMEOUT = 1000;

// The translation is a plain function; the element's name is set before a component can call it.
std::string theElementName;

std::string translateDn(const std::string& internalDn)
{
    return internalToExternal(internalDn, theElementName);
}

// A component that cannot read its configuration says so in its log, and fails with a bare code.
void requireReadable(const std::string& configPath)
{
    if (access(configPath.c_str(), R_OK) != 0)
    {
        throw ElementError("cannot read the component's configuration " + configPath + ": " + std::strerror(errno));
    }
}

}  // namespace

Element::CommonLibrary::CommonLibrary(const std::string& elementName)
{
    orvCommonInit(&ComponentRegistry::accessor());
    theElementName = elementName;
    Orv::MeIdTranslator::instance().setTranslation(translateDn);
}

Element::CommonLibrary::~CommonLibrary()
{
    Orv::MeIdTranslator::instance().setTranslation(nullptr);
    orvCommonTerminate();
}

Element::Element(const ElementOptions& options)
    : _log(options.logLevel),
      _model(options.model),
      _data(_model),
      _repository(_model),
      _managedObjects(_model, _data),
      _component(_registry)
{
    if (!options.startupPath.empty())
    {
        _data.loadStartup(options.startupPath);
    }
    _registry.offer(LogService::log().id);
    _registry.offer(LogService::trace().id);
    _registry.offer(EventRouter::table().id);
    _registry.offer(ModelRepository::table()->id);
    _registry.offer(ModelRepository::tableOfVersion3()->id);
    _registry.offer(ManagedObjectAccess::transactionMaster().id);
    _registry.offer(ManagedObjectAccess::managedObject().id);
    _registry.offer(ManagedObjectAccess::managedObjectForComponents().id);

    _common = std::make_unique<CommonLibrary>(options.model.elementName);
    // Components that use the support library declare it as a dependency; its interface is the portal's.
    _registry.offer(Orv::Portal::COMP_ID, &portal());

    requireReadable(options.componentConfigPath);
    _component.load(options.componentPath, options.componentConfigPath);
    _component.start();
    if (options.watchClock)
    {
        _clockWatcher =
            std::make_unique<ClockWatcher>([this](uint64_t newTime) { _router.publishClockChange(newTime); });
    }
    LogService::write(6, "component " + options.componentPath + " is started");
}

Element::~Element()
{
    stop();
}

size_t Element::applyEditFile(const std::string& path)
{
    std::unique_ptr<ChangeEvent> event = _data.applyEditFile(path);
    const size_t operations = event->dns().size();
    LogService::write(6, "edit " + path + ": " + std::to_string(operations) + " changed objects");
    if (!event->empty())
    {
        _router.publish(std::move(event));
    }
    // Transactions that were forgotten would keep the data of before this edit.
    _managedObjects.reclaim();
    return operations;
}

void Element::raiseClockChange()
{
    // A component that has just been started may still be about to subscribe, on a thread of its own.
    if (!_router.waitForSubscription(EventRouter::CLOCK_CHANGE, CLOCK_SUBSCRIPTION_TIMEOUT))
    {
        LogService::write(4, "the clock change is raised, but nobody has subscribed to it");
    }
    _router.publishClockChange(ClockWatcher::now());
}

void Element::stop() noexcept
{
    _clockWatcher.reset();
    _router.drain();
    // From here on no callback runs or follows, so none can be in the library when it goes.
    _component.stop();
    _component.unload();
}

OrvMgmtSpiInterfacePortal_1& Element::portal()
{
    return *static_cast<OrvMgmtSpiInterfacePortal_1*>(ComponentRegistry::accessor().getPortal("1"));
}

}  // namespace OrvElement
