// A first byte that is even: the rest decides about a model, trees and notifications, and the service's filter is held
// against the plain evaluation of the tests. Odd: the rest is a DN, which is taken to pieces.
#include <cstdint>
#include <optional>

#include "FilterFindings.h"
#include "FuzzCheck.h"
#include "NaiveSubtreeFilter.h"
#include "RfcSubscriptionFilter.h"

namespace
{

using OrvNbiNotificationService::RfcSubscriptionFilter;

void compareCase(const std::vector<uint8_t>& choices)
{
    OrvTest::Mix mix;
    const OrvTest::FilterCase filterCase = OrvTest::randomFilterCase(choices);
    const std::string found = OrvTest::difference(filterCase, mix);
    if (!found.empty())
    {
        OrvFuzz::check(false, found + "\n" + OrvTest::describe(filterCase));
    }
}

void takeToPieces(const std::string& dn)
{
    OrvTest::Naive::Model model;
    std::optional<std::vector<OrvTest::Naive::TreeNode>> trees(std::in_place, 1);
    trees->front().className = "A";
    OrvTest::Naive::SubtreeFilter plain(model, trees);
    OrvTest::Naive::Change change;
    change.dn = dn;
    change.type = objectCreated;
    plain.match(change);

    RfcSubscriptionFilter filter(nullptr);
    filter.createListFromDN(dn.c_str());
    OrvFuzz::check(filter.classes.size() == plain.path().size() && filter.keys.size() == filter.classes.size(),
                   "another number of components");
    for (size_t i = 0; i < filter.classes.size(); ++i)
    {
        OrvFuzz::check(filter.classes[i] == plain.path()[i].first && filter.keys[i] == plain.path()[i].second,
                       "component " + std::to_string(i) + " is another");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    if (data[0] % 2 == 0)
    {
        compareCase(std::vector<uint8_t>(data + 1, data + size));
    }
    else
    {
        const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
        takeToPieces(text.c_str());
    }
    return 0;
}
