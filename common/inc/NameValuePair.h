#pragma once

#include <string>

#include "OrvOamSpiEventRouter_1.h"

namespace Orv
{

// A ZelNameValuePair that keeps its own text.
// Invariant: name points into _name; value points into _value if _valueHeld, otherwise it is a pointer that was carried
//            along. A copy never leans on the string of the object that it came from.
class NameValuePair : public ZelNameValuePair
{
public:
    NameValuePair() : ZelNameValuePair(), _valueHeld(false) { repoint(nullptr); }
    NameValuePair(const std::string& pairName, const std::string& pairValue)
        : ZelNameValuePair(), _name(pairName), _value(pairValue), _valueHeld(true)
    {
        repoint(nullptr);
    }
    NameValuePair(const NameValuePair& other)
        : ZelNameValuePair(other), _name(other._name), _value(other._value), _valueHeld(other._valueHeld)
    {
        repoint(other.value);
    }
    NameValuePair& operator=(const NameValuePair& other)
    {
        _name = other._name;
        _value = other._value;
        _valueHeld = other._valueHeld;
        repoint(other.value);
        return *this;
    }

private:
    void repoint(const char* carriedValue)
    {
        name = _name.c_str();
        value = _valueHeld ? _value.c_str() : carriedValue;
    }

    std::string _name;
    std::string _value;
    bool _valueHeld;
};

}  // namespace Orv
