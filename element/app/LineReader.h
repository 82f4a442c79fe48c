#pragma once

#include <string>
#include <vector>

namespace OrvElement
{

// Lines from a descriptor that is polled.
// Threads:   one at a time.
// Ownership: the descriptor is the caller's.
// Failure:   ElementError if the descriptor cannot be read.
class LineReader
{
public:
    explicit LineReader(int descriptor) : _descriptor(descriptor) {}

    int descriptor() const { return _descriptor; }

    // Reads once, which blocks unless the descriptor is readable, and gives the lines that are complete. At the end of
    // input that is also a last line without a line break.
    std::vector<std::string> readLines();

    bool atEnd() const { return _atEnd; }

private:
    const int _descriptor;
    bool _atEnd = false;
    std::string _begun;
};

}  // namespace OrvElement
