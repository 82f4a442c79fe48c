// The text of startup data and edits, before libyang sees it.
#pragma once

#include <cstddef>
#include <string>

#include "ElementError.h"

namespace OrvElement
{

enum class EditFormat
{
    Xml,
    Json
};

// Bytes that a file with data or an edit may have.
const std::size_t MAX_DATA_FILE_SIZE = std::size_t(1) << 30;

// The content of a regular file, without a byte order mark. No more than maxSize bytes and one are read. ElementError
// names the path and the cause; an empty file is an error, and so is one that is larger or that could only be waited
// for.
std::string readTextFile(const std::string& path, std::size_t maxSize = MAX_DATA_FILE_SIZE);

// By the path's ending (.xml, .json), else by the first character.
EditFormat formatOf(const std::string& path, const std::string& text);

// What stands inside a <config> or <data> element of the NETCONF base namespace, each element in it given the namespace
// declarations that it inherited; any other text as it is. ElementError for an element that is not closed.
std::string unwrapXml(const std::string& text);

}  // namespace OrvElement
