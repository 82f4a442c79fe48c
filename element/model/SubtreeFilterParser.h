#pragma once

#include <string>

#include "ElementError.h"
#include "FilterElement.h"

namespace OrvElement
{

// A subtree filter in the XML of RFC 6241, section 6: a <filter> element, of the NETCONF base namespace or of none, or
// what stands in one. White space around a text does not count.
//
// There is no document type, hence no entity but the five of XML itself, and nothing is fetched. ElementError with
// line and column, or the path of the element, and the cause: also for an empty filter, which would select nothing, and
// for attributes, for they are no part of the model.
FilterElement parseSubtreeXml(const std::string& text);

}  // namespace OrvElement
