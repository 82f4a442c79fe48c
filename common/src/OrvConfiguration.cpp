#include "OrvConfiguration.h"

#include <Poco/DOM/DOMParser.h>
#include <Poco/Exception.h>
#include <Poco/SAX/Attributes.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/LexicalHandler.h>
#include <Poco/SAX/SAXParser.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "OrvException.h"

namespace Orv
{

namespace
{

// A descriptor, closed with its scope.
class File
{
public:
    // Without O_NONBLOCK, opening a FIFO would wait for a writer before anyone can see that it is no regular file.
    explicit File(const std::string& path) : _fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        if (_fd < 0)
        {
            throw OrvException("%s", strerror(errno));
        }
    }
    ~File() { close(_fd); }

    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string readAll() const
    {
        struct stat status;
        if (fstat(_fd, &status) != 0 || !S_ISREG(status.st_mode))
        {
            throw OrvException("not a regular file");
        }
        // The size is taken from what is read: the file may grow meanwhile, and some files do not tell theirs.
        std::string content;
        char chunk[64 * 1024];
        for (ssize_t got = readSome(chunk, sizeof(chunk)); got > 0; got = readSome(chunk, sizeof(chunk)))
        {
            content.append(chunk, static_cast<size_t>(got));
            if (content.size() > OrvConfiguration::MAX_FILE_SIZE)
            {
                throw OrvException("larger than %d bytes", static_cast<int>(OrvConfiguration::MAX_FILE_SIZE));
            }
        }
        if (content.empty())
        {
            throw OrvException("the file is empty");
        }
        return content;
    }

private:
    ssize_t readSome(char* chunk, size_t size) const
    {
        const ssize_t got = read(_fd, chunk, size);
        if (got < 0)
        {
            throw OrvException("%s", strerror(errno));
        }
        return got;
    }

    const int _fd;
};

// What must be known of a document before a tree is made of it. It only takes notes: the parser that calls it is C
// code, through which no exception should travel.
class Survey : public Poco::XML::DefaultHandler, public Poco::XML::LexicalHandler
{
public:
    bool hasDtd() const { return _hasDtd; }
    int depth() const { return _maxDepth; }
    size_t differentNames() const { return _names.size(); }

    void startElement(const Poco::XML::XMLString& uri, const Poco::XML::XMLString&, const Poco::XML::XMLString& name,
                      const Poco::XML::Attributes& attributes) override
    {
        ++_depth;
        _maxDepth = std::max(_maxDepth, _depth);
        _names.emplace(uri, name);
        for (int i = 0; i < attributes.getLength(); ++i)
        {
            _names.emplace(attributes.getURI(i), attributes.getQName(i));
        }
    }
    void endElement(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&) override
    {
        --_depth;
    }

    void startDTD(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&) override
    {
        _hasDtd = true;
    }
    void endDTD() override {}
    void startEntity(const Poco::XML::XMLString&) override {}
    void endEntity(const Poco::XML::XMLString&) override {}
    void startCDATA() override {}
    void endCDATA() override {}
    void comment(const Poco::XML::XMLChar[], int, int) override {}

private:
    bool _hasDtd = false;
    int _depth = 0;
    int _maxDepth = 0;
    std::set<std::pair<Poco::XML::XMLString, Poco::XML::XMLString>> _names;
};

// Walks the text without making a tree of it. The tree's functions recurse, so depth is limited before one is made.
void examine(const std::string& content, Survey& survey)
{
    Poco::XML::SAXParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
    parser.setContentHandler(&survey);
    parser.setProperty(Poco::XML::XMLReader::PROPERTY_LEXICAL_HANDLER,
                       static_cast<Poco::XML::LexicalHandler*>(&survey));
    try
    {
        parser.parseMemoryNP(content.data(), content.size());
    }
    catch (const Poco::Exception&)
    {
        if (!survey.hasDtd())
        {
            throw;
        }
    }
    if (survey.hasDtd())
    {
        throw OrvException("a document type declaration is not allowed");
    }
    if (survey.depth() > OrvConfiguration::MAX_DEPTH)
    {
        throw OrvException("elements are nested deeper than %d", static_cast<int>(OrvConfiguration::MAX_DEPTH));
    }
}

Poco::AutoPtr<Poco::XML::Document> parse(const std::string& content)
{
    Survey survey;
    examine(content, survey);
    // The pool of names does not grow. Twice the names, and some for the tree's own, keep its hash table sparse.
    const unsigned long placesForNames = 2 * survey.differentNames() + 509;
    Poco::XML::DOMParser parser(placesForNames);
    return parser.parseMemory(content.data(), content.size());
}

// Long paths are cut at their beginning, so that the cause still finds room in the exception.
[[noreturn]] void refuse(const std::string& path, const char* cause)
{
    const size_t shown = 512;
    const bool cut = path.size() > shown;
    throw OrvException("Cannot use configuration file %s%s: %s", cut ? "..." : "",
                       cut ? path.c_str() + path.size() - shown : path.c_str(), cause);
}

}  // namespace

OrvConfiguration::OrvConfiguration() = default;

OrvConfiguration::~OrvConfiguration() = default;

void OrvConfiguration::load(const std::string& path)
{
    unload();
    try
    {
        _document = parse(File(path).readAll());
    }
    catch (const Poco::Exception& exception)
    {
        refuse(path, exception.displayText().c_str());
    }
    catch (const std::exception& exception)
    {
        refuse(path, exception.what());
    }
}

void OrvConfiguration::unload()
{
    _document = nullptr;
}

Poco::XML::NodeList* OrvConfiguration::getElementsByTagName(const std::string& name)
{
    if (_document.isNull())
    {
        throw OrvException("No configuration file is loaded");
    }
    return _document->getElementsByTagName(name);
}

std::string OrvConfiguration::get_text(Poco::XML::Element* element)
{
    return element != nullptr ? element->innerText() : std::string();
}

}  // namespace Orv
