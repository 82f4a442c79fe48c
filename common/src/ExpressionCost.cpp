#include "ExpressionCost.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Orv
{

namespace
{

// What one atom, one branch or one group costs.
struct Cost
{
    size_t length = 0;
    size_t operators = 0;
    size_t anchors = 0;
    bool mayBeEmpty = true;

    void add(const Cost& other)
    {
        length = std::min(length + other.length, ExpressionCost::MANY);
        operators = std::min(operators + other.operators, ExpressionCost::MANY);
        anchors = std::min(anchors + other.anchors, ExpressionCost::MANY);
        mayBeEmpty = mayBeEmpty && other.mayBeEmpty;
    }

    void multiply(size_t times)
    {
        length = std::min(length * times, ExpressionCost::MANY);
        operators = std::min(operators * times, ExpressionCost::MANY);
        anchors = std::min(anchors * times, ExpressionCost::MANY);
    }
};

// Reads an expression once, from left to right.
// Invariant: _groups has one entry for each open group, and one for the whole.
class CostReader
{
public:
    CostReader(const char* expression, bool extended) : _next(expression), _extended(extended), _groups(1) {}

    ExpressionCost read()
    {
        while (*_next != '\0')
        {
            readOne();
        }
        while (_groups.size() > 1)
        {
            closeGroup();
        }
        finishBranch();
        const Cost& whole = _groups.back().done;
        ExpressionCost result;
        result.length = whole.length;
        result.operators = whole.operators;
        result.anchors = whole.anchors;
        result.endlessNothing = _endlessNothing;
        result.unlimited = _unlimited;
        result.backReference = _backReference;
        result.alternation = _alternation;
        return result;
    }

private:
    struct Group
    {
        Cost done;                // its branches up to here
        Cost atom;                // the latest one, which a repetition behind it multiplies
        size_t anchors = 0;       // the most in a branch that has ended
        bool mayBeEmpty = false;  // a branch that has ended may be
    };

    void readOne()
    {
        const char c = *_next++;
        bool escaped = false;
        char meaning = c;
        if (c == '\\' && *_next != '\0')
        {
            escaped = true;
            meaning = *_next++;
        }
        // In the basic syntax these are operators with a backslash, in the extended one without.
        if (std::strchr("(){|+?", meaning) != nullptr)
        {
            escaped == _extended ? addAtom(0) : readOperator(meaning);
        }
        else if (escaped)
        {
            readEscaped(meaning);
        }
        else
        {
            readPlain(meaning);
        }
    }

    void readOperator(char c)
    {
        switch (c)
        {
            case '(':
                _groups.emplace_back();
                break;
            case ')':
                if (_groups.size() > 1)
                {
                    closeGroup();
                }
                else
                {
                    addAtom(0);
                }
                break;
            case '{':
                readInterval();
                break;
            case '+':
                repeat(2, true);
                addOperator();
                break;
            case '|':
                _alternation = _alternation || _groups.size() == 1;
                addOperator();
                finishBranch();
                _groups.back().done.anchors = 0;
                _groups.back().done.mayBeEmpty = true;
                break;
            default:
                addOperator();
                _groups.back().atom.mayBeEmpty = true;
                break;
        }
    }

    void readEscaped(char c)
    {
        _backReference = _backReference || (c >= '1' && c <= '9');
        if (std::strchr("bB<>`'", c) != nullptr)
        {
            addAnchor();
        }
        else
        {
            addAtom(std::strchr("wWsS", c) != nullptr ? 1 : 0);
        }
    }

    void readPlain(char c)
    {
        switch (c)
        {
            case '[':
                skipBracket();
                addAtom(1);
                break;
            case '*':
                readStar();
                break;
            case '.':
                addAtom(1);
                break;
            case '^':
            case '$':
                addAnchor();
                break;
            default:
                addAtom(0);
                break;
        }
    }

    void readStar()
    {
        if (_groups.back().atom.length == 0)
        {
            addAtom(0);  // in front of everything it is a plain character, in the basic syntax
            return;
        }
        repeat(1, true);
        addOperator();
        _groups.back().atom.mayBeEmpty = true;
    }

    // Behind the opening bracket; afterwards behind the closing one. A backslash means nothing in between.
    void skipBracket()
    {
        _next += *_next == '^' ? 1 : 0;
        _next += *_next == ']' ? 1 : 0;
        while (*_next != '\0' && *_next != ']')
        {
            const char c = *_next++;
            const char kind = *_next;
            if (c == '[' && (kind == ':' || kind == '=' || kind == '.'))
            {
                const char end[] = {kind, ']', '\0'};
                const char* const closing = std::strstr(_next + 1, end);
                _next = closing != nullptr ? closing + 2 : _next + std::strlen(_next);
            }
        }
        _next += *_next == ']' ? 1 : 0;
    }

    void readInterval()
    {
        const size_t least = readNumber();
        size_t most = least;
        bool unlimited = false;
        if (*_next == ',')
        {
            ++_next;
            unlimited = *_next < '0' || *_next > '9';
            most = unlimited ? least + 1 : readNumber();
        }
        _next += !_extended && *_next == '\\' ? 1 : 0;
        _next += *_next == '}' ? 1 : 0;
        Cost& atom = _groups.back().atom;
        atom.operators = std::max<size_t>(atom.operators, 1);
        repeat(std::max<size_t>(most, 1), unlimited);
        atom.mayBeEmpty = atom.mayBeEmpty || least == 0;
    }

    size_t readNumber()
    {
        size_t number = 0;
        for (; *_next >= '0' && *_next <= '9'; ++_next)
        {
            number = std::min<size_t>(number * 10 + static_cast<size_t>(*_next - '0'), ExpressionCost::MANY);
        }
        return number;
    }

    void addAtom(size_t operators)
    {
        finishAtom();
        _groups.back().atom.length = 1;
        _groups.back().atom.operators = operators;
        _groups.back().atom.mayBeEmpty = false;
    }

    void addAnchor()
    {
        addAtom(1);
        _groups.back().atom.anchors = 1;
        _groups.back().atom.mayBeEmpty = true;
    }

    void finishAtom()
    {
        Group& group = _groups.back();
        group.done.add(group.atom);
        group.atom = Cost();
    }

    // One that belongs to the atom in front of it.
    void addOperator()
    {
        Cost one;
        one.length = 1;
        one.operators = 1;
        _groups.back().atom.add(one);
    }

    void finishBranch()
    {
        finishAtom();
        Group& group = _groups.back();
        group.anchors = std::max(group.anchors, group.done.anchors);
        group.mayBeEmpty = group.mayBeEmpty || group.done.mayBeEmpty;
        group.done.anchors = group.anchors;
        group.done.mayBeEmpty = group.mayBeEmpty;
    }

    void repeat(size_t times, bool unlimited)
    {
        Cost& atom = _groups.back().atom;
        _endlessNothing = _endlessNothing || (unlimited && atom.mayBeEmpty);
        _unlimited = _unlimited || unlimited;
        atom.multiply(times);
    }

    void closeGroup()
    {
        finishBranch();
        const Cost inside = _groups.back().done;
        _groups.pop_back();
        addAtom(1);
        _groups.back().atom.add(inside);
        _groups.back().atom.mayBeEmpty = inside.mayBeEmpty;
    }

    const char* _next;
    const bool _extended;
    bool _endlessNothing = false;
    bool _unlimited = false;
    bool _backReference = false;
    bool _alternation = false;
    std::vector<Group> _groups;
};

}  // namespace

ExpressionCost expressionCost(const std::string& expression, bool extended)
{
    return CostReader(expression.c_str(), extended).read();
}

}  // namespace Orv
