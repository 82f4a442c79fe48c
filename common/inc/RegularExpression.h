#pragma once

#include <regex.h>

#include <Poco/Mutex.h>

#include <chrono>
#include <string>

#include "PlainExpression.h"
#include "ThreadSafety.h"

namespace Orv
{

// A POSIX regular expression, compiled once, and anew now and then. An expression whose compilation or matching could
// take the C library exponential time or memory is not compiled at all:
//   - one with back references, \1 to \9;
//   - one with * or + or {m,} behind something that can be empty, as in (a*)* or (^)+;
//   - one that is too long, or has too many operators or anchors. What is repeated by {m,n} is counted as if it was
//     written out.
// Time and memory of one match grow with the square of the subject's length or more. Operators behind a repetition are
// the dearest: .*a.{90}c takes 0.2 s and 52 MB for 500 characters, 21 s and 0.4 GB for 4000. The memory is given back
// after the match, when the expression is compiled anew. Where finding literals is enough to tell the match
// (PlainExpression), the C library's matcher is not asked.
// Threads:   match may be called by several threads at once; it takes _mutex around the C library's matcher, as that
//            would take its own.
// Ownership: the compiled form is this object's; expression and subject are only read. Both end at their first NUL.
// Failure:   an expression that does not compile is kept and matches nothing.
class RegularExpression
{
public:
    enum
    {
        // Characters, each bracket counting as one.
        MAX_LENGTH = 16384,
        // The same once anything has * or + or {m,}: each character of the subject may take memory for all these.
        MAX_LENGTH_UNLIMITED = 2048,
        // Of these: . [ ( | ^ $ * + ? and escapes like \w. What stands under {m,n} counts n times and at least n, under
        // {m,} m + 1 times, and under + twice.
        MAX_OPERATORS = 100,
        // Of these, in one branch: ^ $ \b \B \< \> \` and \'.
        MAX_ANCHORS = 4
    };

    // compileFlags: those of regcomp. An expression that does not compile is no error here: see isExpressionValid.
    RegularExpression(const std::string& expression, int compileFlags);
    ~RegularExpression();

    bool isExpressionValid() const { return _valid; }

    // Non-zero if the expression matches; matches, an array of maxMatches, is filled the POSIX way. It may be null.
    // 0 without a look at the subject for an expression that did not compile.
    int match(const std::string& subject, unsigned int maxMatches, regmatch_t* matches, int execFlags) const
        ORV_EXCLUDES(_mutex)
    {
        return match(subject.c_str(), maxMatches, matches, execFlags);
    }
    int match(const char* subject, unsigned int maxMatches, regmatch_t* matches, int execFlags) const
        ORV_EXCLUDES(_mutex);

    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

private:
    typedef std::chrono::steady_clock Clock;

    void compileAnew() const ORV_REQUIRES(_mutex);

    const std::string _expression;
    const int _compileFlags;
    PlainExpression _plain;
    mutable Poco::FastMutex _mutex;
    mutable regex_t _compiled ORV_GUARDED_BY(_mutex);
    mutable Clock::duration _matching ORV_GUARDED_BY(_mutex);  // time spent with _compiled
    bool _valid;
};

}  // namespace Orv
