#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace OrvElement
{

// One element of a subtree filter as it was written, in XML or in a path, before a model gives it a meaning. The
// filter as a whole is an element without a name.
// Threads: as any value.
struct FilterElement
{
    // Bounds of a filter's text, so that a hostile one costs little.
    enum : std::size_t
    {
        MAX_SIZE = 262144,  // bytes
        MAX_DEPTH = 64,     // elements within each other
        MAX_ELEMENTS = 4096,
        MAX_PREFIXES = 64  // XML prefixes that are declared at one place
    };

    typedef std::map<std::string, std::string> Prefixes;  // from prefix to namespace; "" is the default namespace

    std::string name;
    std::string module;                        // its name, or its namespace if there are prefixes; empty: any module
    bool condition = false;                    // stands in a path's brackets
    bool everything = false;                   // a path says "*" behind it
    std::optional<std::string> value;          // a content match; none: a selection, or what the children say
    std::shared_ptr<const Prefixes> prefixes;  // of XML, null for a path, whose prefixes are names of modules
    std::vector<FilterElement> children;
};

}  // namespace OrvElement
