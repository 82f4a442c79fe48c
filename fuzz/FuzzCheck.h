#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace OrvFuzz
{

// Ends the process, which the fuzzer takes for a finding, if this does not hold.
inline void check(bool holds, const std::string& what)
{
    if (!holds)
    {
        std::fprintf(stderr, "Found: %s\n", what.c_str());
        std::abort();
    }
}

}  // namespace OrvFuzz
