#include "MeIdTranslator.h"

namespace Orv
{

MeIdTranslator& MeIdTranslator::instance()
{
    static MeIdTranslator theInstance;
    return theInstance;
}

std::string MeIdTranslator::toExternalDn(const std::string& internalDn) const
{
    const Translation translation = _translation.load(std::memory_order_acquire);
    return translation != nullptr ? translation(internalDn) : internalDn;
}

void MeIdTranslator::setTranslation(Translation translation)
{
    _translation.store(translation, std::memory_order_release);
}

}  // namespace Orv
