// The model as the notification service asks for it: the class of a DN, its attributes, and which are notifiable.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelTypes.h"

typedef uint64_t OrvOamSpiMocHandleT;
typedef uint64_t OrvOamSpiAttributeHandleT;

// "OrvOamSpiModelRepositoryService" / "OrvOamSpiModelRepository" / "2".
// 0 is success, OrvNotFound (-2) means none (no class, no attribute, no further one), any other code is a failure.
// Names belong to the framework and live as long as the model does.
struct OrvOamSpiModelRepository_2
{
    ZelMgmtSpiInterface_1 id;
    ZelReturnT (*getMocFromDn)(const char* dn, OrvOamSpiMocHandleT* moc);
    ZelReturnT (*getMocName)(OrvOamSpiMocHandleT moc, const char** name);
    ZelReturnT (*getFirstAttribute)(OrvOamSpiMocHandleT moc, OrvOamSpiAttributeHandleT* attribute);
    ZelReturnT (*getNextAttribute)(OrvOamSpiAttributeHandleT attribute, OrvOamSpiAttributeHandleT* next);
    ZelReturnT (*getAttributeName)(OrvOamSpiAttributeHandleT attribute, const char** name);
    ZelReturnT (*getAttributeNotifiable)(OrvOamSpiAttributeHandleT attribute, bool* notifiable);
};

static_assert(offsetof(OrvOamSpiModelRepository_2, getMocFromDn) == 24, "model repository 2: the first operation");
static_assert(offsetof(OrvOamSpiModelRepository_2, getAttributeNotifiable) == 64, "model repository 2: the last one");
