// What a reader gets of a case that failed: as small a case as can be, in words.
#include <functional>
#include <sstream>

#include "FilterRecords.h"
#include "RandomFilterCase.h"

namespace OrvTest
{

namespace
{

using Naive::Attribute;
using Naive::TreeNode;

void describe(std::ostream& out, const char* what, const std::optional<std::vector<Attribute>>& attributes)
{
    if (attributes)
    {
        out << " " << what << "(";
        for (const Attribute& attribute : *attributes)
        {
            out << " " << textOf(attribute);
        }
        out << " )";
    }
}

void describe(std::ostream& out, const char* what, const std::optional<std::vector<std::string>>& names)
{
    if (names)
    {
        out << " " << what << "(";
        for (const std::string& name : *names)
        {
            out << " \"" << name << '"';
        }
        out << " )";
    }
}

void describe(std::ostream& out, const TreeNode& node, const std::string& indent)
{
    out << indent << '"' << node.className << '"';
    if (node.key)
    {
        out << " key " << textOf(*node.key);
    }
    describe(out, "attributeMatch", node.attributeMatch);
    if (node.structContainments)
    {
        out << " structContainments(";
        for (const Naive::StructCondition& condition : *node.structContainments)
        {
            describe(out, condition.attributeName.c_str(), condition.members);
        }
        out << " )";
    }
    describe(out, "attributeSelection", node.attributeSelection);
    describe(out, "classSelection", node.classSelection);
    out << (node.containments ? " containments:\n" : "\n");
    if (node.containments)
    {
        for (const TreeNode& child : *node.containments)
        {
            describe(out, child, indent + "  ");
        }
    }
}

typedef std::function<void()> Use;

// Each way to leave out one element.
template <typename Element>
void withoutEach(std::vector<Element>& elements, const Use& use)
{
    const std::vector<Element> all = elements;
    for (size_t i = 0; i < all.size(); ++i)
    {
        elements = all;
        elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(i));
        use();
    }
    elements = all;
}

// The pointer as null, then each way to leave out one element.
template <typename Element>
void lessOf(std::optional<std::vector<Element>>& elements, const Use& use)
{
    if (!elements)
    {
        return;
    }
    const std::optional<std::vector<Element>> all = elements;
    elements.reset();
    use();
    elements = all;
    withoutEach(*elements, use);
}

// Calls use for every node that has one piece less, with the node in that state, and puts it back.
void smallerNodes(TreeNode& node, const Use& use)
{
    const std::optional<Attribute> key = node.key;
    if (key)
    {
        node.key.reset();
        use();
        node.key = key;
    }
    lessOf(node.attributeMatch, use);
    lessOf(node.structContainments, use);
    if (node.structContainments)
    {
        for (Naive::StructCondition& condition : *node.structContainments)
        {
            withoutEach(condition.members, use);
        }
    }
    lessOf(node.attributeSelection, use);
    lessOf(node.classSelection, use);
    lessOf(node.containments, use);
    if (node.containments)
    {
        for (TreeNode& child : *node.containments)
        {
            smallerNodes(child, use);
        }
    }
}

}  // namespace

std::string describe(const FilterCase& filterCase)
{
    static const char* const ASKS[] = {"", ", ask if it passed", ", ask", ", ask twice"};
    std::ostringstream out;
    out << "seed " << filterCase.seed << "\n";
    const Naive::Model& model = filterCase.model;
    if (model.failingLookup != 0)
    {
        out << "look-up " << model.failingLookup << " of " << model.failingInterface << " fails\n";
    }
    if (model.failingOpen != 0)
    {
        out << "opening " << model.failingOpen << " fails\n";
    }
    out << (model.closingFails ? "every closing fails\n" : "");
    for (const auto& object : model.objects)
    {
        out << "object " << object.first << ":";
        for (const auto& attribute : object.second)
        {
            out << " " << textOf(attribute.second);
        }
        out << "\n";
    }
    for (const auto& known : model.classes)
    {
        out << "class \"" << known.first << "\":";
        for (const auto& attribute : known.second)
        {
            out << " " << attribute.first << (attribute.second ? " (key)" : "");
        }
        out << "\n";
    }
    out << (filterCase.trees ? "trees:\n" : "trees: null\n");
    for (const TreeNode& tree : filterCase.trees.value_or(std::vector<TreeNode>()))
    {
        describe(out, tree, "  ");
    }
    for (const FilterStep& step : filterCase.steps)
    {
        out << (step.match ? "match" : "no match") << ASKS[step.ask] << ": " << textOf(step.change) << "\n";
    }
    return out.str();
}

std::vector<FilterCase> smallerCases(const FilterCase& filterCase)
{
    std::vector<FilterCase> smaller;
    FilterCase work = filterCase;
    const Use use = [&] { smaller.push_back(work); };
    withoutEach(work.steps, use);
    for (FilterStep& step : work.steps)
    {
        lessOf(step.change.attributes, use);
    }
    lessOf(work.trees, use);
    if (work.trees)
    {
        for (TreeNode& tree : *work.trees)
        {
            smallerNodes(tree, use);
        }
    }
    const Naive::Model model = work.model;
    for (const auto& object : model.objects)
    {
        work.model.objects.erase(object.first);
        use();
        work.model = model;
        for (const auto& attribute : object.second)
        {
            work.model.objects[object.first].erase(attribute.first);
            use();
            work.model = model;
        }
    }
    for (const auto& known : model.classes)
    {
        work.model.classes.erase(known.first);
        use();
        work.model = model;
    }
    return smaller;
}

}  // namespace OrvTest
