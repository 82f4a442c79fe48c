#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FilterModel.h"

namespace OrvTest
{
namespace Naive
{

// What a subtree filter has to answer, found in the plainest way: the second opinion of the differential test.
// It shares no code with the service.
// Threads:   one.
// Ownership: borrows the model and the trees.
class SubtreeFilter
{
public:
    // No trees is a null array, which passes everything, as an empty one does.
    SubtreeFilter(const Model& model, const std::optional<std::vector<TreeNode>>& trees);

    bool match(const Change& change);

    // The DNs of the records that stand in for the given one, whatever that is.
    const std::vector<std::string>& derivedDns() const { return _derived; }

    // What a reduced copy of the notification holds, no value if there is none to make. Takes the selection.
    std::optional<std::vector<Attribute>> takeReduced(const Change& change);

    // What the last evaluation left behind.
    const std::vector<std::pair<std::string, std::string>>& path() const { return _path; }
    const std::vector<std::string>& rootClasses() const { return _rootClasses; }
    const std::vector<Attribute>& selected() const { return _selected; }

    // All that was asked of the framework so far, in order, as FakeManagedObjects notes it, and of the helper that
    // forms DNs, as DnCalls does.
    const std::vector<std::string>& calls() const { return _calls; }
    const std::vector<std::string>& dnCalls() const { return _dnCalls; }
    unsigned int opened() const { return _opened; }
    unsigned int closed() const { return _closed; }

private:
    bool passes(const TreeNode& node, size_t depth, const Change& change);
    bool contentHolds(const TreeNode& node, size_t depth);
    bool structsHold(const TreeNode& node, size_t depth);
    void derive(const TreeNode& node, const std::string& dn);

    std::string dnOf(size_t depth) const;
    bool lookUp(const std::string& interfaceName);
    std::optional<Attribute> read(const std::string& dn, const std::string& attributeName);
    void endRead();
    std::optional<std::string> keyName(const std::string& parentDn, const std::string& className);
    std::string childDn(const std::string& parentDn, const std::string& className, const std::string& keyName,
                        const std::string& keyValue);

    const Model& _model;
    std::vector<const TreeNode*> _trees;

    std::vector<std::pair<std::string, std::string>> _path;  // class and key of each component
    std::vector<const TreeNode*> _roots;
    std::vector<std::string> _rootClasses;
    std::vector<std::string> _derived;
    std::vector<Attribute> _selected;

    unsigned int _failingLookups = 0;  // of the interface that fails once
    unsigned int _openings = 0;
    unsigned int _opened = 0;
    unsigned int _closed = 0;
    std::vector<std::string> _calls;
    std::vector<std::string> _dnCalls;
};

// Are two values of this type code equal?
bool equalValues(int32_t type, const Value& left, const Value& right);

}  // namespace Naive
}  // namespace OrvTest
