#include "RandomFilterCase.h"

#include <map>

#include "RandomValues.h"

namespace OrvTest
{

namespace
{

using Naive::Attribute;
using Naive::Change;
using Naive::Member;
using Naive::TreeNode;
using Naive::Value;

// A component of a DN, and what is to be read out of it.
struct Component
{
    std::string text;
    std::string className;
    std::string key;
};
typedef std::vector<Component> Path;

// Small alphabets, so that things meet often. The trees look at the path and at the data more often than not.
class Generator : private RandomValues
{
public:
    explicit Generator(unsigned int seed) : RandomValues(seed) { _case.seed = seed; }
    explicit Generator(const std::vector<uint8_t>& choices) : RandomValues(choices) {}

    FilterCase make()
    {
        for (const char* name : {"a", "b", "c"})
        {
            _types[name] = anyType();
        }
        addClasses();
        _path = path();
        std::vector<Path> paths;
        for (unsigned int i = 1 + pick(4); i > 0; --i)
        {
            paths.push_back(variant());
            addObjects(paths.back());
        }
        if (chance(98))
        {
            _case.trees.emplace();
            for (unsigned int i = chance(2) ? 0 : 1 + pick(3); i > 0; --i)
            {
                _case.trees->push_back(tree(0, ""));
            }
        }
        for (const Path& one : paths)
        {
            _case.steps.push_back(step(one));
        }
        if (chance(8))
        {
            _case.model.failingInterface =
                one<std::string>({"ZelOamSpiManagedObject", "ZelOamSpiTransactionMaster", "ZelOamSpiModelRepository"});
            _case.model.failingLookup = 1 + pick(6);
        }
        if (chance(5))
        {
            _case.model.failingOpen = 1 + pick(4);
        }
        _case.model.closingFails = chance(5);
        return _case;
    }

private:
    // The classes and their keys.

    void addClasses()
    {
        for (const char* name : {"", "A", "B", "B.x", "C", "D"})
        {
            if (!chance(90))
            {
                continue;
            }
            std::vector<std::pair<std::string, bool>>& attributes = _case.model.classes[name];
            for (unsigned int i = pick(4); i > 0; --i)
            {
                attributes.emplace_back(one<std::string>({"a", "b", "c"}), false);
            }
            if (chance(93))
            {
                attributes.insert(attributes.begin() + pick(static_cast<unsigned int>(attributes.size()) + 1),
                                  {std::string(name) + "Id", true});
            }
            if (chance(10))
            {
                attributes.emplace_back("otherId", true);
            }
        }
    }

    // DNs.

    std::string className()
    {
        return chance(3) ? one<std::string>({"B.x", ""}) : one<std::string>({"A", "B", "C", "D"});
    }
    std::string key() { return one<std::string>({"1", "1", "1", "2", "*", "12"}); }

    Component component()
    {
        const std::string name = one<std::string>({"A", "B", "C", "D"});
        const std::string value = key();
        if (!chance(7))
        {
            return {name + "=" + value, name, value};
        }
        switch (pick(10))
        {
            case 0:
                return {name, name, ""};
            case 1:
                return {"", "", ""};
            case 2:
                return {"=" + value, "", value};
            case 3:
                return {name + "=", name, ""};
            case 4:
                return {name + "=" + value + "=2", name, value};
            case 5:
                return {name + "==2", name, ""};
            case 6:
                return {"." + name + "=" + value, "", value};
            case 7:
                return {name + ".y.z=" + value, name, value};
            case 8:
                return {name + ".x=" + value + ".3", name, value + ".3"};
            default:
                return {" " + name + "= " + value, " " + name, " " + value};
        }
    }

    Path path()
    {
        Path components;
        for (unsigned int i = one<unsigned int>({1, 1, 1, 2, 2, 2, 3, 3, 4, 5}); i > 0; --i)
        {
            components.push_back(component());
        }
        return components;
    }

    // The path, or one beside it.
    Path variant()
    {
        Path other = _path;
        switch (pick(12))
        {
            case 0:
                return path();
            case 1:
            case 2:
                other.push_back(component());
                return other;
            case 3:
                other.pop_back();
                return other.empty() && !chance(10) ? _path : other;
            case 4:
                other[pick(static_cast<unsigned int>(other.size()))] = component();
                return other;
            default:
                return other;
        }
    }

