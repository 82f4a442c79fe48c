#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "OrvOamSpiEventRouter_1.h"
#include "ValueArena.h"

namespace OrvElement
{

// Kinds of change in a CM event.
enum class ChangeKind : int32_t
{
    Created = 1,
    Deleted = 2,
    AttributeChanged = 3
};

// One CM event with everything that its record points to.
//
// The operations of one applied edit: created objects, parents first, each with all its attributes; then one operation
// per changed object, with the changed attributes and their new values (no value at all for an attribute that has gone
// and has no default); then deleted objects, children first, without attributes. DNs are in the internal form.
// Threads:   built by one; may then be passed to another and read by any number.
// Ownership: owns every string and array behind record().
class ChangeEvent
{
public:
    enum
    {
        SOURCE_INDICATOR = 1  // all events of the element come from its configuration
    };

    // eventTime: nanoseconds since the Unix epoch.
    ChangeEvent(uint32_t txHandle, uint64_t eventTime);

    // Building: attributes must come from arena(). Invalidates what record() returned before.
    ValueArena& arena() { return _arena; }
    void add(ChangeKind kind, const std::string& dn,
             const std::vector<ZelMoNamedAttributeValueContainer_3*>& attributes);

    // Valid as long as this object.
    const ZelOamSpiCmEvent_Notification_1& record() const { return _record; }

    // The DNs of the operations, in their order.
    const std::vector<std::string>& dns() const { return _dns; }

    // The edit had no effect: there is nothing to publish.
    bool empty() const { return _dns.empty(); }

    ChangeEvent(const ChangeEvent&) = delete;
    ChangeEvent& operator=(const ChangeEvent&) = delete;

private:
    ValueArena _arena;
    std::deque<ZelOamSpiCmEvent_TxOperation_1> _operations;                          // addresses stay
    std::deque<std::vector<ZelMoNamedAttributeValueContainer_3*>> _attributeArrays;  // each ends with a null
    std::vector<ZelOamSpiCmEvent_TxOperation_1*> _operationArray;                    // ends with a null
    std::vector<std::string> _dns;
    ZelOamSpiCmEvent_Notification_1 _record;
};

}  // namespace OrvElement
