#include "SubtreeFilterParser.h"

#include <Poco/SAX/Attributes.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/SAXException.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/String.h>

#include <algorithm>
#include <cstddef>

namespace OrvElement
{
namespace
{

using Poco::XML::XMLString;

const char* const NETCONF_BASE = "urn:ietf:params:xml:ns:netconf:base:1.0";
const char* const BYTE_ORDER_MARK = "\xEF\xBB\xBF";
const char* const BLANKS = " \t\r\n";

// A filter's content may be several elements: they are read as those of one more. Within an element no document type
// can be declared.
const std::string OPEN = "<subtree>";
const std::string CLOSE = "</subtree>";

bool isFilter(const std::string& ns, const std::string& name)
{
    return name == "filter" && (ns.empty() || ns == NETCONF_BASE);
}

// Makes elements of what the parser reads. The parser is C code, through which no exception should travel: the first
// cause of a refusal is kept, and what follows passes by.
class FilterHandler : public Poco::XML::DefaultHandler
{
public:
    FilterHandler() : _prefixes(std::make_shared<FilterElement::Prefixes>()) {}

    FilterElement filter()
    {
        if (!_error.empty())
        {
            throw ElementError(_error);
        }
        const bool wrapped =
            _outermost.children.size() == 1 && isFilter(_outermost.children[0].module, _outermost.children[0].name);
        FilterElement filter = wrapped ? FilterElement(_outermost.children[0]) : _outermost;
        if (filter.children.empty())
        {
            throw ElementError(filter.value ? "a text stands outside of all elements"
                                            : "the filter is empty, and would select nothing");
        }
        if (_filters > (wrapped ? 1u : 0u))
        {
            throw ElementError("the element <filter> must be the outermost, and the only one");
        }
        return filter;
    }

    void startPrefixMapping(const XMLString& prefix, const XMLString& ns) override { _declared[prefix] = ns; }

    void startElement(const XMLString& ns, const XMLString& name, const XMLString&,
                      const Poco::XML::Attributes& attributes) override
    {
        if (!_error.empty())
        {
            return;
        }
        _prefixScopes.push_back(_prefixes);
        declarePrefixes();
        Open open;
        open.element.name = name;
        open.element.module = ns;
        open.element.prefixes = _prefixes;
        open.isFilter = _open.size() == 1 && isFilter(ns, name);
        _filters += open.isFilter ? 1 : 0;
        _open.push_back(std::move(open));
        checkAttributes(attributes);
        if (depth() > FilterElement::MAX_DEPTH)
        {
            refuse("the filter is deeper than " + std::to_string(FilterElement::MAX_DEPTH) + " elements");
        }
        _elements += depth() > 0 ? 1 : 0;
        if (_elements > FilterElement::MAX_ELEMENTS)
        {
            refuse("there are more than " + std::to_string(FilterElement::MAX_ELEMENTS) + " elements");
        }
    }

    void endElement(const XMLString&, const XMLString&, const XMLString&) override
    {
        if (!_error.empty())
        {
            return;
        }
        Open& open = _open.back();
        const std::string text = Poco::trim(open.text);
        if (!text.empty())
        {
            open.element.value = text;
            if (!open.element.children.empty())
            {
                refuse(path() + ": text and elements stand side by side");
                return;
            }
        }
        FilterElement closed = std::move(open.element);
        _open.pop_back();
        (_open.empty() ? _outermost : addTo(_open.back().element)) = std::move(closed);
        _prefixes = _prefixScopes.back();
        _prefixScopes.pop_back();
    }

    void characters(const Poco::XML::XMLChar text[], int start, int length) override
    {
        if (_error.empty())
        {
            _open.back().text.append(text + start, static_cast<std::size_t>(length));
        }
    }

private:
    struct Open
    {
        FilterElement element;
        std::string text;
        bool isFilter = false;
    };

    static FilterElement& addTo(FilterElement& parent)
    {
        parent.children.emplace_back();
        return parent.children.back();
    }

    void refuse(const std::string& error)
    {
        if (_error.empty())
        {
            _error = error;
        }
    }

    void declarePrefixes()
    {
        if (_declared.empty())
        {
            return;
        }
        if (_prefixes->size() + _declared.size() > FilterElement::MAX_PREFIXES)
        {
            refuse("more than " + std::to_string(FilterElement::MAX_PREFIXES) + " prefixes are declared");
            return;
        }
        auto prefixes = std::make_shared<FilterElement::Prefixes>(*_prefixes);
        for (const auto& [prefix, ns] : _declared)
        {
            (*prefixes)[prefix] = ns;
        }
        _prefixes = std::move(prefixes);
        _declared.clear();
    }

