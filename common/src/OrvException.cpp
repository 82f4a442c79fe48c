#include "OrvException.h"

#include <cstdarg>
#include <cstdio>

namespace Orv
{

OrvException::OrvException(const char* format, ...) noexcept
{
    va_list arguments;
    va_start(arguments, format);
    if (vsnprintf(_text, sizeof(_text), format, arguments) < 0)
    {
        snprintf(_text, sizeof(_text), "An exception whose text could not be formatted");
    }
    va_end(arguments);
}

const char* OrvException::what() const noexcept
{
    return _text;
}

}  // namespace Orv
