// What the tests of model and data share: models of the test modules, and CM events as text.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ElementData.h"
#include "YangModel.h"

namespace ModelTest
{

// The folder of the test modules.
std::string yangDir();

// The awkward module and its two augments; the container "place" of the module of all types is a struct.
OrvElement::ModelOptions awkwardOptions();
OrvElement::ModelOptions typesOptions();

// The published modules, as the distribution ships them.
OrvElement::ModelOptions ietfOptions();

// One of each for the whole process: compiling a model takes longer than most tests.
const OrvElement::YangModel& awkwardModel();
const OrvElement::YangModel& typesModel();
const OrvElement::YangModel& ietfModel();

// The values of one attribute: "value|value", or "none".
std::string attributeText(ZelOamSpiMoAttributeType_3 type, uint32_t count, const ZelMoAttributeValue_3* values);

// One line for each operation, read from the plain record: "created DN {name=value|value, ...}".
std::vector<std::string> operations(const OrvElement::ChangeEvent& event);

// The values as a read gives them, behind the type code: "7: 1|2"; "7: none" without any.
std::string text(const ZelMoAttributeValueContainer_3& container);

// The text of the ElementError that the call throws; empty if it throws none.
template <typename Call>
std::string errorOf(Call call)
{
    try
    {
        call();
    }
    catch (const OrvElement::ElementError& error)
    {
        return error.what();
    }
    return "";
}

// A file that goes with the object.
class TemporaryFile
{
public:
    TemporaryFile(const std::string& ending, const std::string& content);
    ~TemporaryFile();
    const std::string& path() const { return _path; }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

private:
    std::string _path;
};

// The element with the awkward model; edits are XML within <box> with the usual prefixes declared.
class AwkwardElement
{
public:
    AwkwardElement();

    // What stands in <box>, which itself carries boxAttributes.
    std::vector<std::string> edit(const std::string& boxContent, const std::string& boxAttributes = "");
    std::string refused(const std::string& boxContent, const std::string& boxAttributes = "");
    std::string print() const;
    OrvElement::ElementData& data() { return _data; }

    static std::string text(const std::string& boxContent, const std::string& boxAttributes = "");

private:
    OrvElement::ElementData _data;
};

}  // namespace ModelTest
