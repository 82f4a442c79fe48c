// In place of FaultLayerBlocks.cpp where allocation is a sanitizer's: no block is known here. What is lost the address
// sanitizer tells itself, see ForkedRun.
#include "FaultCore.h"

namespace OrvTest
{

void FaultCore::startBlocks() {}

unsigned int FaultLayer::blocks()
{
    return 0;
}

unsigned int FaultLayer::foreignBlocks()
{
    return 0;
}

void FaultLayer::describeBlocks() {}

}  // namespace OrvTest
