#pragma once

#include "ZelOamSpiMoAttributeValue_3.h"

namespace Orv
{

// Deep copy and release of attribute containers. A copy is one block of memory: name, values, strings and struct
// members stand behind the container.
// Threads: any; no state is kept.
class MoUtils
{
public:
    enum
    {
        MAX_STRUCT_DEPTH = 32,      // a struct within a struct counts 2
        MAX_STRUCT_MEMBERS = 65536  // of all structs of one attribute together; ends the walk of a cyclic list, too
    };

    // A copy that the caller owns and gives back to deleteAttributeValueContainer.
    // Copies the type codes 1 to 13 and 16. Throws Orv::OrvException for every other code, for a null source, name,
    // string, array of values or member where one is needed, and for structs nested deeper than MAX_STRUCT_DEPTH;
    // std::bad_alloc if there is no memory.
    static ZelMoNamedAttributeValueContainer_3* copyAttributeValueContainer(
        const ZelMoNamedAttributeValueContainer_3* source);

    // Frees what the copy made. A null pointer does nothing. Never throws.
    static void deleteAttributeValueContainer(ZelMoNamedAttributeValueContainer_3* container) noexcept;
};

}  // namespace Orv
