#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "SubscriptionFilter.h"

namespace OrvNbiNotificationService
{

// Subtree filters after RFC 6241: a notification passes if the object that its DN names lies on a path that one of the
// trees describes. A tree is walked along the one path that the DN spells out, the root component first; the live model
// is read only where a node on that path carries a condition.
//
// Three answers of match are kept for the calls that follow it for the same notification: the DNs that stand in for a
// deleted subtree, the attributes that a selection has chosen, and, between the two, the nodes that a deleted object
// has reached.
// Threads:   no lock of its own; see "What a filter keeps" in docs/threads-and-locks.md for who keeps the calls apart.
// Ownership: the trees are the subscriber's, never copied, and must outlive the filter. Selected attributes point into
//            the notification that was matched. So do the classes and keys, which match alone reads.
// Failure:   a node whose attribute cannot be read does not match. std::bad_alloc leaves a call, and from
//            getAttrSelectNotification an Orv::OrvException for an attribute that cannot be copied; the record then
//            holds what was copied before and can be freed.
class RfcSubscriptionFilter : public SubscriptionFilter
{
public:
    // filters: a null-terminated array of trees; null counts as empty. An empty list accepts everything.
    explicit RfcSubscriptionFilter(OrvOamSpiNbiNotificationSubTree_1** filters);
    ~RfcSubscriptionFilter() override;

    // notification.dn is required for every type but the control records that pass unmatched (4, 5 and 6).
    bool match(const OrvOamSpiNbiNotificationValue_1& notification) override;

    void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1& notification,
                                       std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications) override;

    // Answers once per match, and only for the very record that was matched: a selection that points into any other
    // record is dropped unread.
    bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1& notification,
                                   OrvOamSpiNbiNotificationValue_1* selected) override;

    RfcSubscriptionFilter(const RfcSubscriptionFilter&) = delete;
    RfcSubscriptionFilter& operator=(const RfcSubscriptionFilter&) = delete;

private:
    typedef OrvOamSpiNbiNotificationSubTree_1 SubTree;

    void createFilters(SubTree** trees);

    // The DN of a notification, taken apart and put together again.
    void createListFromDN(const char* dn);
    std::string constructDN(unsigned int depth);

    // One node against the component number depth, and its children against the next ones.
    bool matchFilter(SubTree* node, const OrvOamSpiNbiNotificationValue_1& notification, unsigned int depth,
                     bool& attributesSelected);
    bool matchKey(const SubTree& node, unsigned int depth);
    bool matchConditions(SubTree* node, unsigned int depth);
    bool matchAttribute(const char* dn, const ZelMoNamedAttributeValueContainer_3& condition);
    bool matchStructContainments(SubTree* node, const char* dn);
    bool matchClassSelection(char** selection, unsigned int next);
    bool matchContainments(SubTree** children, const OrvOamSpiNbiNotificationValue_1& notification, unsigned int next,
                           bool& attributesSelected);

    // Attributes and their values.
    bool attributeListMatch(char** selection, ZelMoNamedAttributeValueContainer_3** attributes);
    ZelReturnT getMoAttribute(const char* dn, const char* attributeName, ZelMoAttributeValueResult_3* result,
                              unsigned long& transaction);
    bool compareAttributes(ZelOamSpiMoAttributeType_3 type, ZelMoAttributeValue_3* left, ZelMoAttributeValue_3* right);
    bool compareStructures(ZelMoNamedAttributeValueContainer_3** members, ZelMoAttributeValue_3* value);
    bool compareMember(const ZelMoNamedAttributeValueContainer_3& condition, const ZelMoStructMember_3& member);

    // Adds to deleteDns what stands in for the object dn, which has reached the node.
    void buildNotifications(SubTree* node, const char* dn);
    bool ownsSelection(const OrvOamSpiNbiNotificationValue_1& notification) const;

    // All but the trees is the last match's.
    std::vector<std::string> deleteDns;
    std::list<SubTree*> filters;
    std::vector<std::string_view> classes;  // of each component of the DN, in the notification's own text
    std::vector<std::string_view> keys;     // likewise
    std::list<ZelMoNamedAttributeValueContainer_3*> selectedAttributes;
    std::list<SubTree*> subTreeRoots;  // nodes that the last component of a deleted object's DN has reached
};

}  // namespace OrvNbiNotificationService
