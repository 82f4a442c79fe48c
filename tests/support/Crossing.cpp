#include "Crossing.h"

namespace OrvTest
{

namespace
{

thread_local Crossing::Side sideOfThisThread = Crossing::toTest;

}  // namespace

Crossing::Crossing(Side side) : _from(sideOfThisThread)
{
    sideOfThisThread = side;
}

Crossing::~Crossing()
{
    sideOfThisThread = _from;
}

void Crossing::startIn(Side side)
{
    sideOfThisThread = side;
}

Crossing::Side Crossing::side()
{
    return sideOfThisThread;
}

}  // namespace OrvTest
