#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "CallPlan.h"
#include "OrvOamSpiModelRepository_2.h"

namespace OrvTest
{

// The model repository of version "2": classes with their attributes in order. The class of a DN is what stands before
// the "=" of its last component. A class is known once it has been added.
// Threads: any for the table's functions; addClass before the events that need it.
// Calls:   the table's function names.
class FakeModelRepository
{
public:
    explicit FakeModelRepository(CallPlan& plan) : _plan(plan) {}

    // attributes: name and whether it is notifiable.
    void addClass(const std::string& name, const std::vector<std::pair<std::string, bool>>& attributes);

    ZelReturnT getMocFromDn(const char* dn, OrvOamSpiMocHandleT* moc);
    ZelReturnT getMocName(OrvOamSpiMocHandleT moc, const char** name);
    ZelReturnT getFirstAttribute(OrvOamSpiMocHandleT moc, OrvOamSpiAttributeHandleT* attribute);
    ZelReturnT getNextAttribute(OrvOamSpiAttributeHandleT attribute, OrvOamSpiAttributeHandleT* next);
    ZelReturnT getAttributeName(OrvOamSpiAttributeHandleT attribute, const char** name);
    ZelReturnT getAttributeNotifiable(OrvOamSpiAttributeHandleT attribute, bool* notifiable);

private:
    struct Class
    {
        std::string name;
        std::vector<std::pair<std::string, bool>> attributes;
    };
    // A handle of an attribute is that of its class times this, plus its place.
    static constexpr uint64_t ATTRIBUTES_PER_CLASS = 1000;

    ZelReturnT attributeAt(OrvOamSpiAttributeHandleT handle, const std::pair<std::string, bool>** attribute) const;

    CallPlan& _plan;
    mutable std::mutex _mutex;
    std::vector<Class> _classes;
};

}  // namespace OrvTest
