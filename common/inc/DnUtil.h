#pragma once

#include <string>

namespace Orv
{

class DnUtil
{
public:
    // dn becomes the DN of a child object: parentDn "," className "=" keyValue. The key's name is not part of a DN.
    // An empty parent gives the component alone. Throws Orv::OrvException for a null parent, class or key value.
    static void getDn(const char* parentDn, const char* className, const char* keyName, const char* keyValue,
                      std::string& dn);
};

}  // namespace Orv
