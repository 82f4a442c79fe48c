#include "RfcSubscriptionFilter.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "DnUtil.h"
#include "NbiNotificationServiceCM.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

namespace
{

const char* const ANY_KEY = "*";

NbiNotificationServiceCM& component()
{
    return Orv::ZelComponent<NbiNotificationServiceCM>::instance();
}

// To be walked up to its null entry; a null array counts as empty.
template <typename Entry>
Entry* const* entriesOf(Entry** array)
{
    static Entry* const none[] = {nullptr};
    return array != nullptr ? array : none;
}

// The texts of a tree come from a subscriber and those of a value from the framework: a null one is no reason to die.
const char* text(const char* given)
{
    return given != nullptr ? given : "";
}

bool sameText(const char* left, const char* right)
{
    return left != nullptr && right != nullptr && std::strcmp(left, right) == 0;
}

const char* firstText(const ZelMoNamedAttributeValueContainer_3& container)
{
    return text(container.values != nullptr ? container.values->str : nullptr);
}

// A count without values behind it counts nothing.
uint32_t valuesIn(const ZelMoAttributeValueContainer_3* container)
{
    return container != nullptr && container->values != nullptr ? container->noOfValues : 0;
}

// The text at next up to one of two characters, to a comma or to the end; next is moved there.
std::string_view takeUntil(char end, char otherEnd, const char*& next)
{
    const char* const begin = next;
    while (*next != '\0' && *next != ',' && *next != end && *next != otherEnd)
    {
        ++next;
    }
    return std::string_view(begin, static_cast<size_t>(next - begin));
}

std::string anyChild(const char* dn, const char* className)
{
    return std::string(dn).append(",").append(className).append("=").append(ANY_KEY);
}

}  // namespace

RfcSubscriptionFilter::RfcSubscriptionFilter(OrvOamSpiNbiNotificationSubTree_1** trees)
{
    NOTIF_TRACE(" >> ");
    createFilters(trees);
    NOTIF_TRACE(" << ");
}

RfcSubscriptionFilter::~RfcSubscriptionFilter() = default;

void RfcSubscriptionFilter::createFilters(SubTree** trees)
{
    if (trees == nullptr)
    {
        NOTIF_TRACE("In RfcSubscriptionFilter::createFilters Filters are empty");
        return;
    }
    for (; *trees != nullptr; ++trees)
    {
        filters.push_back(*trees);
    }
}

bool RfcSubscriptionFilter::match(const OrvOamSpiNbiNotificationValue_1& notification)
{
    NOTIF_TRACE("DN in notification is %s, type of notification %d ", notification.dn, notification.notificationType);
    if (filters.empty())
    {
        return true;
    }
    switch (notification.notificationType)
    {
        case overflowNotification:
        case replayGap:
        case replayComplete:
            return true;
        default:
            break;
    }
    classes.clear();
    keys.clear();
    deleteDns.clear();
    subTreeRoots.clear();
    selectedAttributes.clear();
    createListFromDN(notification.dn);

    bool result = false;
    for (SubTree* tree : filters)
    {
        NOTIF_TRACE("Matching the notification to filter ");
        subTreeRoots.clear();
        bool attributesSelected = false;
        result = matchFilter(tree, notification, 0, attributesSelected);
        if (!attributesSelected)
        {
            selectedAttributes.clear();
        }
        if (notification.notificationType == objectDeleted)
        {
            for (SubTree* root : subTreeRoots)
            {
                buildNotifications(root, notification.dn);
            }
        }
        if (result)
        {
            break;
        }
    }
    return result;
}

// The class of a component ends at its first "." or "=", the key at the second "=". What is missing is empty. A DN has
// no escape, and an empty DN has no component.
void RfcSubscriptionFilter::createListFromDN(const char* dn)
{
    const char* next = dn;
    bool more = *next != '\0';
    while (more)
    {
        classes.push_back(takeUntil('.', '=', next));
        takeUntil('=', '=', next);
        next += *next == '=' ? 1 : 0;
        keys.push_back(takeUntil('=', '=', next));
        takeUntil(',', ',', next);
        more = *next == ',';
        next += more ? 1 : 0;
    }
}

std::string RfcSubscriptionFilter::constructDN(unsigned int depth)
{
    std::string dn;
    for (unsigned int i = 0; i <= depth; ++i)
    {
        if (i != 0)
        {
            dn += ',';
        }
        dn.append(classes[i]).append("=").append(keys[i]);
    }
    return dn;
}

