#include "PlainExpression.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace Orv
{

namespace
{

const char* const SPECIAL = ".[]()*+?{}|^$\\";

// Not the NUL, which ends an expression.
bool isOneOf(const char* characters, char c)
{
    return c != '\0' && std::strchr(characters, c) != nullptr;
}

bool isPlain(char c)
{
    return c >= ' ' && c <= '~' && !isOneOf(SPECIAL, c);
}

bool isRepeated(const char* next)
{
    return isOneOf("*+?{", *next);
}

// Takes the literal at next, which may be empty. A last character that is repeated is none of it; next is then at what
// repeats it, which no caller takes.
std::string readLiteral(const char*& next)
{
    std::string literal;
    for (;;)
    {
        const bool escaped = *next == '\\' && isOneOf(SPECIAL, next[1]);
        if (!escaped && !isPlain(*next))
        {
            break;
        }
        next += escaped ? 1 : 0;
        literal += *next++;
    }
    if (!literal.empty() && isRepeated(next))
    {
        literal.pop_back();
    }
    return literal;
}

// Takes the group at next if there is one, of literals alone and not repeated. Returns these, or an empty one.
std::vector<std::string> readGroup(const char*& next)
{
    std::vector<std::string> literals;
    const char* inside = next;
    while (*inside == (literals.empty() ? '(' : '|'))
    {
        literals.push_back(readLiteral(++inside));
    }
    if (*inside != ')' || literals.empty() || isRepeated(inside + 1))
    {
        return {""};
    }
    next = inside + 1;
    return literals;
}

bool isAscii(const char* text, size_t length)
{
    uint64_t bits = 0;
    for (; length >= sizeof(bits); text += sizeof(bits), length -= sizeof(bits))
    {
        uint64_t word;
        std::memcpy(&word, text, sizeof(word));
        bits |= word;
    }
    for (; length != 0; --length)
    {
        bits |= static_cast<unsigned char>(*text++);
    }
    return (bits & 0x8080808080808080u) == 0;
}

}  // namespace

PlainExpression::PlainExpression(const char* expression, bool alternation)
{
    const char* next = expression;
    readBranch(next);
    while (*next == '|')
    {
        readBranch(++next);
    }
    _more = *next != '\0';
    if (_branches.size() > MAX_BRANCHES || (_more && (alternation || !isAscii(expression, std::strlen(expression)))))
    {
        _branches.clear();
    }
}

// Adds the branch at next, for one with a group as many as there are literals in it; stays before what it does not
// know.
void PlainExpression::readBranch(const char*& next)
{
    Branch branch;
    branch.atStart = *next == '^';
    next += branch.atStart ? 1 : 0;
    const std::string head = readLiteral(next);
    const std::vector<std::string> group = readGroup(next);
    const std::string tail = readLiteral(next);
    branch.rest = std::strncmp(next, ".*", 2) == 0;
    next += branch.rest ? 2 : 0;
    branch.atEnd = *next == '$' && (next[1] == '\0' || next[1] == '|');
    next += branch.atEnd ? 1 : 0;
    for (const std::string& inside : group)
    {
        branch.literal = head;
        branch.literal.append(inside).append(tail);
        _branches.push_back(branch);
    }
}

PlainExpression::Answer PlainExpression::match(const char* subject, regmatch_t& place) const
{
    if (_branches.empty())
    {
        return Answer::Unknown;
    }
    const char* begin = nullptr;
    const char* end = nullptr;
    for (const Branch& branch : _branches)
    {
        const char* const found = find(branch, subject);
        if (found == nullptr || (begin != nullptr && found > begin))
        {
            continue;
        }
        const char* const last = found + (branch.rest ? std::strlen(found) : branch.literal.size());
        end = found == begin ? std::max(end, last) : last;
        begin = found;
    }
    if (begin == nullptr)
    {
        return Answer::Refused;
    }
    if (_more || !isAscii(subject, std::strlen(subject)))
    {
        return Answer::Unknown;
    }
    place.rm_so = static_cast<regoff_t>(begin - subject);
    place.rm_eo = static_cast<regoff_t>(end - subject);
    return Answer::Matched;
}

// The leftmost place of the literal, where it may stand; null if there is none.
const char* PlainExpression::find(const Branch& branch, const char* subject)
{
    const size_t size = branch.literal.size();
    const char* place = subject;
    if (branch.atEnd && !branch.rest)
    {
        const size_t length = std::strlen(subject);
        if (size > length || (branch.atStart && size != length))
        {
            return nullptr;
        }
        place += length - size;
    }
    else if (!branch.atStart)
    {
        return std::strstr(subject, branch.literal.c_str());
    }
    return std::strncmp(place, branch.literal.c_str(), size) == 0 ? place : nullptr;
}

}  // namespace Orv
