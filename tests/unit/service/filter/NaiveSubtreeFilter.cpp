#include "NaiveSubtreeFilter.h"

#include <algorithm>
#include <cstring>

namespace OrvTest
{
namespace Naive
{

namespace
{

const int32_t DELETED = 2;

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    if (text.empty())
    {
        return parts;
    }
    parts.emplace_back();
    for (const char c : text)
    {
        if (c == separator)
        {
            parts.emplace_back();
        }
        else
        {
            parts.back() += c;
        }
    }
    return parts;
}

std::string partOr(const std::vector<std::string>& parts, size_t index)
{
    return index < parts.size() ? parts[index] : "";
}

double asDouble(uint64_t bits)
{
    double number = 0;
    static_assert(sizeof(number) == sizeof(bits), "a double has eight bytes");
    std::memcpy(&number, &bits, sizeof(number));
    return number;
}

// How many of the eight bytes count, 0 for a type that is not compared as a whole number.
int widthOf(int32_t type)
{
    switch (type)
    {
        case 1:
        case 5:
        case 10:
            return 1;
        case 2:
        case 6:
            return 2;
        case 3:
        case 7:
            return 4;
        case 4:
        case 8:
        case 12:
            return 8;
        default:
            return 0;
    }
}

// The first attribute of each name that is selected, in the order of the selection, each name once.
std::vector<Attribute> select(const std::vector<std::string>& names, const std::vector<Attribute>& attributes)
{
    std::vector<Attribute> selected;
    for (size_t i = 0; i < names.size(); ++i)
    {
        const bool again = std::find(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(i), names[i]) !=
                           names.begin() + static_cast<std::ptrdiff_t>(i);
        const auto found = std::find_if(attributes.begin(), attributes.end(),
                                        [&](const Attribute& attribute) { return attribute.name == names[i]; });
        if (!again && found != attributes.end())
        {
            selected.push_back(*found);
        }
    }
    return selected;
}

// A condition holds for a member of its name if any of the member's values is the condition's.
bool holdsFor(const Attribute& condition, const Member& member)
{
    return std::any_of(member.values.begin(), member.values.end(),
                       [&](const Value& value)
                       { return equalValues(condition.type, condition.values.front(), value); });
}

bool membersHold(const std::vector<Attribute>& conditions, const std::vector<Member>& members)
{
    for (const Attribute& condition : conditions)
    {
        for (const Member& member : members)
        {
            if (member.name == condition.name && !holdsFor(condition, member))
            {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

bool equalValues(int32_t type, const Value& left, const Value& right)
{
    if (type == 9 || type == 11)
    {
        return left.text == right.text;
    }
    if (type == 16)
    {
        return asDouble(left.bits) == asDouble(right.bits);
    }
    const int width = widthOf(type);
    if (width == 0)
    {
        return false;
    }
    const uint64_t counts = width == 8 ? ~uint64_t(0) : (uint64_t(1) << (8 * width)) - 1;
    return (left.bits & counts) == (right.bits & counts);
}

SubtreeFilter::SubtreeFilter(const Model& model, const std::optional<std::vector<TreeNode>>& trees) : _model(model)
{
    if (trees)
    {
        for (const TreeNode& tree : *trees)
        {
            _trees.push_back(&tree);
        }
    }
}

bool SubtreeFilter::match(const Change& change)
{
    if (_trees.empty() || change.type == 4 || change.type == 5 || change.type == 6)
    {
        return true;  // and what the last evaluation left stays
    }
    _path.clear();
    _derived.clear();
    _rootClasses.clear();
    _selected.clear();
    for (const std::string& component : split(*change.dn, ','))
    {
        const std::vector<std::string> sides = split(component, '=');
        _path.emplace_back(partOr(split(partOr(sides, 0), '.'), 0), partOr(sides, 1));
    }

    for (const TreeNode* tree : _trees)
    {
        _roots.clear();
        const bool passed = passes(*tree, 0, change);
        if (change.type == DELETED)
        {
            for (const TreeNode* root : _roots)
            {
                derive(*root, *change.dn);
            }
        }
        _rootClasses.clear();
        for (const TreeNode* root : _roots)
        {
            _rootClasses.push_back(root->className);
        }
        if (passed)
        {
            // Only the top node reduces, so only an object of one component can be reduced.
            if (tree->attributeSelection && change.attributes && change.type != DELETED && _path.size() == 1)
            {
                _selected = select(*tree->attributeSelection, *change.attributes);
            }
            return true;
        }
    }
    return false;
}

bool SubtreeFilter::passes(const TreeNode& node, size_t depth, const Change& change)
{
    if (depth >= _path.size() || node.className != _path[depth].first)
    {
        return false;
    }
    if (node.key && node.key->values.front().text != _path[depth].second)
    {
        return false;
    }
    const bool last = depth + 1 == _path.size();
    if (change.type == DELETED && last)
    {
        _roots.push_back(&node);
        return true;
    }
    if (!contentHolds(node, depth) || !structsHold(node, depth))
    {
        return false;
    }
    const bool leaf = !node.attributeSelection && !node.classSelection && !node.containments;
    const bool selectsAttribute = node.attributeSelection && last && change.attributes &&
                                  !select(*node.attributeSelection, *change.attributes).empty();
    const bool selectsClass =
        node.classSelection && !last &&
        std::count(node.classSelection->begin(), node.classSelection->end(), _path[depth + 1].first) != 0;
    if (leaf || selectsAttribute || selectsClass)
    {
        return true;
    }
    bool passed = false;
    if (node.containments)
    {
        for (const TreeNode& child : *node.containments)
        {
            const bool childPassed = passes(child, depth + 1, change);
            passed = passed || childPassed;
        }
    }
    return passed;
}

bool SubtreeFilter::contentHolds(const TreeNode& node, size_t depth)
{
    if (!node.attributeMatch)
    {
        return true;
    }
    for (const Attribute& condition : *node.attributeMatch)
    {
        const std::optional<Attribute> present = read(dnOf(depth), condition.name);
        if (!present)
        {
            return false;
        }
        bool equal = false;
        if (present->type == condition.type)
        {
            for (const Value& value : present->values)
            {
                equal = equal || equalValues(condition.type, condition.values.front(), value);
            }
        }
        endRead();
        if (!equal)
        {
            return false;
        }
    }
    return true;
}

bool SubtreeFilter::structsHold(const TreeNode& node, size_t depth)
{
    if (!node.structContainments)
    {
        return true;
    }
    for (const StructCondition& condition : *node.structContainments)
    {
        const std::optional<Attribute> present = read(dnOf(depth), condition.attributeName);
        if (!present)
        {
            return false;
        }
        const std::vector<Member> members =
            present->values.empty() ? std::vector<Member>() : present->values.front().members;
        endRead();
        if (!membersHold(condition.members, members))
        {
            return false;
        }
    }
    return true;
}

void SubtreeFilter::derive(const TreeNode& node, const std::string& dn)
{
    if (node.attributeSelection || (!node.containments && !node.classSelection))
    {
        _derived.push_back(dn);
    }

    // Both go on growing over all that stands below this node; only the model's answer starts the name anew.
    std::string name;
    std::string value;
    if (node.containments)
    {
        for (const TreeNode& child : *node.containments)
        {
            if (child.key)
            {
                name += child.key->name;
                value += child.key->values.front().text;
            }
            else
            {
                const std::optional<std::string> found = keyName(dn, child.className);
                if (!found)
                {
                    return;
                }
                name = *found;
                value += "*";
            }
            derive(child, childDn(dn, child.className, name, value));
        }
    }
    if (node.classSelection)
    {
        for (const std::string& className : *node.classSelection)
        {
            const std::optional<std::string> found = keyName(dn, className);
            if (!found)
            {
                return;
            }
            name = *found;
            value += "*";
            _derived.push_back(childDn(dn, className, name, value));
        }
    }
}

std::optional<std::vector<Attribute>> SubtreeFilter::takeReduced(const Change& change)
{
    const std::vector<Attribute> selected = std::move(_selected);
    _selected.clear();
    if (selected.empty())
    {
        return std::nullopt;
    }
    for (const Attribute& attribute : selected)
    {
        if (!change.attributes ||
            std::none_of(change.attributes->begin(), change.attributes->end(),
                         [&](const Attribute& own) { return own.identity == attribute.identity; }))
        {
            return std::nullopt;
        }
    }
    return selected;
}

std::string SubtreeFilter::dnOf(size_t depth) const
{
    std::string dn = _path[0].first + "=" + _path[0].second;
    for (size_t i = 1; i <= depth; ++i)
    {
        dn += "," + _path[i].first + "=" + _path[i].second;
    }
    return dn;
}

bool SubtreeFilter::lookUp(const std::string& interfaceName)
{
    return interfaceName != _model.failingInterface || ++_failingLookups != _model.failingLookup;
}

std::optional<Attribute> SubtreeFilter::read(const std::string& dn, const std::string& attributeName)
{
    if (!lookUp("ZelOamSpiManagedObject") || !lookUp("ZelOamSpiTransactionMaster"))
    {
        return std::nullopt;
    }
    _calls.push_back("openTransaction(1, 3600)");
    if (++_openings == _model.failingOpen)
    {
        return std::nullopt;
    }
    ++_opened;
    _calls.push_back("getMoAttribute(T" + std::to_string(_opened) + ", " + dn + ", " + attributeName + ")");
    const auto object = _model.objects.find(dn);
    if (object == _model.objects.end() || object->second.count(attributeName) == 0)
    {
        return std::nullopt;  // the transaction stays open
    }
    return object->second.at(attributeName);
}

// Ends the transaction of the last read.
void SubtreeFilter::endRead()
{
    if (lookUp("ZelOamSpiManagedObject") && lookUp("ZelOamSpiTransactionMaster"))
    {
        _calls.push_back("closeTransaction(T" + std::to_string(_opened) + ")");
        _closed += _model.closingFails ? 0 : 1;
    }
}

std::optional<std::string> SubtreeFilter::keyName(const std::string& parentDn, const std::string& className)
{
    if (!lookUp("ZelOamSpiModelRepository"))
    {
        return std::nullopt;
    }
    _calls.push_back("getMocFromDn(" + parentDn + "," + className + "=*, 0)");
    const auto known = _model.classes.find(className);
    if (known == _model.classes.end())
    {
        return std::nullopt;
    }
    _calls.push_back("getFirstAttribute(" + className + ")");
    for (const auto& attribute : known->second)
    {
        const std::string place = className + "." + attribute.first;
        _calls.push_back("getAttributeFlag(" + place + ", 0)");
        if (attribute.second)
        {
            _calls.push_back("getGeneralProperties(" + place + ")");
            _calls.push_back("getPropertyText(" + place + ", 0)");
            return attribute.first;
        }
        _calls.push_back("getNextAttribute(" + place + ")");
    }
    return std::nullopt;
}

std::string SubtreeFilter::childDn(const std::string& parentDn, const std::string& className,
                                   const std::string& keyName, const std::string& keyValue)
{
    _dnCalls.push_back(parentDn + " " + className + " " + keyName + " " + keyValue);
    return parentDn + "," + className + "=" + keyValue;
}

}  // namespace Naive
}  // namespace OrvTest
