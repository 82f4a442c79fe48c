#include "SubtreeFilter.h"

#include <cstddef>

#include "DataText.h"
#include "SubtreeFilterParser.h"
#include "SubtreePathParser.h"
#include "SubtreeTranslator.h"

namespace OrvElement
{
namespace
{

// Characters of a filter that a message quotes.
const std::size_t QUOTED = 200;

FilterElement parse(const std::string& text)
{
    switch (text.empty() ? '\0' : text.front())
    {
        case '/':
            return parseSubtreePath(text);
        case '<':
            return parseSubtreeXml(text);
        case '@':
            return parseSubtreeXml(readTextFile(text.substr(1), FilterElement::MAX_SIZE));
        default:
            throw ElementError("it must begin with \"/\" for a path, \"<\" for XML or \"@\" for a file");
    }
}

}  // namespace

SubtreeFilter::SubtreeFilter(const YangModel& model, const std::vector<std::string>& texts)
{
    std::vector<OrvOamSpiNbiNotificationSubTree_1*> trees;
    SubtreeTranslator translator(model, _arena);
    for (const std::string& text : texts)
    {
        try
        {
            const std::vector<OrvOamSpiNbiNotificationSubTree_1*> more = translator.translate(parse(text));
            trees.insert(trees.end(), more.begin(), more.end());
        }
        catch (const ElementError& e)
        {
            const bool cut = text.size() > QUOTED;
            throw SubtreeError("subtree \"" + (cut ? text.substr(0, QUOTED) + "..." : text) + "\": " + e.what());
        }
    }
    if (trees.empty())
    {
        throw SubtreeError("a subtree filter without a text would select nothing");
    }
    _trees = _arena.array(trees);
}

}  // namespace OrvElement
