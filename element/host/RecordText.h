// Notification records as lines of text.
#pragma once

#include <string>

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvElement
{

// The enumerator's name, or "type<number>" for a number that has none.
std::string notificationTypeName(int32_t type);

// For people: subscription, type, time, and unless it has no DN, as most control records, its DN, transaction, sequence
// number and attributes.
std::string recordAsText(const std::string& subscription, const OrvOamSpiNbiNotificationValue_1& record);

// What a record says, without subscription, time and numbers; of a changed object's attributes only the changed one,
// which is the first, for those behind it are the rest of the same transaction.
std::string recordSummary(const OrvOamSpiNbiNotificationValue_1& record);

// For programs: one JSON object without a line break, with the members subscription, type, eventTime (RFC 3339, UTC,
// microseconds) and, if it has a DN, dn, txHandle, sequenceNumber and attributes. attributes is an array in the
// record's order, of objects with name, type and values; values is an array of numbers, booleans or strings, and for a
// struct of arrays of such objects. Bytes that are no UTF-8 are replaced.
std::string recordAsJson(const std::string& subscription, const OrvOamSpiNbiNotificationValue_1& record);

}  // namespace OrvElement
