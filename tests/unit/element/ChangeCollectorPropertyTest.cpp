// A mirror that knows nothing but the events must show the same objects as the data, whatever edits come.
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>

#include "ModelTestSupport.h"

namespace
{

typedef std::map<std::string, std::string> Attributes;
typedef std::map<std::string, Attributes> Objects;  // by DN

bool isPresenceless(const std::string& dn)
{
    const std::string last = dn.substr(dn.rfind(',') + 1);
    return last == "box=1" || last == "settings=1" || last == "deep=1" || last == "dotted_name=1" ||
           last == "cover=1" || last == "orv-augment-two:cover=1" || dn == "ManagedElement=1";
}

std::string sorted(const std::string& values)
{
    std::vector<std::string> parts;
    std::istringstream in(values);
    for (std::string part; std::getline(in, part, '|');)
    {
        parts.push_back(part);
    }
    std::sort(parts.begin(), parts.end());
    std::string out;
    for (const std::string& part : parts)
    {
        out += part + "|";
    }
    return out;
}

// What may differ between mirror and data although nothing is wrong: the order of values that the system orders, the
// default in a container that came with an object, and containers of which nothing is known.
Objects comparable(const Objects& objects)
{
    Objects result;
    for (const auto& [dn, attributes] : objects)
    {
        Attributes kept;
        for (const auto& [name, value] : attributes)
        {
            const bool silentDefault = dn.find(",item=") != std::string::npos && name == "colour" && value == "grey";
            const bool unordered = name == "colours" || name == "dialects";
            if (!silentDefault)
            {
                kept[name] = unordered ? sorted(value) : value;
            }
        }
        if (!kept.empty() || !isPresenceless(dn))
        {
            result[dn] = kept;
        }
    }
    return result;
}

// The objects of a data tree, read plainly.
void collect(const lyd_node* first, const std::string& dn, Objects& objects)
{
    for (const lyd_node* node = first; node; node = node->next)
    {
        std::string name(node->schema->name);
        if (node->schema->nodetype & (LYS_LEAF | LYS_LEAFLIST))
        {
            std::string& value = objects[dn][name];
            value += (value.empty() ? "" : "|") + std::string(lyd_get_value(node));
            continue;
        }
        std::replace(name.begin(), name.end(), '.', '_');
        std::string key = "1";
        if (node->schema->nodetype == LYS_LIST)
        {
            const lyd_node* const second = lyd_child(node)->next;
            key = lyd_get_value(lyd_child(node));
            key += second && lysc_is_key(second->schema) ? ";" + std::string(lyd_get_value(second)) : "";
        }
        const std::string child = dn + "," + name + "=" + key;
        objects[child];
        if (node->schema->nodetype == LYS_CONTAINER && !isPresenceless(child))
        {
            objects[child][name + "Id"] = "1";
        }
        collect(lyd_child(node), child, objects);
    }
}

Objects dump(const OrvElement::ElementData& data)
{
    lyd_node* tree = nullptr;
    const std::string text = data.print(OrvElement::EditFormat::Xml);
    lyd_parse_data_mem(ModelTest::awkwardModel().context(), text.c_str(), LYD_XML, LYD_PARSE_ONLY, 0, &tree);
    EXPECT_EQ(lyd_validate_all(&tree, ModelTest::awkwardModel().context(), LYD_VALIDATE_NO_STATE, nullptr), LY_SUCCESS);
    Objects objects;
    collect(tree, "ManagedElement=1", objects);
    lyd_free_all(tree);
    return objects;
}

class Mirror
{
public:
    explicit Mirror(const Objects& objects) : _objects(objects) {}

    // One line as ModelTest::operations writes it.
    void apply(const std::string& line)
    {
        const std::string kind = line.substr(0, 7);
        const std::size_t brace = line.find(" {");
        const std::string dn = line.substr(8, brace == std::string::npos ? brace : brace - 8);
        const bool known = _objects.count(dn) != 0;
        EXPECT_EQ(known || isPresenceless(dn), kind != "created") << line;
        if (kind == "deleted")
        {
            erase(dn);
            return;
        }
        const std::size_t length = brace == std::string::npos ? 0 : line.size() - brace - 3;
        std::istringstream in(brace == std::string::npos ? "" : line.substr(brace + 2, length));
        for (std::string pair; std::getline(in, pair, ',');)
        {
            pair.erase(0, pair.find_first_not_of(' '));
            const std::size_t equals = pair.find('=');
            const std::size_t reference = pair.compare(equals + 1, 2, "->") == 0 ? 2 : 0;
            set(_objects[dn], pair.substr(0, equals), pair.substr(equals + 1 + reference));
        }
    }

    const Objects& objects() const { return _objects; }

private:
    static void set(Attributes& attributes, const std::string& name, const std::string& value)
    {
        if (value == "none")
        {
            EXPECT_EQ(attributes.erase(name), 1u) << name << " is gone but was not there";
            return;
        }
        const auto old = attributes.find(name);
        EXPECT_TRUE(old == attributes.end() || old->second != value) << name << " did not change";
        attributes[name] = value;
    }

