#include "AttributeLedger.h"

#include "MoUtils.h"

namespace OrvTest
{

namespace
{

thread_local AttributeLedger* ledger = nullptr;

}  // namespace

AttributeLedger::AttributeLedger()
{
    ledger = this;
}

AttributeLedger::~AttributeLedger()
{
    ledger = nullptr;
}

}  // namespace OrvTest

using OrvTest::ledger;

// The names are the linker's. A member function has its object in front.
extern "C"
{
    ZelMoNamedAttributeValueContainer_3*
    __real__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(
        const ZelMoNamedAttributeValueContainer_3* source);
    void __real__ZN3Orv7MoUtils29deleteAttributeValueContainerEP35ZelMoNamedAttributeValueContainer_3(
        ZelMoNamedAttributeValueContainer_3* container);

    ZelMoNamedAttributeValueContainer_3*
    __wrap__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(
        const ZelMoNamedAttributeValueContainer_3* source)
    {
        if (ledger == nullptr)
        {
            return __real__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(source);
        }
        ledger->sources.push_back(source);
        if (ledger->beforeCopy)
        {
            ledger->beforeCopy(static_cast<unsigned int>(ledger->sources.size()));
        }
        ZelMoNamedAttributeValueContainer_3* const copy =
            __real__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(source);
        ledger->copies.push_back(copy);
        return copy;
    }

    void __wrap__ZN3Orv7MoUtils29deleteAttributeValueContainerEP35ZelMoNamedAttributeValueContainer_3(
        ZelMoNamedAttributeValueContainer_3* container)
    {
        if (ledger != nullptr)
        {
            ledger->releases.push_back(container);
        }
        __real__ZN3Orv7MoUtils29deleteAttributeValueContainerEP35ZelMoNamedAttributeValueContainer_3(container);
    }
}
