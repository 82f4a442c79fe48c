#pragma once

#include <regex.h>

#include <string>

namespace Orv
{

// A POSIX regular expression, compiled once.
// Threads: match may be called by several threads at once.
class RegularExpression
{
public:
    // compileFlags: those of regcomp. An expression that does not compile is no error here: see isExpressionValid.
    RegularExpression(const std::string& expression, int compileFlags);
    ~RegularExpression();

    bool isExpressionValid() const { return _valid; }

    // Non-zero if the expression matches; matches, an array of maxMatches, is filled the POSIX way.
    // 0 without a look at the subject for an expression that did not compile.
    int match(const std::string& subject, unsigned int maxMatches, regmatch_t* matches, int execFlags) const;

    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

private:
    regex_t _compiled;
    bool _valid;
};

}  // namespace Orv
