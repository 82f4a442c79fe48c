#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "AttributeValues.h"
#include "ChangeEvent.h"
#include "DataTree.h"
#include "EditOperation.h"
#include "YangModel.h"

namespace OrvElement
{

// Finds what differs between the data before and after an edit, and makes the CM event of it.
//
// Only the instances that are named by a guide are compared: the edit itself, and the changes that validation reports.
// Both are data trees; each of their nodes is looked up by hash in the old and in the new data. A whole subtree is
// compared only where the guide says that all of it may differ (an operation other than merge), still entry by entry.
// Threads:   one.
// Ownership: all trees stay the caller's and must outlive the collector.
class ChangeCollector
{
public:
    ChangeCollector(const YangModel& model, const DataTree& before, const DataTree& after);

    // May be called for several guides; an object is reported once.
    void follow(const DataTree& guide);

    // eventTime: nanoseconds since the Unix epoch.
    std::unique_ptr<ChangeEvent> event(uint32_t txHandle, uint64_t eventTime) const;

private:
    // One object before and after: its first child in each tree, or null where it is missing or has none.
    struct Instance
    {
        const ModelClass* type;
        std::string dn;
        const lyd_node* before;
        const lyd_node* after;
        bool parentCreated;  // the defaults of a container that comes with a new object are no change
    };
    struct Operation
    {
        std::string dn;
        std::vector<std::pair<const ModelAttribute*, AttributeNodes>> attributes;
    };
    typedef std::unordered_map<const ModelAttribute*, AttributeNodes> NodesByAttribute;

    void followSiblings(const lyd_node* guide, const Instance& parent);
    void followObject(const lyd_node* guide, const Instance& parent);
    void compareObject(const lyd_node* before, const lyd_node* after, const Instance& parent);
    void compareContent(const Instance& instance);
    void compareAttributes(const Instance& instance);
    void addCreated(const lyd_node* after, const Instance& parent);
    void addDeleted(const lyd_node* before, const Instance& parent);

    Instance instanceOf(const lyd_node* before, const lyd_node* after, const Instance& parent) const;
    NodesByAttribute attributeNodes(const lyd_node* firstChild) const;

    const YangModel& _model;
    const Instance _root;
    std::set<std::pair<const lyd_node*, const lyd_node*>> _compared;  // attributes of these instances are done
    std::set<const lyd_node*> _reported;                              // created (after) and deleted (before) objects
    std::vector<Operation> _created;
    std::vector<Operation> _changed;
    std::vector<Operation> _deleted;
};

}  // namespace OrvElement
