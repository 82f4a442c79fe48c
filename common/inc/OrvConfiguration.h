#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeList.h>

#include <string>

namespace Orv
{

// An XML configuration file as a document. Documents with a DTD are refused, and with them external entities.
// Threads:   one at a time.
// Ownership: the document is this object's; a list from getElementsByTagName is the caller's to release.
class OrvConfiguration
{
public:
    enum
    {
        MAX_FILE_SIZE = 1024 * 1024,  // bytes
        MAX_DEPTH = 256               // elements within elements; the root counts 1
    };

    OrvConfiguration();
    virtual ~OrvConfiguration();

    // Reads and parses the file and replaces the document. Throws Orv::OrvException with the path and the cause if the
    // file is missing, unreadable, not a regular file, empty, larger than MAX_FILE_SIZE, malformed or has a DTD; then
    // no document is loaded.
    void load(const std::string& path);

    // Releases the document; allowed when none is loaded.
    void unload();

    // The elements of this name at any depth, the root included. Throws Orv::OrvException if nothing is loaded.
    Poco::XML::NodeList* getElementsByTagName(const std::string& name);

    // The element's text, untrimmed.
    std::string get_text(Poco::XML::Element* element);

    OrvConfiguration(const OrvConfiguration&) = delete;
    OrvConfiguration& operator=(const OrvConfiguration&) = delete;

private:
    Poco::AutoPtr<Poco::XML::Document> _document;
};

}  // namespace Orv
