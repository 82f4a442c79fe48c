#pragma once

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvBench
{

// The record that all benchmarks use: a created object with a DN of 60 characters in five components, and two
// attributes. Owned by the function; a benchmark may set its event time.
OrvOamSpiNbiNotificationValue_1& sampleRecord();

}  // namespace OrvBench