// A child's node is reached through here again; the depth is bounded by the components of the DN.
bool RfcSubscriptionFilter::matchFilter(SubTree* node, const OrvOamSpiNbiNotificationValue_1& notification,
                                        unsigned int depth, bool& attributesSelected)
{
    const unsigned int next = depth + 1;
    NOTIF_TRACE("Depth in className %s is %d", node->className, next);
    if (next > classes.size() || node->className == nullptr || classes[depth] != node->className)
    {
        NOTIF_TRACE("Match failed returning false ");
        return false;
    }
    NOTIF_TRACE("Start checking for matches");
    if (!matchKey(*node, depth))
    {
        return false;
    }
    const bool isLast = next == classes.size();
    if (notification.notificationType == objectDeleted && isLast)
    {
        // The object is gone: nothing else of it can be asked.
        NOTIF_TRACE("Pushing %s in subTreeRoot list", node->className);
        subTreeRoots.push_back(node);
        return true;
    }
    if (!matchConditions(node, depth))
    {
        return false;
    }
    // Null pointers make a leaf; arrays that are empty do not.
    if (node->attributeSelection == nullptr && node->classSelection == nullptr && node->containments == nullptr)
    {
        NOTIF_TRACE(" All the matches passed and there are neither containments nor selections.");
        selectedAttributes.clear();
        return true;
    }

    bool result = false;
    if (node->attributeSelection != nullptr)
    {
        NOTIF_TRACE("Matching AttributeSelection");
        attributesSelected = isLast && notification.attributes != nullptr &&
                             attributeListMatch(node->attributeSelection, notification.attributes);
        result = attributesSelected;
    }
    if (!result && node->classSelection != nullptr)
    {
        NOTIF_TRACE("Matching classSelection");
        result = matchClassSelection(node->classSelection, next);
    }
    if (!result && node->containments != nullptr)
    {
        NOTIF_TRACE("Matching Containments");
        result = matchContainments(node->containments, notification, next, attributesSelected);
    }
    NOTIF_TRACE("matchFilter, returning %d", result);
    return result;
}

bool RfcSubscriptionFilter::matchKey(const SubTree& node, unsigned int depth)
{
    if (node.keyAttribute == nullptr)
    {
        return true;
    }
    const char* const wanted = firstText(*node.keyAttribute);
    NOTIF_TRACE("Matching Key Attribute %s, %s", std::string(keys[depth]).c_str(), wanted);
    if (keys[depth] != wanted)
    {
        NOTIF_TRACE("Key Attribute match failed.");
        return false;
    }
    return true;
}

// The conditions that ask the live model. The object read is the one at this depth, which may be an ancestor of the
// notification's.
bool RfcSubscriptionFilter::matchConditions(SubTree* node, unsigned int depth)
{
    if (*entriesOf(node->attributeMatch) != nullptr)
    {
        const std::string dn = constructDN(depth);
        for (ZelMoNamedAttributeValueContainer_3** entry = node->attributeMatch; *entry != nullptr; ++entry)
        {
            if (!matchAttribute(dn.c_str(), **entry))
            {
                return false;
            }
        }
    }
    if (node->structureContainments != nullptr)
    {
        NOTIF_TRACE("Matching Structure Containments, DN %s", node->className);
        if (!matchStructContainments(node, constructDN(depth).c_str()))
        {
            NOTIF_TRACE("Attribute Match within Structure Containments failed.");
            return false;
        }
        NOTIF_TRACE("Matching Structure Containments pass");
    }
    return true;
}

// One of the attribute's present values has to equal the condition's first one.
bool RfcSubscriptionFilter::matchAttribute(const char* dn, const ZelMoNamedAttributeValueContainer_3& condition)
{
    ZelMoAttributeValueResult_3 result = ZelMoAttributeValueResult_3();
    unsigned long transaction = 0;
    if (getMoAttribute(dn, condition.name, &result, transaction) != OrvOk)
    {
        // The transaction stays open: the framework reclaims it.
        NOTIF_TRACE("Unable to retrieve MO Attributes ");
        return false;
    }
    bool matched = false;
    if (result.value != nullptr && result.value->type != condition.type)
    {
        NOTIF_TRACE("In Attribute match, types mismatch !");
    }
    else
    {
        const uint32_t count = valuesIn(result.value);
        for (uint32_t i = 0; i < count && !matched; ++i)
        {
            matched = compareAttributes(condition.type, condition.values, &result.value->values[i]);
        }
        if (!matched)
        {
            NOTIF_TRACE("Attribute match fails");
        }
    }
    component().endTransaction(transaction);
    return matched;
}

