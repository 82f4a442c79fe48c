#include "SubtreeTestSupport.h"

#include <gtest/gtest.h>

#include "ModelTestSupport.h"

namespace ModelTest
{
namespace
{

std::string conditionText(const ZelMoNamedAttributeValueContainer_3& condition)
{
    return condition.name + (":" + std::to_string(condition.type)) + "=" +
           attributeText(condition.type, condition.noOfValues, condition.values);
}

template <typename Record, typename Print>
std::string listText(Record** records, Print print)
{
    std::string text;
    if (records)
    {
        EXPECT_NE(*records, nullptr) << "an empty array";
        for (; *records; ++records)
        {
            text += (text.empty() ? "" : " ") + print(**records);
        }
    }
    return text;
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string line;
    for (const std::string& text : texts)
    {
        line += (line.empty() || text.empty() ? "" : " ") + text;
    }
    return line;
}

}  // namespace

std::string treeText(const OrvOamSpiNbiNotificationSubTree_1& node)
{
    std::string key;
    if (node.keyAttribute)
    {
        EXPECT_EQ(node.keyAttribute->type, ZelMoAttributeString_3);
        EXPECT_EQ(node.keyAttribute->noOfValues, 1u);
        key = node.keyAttribute->name + std::string("=") + node.keyAttribute->values[0].str;
    }
    const std::string conditions = joined(
        {key, listText(node.attributeMatch, conditionText),
         listText(node.structureContainments,
                  [](const StructContainment& containment)
                  {
                      EXPECT_EQ(containment.reserved, 0);
                      return containment.attributeName + ("(" + listText(containment.members, conditionText)) + ")";
                  })});
    const bool leaf = !node.attributeSelection && !node.classSelection && !node.containments;
    const std::string below =
        joined({listText(node.attributeSelection, [](const char& name) { return "@" + std::string(&name); }),
                listText(node.classSelection, [](const char& name) { return "#" + std::string(&name); }),
                listText(node.containments, treeText)});
    return node.className + (conditions.empty() ? "" : "[" + conditions + "]") + (leaf ? "" : "{" + below + "}");
}

std::vector<std::string> treesOf(const OrvElement::YangModel& model, const std::vector<std::string>& texts)
{
    const OrvElement::SubtreeFilter filter(model, texts);
    std::vector<std::string> trees;
    for (OrvOamSpiNbiNotificationSubTree_1** tree = filter.trees(); *tree; ++tree)
    {
        trees.push_back(treeText(**tree));
    }
    return trees;
}

}  // namespace ModelTest
