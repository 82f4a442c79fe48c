#pragma once

#include "ZelOamSpiCm.h"

namespace OrvElement
{

// Interfaces that components declare as dependencies and that this element offers but does not serve yet: reading
// attributes of managed objects, and the model repository of version "3". Every function of the tables can be called;
// each writes one warning and answers OrvFailure, and no out-argument is touched. The sub-tables 3 and 5 to 8 of the
// model repository have no defined function and are null.
// Threads:   any.
// Ownership: the tables are static.
class UnservedInterfaces
{
public:
    // "OrvOamSpiExtCmRouterService" / "OrvOamSpiManagedObject" / "3".
    static ZelOamSpiManagedObject_3& managedObject();
    // "ZelOamSpiModelRepositoryService" / "ZelOamSpiModelRepository" / "3".
    static ZelOamSpiModelRepository_3& modelRepository();
};

}  // namespace OrvElement
