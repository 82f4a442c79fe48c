#pragma once

#include <regex.h>

#include <string>
#include <vector>

namespace Orv
{

// What an extended expression says where finding literals is enough to tell its match. These are recognised:
//   - a literal, with ^ in front and .* or $ or .*$ behind, or without; the literal may be empty;
//   - a literal with one group of literals in it, as in A=(1|2),B=.* ;
//   - up to MAX_BRANCHES of these in all, separated by |.
// Of any other expression of ASCII alone without | outside its groups only the literal that it begins with is known: a
// subject without it is refused, every other one is the matcher's. In bytes beyond ASCII a | might hide.
// Threads:   any, since nothing changes after construction.
// Ownership: the expression is read by the constructor alone.
class PlainExpression
{
public:
    enum
    {
        MAX_BRANCHES = 16  // about as many literals as are looked for in the time that the matcher takes
    };

    enum class Answer
    {
        Refused,
        Matched,
        Unknown
    };

    // Knows nothing of any subject.
    PlainExpression() = default;
    // expression: one that regcomp accepts with REG_EXTENDED as its only flag. alternation: whether it has | outside of
    // groups.
    PlainExpression(const char* expression, bool alternation);

    // What regexec without flags would say. Only Matched fills the place, with that of the whole match.
    Answer match(const char* subject, regmatch_t& place) const;

private:
    struct Branch
    {
        std::string literal;
        bool atStart = false;  // behind ^
        bool atEnd = false;    // $ comes next
        bool rest = false;     // .* comes next
    };

    void readBranch(const char*& next);
    static const char* find(const Branch& branch, const char* subject);

    std::vector<Branch> _branches;  // empty if nothing is known
    bool _more = false;             // the expression goes on behind the literals
};

}  // namespace Orv
