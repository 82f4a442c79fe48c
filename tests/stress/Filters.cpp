#include "Filters.h"

#include <string>
#include <utility>
#include <vector>

namespace OrvStress
{

OrvTest::LegacyFilter filterOf(const Selection& selection)
{
    static const char* const names[] = {"", "objectCreated", "objectDeleted", "attributeChanged"};
    const Selection everything = Selection::everything();
    std::vector<std::pair<std::string, std::string>> pairs;
    if (selection.producers == everything.producers && selection.types == everything.types)
    {
        return OrvTest::LegacyFilter(pairs);
    }
    std::string digits;
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        digits += selection.wants(p) ? std::to_string(p) : "";
    }
    for (int32_t type = objectCreated; type <= attributeChanged; ++type)
    {
        if (selection.wantsType(type))
        {
            pairs.emplace_back(names[type], "Producer=[" + digits + "],.*");
        }
    }
    return OrvTest::LegacyFilter(pairs);
}

OrvTest::Trees treesOf(const Selection& selection, Shape shape)
{
    std::vector<OrvTest::Node> trees;
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        if (!selection.wants(p))
        {
            continue;
        }
        OrvTest::Node producer("Producer");
        producer.key(std::to_string(p));
        if (shape != Shape::Producers)
        {
            OrvTest::Node record(OBJECT_CLASS);
            if (shape == Shape::Attributes)
            {
                record.select({"other", ATTRIBUTE});
            }
            producer.child(OrvTest::node("Record").child(record));
        }
        trees.push_back(producer);
    }
    return OrvTest::Trees(trees);
}

}  // namespace OrvStress
