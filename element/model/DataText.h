// The text of startup data and edits, before libyang sees it.
#pragma once

#include <string>

#include "ElementError.h"

namespace OrvElement
{

enum class EditFormat
{
    Xml,
    Json
};

// The content of a regular file, without a byte order mark. ElementError names the path and the cause; an empty file is
// an error.
std::string readTextFile(const std::string& path);

// By the path's ending (.xml, .json), else by the first character.
EditFormat formatOf(const std::string& path, const std::string& text);

// What stands inside a <config> or <data> element of the NETCONF base namespace, each element in it given the namespace
// declarations that it inherited; any other text as it is. ElementError for an element that is not closed.
std::string unwrapXml(const std::string& text);

}  // namespace OrvElement
