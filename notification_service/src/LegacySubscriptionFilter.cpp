#include "LegacySubscriptionFilter.h"

#include <cstring>

#include "OrvException.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

namespace
{
const int EXTENDED_SYNTAX = REG_EXTENDED;
static_assert(REG_EXTENDED == 1, "the expressions are POSIX extended");
}  // namespace

// The type comes last: the expression is compiled and reported even if the name is refused.
LegacySubscriptionFilter::Filter::Filter(OrvNameValuePair* pair)
try : _filterType(), _regularExpression(pair->value, EXTENDED_SYNTAX), _expression(pair->value)
{
    NOTIF_TRACE(" >> ");
    if (!_regularExpression.isExpressionValid())
    {
        NOTIF_ERROR("Non valid filter expression :%s", pair->value);
    }
    _filterType = filterNameToFilterType(pair->name);
    NOTIF_TRACE(" << ");
}
catch (const Orv::OrvException& e)
{
    NOTIF_ERROR("Throwing: %s", e.what());
    throw;
}
catch (...)
{
    NOTIF_ERROR("unknown throw");
    throw;
}

LegacySubscriptionFilter::Filter::Filter(const Filter& other)
    : _filterType(other._filterType),
      _regularExpression(other._expression, EXTENDED_SYNTAX),
      _expression(other._expression)
{
    if (!_regularExpression.isExpressionValid())
    {
        NOTIF_ERROR("Non valid filter expression");
    }
}

bool LegacySubscriptionFilter::Filter::match(const OrvOamSpiNbiNotificationValue_1& notification)
{
    NOTIF_TRACE(" >> ");
    if (notification.notificationType != _filterType)
    {
        NOTIF_TRACE(" << ");
        return false;
    }
    const char* const dn = notification.dn != nullptr ? notification.dn : "";
    const size_t length = std::strlen(dn);
    bool matched = re_match(dn, length);
    if (matched)
    {
        NOTIF_TRACE("Matched with: %s", dn);
    }
    else
    {
        const bool named = notification.notificationType == attributeChanged && notification.attributes != nullptr &&
                           notification.attributes[0] != nullptr;
        matched = matchWithAttribute(dn, length, named ? notification.attributes[0]->name : "");
    }
    NOTIF_TRACE(" << ");
    return matched;
}

// Nearly all subjects find room on the stack, so that a refused offer allocates nothing.
bool LegacySubscriptionFilter::Filter::matchWithAttribute(const char* dn, size_t dnLength, const char* attributeName)
{
    const size_t nameLength = std::strlen(attributeName);
    const size_t length = dnLength + 1 + nameLength;
    char space[512];
    std::string moreSpace;
    char* candidate = space;
    if (length >= sizeof(space))
    {
        moreSpace.resize(length);
        candidate = &moreSpace[0];
    }
    std::memcpy(candidate, dn, dnLength);
    candidate[dnLength] = ',';
    std::memcpy(candidate + dnLength + 1, attributeName, nameLength + 1);
    const bool matched = re_match(candidate, length);
    if (matched)
    {
        NOTIF_TRACE("Matched with: %s", candidate);
    }
    return matched;
}

bool LegacySubscriptionFilter::Filter::re_match(std::string& dn)
{
    return re_match(dn.c_str(), dn.length());
}

bool LegacySubscriptionFilter::Filter::re_match(const char* dn, size_t length)
{
    NOTIF_TRACE(" >> Match DN: %s", dn);
    regmatch_t m;
    const bool matched =
        length <= UINT16_MAX && _regularExpression.match(dn, 1, &m, 0) != 0 && static_cast<uint16_t>(m.rm_eo) == length;
    if (matched)
    {
        NOTIF_TRACE("RegExp Matched");
    }
    NOTIF_TRACE(" << ");
    return matched;
}

LegacySubscriptionFilter::Filter::FilterType LegacySubscriptionFilter::Filter::filterNameToFilterType(std::string name)
{
    if (name == "objectCreated")
    {
        return FilterObjectCreated;
    }
    if (name == "objectDeleted")
    {
        return FilterObjectDeleted;
    }
    if (name == "attributeChanged")
    {
        return FilterAttributeChanged;
    }
    throw Orv::OrvException("Could not interpret filter name %s", name.c_str());
}

LegacySubscriptionFilter::LegacySubscriptionFilter(OrvNameValuePair** filters)
{
    NOTIF_TRACE(" >> ");
    try
    {
        createFilters(filters);
    }
    catch (const Orv::OrvException& e)
    {
        NOTIF_ERROR("Throwing: %s", e.what());
        throw;
    }
    NOTIF_TRACE(" << ");
}

LegacySubscriptionFilter::~LegacySubscriptionFilter() = default;

void LegacySubscriptionFilter::createFilters(OrvNameValuePair** filters)
{
    NOTIF_TRACE(" >> ");
    try
    {
        for (; filters != nullptr && *filters != nullptr; ++filters)
        {
            // Copied on purpose: an invalid expression is reported in both of its wordings.
            const Filter filter(*filters);
            _filters.push_back(filter);
        }
    }
    catch (const Orv::OrvException& e)
    {
        NOTIF_ERROR("Throwing: %s", e.what());
        throw;
    }
    NOTIF_TRACE(" << ");
}

bool LegacySubscriptionFilter::match(const OrvOamSpiNbiNotificationValue_1& notification)
{
    NOTIF_TRACE("Matching Legacy Filter with notification received");
    if (_filters.empty())
    {
        return true;
    }
    switch (notification.notificationType)
    {
        case overflowNotification:
        case replayGap:
        case replayComplete:
        case discardedOld:
            return true;
        default:
            break;
    }
    for (Filter& filter : _filters)
    {
        if (filter.match(notification))
        {
            return true;
        }
    }
    return false;
}

void LegacySubscriptionFilter::getSubtreeDeleteNotifications(
    const OrvOamSpiNbiNotificationValue_1&, std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications)
{
    notifications.clear();
}

bool LegacySubscriptionFilter::getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1&,
                                                         OrvOamSpiNbiNotificationValue_1*)
{
    return false;
}

}  // namespace OrvNbiNotificationService
