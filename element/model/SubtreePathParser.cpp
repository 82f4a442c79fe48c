#include "SubtreePathParser.h"

#include <Poco/UTF8Encoding.h>

#include <cstddef>

namespace OrvElement
{
namespace
{

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameCharacter(char c)
{
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// Whether a YANG string can be made of it.
bool isText(const std::string& text)
{
    const Poco::UTF8Encoding encoding;
    for (std::size_t at = 0; at < text.size();)
    {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(&text[at]);
        const int left = static_cast<int>(text.size() - at);
        const int length = encoding.sequenceLength(bytes, 1);
        if (length < 1 || length > left || *bytes == 0 || !encoding.isLegal(bytes, length))
        {
            return false;
        }
        at += static_cast<std::size_t>(length);
    }
    return true;
}

class PathParser
{
public:
    explicit PathParser(const std::string& text) : _text(text) {}

    FilterElement parse()
    {
        FilterElement filter;
        if (_text.size() > FilterElement::MAX_SIZE)
        {
            throw ElementError("the path is longer than " + std::to_string(FilterElement::MAX_SIZE) + " bytes");
        }
        require('/');
        if (atEnd())
        {
            filter.everything = true;
        }
        else
        {
            parseLevel(filter, 1);
        }
        return filter;
    }

private:
    // What stands behind a "/".
    void parseLevel(FilterElement& parent, std::size_t depth)
    {
        requireDepth(depth);
        if (take('*'))
        {
            parent.everything = true;
        }
        else if (take('{'))
        {
            parseSet(parent);
        }
        else
        {
            FilterElement step = parseNode();
            while (take('['))
            {
                step.children.push_back(parseCondition(depth + 1));
            }
            if (take('/'))
            {
                parseLevel(step, depth + 1);
            }
            parent.children.push_back(std::move(step));
        }
        if (!atEnd())
        {
            fail("the path should end here");
        }
    }

    void parseSet(FilterElement& parent)
    {
        do
        {
            skipBlanks();
            parent.children.push_back(parseNode());
            skipBlanks();
        } while (take(','));
        require('}');
    }

    // The innermost node carries the value.
    FilterElement parseCondition(std::size_t depth)
    {
        requireDepth(depth);
        skipBlanks();
        FilterElement element = parseNode();
        element.condition = true;
        skipBlanks();
        if (take('/'))
        {
            element.children.push_back(parseCondition(depth + 1));
            return element;
        }
        require('=');
        skipBlanks();
        element.value = parseLiteral();
        skipBlanks();
        require(']');
        return element;
    }

    FilterElement parseNode()
    {
        if (++_elements > FilterElement::MAX_ELEMENTS)
        {
            fail("there are more than " + std::to_string(FilterElement::MAX_ELEMENTS) + " nodes");
        }
        FilterElement element;
        element.name = parseName();
        if (take(':'))
        {
            element.module = element.name;
            element.name = parseName();
        }
        return element;
    }

    std::string parseName()
    {
        if (atEnd() || !isLetter(_text[_at]))
        {
            fail("the name of a node is missing");
        }
        const std::size_t begin = _at;
        while (!atEnd() && isNameCharacter(_text[_at]))
        {
            ++_at;
        }
        return _text.substr(begin, _at - begin);
    }

    std::string parseLiteral()
    {
        const char quote = atEnd() ? '\0' : _text[_at];
        if (quote != '\'' && quote != '"')
        {
            fail("a value in quotes is missing");
        }
        const std::size_t end = _text.find(quote, _at + 1);
        if (end == std::string::npos)
        {
            fail("the quote is not closed");
        }
        std::string value = _text.substr(_at + 1, end - _at - 1);
        if (!isText(value))
        {
            fail("the value is no UTF-8 text");
        }
        _at = end + 1;
        return value;
    }

    bool atEnd() const { return _at == _text.size(); }

    bool take(char wanted)
    {
        const bool found = !atEnd() && _text[_at] == wanted;
        _at += found ? 1 : 0;
        return found;
    }

    void require(char wanted)
    {
        if (!take(wanted))
        {
            fail(std::string("\"") + wanted + "\" is missing");
        }
    }

    void requireDepth(std::size_t depth) const
    {
        if (depth > FilterElement::MAX_DEPTH)
        {
            fail("the path is deeper than " + std::to_string(FilterElement::MAX_DEPTH) + " nodes");
        }
    }

    void skipBlanks()
    {
        while (!atEnd() && (_text[_at] == ' ' || _text[_at] == '\t'))
        {
            ++_at;
        }
    }

    [[noreturn]] void fail(const std::string& cause) const
    {
        throw ElementError("column " + std::to_string(_at + 1) + ": " + cause);
    }

    const std::string& _text;
    std::size_t _at = 0;
    std::size_t _elements = 0;
};

}  // namespace

FilterElement parseSubtreePath(const std::string& text)
{
    return PathParser(text).parse();
}

}  // namespace OrvElement