    static std::string dnOf(const Path& components)
    {
        std::string dn;
        for (size_t i = 0; i < components.size(); ++i)
        {
            dn += (i == 0 ? "" : ",") + components[i].text;
        }
        return dn;
    }

    // The data: an object at every level of the path, with most attributes.

    void addObjects(const Path& components)
    {
        std::string dn;
        for (const Component& each : components)
        {
            dn += (&each == &components.front() ? "" : ",") + each.className + "=" + each.key;
            if (_case.model.objects.count(dn) != 0 || chance(4))
            {
                continue;
            }
            std::map<std::string, Attribute>& object = _case.model.objects[dn];
            for (const auto& type : _types)
            {
                const int32_t present = chance(93) ? type.second : anyType();
                if (chance(92))
                {
                    object[type.first] = {type.first, present, values(present), 0};
                }
            }
            for (const char* name : {"s", "t"})
            {
                if (chance(4))
                {
                    // Not a struct, but it points to no members either.
                    object[name] = {name, 4, chance(50) ? std::vector<Value>() : std::vector<Value>(1), 0};
                }
                else if (chance(92))
                {
                    object[name] = {name, STRUCT_TYPE, values(STRUCT_TYPE), 0};
                }
            }
        }
    }

    // Trees.

    TreeNode tree(size_t depth, const std::string& above)
    {
        TreeNode node;
        const bool onPath = depth < _path.size() && chance(88);
        node.className = onPath ? _path[depth].className : className();
        const std::string wanted = onPath ? _path[depth].key : key();
        const std::string dn = above + (depth == 0 ? "" : ",") + node.className + "=" + wanted;
        if (chance(40))
        {
            const int32_t type = 9;
            node.key = Attribute{one<std::string>({"id", "aId"}), type, values(type, 1), 0};
            node.key->values.front().text = chance(85) ? wanted : key();
        }
        if (chance(35))
        {
            node.attributeMatch.emplace();
            for (unsigned int i = one<unsigned int>({0, 1, 1, 1, 1, 2}); i > 0; --i)
            {
                node.attributeMatch->push_back(condition(dn));
            }
        }
        if (chance(25))
        {
            node.structContainments.emplace();
            for (unsigned int i = one<unsigned int>({0, 1, 1, 1, 2}); i > 0; --i)
            {
                node.structContainments->push_back(structCondition(dn));
            }
        }
        if (chance(_path.size() == 1 ? 70 : 30))
        {
            node.attributeSelection.emplace();
            for (unsigned int i = one<unsigned int>({0, 1, 2, 2, 3, 4}); i > 0; --i)
            {
                node.attributeSelection->push_back(one<std::string>({"a", "b", "c", "x"}));
            }
        }
        if (chance(28))
        {
            node.classSelection.emplace();
            for (unsigned int i = one<unsigned int>({0, 1, 1, 2, 2, 3}); i > 0; --i)
            {
                node.classSelection->push_back(depth + 1 < _path.size() && chance(40) ? _path[depth + 1].className
                                                                                      : className());
            }
        }
        if (chance(60))
        {
            node.containments.emplace();
            for (unsigned int i = depth == 3 ? 0 : one<unsigned int>({0, 1, 1, 2, 2, 3}); i > 0; --i)
            {
                node.containments->push_back(tree(depth + 1, dn));
            }
        }
        return node;
    }

    // A content condition, more often than not one that holds.
    Attribute condition(const std::string& dn)
    {
        const std::string name = chance(4) ? "x" : one<std::string>({"a", "b", "c"});
        const auto object = _case.model.objects.find(dn);
        if (object != _case.model.objects.end() && object->second.count(name) != 0 && chance(75))
        {
            const Attribute& present = object->second.at(name);
            if (!present.values.empty() && present.type != STRUCT_TYPE)
            {
                return {name, present.type, like(present.type, present.values), 0};
            }
        }
        const int32_t type = _types.count(name) != 0 && chance(70) ? _types[name] : anyType();
        return {name, type, values(type, 1), 0};
    }

