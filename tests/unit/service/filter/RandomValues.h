#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "FilterModel.h"

namespace OrvTest
{

const int32_t STRUCT_TYPE = 13;

// Chance, and values of attributes by chance: few different ones, so that equal ones meet often, and such as differ
// only in bits that their type leaves unused. The same seed gives the same answers on every machine.
// Threads: one.
class RandomValues
{
public:
    explicit RandomValues(unsigned int seed) : _random(seed) {}
    // These bytes decide first, one for each choice; what they leave open, chance does.
    explicit RandomValues(const std::vector<uint8_t>& choices) : _random(1), _choices(choices) {}

    unsigned int pick(unsigned int below);
    bool chance(unsigned int percent) { return pick(100) < percent; }
    template <typename T>
    T one(const std::vector<T>& of)
    {
        return of[pick(static_cast<unsigned int>(of.size()))];
    }

    // A type code, rarely one whose values are never equal.
    int32_t anyType();

    std::vector<Naive::Value> values(int32_t type, unsigned int atLeast = 0);

    // For a condition: one of these values or nearly so, and perhaps a further one, which does not count.
    std::vector<Naive::Value> like(int32_t type, const std::vector<Naive::Value>& present);

    // What a condition on a struct's member compares must be there: no number is taken for a pointer, and no condition
    // reads more bytes of a number than its type fills. So the name of a member tells what it can be.
    static std::vector<int32_t> memberTypes(const std::string& name);
    static std::vector<int32_t> conditionTypes(const std::string& name);

private:
    Naive::Value value(int32_t type);
    std::vector<Naive::Member> members();
    uint64_t oneBit();

    std::mt19937 _random;
    const std::vector<uint8_t> _choices;
    size_t _nextChoice = 0;
};

}  // namespace OrvTest
