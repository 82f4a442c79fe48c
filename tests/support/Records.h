// Builders of the plain records that cross the boundary, with the ownership that the records themselves do not have.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "OrvOamSpiEventRouter_1.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "ZelOamSpiMoAttributeValue_3.h"

namespace OrvTest
{

// An attribute as a test writes it. The text is the value of the codes 9 and 11, the number that of the others.
struct Attribute
{
    std::string name;
    ZelOamSpiMoAttributeType_3 type;
    int64_t number;
    std::string text;
};

Attribute int32Attribute(const std::string& name, int32_t value);
Attribute stringAttribute(const std::string& name, const std::string& value);
// One that no copy can be made of: its type code is reserved.
Attribute uncopyableAttribute(const std::string& name);

// A null-terminated array of attribute containers. Owns all of it; movable, and the array does not move with it.
class AttributeArray
{
public:
    explicit AttributeArray(const std::vector<Attribute>& attributes);
    ZelMoNamedAttributeValueContainer_3** get() const { return _pointers.get(); }

private:
    struct Cell
    {
        std::string name;
        std::string text;
        ZelMoAttributeValue_3 value;
        ZelMoNamedAttributeValueContainer_3 container;
    };
    std::unique_ptr<std::deque<Cell>> _cells;
    std::unique_ptr<ZelMoNamedAttributeValueContainer_3*[]> _pointers;
};

// A notification record with everything that it points to. Movable; the record does not move with it.
class Notification
{
public:
    // A dn that is null stays null.
    Notification(int64_t eventTime, const char* dn, int32_t type, const std::vector<Attribute>& attributes);

    OrvOamSpiNbiNotificationValue_1& operator*() const { return *_record; }
    OrvOamSpiNbiNotificationValue_1* operator->() const { return _record.get(); }

private:
    std::unique_ptr<std::string> _dn;
    AttributeArray _attributes;
    std::unique_ptr<OrvOamSpiNbiNotificationValue_1> _record;
};

Notification makeNotification(int64_t eventTime, const std::string& dn, int32_t type,
                              const std::vector<Attribute>& attributes = {});

// A CM event with everything that it points to. Not to be changed once it is published.
class CmEvent
{
public:
    // eventTime: nanoseconds since the Unix epoch.
    CmEvent(uint64_t eventTime, uint32_t txHandle, int32_t sourceIndicator = 0);

    // Appends an operation; dn is in the internal form.
    CmEvent& operation(const std::string& dn, int32_t type, const std::vector<Attribute>& attributes = {});

    const ZelOamSpiCmEvent_Notification_1& get() const { return _event; }
    std::vector<std::string> dns() const;

    CmEvent(const CmEvent&) = delete;
    CmEvent& operator=(const CmEvent&) = delete;

private:
    struct Operation
    {
        std::string dn;
        AttributeArray attributes;
        ZelOamSpiCmEvent_TxOperation_1 record;
    };
    std::deque<Operation> _operations;
    std::vector<ZelOamSpiCmEvent_TxOperation_1*> _pointers;
    ZelOamSpiCmEvent_Notification_1 _event;
};

// A legacy filter: a null-terminated array of name and value pairs.
class LegacyFilter
{
public:
    LegacyFilter(const std::vector<std::pair<std::string, std::string>>& pairs = {});
    OrvNameValuePair** get() const { return _pointers.get(); }

private:
    std::unique_ptr<std::deque<std::pair<std::string, std::string>>> _texts;
    std::unique_ptr<std::deque<OrvNameValuePair>> _pairs;
    std::unique_ptr<OrvNameValuePair*[]> _pointers;
};

}  // namespace OrvTest