    Naive::StructCondition structCondition(const std::string& dn)
    {
        Naive::StructCondition made{one<std::string>({"s", "t"}), {}};
        const auto object = _case.model.objects.find(dn);
        const bool known = object != _case.model.objects.end() && object->second.count(made.attributeName) != 0 &&
                           !object->second.at(made.attributeName).values.empty();
        for (unsigned int i = one<unsigned int>({0, 1, 1, 1, 2, 2}); i > 0; --i)
        {
            const std::vector<Member> present =
                known ? one(object->second.at(made.attributeName).values).members : std::vector<Member>();
            const Member* member =
                present.empty() ? nullptr : &present[pick(static_cast<unsigned int>(present.size()))];
            if (member != nullptr && member->type != STRUCT_TYPE && !member->values.empty() && chance(75))
            {
                made.members.push_back({member->name, member->type, like(member->type, member->values), 0});
                continue;
            }
            const std::string name = one<std::string>({"m", "n", "o", "p", "x"});
            const int32_t type = chance(8) ? one<int32_t>({13, 14, 15, 17, 0}) : one(conditionTypes(name));
            made.members.push_back({chance(95) ? name : "s", type, values(type, 1), 0});
            if (made.members.back().name == "s")
            {
                made.members.back().type = one<int32_t>({13, 14, 15});
                made.members.back().values.assign(1, Value());
            }
        }
        return made;
    }

    // Notifications.

    FilterStep step(const Path& components)
    {
        FilterStep made;
        Change& change = made.change;
        change.eventTime = static_cast<int64_t>(pick(1000)) - 100;
        change.txHandle = pick(100);
        change.sequenceNumber = pick(100);
        made.ask = one<FilterStep::Ask>({FilterStep::whenPassed, FilterStep::whenPassed, FilterStep::whenPassed,
                                         FilterStep::whenPassed, FilterStep::always, FilterStep::twice,
                                         FilterStep::never, FilterStep::never});
        if (components.size() == 1 && chance(20))
        {
            made.ask = FilterStep::never;  // a selection may be left behind
        }
        const bool afterReplay = !_case.steps.empty() && _case.steps.back().ask == FilterStep::never;
        if (!_case.steps.empty() && chance(afterReplay ? 40 : 18))
        {
            control(made);
            return made;
        }
        change.type = chance(3) ? one<int32_t>({0, 4, 5, 6, 7, 8, 9, 10}) : one<int32_t>({1, 1, 2, 2, 2, 3, 3});
        change.dn = dnOf(components);
        if (chance(88))
        {
            change.attributes = attributes();
        }
        if (!_case.steps.empty() && chance(afterReplay ? 50 : 6))
        {
            // Asked about a record that was not matched, which may have something of the last one.
            made.match = false;
            made.ask = FilterStep::always;
            change.attributes = someOf(_case.steps.back().change.attributes);
        }
        return made;
    }

    // What a subscription offers to nobody but the two derived calls, and what a filter lets through unread.
    void control(FilterStep& made)
    {
        made.match = chance(20);
        made.change.type = made.match ? one<int32_t>({4, 5, 6}) : one<int32_t>({4, 5, 6, 7, 8, 9});
        if (chance(30))
        {
            made.change.attributes.emplace();
        }
        if (!made.match)
        {
            made.ask = chance(80) ? FilterStep::always : FilterStep::twice;
        }
    }

    std::optional<std::vector<Attribute>> someOf(std::optional<std::vector<Attribute>> attributes)
    {
        if (attributes && !attributes->empty() && chance(70))
        {
            attributes->erase(attributes->begin() + pick(static_cast<unsigned int>(attributes->size())));
        }
        return attributes;
    }

    std::vector<Attribute> attributes()
    {
        std::vector<Attribute> made;
        for (unsigned int i = one<unsigned int>({0, 1, 1, 2, 2, 3, 4}); i > 0; --i)
        {
            if (!_known.empty() && chance(20))
            {
                made.push_back(one(_known));  // the very record that an earlier notification carries
                continue;
            }
            const int32_t type = one<int32_t>({1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 10, 11, 12, 13, 16});
            made.push_back({one<std::string>({"a", "b", "c", "x"}), type, values(type), ++_identity});
        }
        _known.insert(_known.end(), made.begin(), made.end());
        return made;
    }

    FilterCase _case;
    Path _path;
    std::map<std::string, int32_t> _types;  // that an attribute most often has
    std::vector<Attribute> _known;
    int _identity = 0;
};

}  // namespace

FilterCase randomFilterCase(unsigned int seed)
{
    return Generator(seed).make();
}

FilterCase randomFilterCase(const std::vector<uint8_t>& choices)
{
    return Generator(choices).make();
}

}  // namespace OrvTest
