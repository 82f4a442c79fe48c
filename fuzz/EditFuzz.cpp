// The input is an edit of the element's data, JSON if it begins with "{", XML otherwise. A refused one must leave the
// data as they were; the data after an accepted one, applied as an edit, must change nothing.
#include <cstdint>

#include "FuzzCheck.h"
#include "ModelTestSupport.h"

namespace
{

using OrvElement::EditFormat;
using OrvElement::ElementData;

// What there is before the edit.
const char* const AWKWARD_BASE =
    "<box "
    "xmlns='urn:orv:awkward'><level>7</level><limit>9</limit><order>a</order><order>b</order><colours>red</colours>"
    "<item><name>i1</name><value>11</value><settings><part><id>1</id></part></settings></item>"
    "<item><name>i2</name><extra/></item><pair><left>l</left><right>r</right></pair>"
    "<step><name>s1</name></step><step><name>s2</name></step>"
    "<strict><name>s</name><required>r</required><item>i1</item></strict></box>";
const char* const TYPES_BASE =
    "<types xmlns='urn:orv:types'><a-uint16>5</a-uint16><a-string>s</a-string><numbers>1</numbers>"
    "<place><label>l</label></place><marker/></types>";

void edit(const OrvElement::YangModel& model, const std::string& base, const std::string& text, EditFormat format)
{
    ElementData data(model);
    data.applyEdit(base, EditFormat::Xml);
    const std::string before = data.print(EditFormat::Xml);
    try
    {
        const auto event = data.applyEdit(text, format);
        OrvFuzz::check(ModelTest::operations(*event).size() == event->dns().size(), "a DN is missing");
    }
    catch (const OrvElement::ElementError&)
    {
        OrvFuzz::check(data.print(EditFormat::Xml) == before, "a refused edit has changed the data");
        return;
    }
    const std::string after = data.print(EditFormat::Xml);
    OrvFuzz::check(after.empty() || data.applyEdit(after, EditFormat::Xml)->empty(), "the data change themselves");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const EditFormat format = !text.empty() && text[0] == '{' ? EditFormat::Json : EditFormat::Xml;
    edit(ModelTest::awkwardModel(), AWKWARD_BASE, text, format);
    edit(ModelTest::typesModel(), TYPES_BASE, text, format);
    return 0;
}
