// The C entry points of the northbound interface.
#pragma once

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvNbiNotificationService
{

// Fills the table with its identity and its entry points, each of which forwards to the component.
void fillServiceTable(OrvOamSpiNbiNotificationService& table);

}  // namespace OrvNbiNotificationService