bool RfcSubscriptionFilter::matchStructContainments(SubTree* node, const char* dn)
{
    for (StructContainment** entry = node->structureContainments; *entry != nullptr; ++entry)
    {
        const StructContainment& condition = **entry;
        NOTIF_TRACE("Matching Structure Containments %s %s ", dn, condition.attributeName);
        ZelMoAttributeValueResult_3 result = ZelMoAttributeValueResult_3();
        unsigned long transaction = 0;
        if (getMoAttribute(dn, condition.attributeName, &result, transaction) != OrvOk)
        {
            NOTIF_TRACE("Unable to retrieve MO Attributes ");
            return false;
        }
        ZelMoAttributeValue_3* const first = valuesIn(result.value) != 0 ? result.value->values : nullptr;
        if (!compareStructures(condition.members, first))
        {
            NOTIF_TRACE("Structure %s match fails ", condition.attributeName);
            component().endTransaction(transaction);
            return false;
        }
        if (component().endTransaction(transaction) == OrvOk)
        {
            NOTIF_TRACE("Transaction ended");
        }
    }
    NOTIF_TRACE("Matching Structure Containments. returning %d", true);
    return true;
}

bool RfcSubscriptionFilter::matchClassSelection(char** selection, unsigned int next)
{
    bool matched = false;
    if (next < classes.size())
    {
        for (; *selection != nullptr; ++selection)
        {
            NOTIF_TRACE("Matching %s, %s", std::string(classes[next]).c_str(), *selection);
            matched = matched || classes[next] == *selection;
        }
    }
    return matched;
}

// Every child is tried, so that each can leave its nodes in subTreeRoots. A selection below never reduces: a child that
// passes without having selected takes the flag back, one that has selected does not set it.
bool RfcSubscriptionFilter::matchContainments(SubTree** children, const OrvOamSpiNbiNotificationValue_1& notification,
                                              unsigned int next, bool& attributesSelected)
{
    bool matched = false;
    for (; *children != nullptr; ++children)
    {
        bool selectedBelow = false;
        if (matchFilter(*children, notification, next, selectedBelow))
        {
            matched = true;
            attributesSelected = attributesSelected && selectedBelow;
        }
    }
    return matched;
}

// Adds the selected ones among the attributes to selectedAttributes, each once and in the order of the selection.
bool RfcSubscriptionFilter::attributeListMatch(char** selection, ZelMoNamedAttributeValueContainer_3** attributes)
{
    bool matched = false;
    for (; *selection != nullptr; ++selection)
    {
        NOTIF_TRACE("AttributeSelection: Attributes in subscription %s", *selection);
        for (ZelMoNamedAttributeValueContainer_3** entry = attributes; *entry != nullptr; ++entry)
        {
            const char* const name = (*entry)->name;
            if (!sameText(name, *selection))
            {
                continue;
            }
            NOTIF_TRACE("AttributeSelection: Attributes in notification %s", name);
            matched = true;
            const bool known = std::any_of(selectedAttributes.begin(), selectedAttributes.end(),
                                           [name](const ZelMoNamedAttributeValueContainer_3* selected)
                                           { return sameText(selected->name, name); });
            if (!known)
            {
                selectedAttributes.push_back(*entry);
            }
        }
    }
    return matched;
}

ZelReturnT RfcSubscriptionFilter::getMoAttribute(const char* dn, const char* attributeName,
                                                 ZelMoAttributeValueResult_3* result, unsigned long& transaction)
{
    NOTIF_TRACE("getMoAttribute : Getting value of MO Attribute %s ", attributeName);
    return component().getAttributeValue(dn, attributeName, result, transaction);
}

