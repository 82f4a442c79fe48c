#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace OrvElement
{

Progress::Progress() : _onTerminal(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress()
{
    clear();
}

void Progress::show(const std::string& text)
{
    if (_onTerminal)
    {
        std::fprintf(stderr, "\r\033[K%s", text.c_str());
        std::fflush(stderr);
        _shown = true;
    }
}

void Progress::clear()
{
    if (_shown)
    {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        _shown = false;
    }
}

}  // namespace OrvElement
