#pragma once

#include <string>

namespace Orv
{

// Forms distinguished names: components class=key, joined by commas, the root first.
// Threads: any; no state is kept.
class DnUtil
{
public:
    // dn becomes the DN of a child object: parentDn "," className "=" keyValue. The key's name is not part of a DN and
    // may be null. An empty parent gives the component alone. parentDn may be the text of dn itself. Nothing is
    // escaped. Throws Orv::OrvException for a null parent, class or key value; then dn is unchanged.
    static void getDn(const char* parentDn, const char* className, const char* keyName, const char* keyValue,
                      std::string& dn);
};

}  // namespace Orv
