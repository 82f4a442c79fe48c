#pragma once

#include <string>

#include "ElementError.h"
#include "FilterElement.h"

namespace OrvElement
{

// The compact form of a subtree filter:
//
//   path      = "/" | "/" *( step "/" ) last
//   last      = step | set | "*"
//   step      = node *( "[" node *( "/" node ) "=" literal "]" )
//   set       = "{" node *( "," node ) "}"
//   node      = [ module ":" ] name
//   literal   = "'" text without ' "'"  |  '"' text without " '"'
//
// Blanks may stand around the parts of brackets and braces. A literal has no escapes, and counts with its blanks.
//
// ElementError with the column and the cause.
FilterElement parseSubtreePath(const std::string& text);

}  // namespace OrvElement
