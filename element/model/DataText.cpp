#include "DataText.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>

namespace OrvElement
{
namespace
{

const char* const NETCONF_BASE = "urn:ietf:params:xml:ns:netconf:base:1.0";
const char* const BLANKS = " \t\r\n";
const char* const BYTE_ORDER_MARK = "\xEF\xBB\xBF";

bool startsWith(const std::string& text, std::size_t at, const char* what)
{
    return text.compare(at, std::strlen(what), what) == 0;
}

bool endsWith(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

// A file that is open for reading. Its errors name the path.
class File
{
public:
    // Without O_NONBLOCK, opening a FIFO would wait for a writer, and reading some files of the system for news.
    explicit File(const std::string& path)
        : _path(path), _descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        if (_descriptor == -1)
        {
            throw failure(std::strerror(errno));
        }
    }
    ~File() { close(_descriptor); }

    // All of it. A size that tells is believed, so that nothing of a file that is far too large is read.
    std::string read(std::size_t maxSize) const
    {
        struct stat status;
        if (fstat(_descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        {
            throw failure("not a regular file");
        }
        bool tooLarge = static_cast<uintmax_t>(status.st_size) > maxSize;
        std::string text;
        char block[65536];
        ssize_t length = 1;
        while (!tooLarge && length > 0)
        {
            const std::size_t wanted = std::min(sizeof(block), maxSize - text.size() + 1);
            length = ::read(_descriptor, block, wanted);
            if (length == -1)
            {
                throw failure(std::strerror(errno));
            }
            text.append(block, static_cast<std::size_t>(length));
            tooLarge = text.size() > maxSize;
        }
        if (tooLarge)
        {
            throw failure("larger than " + std::to_string(maxSize) + " bytes");
        }
        return text;
    }

    File(const File&) = delete;
    File& operator=(const File&) = delete;

private:
    ElementError failure(const std::string& cause) const { return ElementError(_path + ": " + cause); }

    const std::string& _path;
    const int _descriptor;
};

// One tag, comment, CDATA section or processing instruction.
struct Markup
{
    enum class Kind
    {
        Start,
        Empty,  // a start tag that is its element's end, too
        End,
        Other
    };
    Kind kind;
    std::size_t begin;
    std::size_t nameEnd;                            // of a tag
    std::size_t end;                                // behind the markup
    std::string name;                               // of a tag, with its prefix
    std::map<std::string, std::string> namespaces;  // attribute "xmlns" or "xmlns:prefix" and its text, with quotes
};

// Walks over the markup of an XML text. Checks no more than it needs: libyang reads the same text again.
class MarkupScanner
{
public:
    explicit MarkupScanner(const std::string& text) : _text(text) {}

    // False at the end of the text, or where the markup breaks off.
    bool next(Markup& markup)
    {
        const std::size_t begin = _text.find('<', _at);
        if (begin == std::string::npos)
        {
            return false;
        }
        markup = Markup{Markup::Kind::Other, begin, begin, 0, "", {}};
        for (const auto& [open, close] :
             {std::pair<const char*, const char*>("<!--", "-->"), {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}})
        {
            if (startsWith(_text, begin, open))
            {
                const std::size_t found = _text.find(close, begin + std::strlen(open));
                return found != std::string::npos && finish(markup, found + std::strlen(close));
            }
        }
        return readTag(markup);
    }

private:
    bool finish(Markup& markup, std::size_t end)
    {
        markup.end = end;
        _at = end;
        return true;
    }

    bool readTag(Markup& markup)
    {
        const bool isEnd = startsWith(_text, markup.begin, "</");
        const std::size_t nameBegin = markup.begin + (isEnd ? 2 : 1);
        markup.nameEnd = _text.find_first_of(" \t\r\n/>", nameBegin);
        if (markup.nameEnd == std::string::npos)
        {
            return false;
        }
        markup.name = _text.substr(nameBegin, markup.nameEnd - nameBegin);
        std::size_t at = markup.nameEnd;
        while ((at = _text.find_first_not_of(BLANKS, at)) != std::string::npos && _text[at] != '>' && _text[at] != '/')
        {
            if (!readAttribute(markup, at))
            {
                return false;
            }
        }
        const std::size_t end = at == std::string::npos ? at : _text.find('>', at);
        if (end == std::string::npos)
        {
            return false;
        }
        markup.kind = isEnd ? Markup::Kind::End : _text[at] == '/' ? Markup::Kind::Empty : Markup::Kind::Start;
        return finish(markup, end + 1);
    }

    bool readAttribute(Markup& markup, std::size_t& at) const
    {
        const std::size_t nameEnd = _text.find_first_of(" \t\r\n=>", at);
        const std::size_t open = _text.find_first_of("\"'>", at);
        if (nameEnd == std::string::npos || open == std::string::npos || _text[open] == '>')
        {
            return false;
        }
        const std::size_t close = _text.find(_text[open], open + 1);
        if (close == std::string::npos)
        {
            return false;
        }
        const std::string name = _text.substr(at, nameEnd - at);
        if (name == "xmlns" || name.compare(0, 6, "xmlns:") == 0)
        {
            markup.namespaces[name] = _text.substr(open, close - open + 1);
        }
        at = close + 1;
        return true;
    }

    const std::string& _text;
    std::size_t _at = 0;
};

bool isWrapper(const Markup& tag)
{
    const std::size_t colon = tag.name.find(':');
    const std::string local = colon == std::string::npos ? tag.name : tag.name.substr(colon + 1);
    const std::string declaration = colon == std::string::npos ? "xmlns" : "xmlns:" + tag.name.substr(0, colon);
    const auto declared = tag.namespaces.find(declaration);
    return (local == "config" || local == "data") && declared != tag.namespaces.end() &&
           declared->second.compare(1, declared->second.size() - 2, NETCONF_BASE) == 0;
}

std::string contentOf(const std::string& text, MarkupScanner& scanner, const Markup& wrapper)
{
    std::string content;
    std::size_t copied = wrapper.end;
    std::size_t depth = 0;
    Markup markup;
    while (scanner.next(markup))
    {
        const bool opens = markup.kind == Markup::Kind::Start || markup.kind == Markup::Kind::Empty;
        if (markup.kind == Markup::Kind::End && depth-- == 0)
        {
            if (markup.name != wrapper.name)
            {
                break;
            }
            return content + text.substr(copied, markup.begin - copied);
        }
        if (opens && depth == 0)
        {
            content += text.substr(copied, markup.nameEnd - copied);
            copied = markup.nameEnd;
            for (const auto& [name, value] : wrapper.namespaces)
            {
                if (markup.namespaces.count(name) == 0)
                {
                    content += " " + name + "=" + value;
                }
            }
        }
        depth += markup.kind == Markup::Kind::Start ? 1 : 0;
    }
    throw ElementError("malformed XML: the element <" + wrapper.name + "> is not closed");
}

}  // namespace

std::string readTextFile(const std::string& path, std::size_t maxSize)
{
    const File file(path);
    std::string text = file.read(maxSize);
    if (startsWith(text, 0, BYTE_ORDER_MARK))
    {
        text.erase(0, std::strlen(BYTE_ORDER_MARK));
    }
    if (text.find_first_not_of(BLANKS) == std::string::npos)
    {
        throw ElementError(path + ": the file is empty");
    }
    return text;
}

EditFormat formatOf(const std::string& path, const std::string& text)
{
    if (endsWith(path, ".xml"))
    {
        return EditFormat::Xml;
    }
    if (endsWith(path, ".json"))
    {
        return EditFormat::Json;
    }
    const std::size_t first = text.find_first_not_of(BLANKS);
    return first != std::string::npos && text[first] == '<' ? EditFormat::Xml : EditFormat::Json;
}

std::string unwrapXml(const std::string& text)
{
    MarkupScanner scanner(text);
    Markup markup;
    do
    {
        if (!scanner.next(markup))
        {
            return text;
        }
    } while (markup.kind == Markup::Kind::Other);
    if (markup.kind == Markup::Kind::End || !isWrapper(markup))
    {
        return text;
    }
    return markup.kind == Markup::Kind::Empty ? std::string() : contentOf(text, scanner, markup);
}

}  // namespace OrvElement
