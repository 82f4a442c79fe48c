// The input is a subtree filter as text, a path or NETCONF XML. What it is translated to is read to its ends. The form
// "@FILE" is left out, so that no file of the machine is read.
#include <cstdint>

#include "FuzzCheck.h"
#include "ModelTestSupport.h"
#include "SubtreeFilter.h"

namespace
{

// Of all texts. Volatile, so that each is read though nobody asks for the sum.
volatile size_t length = 0;

void readAttribute(const ZelMoNamedAttributeValueContainer_3& attribute)
{
    length += std::string(attribute.name).size();
    OrvFuzz::check(attribute.noOfValues == 1 && attribute.values != nullptr, "a condition without its value");
    length += ModelTest::attributeText(attribute.type, attribute.noOfValues, attribute.values).size();
}

void readTree(const OrvOamSpiNbiNotificationSubTree_1& node)
{
    length += std::string(node.className).size();
    if (node.keyAttribute != nullptr)
    {
        readAttribute(*node.keyAttribute);
    }
    for (auto at = node.attributeMatch; at != nullptr && *at != nullptr; ++at)
    {
        readAttribute(**at);
    }
    for (char** names : {node.attributeSelection, node.classSelection})
    {
        for (; names != nullptr && *names != nullptr; ++names)
        {
            length += std::string(*names).size();
        }
    }
    for (auto at = node.structureContainments; at != nullptr && *at != nullptr; ++at)
    {
        length += std::string((*at)->attributeName).size();
        for (auto member = (*at)->members; *member != nullptr; ++member)
        {
            readAttribute(**member);
        }
    }
    for (auto at = node.containments; at != nullptr && *at != nullptr; ++at)
    {
        readTree(**at);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (text.empty() || text[0] == '@')
    {
        return 0;
    }
    for (const OrvElement::YangModel* model : {&ModelTest::awkwardModel(), &ModelTest::typesModel()})
    {
        try
        {
            const OrvElement::SubtreeFilter filter(*model, {text});
            OrvFuzz::check(*filter.trees() != nullptr, "a filter without a tree");
            for (auto tree = filter.trees(); *tree != nullptr; ++tree)
            {
                readTree(**tree);
            }
        }
        catch (const OrvElement::SubtreeError&)
        {
        }
    }
    return 0;
}
