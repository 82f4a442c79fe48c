#include "LineReader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ElementError.h"

namespace OrvElement
{

std::vector<std::string> LineReader::readLines()
{
    char buffer[4096];
    const ssize_t length = read(_descriptor, buffer, sizeof(buffer));
    if (length == -1)
    {
        if (errno == EINTR || errno == EAGAIN)
        {
            return {};
        }
        throw ElementError(std::string("cannot read standard input: ") + std::strerror(errno));
    }
    std::vector<std::string> lines;
    for (ssize_t i = 0; i < length; ++i)
    {
        if (buffer[i] == '\n')
        {
            lines.push_back(_begun);
            _begun.clear();
        }
        else
        {
            _begun += buffer[i];
        }
    }
    if (length == 0)
    {
        _atEnd = true;
        if (!_begun.empty())
        {
            lines.push_back(_begun);
            _begun.clear();
        }
    }
    return lines;
}

}  // namespace OrvElement
