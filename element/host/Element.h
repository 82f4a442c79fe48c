#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "ClockWatcher.h"
#include "ComponentLoader.h"
#include "ComponentRegistry.h"
#include "ElementData.h"
#include "EventRouter.h"
#include "LogService.h"
#include "ManagedObjectAccess.h"
#include "ModelRepository.h"
#include "YangModel.h"

namespace OrvElement
{

// What an element is made of.
struct ElementOptions
{
    ModelOptions model;
    std::string startupPath;          // empty for no startup data
    std::string componentPath;        // the component's library
    std::string componentConfigPath;  // what the component's zelLCMinit is given
    bool watchClock = true;           // raise the clock-change event when the system clock is set
    int logLevel = LogService::DEFAULT_LEVEL;
};

// A managed element: model, data, the framework's interfaces, and one component that lives in it. Constructed it is
// running; an exception of the constructor leaves nothing behind.
// Threads:   one, but for what its parts allow; the event thread and the clock thread are its own.
// Ownership: owns all its parts. One element at a time in a process.
// Failure:   ElementError with one line that names what went wrong.
class Element
{
public:
    explicit Element(const ElementOptions& options);
    ~Element();  // stops

    // Applies an edit file and publishes its event. Returns the number of its operations, 0 for an edit without effect.
    size_t applyEditFile(const std::string& path);

    // Publishes the clock-change event with the present time.
    void raiseClockChange();

    const YangModel& model() const { return _model; }

    // The transactions that components have opened to read the data.
    TransactionCounters transactionCounters() const { return _managedObjects.counters(); }

    // Returns when the component has been given every event published before.
    void drainEvents() { _router.drain(); }

    // Events stop, what is published is delivered to the component, and the component is stopped and unloaded. The
    // subscribers of its services must be gone. Nothing if it has been called before.
    void stop() noexcept;

    // The portal that an agent is given.
    static OrvMgmtSpiInterfacePortal_1& portal();

    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

private:
    // The support library between orvCommonInit and orvCommonTerminate, and the translation of DNs.
    class CommonLibrary
    {
    public:
        explicit CommonLibrary(const std::string& elementName);
        ~CommonLibrary();
    };

    LogService _log;
    YangModel _model;
    ElementData _data;
    ModelRepository _repository;
    ManagedObjectAccess _managedObjects;
    ComponentRegistry _registry;
    EventRouter _router;
    std::unique_ptr<CommonLibrary> _common;
    ComponentLoader _component;
    std::unique_ptr<ClockWatcher> _clockWatcher;
};

}  // namespace OrvElement
