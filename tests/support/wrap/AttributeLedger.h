#pragma once

#include <functional>
#include <vector>

#include "ZelOamSpiMoAttributeValue_3.h"

namespace OrvTest
{

// While it lives, keeps account of the attribute containers that the making thread has copied and released. One at a
// time per thread.
class AttributeLedger
{
public:
    AttributeLedger();
    ~AttributeLedger();

    // Called at the start of each copy with its number, 1 for the first; it may throw, whatever it likes.
    std::function<void(unsigned int)> beforeCopy;

    std::vector<const ZelMoNamedAttributeValueContainer_3*> sources;   // asked to be copied, in order
    std::vector<const ZelMoNamedAttributeValueContainer_3*> copies;    // made, in order
    std::vector<const ZelMoNamedAttributeValueContainer_3*> releases;  // in order

    AttributeLedger(const AttributeLedger&) = delete;
    AttributeLedger& operator=(const AttributeLedger&) = delete;
};

}  // namespace OrvTest