    void erase(const std::string& dn)
    {
        for (auto object = _objects.lower_bound(dn + ","); object != _objects.end();)
        {
            if (object->first.compare(0, dn.size() + 1, dn + ",") != 0)
            {
                break;
            }
            EXPECT_TRUE(isPresenceless(object->first)) << object->first << " was left in " << dn;
            object = _objects.erase(object);
        }
        _objects.erase(dn);
    }

    Objects _objects;
};

// Random edits of the awkward box; many are refused, which is as good a test.
class Generator
{
public:
    explicit Generator(unsigned seed) : _random(seed) {}

    std::string content()
    {
        std::string text;
        for (int i = pick(4) + 1; i > 0; --i)
        {
            text += change();
        }
        return text;
    }

    std::string boxAttributes() { return pick(40) == 0 ? operation() : ""; }

private:
    int pick(int below) { return int(_random() % unsigned(below)); }
    std::string one(const std::vector<std::string>& of) { return of[std::size_t(pick(int(of.size())))]; }

    std::string operation()
    {
        return one({"", "", " nc:operation=\"merge\"", " nc:operation=\"replace\"", " nc:operation=\"create\"",
                    " nc:operation=\"delete\"", " nc:operation=\"remove\"", " nc:operation=\"remove\""});
    }
    std::string leaf(const std::string& name, const std::string& value)
    {
        return "<" + name + operation() + ">" + value + "</" + name + ">";
    }
    std::string number(int below) { return std::to_string(pick(below)); }
    std::string maybe(const std::string& text) { return pick(2) == 0 ? text : ""; }

    std::string item()
    {
        const std::string part =
            "<part" + operation() + "><id>" + number(3) + "</id>" + maybe(leaf("text", one({"s", "t"}))) + "</part>";
        return "<item" + operation() + "><name>" + one({"a", "b", "c"}) + "</name>" + maybe(leaf("value", number(20))) +
               maybe(leaf("weight", number(3))) +
               maybe("<settings" + operation() + ">" + maybe(leaf("colour", one({"grey", "red"}))) +
                     maybe(leaf("size", number(3))) + maybe(part) + "</settings>") +
               maybe("<extra" + operation() + ">" + maybe(leaf("text", "x")) + "</extra>") + "</item>";
    }

    std::string change()
    {
        switch (pick(14))
        {
            case 0:
                return leaf("level", number(12));
            case 1:
                return leaf("limit", std::to_string(8 + pick(12)));
            case 2:
                return leaf("colours", one({"red", "blue", "green"}));
            case 3:
                return leaf("dialects", one({"en", "de", "fr"}));
            case 4:
                return "<order yang:insert=\"" + one({"first", "last"}) + "\">" + one({"x", "y", "z"}) + "</order>";
            case 5:
                return leaf("order", one({"x", "y", "z"}));
            case 6:
                return leaf(one({"udp-port", "tcp-port", "keep-alive"}), std::to_string(60 + pick(3)));
            case 7:
                return "<custom" + operation() + ">" + maybe(leaf("name", one({"n", "m"}))) + "</custom>";
            case 8:
                return "<option" + operation() + ">" + maybe(leaf("mode", one({"plain", "odd"}))) + "</option>";
            case 9:
                return "<settings" + operation() + ">" + maybe(leaf("colour", one({"grey", "red"}))) +
                       maybe("<deep" + operation() + ">" + maybe(leaf("depth", number(3))) + "</deep>") + "</settings>";
            case 10:
                return "<pair" + operation() + "><left>" + one({"l", "m"}) + "</left><right>r</right>" +
                       maybe(leaf("value", number(3))) + "</pair>";
            case 11:
                return "<strict" + operation() + "><name>s</name><required>" + one({"p", "q"}) + "</required>" +
                       maybe(leaf("item", one({"a", "b"}))) + "</strict>";
            default:
                return item();
        }
    }

    std::mt19937 _random;
};

}  // namespace

TEST(ChangeCollectorProperty, TheEventsAloneKeepAMirrorEqualToTheData)
{
    constexpr unsigned SEEDS = 25;
    constexpr int EDITS = 120;
    int accepted = 0;
    int refused = 0;
    for (unsigned seed = 1; seed <= SEEDS && !::testing::Test::HasFailure(); ++seed)
    {
        ModelTest::AwkwardElement element;
        Generator generator(seed);
        Mirror mirror(dump(element.data()));
        for (int i = 0; i < EDITS && !::testing::Test::HasFailure(); ++i)
        {
            const std::string content = generator.content();
            const std::string boxAttributes = generator.boxAttributes();
            SCOPED_TRACE("seed " + std::to_string(seed) + ", edit " + std::to_string(i) + ": <box" + boxAttributes +
                         ">" + content);
            const std::string before = element.print();
            std::vector<std::string> lines;
            const std::string error = ModelTest::errorOf([&] { lines = element.edit(content, boxAttributes); });
            for (const std::string& line : lines)
            {
                mirror.apply(line);
            }
            EXPECT_EQ(comparable(mirror.objects()), comparable(dump(element.data())));
            if (!error.empty())
            {
                EXPECT_EQ(element.print(), before) << error;
            }
            ++(error.empty() ? accepted : refused);
        }
    }
    EXPECT_GT(accepted, int(SEEDS) * EDITS / 5);
    EXPECT_GT(refused, int(SEEDS) * EDITS / 5);
}
