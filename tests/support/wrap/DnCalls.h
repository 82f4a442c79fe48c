#pragma once

#include <string>
#include <vector>

namespace OrvTest
{

// While it lives, notes what the making thread has given to Orv::DnUtil::getDn. One at a time per thread.
class DnCalls
{
public:
    DnCalls();
    ~DnCalls();

    // "PARENT CLASS KEYNAME KEYVALUE" of each call, in order.
    std::vector<std::string> calls;

    DnCalls(const DnCalls&) = delete;
    DnCalls& operator=(const DnCalls&) = delete;
};

}  // namespace OrvTest
