#include "RandomValues.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace OrvTest
{

using Naive::Member;
using Naive::Value;

namespace
{

const int32_t DOUBLE_TYPE = 16;

bool isText(int32_t type)
{
    return type == 9 || type == 11;
}

uint64_t bitsOf(double number)
{
    uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof(bits));
    return bits;
}

}  // namespace

unsigned int RandomValues::pick(unsigned int below)
{
    if (_nextChoice < _choices.size())
    {
        return _choices[_nextChoice++] % below;
    }
    return static_cast<unsigned int>(_random() % below);
}

int32_t RandomValues::anyType()
{
    if (chance(6))
    {
        return one<int32_t>({STRUCT_TYPE, 14, 15, 17, 0, -1});
    }
    return one<int32_t>({1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 10, 11, 12, DOUBLE_TYPE, DOUBLE_TYPE});
}

std::vector<Value> RandomValues::values(int32_t type, unsigned int atLeast)
{
    std::vector<Value> made(std::max(atLeast, one<unsigned int>({0, 1, 1, 1, 1, 1, 1, 2, 2, 3})));
    for (Value& each : made)
    {
        each = value(type);
    }
    return made;
}

Value RandomValues::value(int32_t type)
{
    Value made;
    if (isText(type))
    {
        made.text = one<std::string>({"x", "x", "y", "xy", ""});
    }
    else if (type == STRUCT_TYPE)
    {
        made.members = members();
    }
    else if (type == DOUBLE_TYPE)
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        made.bits = one<uint64_t>({bitsOf(0.0), bitsOf(-0.0), bitsOf(1.5), bitsOf(-1.5), bitsOf(nan)});
    }
    else
    {
        made.bits = one<uint64_t>({0, 1, 1, 2, 0x80, 0xff, 0x8000, 0xffffffff});
        made.bits ^= chance(20) ? oneBit() : 0;
    }
    return made;
}

uint64_t RandomValues::oneBit()
{
    return uint64_t(1) << one<unsigned int>({7, 8, 15, 16, 31, 32, 33, 63});
}

std::vector<Value> RandomValues::like(int32_t type, const std::vector<Value>& present)
{
    std::vector<Value> wanted(1, one(present));
    if (!isText(type) && type != DOUBLE_TYPE && chance(25))
    {
        wanted.front().bits ^= oneBit();
    }
    if (chance(20))
    {
        wanted.push_back(value(type));
    }
    return wanted;
}

std::vector<int32_t> RandomValues::memberTypes(const std::string& name)
{
    return name == "p"   ? std::vector<int32_t>{9, 11}
           : name == "m" ? std::vector<int32_t>{4, 8, 12, DOUBLE_TYPE}
           : name == "n" ? std::vector<int32_t>{3, 7}
                         : std::vector<int32_t>{1, 5, 10};
}

std::vector<int32_t> RandomValues::conditionTypes(const std::string& name)
{
    return name == "m"   ? std::vector<int32_t>{1, 2, 3, 4, 5, 6, 7, 8, 10, 12, DOUBLE_TYPE}
           : name == "n" ? std::vector<int32_t>{1, 2, 3, 5, 6, 7, 10}
                         : memberTypes(name);
}

std::vector<Member> RandomValues::members()
{
    std::vector<Member> made;
    for (unsigned int i = pick(5); i > 0; --i)
    {
        const std::string name = one<std::string>({"m", "m", "n", "o", "p", "p"});
        const int32_t type = one(memberTypes(name));
        made.push_back({name, type, values(type)});
    }
    if (chance(4))
    {
        made.push_back({"s", STRUCT_TYPE, {Value{0, "", {{"m", 4, {Value{1, "", {}}}}}}}});
    }
    return made;
}

}  // namespace OrvTest
