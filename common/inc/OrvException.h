#pragma once

#include <exception>

namespace Orv
{

// The exception of this code base: a text built printf-style, cut at MAX_TEXT bytes. what() is the text.
// Threads:   as any value; copying never throws.
class OrvException : public std::exception
{
public:
    enum
    {
        MAX_TEXT = 1024  // with the terminator
    };

    // A null argument for %s is written as "(null)".
    explicit OrvException(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));

    // Not inline: the class then has one home, the library, also for code with hidden visibility that catches it.
    const char* what() const noexcept override;

private:
    char _text[MAX_TEXT];
};

}  // namespace Orv
