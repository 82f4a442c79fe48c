#pragma once

#include <list>
#include <string>

#include "RegularExpression.h"
#include "SubscriptionFilter.h"

namespace OrvNbiNotificationService
{

// A list of name and value pairs: the name selects a kind of change, the value is a regular expression over the DN or
// over "dn,attributeName". One matching pair is enough, and an empty list accepts everything.
// Threads:   match has no mutable state and may run anywhere.
// Ownership: the given array is read during construction only.
// Failure:   an unknown name throws Orv::OrvException; an invalid expression is logged and matches nothing.
class LegacySubscriptionFilter : public SubscriptionFilter
{
public:
    class Filter
    {
    public:
        enum FilterType : int32_t
        {
            FilterObjectCreated = objectCreated,
            FilterObjectDeleted = objectDeleted,
            FilterAttributeChanged = attributeChanged
        };

        explicit Filter(OrvNameValuePair* pair);
        // Compiles the expression anew, and so reports an invalid one again.
        Filter(const Filter& other);
        Filter& operator=(const Filter&) = delete;

        bool match(const OrvOamSpiNbiNotificationValue_1& notification);

        // True if the expression matches and its match reaches the very end of the subject. A subject of more than
        // 65535 characters never passes: the end is compared in 16 bits.
        bool re_match(std::string& dn);

        static FilterType filterNameToFilterType(std::string name);

    private:
        // Lengths are those of the texts at dn up to the NUL.
        bool matchWithAttribute(const char* dn, size_t dnLength, const char* attributeName);
        bool re_match(const char* dn, size_t length);

        FilterType _filterType;
        Orv::RegularExpression _regularExpression;
        std::string _expression;
    };

    // filters: a null-terminated array of pairs; null counts as empty.
    explicit LegacySubscriptionFilter(OrvNameValuePair** filters);
    ~LegacySubscriptionFilter() override;

    bool match(const OrvOamSpiNbiNotificationValue_1& notification) override;

    // A legacy filter derives nothing: the vector is emptied, the record is left alone.
    void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1& notification,
                                       std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications) override;
    bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1& notification,
                                   OrvOamSpiNbiNotificationValue_1* selected) override;

    LegacySubscriptionFilter(const LegacySubscriptionFilter&) = delete;
    LegacySubscriptionFilter& operator=(const LegacySubscriptionFilter&) = delete;

private:
    void createFilters(OrvNameValuePair** filters);

    std::list<Filter> _filters;
};

}  // namespace OrvNbiNotificationService
