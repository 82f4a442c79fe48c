// What a subtree filter is judged against, as plain values: attributes, tree nodes, notifications and the model's data.
// The naive evaluation reads these directly; FilterRecords makes the interface's records of them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace OrvTest
{
namespace Naive
{

struct Member;

// One value. The type code of its attribute says what of it counts: the text (9, 11), the members (13), or the eight
// bytes.
struct Value
{
    uint64_t bits = 0;
    std::string text;
    std::vector<Member> members;
};

struct Member
{
    std::string name;
    int32_t type = 0;
    std::vector<Value> values;
};

// Two attributes of notifications with the same identity are one and the same record in memory.
struct Attribute
{
    std::string name;
    int32_t type = 0;
    std::vector<Value> values;
    int identity = 0;
};

struct StructCondition
{
    std::string attributeName;
    std::vector<Attribute> members;
};

// A node of a filter. No value is a null pointer in the record, an empty vector an array that holds just its end.
struct TreeNode
{
    std::string className;
    std::optional<Attribute> key;
    std::optional<std::vector<Attribute>> attributeMatch;
    std::optional<std::vector<std::string>> attributeSelection;
    std::optional<std::vector<std::string>> classSelection;
    std::optional<std::vector<TreeNode>> containments;
    std::optional<std::vector<StructCondition>> structContainments;
};

struct Change
{
    int64_t eventTime = 0;
    std::optional<std::string> dn;
    uint32_t txHandle = 0;
    uint32_t sequenceNumber = 0;
    int32_t type = 0;
    std::optional<std::vector<Attribute>> attributes;
};

// The managed objects, the classes, and what is wrong with the framework that serves them.
struct Model
{
    std::map<std::string, std::map<std::string, Attribute>> objects;           // by DN, then by name
    std::map<std::string, std::vector<std::pair<std::string, bool>>> classes;  // attributes in order: name, is it a key
    std::string failingInterface;                                              // the look-up of this one fails
    unsigned int failingLookup = 0;                                            // the nth time, from 1
    unsigned int failingOpen = 0;                                              // the nth opening of a transaction fails
    bool closingFails = false;
};

}  // namespace Naive
}  // namespace OrvTest
