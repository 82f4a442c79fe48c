// The two forms of a DN, and how the text of a key becomes a part of one.
//
// A DN is a row of components "class=key", divided by commas, that begins with the element itself. Inside the framework
// the element's key is "1"; outside it is the element's configured name.
#pragma once

#include <string>
#include <vector>

namespace OrvElement
{

// Class of the root object, and its key inside the framework.
constexpr const char* ROOT_CLASS = "ManagedElement";
constexpr const char* ROOT_KEY = "1";

// "ManagedElement=1,..." becomes "ManagedElement=<elementName>,...". Empty for a DN with another root.
std::string internalToExternal(const std::string& dn, const std::string& elementName);

// The way back. Empty for a DN whose root is not this element.
std::string externalToInternal(const std::string& dn, const std::string& elementName);

// One component of a DN.
struct DnComponent
{
    std::string className;
    std::string key;  // as the DN has it, encoded
};

// The components from the root on. Empty for what is no DN.
std::vector<DnComponent> splitDn(const std::string& dn);

// Whether this is the element's own component, in either form.
bool isRootComponent(const DnComponent& component, const std::string& elementName);

// A DN has no escape of its own: "%", ",", "=" and control characters (C0, DEL, C1) of a key are percent-encoded.
// alsoSemicolon: for one of several keys, which are joined by ";".
std::string encodeKey(const std::string& key, bool alsoSemicolon);

// The way back. A "%" that begins no encoded byte stays as it is.
std::string decodeKey(const std::string& text);

}  // namespace OrvElement
