#include "ModelTestSupport.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ModelTest
{
namespace
{

std::string valuesText(ZelOamSpiMoAttributeType_3 type, uint32_t count, const ZelMoAttributeValue_3* values);

std::string structText(const ZelMoStructMember_3* member)
{
    std::string text = "(";
    for (; member; member = member->next)
    {
        text += std::string(text.size() > 1 ? ", " : "") + member->memberName + "=" +
                valuesText(member->memberValue->type, member->memberValue->noOfValues, member->memberValue->values);
    }
    return text + ")";
}

std::string valueText(ZelOamSpiMoAttributeType_3 type, const ZelMoAttributeValue_3& value)
{
    std::ostringstream text;
    switch (type)
    {
        case 1:
            text << int(value.i8);
            break;
        case 2:
            text << value.i16;
            break;
        case 3:
            text << value.i32;
            break;
        case 4:
            text << value.i64;
            break;
        case 5:
            text << int(value.u8);
            break;
        case 6:
            text << value.u16;
            break;
        case 7:
            text << value.u32;
            break;
        case 8:
            text << value.u64;
            break;
        case 9:
            text << value.str;
            break;
        case 10:
            text << (value.boolean ? "true" : "false");
            break;
        case 11:
            text << "->" << value.ref;
            break;
        case 12:
            text << "#" << value.enumeration;
            break;
        case 13:
            text << structText(value.structMembers);
            break;
        case 16:
            text << value.f64;
            break;
        default:
            text << "type " << type;
            break;
    }
    return text.str();
}

std::string valuesText(ZelOamSpiMoAttributeType_3 type, uint32_t count, const ZelMoAttributeValue_3* values)
{
    std::string text;
    for (uint32_t i = 0; i < count; ++i)
    {
        text += (i == 0 ? "" : "|") + valueText(type, values[i]);
    }
    return count == 0 ? "none" : text;
}

const char* kindText(int32_t kind)
{
    return kind == 1 ? "created " : kind == 2 ? "deleted " : kind == 3 ? "changed " : "unknown ";
}

}  // namespace

std::string yangDir()
{
    return ORV_TEST_DATA "/yang";
}

OrvElement::ModelOptions awkwardOptions()
{
    OrvElement::ModelOptions options;
    options.yangDirs = {yangDir()};
    options.modules = {"orv-awkward", "orv-augment-one", "orv-augment-two"};
    options.elementName = "node-7";
    return options;
}

OrvElement::ModelOptions typesOptions()
{
    OrvElement::ModelOptions options;
    options.yangDirs = {yangDir()};
    options.modules = {"orv-types@2024-01-01"};
    options.structPaths = {"/orv-types:types/place", "/orv-types:types/marker"};
    return options;
}

OrvElement::ModelOptions ietfOptions()
{
    OrvElement::ModelOptions options;
    options.yangDirs = {"/usr/share/yuma/modules/ietf", "/usr/share/yuma/nmda-modules/ietf"};
    options.modules = {"ietf-ip@2014-06-16", "ietf-interfaces@2014-05-08", "iana-if-type@2014-05-08",
                       "ietf-system@2014-08-06"};
    options.elementName = "node-7";
    return options;
}

const OrvElement::YangModel& awkwardModel()
{
    static const OrvElement::YangModel model(awkwardOptions());
    return model;
}

const OrvElement::YangModel& typesModel()
{
    static const OrvElement::YangModel model(typesOptions());
    return model;
}

const OrvElement::YangModel& ietfModel()
{
    static const OrvElement::YangModel model(ietfOptions());
    return model;
}

std::string attributeText(ZelOamSpiMoAttributeType_3 type, uint32_t count, const ZelMoAttributeValue_3* values)
{
    return valuesText(type, count, values);
}

std::vector<std::string> operations(const OrvElement::ChangeEvent& event)
{
    std::vector<std::string> lines;
    for (ZelOamSpiCmEvent_TxOperation_1** operation = event.record().txOperations; *operation; ++operation)
    {
        std::string line = kindText((*operation)->notificationType) + std::string((*operation)->dn);
        std::string attributes;
        for (ZelMoNamedAttributeValueContainer_3** at = (*operation)->attributes; *at; ++at)
        {
            attributes += (attributes.empty() ? "" : ", ") + std::string((*at)->name) + "=" +
                          valuesText((*at)->type, (*at)->noOfValues, (*at)->values);
        }
        lines.push_back(attributes.empty() ? line : line + " {" + attributes + "}");
    }
    return lines;
}

std::string text(const ZelMoAttributeValueContainer_3& container)
{
    return std::to_string(container.type) + ": " + valuesText(container.type, container.noOfValues, container.values);
}

TemporaryFile::TemporaryFile(const std::string& ending, const std::string& content)
{
    std::string path = (std::filesystem::temp_directory_path() / "orv-model-test-XXXXXX").string() + ending;
    const int descriptor = mkstemps(&path[0], static_cast<int>(ending.size()));
    if (descriptor < 0)
    {
        throw std::runtime_error("no temporary file");
    }
    close(descriptor);
    _path = path;
    std::ofstream(_path, std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile()
{
    std::remove(_path.c_str());
}

AwkwardElement::AwkwardElement() : _data(awkwardModel()) {}

std::string AwkwardElement::text(const std::string& boxContent, const std::string& boxAttributes)
{
    return "<box xmlns=\"urn:orv:awkward\" xmlns:a=\"urn:orv:awkward\" "
           "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\" " +
           boxAttributes + ">" + boxContent + "</box>";
}

std::vector<std::string> AwkwardElement::edit(const std::string& boxContent, const std::string& boxAttributes)
{
    return operations(*_data.applyEdit(text(boxContent, boxAttributes), OrvElement::EditFormat::Xml));
}

std::string AwkwardElement::refused(const std::string& boxContent, const std::string& boxAttributes)
{
    return errorOf([&] { _data.applyEdit(text(boxContent, boxAttributes), OrvElement::EditFormat::Xml); });
}

std::string AwkwardElement::print() const
{
    return _data.print(OrvElement::EditFormat::Json);
}

}  // namespace ModelTest