    void checkAttributes(const Poco::XML::Attributes& attributes)
    {
        for (int i = 0; i < attributes.getLength(); ++i)
        {
            const std::string& name = attributes.getQName(i);
            if (!_open.back().isFilter || name != "type")
            {
                refuse(path() + ": the attribute \"" + name +
                       "\" is none of the model's; attributes cannot be matched");
            }
            else if (attributes.getValue(i) != "subtree")
            {
                refuse("the filter's type is \"" + attributes.getValue(i) + "\", and only \"subtree\" is understood");
            }
        }
    }

    // Of the innermost element. The outermost and <filter> stand around the filter, at depth 0.
    std::size_t depth() const
    {
        const bool wrapped = _open.size() > 1 && _open[1].isFilter;
        return _open.size() - (wrapped ? 2 : 1);
    }

    // Of the innermost element.
    std::string path() const
    {
        std::string path;
        for (std::size_t i = 1; i < _open.size(); ++i)
        {
            path += _open[i].isFilter ? "" : "/" + _open[i].element.name;
        }
        return path.empty() ? "/" : path;
    }

    std::string _error;
    FilterElement _outermost;
    std::vector<Open> _open;
    std::size_t _elements = 0;
    std::size_t _filters = 0;
    std::shared_ptr<const FilterElement::Prefixes> _prefixes;
    std::vector<std::shared_ptr<const FilterElement::Prefixes>> _prefixScopes;  // outside of each open element
    FilterElement::Prefixes _declared;                                          // for the element that comes next
};

// The text without byte order mark and with blanks for an XML declaration, which can only stand at the very beginning.
std::string withoutDeclaration(const std::string& text)
{
    std::size_t begin = text.compare(0, 3, BYTE_ORDER_MARK) == 0 ? 3 : 0;
    if (text.compare(begin, 5, "<?xml") != 0)
    {
        return text.substr(begin);
    }
    const std::size_t end = text.find("?>", begin);
    if (end == std::string::npos)
    {
        throw ElementError("malformed XML: the declaration is not closed");
    }
    const std::string declaration = Poco::toLower(text.substr(begin, end - begin));
    if (declaration.find("encoding") != std::string::npos && declaration.find("utf-8") == std::string::npos)
    {
        throw ElementError("the text is not encoded in UTF-8");
    }
    std::string blanked = text.substr(begin);
    std::replace_if(
        blanked.begin(), blanked.begin() + static_cast<std::ptrdiff_t>(end + 2 - begin),
        [](char c) { return c != '\n'; }, ' ');
    return blanked;
}

// The parser's message, with the position in the text that was given.
std::string messageOf(const Poco::XML::SAXParseException& error)
{
    const int line = error.getLineNumber();
    const int column = error.getColumnNumber() - (line == 1 ? static_cast<int>(OPEN.size()) : 0);
    return error.message().substr(0, error.message().rfind(" in ")) + " in line " + std::to_string(line) + ", column " +
           std::to_string(column + 1);
}

}  // namespace

FilterElement parseSubtreeXml(const std::string& text)
{
    if (text.size() > FilterElement::MAX_SIZE)
    {
        throw ElementError("the filter is longer than " + std::to_string(FilterElement::MAX_SIZE) + " bytes");
    }
    if (text.find_first_not_of(BLANKS) == std::string::npos)
    {
        throw ElementError("the filter is empty, and would select nothing");
    }
    FilterHandler handler;
    Poco::XML::SAXParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
    // Without it the parser gives no names of attributes, and an element without namespace the one of its predecessor.
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_EXTERNAL_GENERAL_ENTITIES, false);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_EXTERNAL_PARAMETER_ENTITIES, false);
    parser.setContentHandler(&handler);
    try
    {
        parser.parseString(OPEN + withoutDeclaration(text) + CLOSE);
    }
    catch (const Poco::XML::SAXParseException& e)
    {
        throw ElementError("malformed XML: " + messageOf(e));
    }
    catch (const Poco::Exception& e)
    {
        throw ElementError("malformed XML: " + e.displayText());
    }
    return handler.filter();
}

}  // namespace OrvElement
