#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <vector>

#include "Blocks.h"
#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvFuzz
{

// The first character of the DNs of FuzzService's own records. No text of an input has it: the fuzzer sees what a text
// is compared with, and would make a DN of a marker before long.
const char MARKER = '\1';

// Attributes of notifications by choice of the input: all type codes and some that do not exist, strings, structs in
// structs, none to a few values. Owns all of them.
//
// A null pointer stands only where the interface lets it be: in place of no values, and where a record that cannot be
// copied is refused, that is instead of a name, a string, the values or a struct member's value. allCopyable tells
// whether one of these, a type code that is not to be copied or too deep a struct is among them.
// Threads: one.
class FuzzRecords
{
public:
    // mayRefuse: false for attributes that can all be copied.
    FuzzRecords(FuzzedDataProvider& input, bool mayRefuse) : _input(input), _mayRefuse(mayRefuse) {}

    // Null-terminated, with up to this many; null itself at times if there is none.
    ZelMoNamedAttributeValueContainer_3** attributes(size_t most, const std::vector<std::string>& names);

    // Without a NUL and without MARKER. One in a while is longer than 65535 characters.
    std::string text();

    bool allCopyable() const { return _allCopyable; }

    FuzzRecords(const FuzzRecords&) = delete;
    FuzzRecords& operator=(const FuzzRecords&) = delete;

private:
    bool refuses();
    int32_t type();
    char* string();
    ZelMoAttributeValue_3* values(int32_t type, uint32_t count, int depth);
    ZelMoStructMember_3* members(int depth);

    FuzzedDataProvider& _input;
    const bool _mayRefuse;
    bool _allCopyable = true;
    OrvTest::Blocks _blocks;
};

// All that a record says and points to, but for what the service is free to change: no attributes are an array without
// one. Reads every byte.
std::string textOf(const OrvOamSpiNbiNotificationValue_1& notification);

}  // namespace OrvFuzz
