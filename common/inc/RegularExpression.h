#pragma once

#include <regex.h>

#include <string>

namespace Orv
{

// A POSIX regular expression, compiled once.
// Threads:   match may be called by several threads at once.
// Ownership: the compiled form is this object's; expression and subject are only read. Both end at their first NUL.
// Failure:   an expression that does not compile is kept and matches nothing.
class RegularExpression
{
public:
    enum
    {
        // Of the characters ( * + ? { ^ $ anywhere in an expression. The C library's compiler recurses for them and
        // would overflow the stack; an expression with more is not compiled.
        MAX_OPERATORS = 2000
    };

    // compileFlags: those of regcomp. An expression that does not compile is no error here: see isExpressionValid.
    RegularExpression(const std::string& expression, int compileFlags);
    ~RegularExpression();

    bool isExpressionValid() const { return _valid; }

    // Non-zero if the expression matches; matches, an array of maxMatches, is filled the POSIX way. It may be null.
    // 0 without a look at the subject for an expression that did not compile.
    int match(const std::string& subject, unsigned int maxMatches, regmatch_t* matches, int execFlags) const;

    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

private:
    regex_t _compiled;
    bool _valid;
};

}  // namespace Orv
