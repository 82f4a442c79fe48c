#include "DnUtil.h"

#include "OrvException.h"

namespace Orv
{

void DnUtil::getDn(const char* parentDn, const char* className, const char* /*keyName*/, const char* keyValue,
                   std::string& dn)
{
    if (parentDn == nullptr || className == nullptr || keyValue == nullptr)
    {
        throw OrvException("A DN cannot be formed from parent %s, class %s, key value %s", parentDn, className,
                           keyValue);
    }
    // The parent may be dn's own text, so dn is touched last.
    std::string child(parentDn);
    if (!child.empty())
    {
        child += ',';
    }
    child.append(className).append("=").append(keyValue);
    dn.swap(child);
}

}  // namespace Orv