bool RfcSubscriptionFilter::compareAttributes(ZelOamSpiMoAttributeType_3 type, ZelMoAttributeValue_3* left,
                                              ZelMoAttributeValue_3* right)
{
    NOTIF_TRACE("compareAttributes ");
    if (left == nullptr || right == nullptr)
    {
        return false;
    }
    switch (type)
    {
        case ZelMoAttributeInt8_3:
            return left->i8 == right->i8;
        case ZelMoAttributeInt16_3:
            return left->i16 == right->i16;
        case ZelMoAttributeInt32_3:
            return left->i32 == right->i32;
        case ZelMoAttributeInt64_3:
            return left->i64 == right->i64;
        case ZelMoAttributeUint8_3:
            return left->u8 == right->u8;
        case ZelMoAttributeUint16_3:
            return left->u16 == right->u16;
        case ZelMoAttributeUint32_3:
            return left->u32 == right->u32;
        case ZelMoAttributeUint64_3:
            return left->u64 == right->u64;
        case ZelMoAttributeString_3:
            return sameText(left->str, right->str);
        case ZelMoAttributeBoolean_3:
            return left->boolean == right->boolean;
        case ZelMoAttributeReference_3:
            return sameText(left->ref, right->ref);
        case ZelMoAttributeEnumeration_3:
            return left->enumeration == right->enumeration;
        case ZelMoAttributeDouble_3:
            return left->f64 == right->f64;
        default:
            // Structs and the reserved codes are never compared as one value.
            return false;
    }
}

// Every member of a condition's name has to hold its value. A condition whose member the struct lacks is passed over.
bool RfcSubscriptionFilter::compareStructures(ZelMoNamedAttributeValueContainer_3** members,
                                              ZelMoAttributeValue_3* value)
{
    for (ZelMoNamedAttributeValueContainer_3* const* condition = entriesOf(members); *condition != nullptr; ++condition)
    {
        const ZelMoStructMember_3* member = value != nullptr ? value->structMembers : nullptr;
        for (; member != nullptr; member = member->next)
        {
            NOTIF_TRACE("Matching Structure Containments struct member name %s  ", member->memberName);
            if (sameText(member->memberName, (*condition)->name) && !compareMember(**condition, *member))
            {
                NOTIF_TRACE("returning false ");
                return false;
            }
        }
    }
    NOTIF_TRACE("returning %d ", true);
    return true;
}

// The type is the condition's; the member's own is not looked at.
bool RfcSubscriptionFilter::compareMember(const ZelMoNamedAttributeValueContainer_3& condition,
                                          const ZelMoStructMember_3& member)
{
    const uint32_t count = valuesIn(member.memberValue);
    for (uint32_t i = 0; i < count; ++i)
    {
        if (compareAttributes(condition.type, condition.values, &member.memberValue->values[i]))
        {
            NOTIF_TRACE("Match occured ");
            return true;
        }
    }
    return false;
}

// keyName and keyValue are made once for all children and classes of the node, and each adds to what the earlier ones
// left: the second class of a selection is recorded with the key "**". Subscribers know it that way.
void RfcSubscriptionFilter::buildNotifications(SubTree* node, const char* dn)
{
    NOTIF_TRACE(" buildNotifications ");
    if (node == nullptr)
    {
        return;
    }
    std::string keyName;
    std::string keyValue;
    if ((node->containments == nullptr && node->classSelection == nullptr) || node->attributeSelection != nullptr)
    {
        deleteDns.push_back(dn);
    }
    for (SubTree* const* entry = entriesOf(node->containments); *entry != nullptr; ++entry)
    {
        SubTree* const child = *entry;
        const char* const className = text(child->className);
        NOTIF_TRACE(" buildNotifications , containment %s", className);
        if (child->keyAttribute != nullptr)
        {
            keyName += text(child->keyAttribute->name);
            keyValue += firstText(*child->keyAttribute);
        }
        else
        {
            if (component().getKeyName(anyChild(dn, className).c_str(), keyName) != OrvOk)
            {
                NOTIF_TRACE(" Could not obtain key attribute name for the MO  ");
                return;
            }
            NOTIF_TRACE(" Key obtained is %s ", keyName.c_str());
            keyValue += ANY_KEY;
        }
        std::string childDn;
        Orv::DnUtil::getDn(dn, className, keyName.c_str(), keyValue.c_str(), childDn);
        NOTIF_TRACE("DN %s ", childDn.c_str());
        buildNotifications(child, childDn.c_str());
    }
    for (char* const* className = entriesOf(node->classSelection); *className != nullptr; ++className)
    {
        if (component().getKeyName(anyChild(dn, *className).c_str(), keyName) != OrvOk)
        {
            NOTIF_TRACE("Could not obtain key attribute name for the MO  ");
            return;
        }
        keyValue += ANY_KEY;
        std::string classDn;
        Orv::DnUtil::getDn(dn, *className, keyName.c_str(), keyValue.c_str(), classDn);
        NOTIF_TRACE("DN %s ", classDn.c_str());
        deleteDns.push_back(classDn);
    }
}

}  // namespace OrvNbiNotificationService
