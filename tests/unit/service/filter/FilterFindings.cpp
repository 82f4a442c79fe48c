#include "FilterFindings.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "DnCalls.h"
#include "FakeFramework.h"
#include "FilterRecords.h"
#include "NaiveSubtreeFilter.h"
#include "NbiNotificationServiceCM.h"
#include "NotificationUtils.h"
#include "RfcSubscriptionFilter.h"

using namespace OrvNbiNotificationService;

namespace OrvTest
{

namespace
{

typedef std::vector<std::string> Lines;

// The words of the findings, which both evaluations use.

std::string stepText(size_t step)
{
    return "step " + std::to_string(step) + " ";
}

std::string stateText(const Lines& classes, const Lines& keys, const Lines& derived, const Lines& roots,
                      const Lines& selected)
{
    std::string text;
    for (const Lines* lines : {&classes, &keys, &derived, &roots, &selected})
    {
        text += " |";
        for (const std::string& line : *lines)
        {
            text += " \"" + line + '"';
        }
    }
    return text;
}

std::string verdictText(size_t step, bool passed, const std::string& state)
{
    return stepText(step) + (passed ? "passes" : "fails") + state;
}

const char* const DERIVED = "derived: ";
const char* const REDUCED = "reduced: ";
const char* const NOT_REDUCED = "not reduced";

int timesToAsk(const FilterStep& step, bool passed)
{
    switch (step.ask)
    {
        case FilterStep::never:
            return 0;
        case FilterStep::whenPassed:
            return passed ? 1 : 0;
        case FilterStep::always:
            return 1;
        default:
            return 2;
    }
}

// Records that a filter has given away.
class GivenRecords
{
public:
    GivenRecords() = default;
    ~GivenRecords()
    {
        for (OrvOamSpiNbiNotificationValue_1*& record : _records)
        {
            NotificationUtils::deleteNotification(record);
        }
    }

    void add(const std::string& what, OrvOamSpiNbiNotificationValue_1* record)
    {
        _whats.push_back(what);
        _records.push_back(record);
    }

    Lines lines() const
    {
        Lines lines;
        for (size_t i = 0; i < _records.size(); ++i)
        {
            lines.push_back(_whats[i] + textOf(*_records[i]));
        }
        return lines;
    }

    GivenRecords(const GivenRecords&) = delete;
    GivenRecords& operator=(const GivenRecords&) = delete;

private:
    Lines _whats;
    std::vector<OrvOamSpiNbiNotificationValue_1*> _records;
};

ModelValue modelValue(const Naive::Value& value)
{
    ModelValue given;
    given.number = static_cast<int64_t>(value.bits);
    std::memcpy(&given.real, &value.bits, sizeof(given.real));
    given.text = value.text;
    for (const Naive::Member& member : value.members)
    {
        MemberOfStruct added{member.name, member.type, {}};
        std::transform(member.values.begin(), member.values.end(), std::back_inserter(added.values), modelValue);
        given.members.push_back(added);
    }
    return given;
}

void fill(FakeFramework& framework, const Naive::Model& model)
{
    for (const auto& object : model.objects)
    {
        for (const auto& attribute : object.second)
        {
            std::vector<ModelValue> values;
            std::transform(attribute.second.values.begin(), attribute.second.values.end(), std::back_inserter(values),
                           modelValue);
            framework.objects().setAttribute(object.first, attribute.first, attribute.second.type, values);
        }
    }
    for (const auto& known : model.classes)
    {
        framework.objects().addKeyClass(known.first, known.second);
    }
    if (model.failingLookup != 0)
    {
        framework.plan().fail("portal3.getInterface:" + model.failingInterface, model.failingLookup, OrvRetry);
    }
    if (model.failingOpen != 0)
    {
        framework.plan().fail("openTransaction", model.failingOpen, OrvRetry);
    }
    if (model.closingFails)
    {
        framework.plan().failAlways("closeTransaction", OrvRetry);
    }
}

// The service's filter, used as a subscription uses it, and a little worse.
class RealRun
{
public:
    RealRun(const FilterCase& filterCase, Findings& findings, GivenRecords& given)
        : _session(_framework), _findings(findings), _given(given), _filter(_records.trees(filterCase.trees))
    {
        // The texts of some traces have arguments of their own, which only count if they are written.
        _framework.setLevel(filterCase.seed % 32 == 0 ? 8 : 6);
        fill(_framework, filterCase.model);
        NbiNotificationServiceCM& component = NbiNotificationServiceCM::instance();
        component.portal3 = static_cast<ZelMgmtSpiInterfacePortal_3*>(_framework.accessor()->getPortal("3"));
        for (size_t i = 0; i < filterCase.steps.size(); ++i)
        {
            run(i, filterCase.steps[i]);
        }
        component.portal3 = nullptr;
        findings.calls = _framework.objects().calls();
        findings.dnCalls = _dnCalls.calls;
        findings.opened = _framework.objects().opened();
        findings.closed = _framework.objects().closed();
        findings.misuses = _framework.objects().misuses();
    }

private:
    void run(size_t i, const FilterStep& step)
    {
        const OrvOamSpiNbiNotificationValue_1& notification = *_records.notification(step.change);
        bool passed = true;
        if (step.match)
        {
            passed = _filter.match(notification);
            _findings.answers.push_back(verdictText(i, passed, state()));
        }
        for (int times = timesToAsk(step, passed); times > 0; --times)
        {
            ask(i, notification);
        }
    }

    void ask(size_t i, const OrvOamSpiNbiNotificationValue_1& notification)
    {
        OrvOamSpiNbiNotificationValue_1 stranger{};
        std::vector<OrvOamSpiNbiNotificationValue_1*> derived(i % 2, &stranger);
        _filter.getSubtreeDeleteNotifications(notification, derived);
        for (OrvOamSpiNbiNotificationValue_1* record : derived)
        {
            _given.add(stepText(i) + DERIVED, record);
        }

        const OrvOamSpiNbiNotificationValue_1 untouched{-1, nullptr, 2, 3, 4, nullptr};
        std::unique_ptr<OrvOamSpiNbiNotificationValue_1> selected(new OrvOamSpiNbiNotificationValue_1(untouched));
        if (_filter.getAttrSelectNotification(notification, selected.get()))
        {
            _given.add(stepText(i) + REDUCED, selected.release());
            return;
        }
        const bool changed = textOf(*selected) != textOf(untouched);
        _findings.answers.push_back(stepText(i) + NOT_REDUCED + (changed ? ", but the record is changed" : "") +
                                    (_filter.selectedAttributes.empty() ? "" : ", but the selection is kept"));
    }

    std::string state() const
    {
        Lines roots;
        for (const OrvOamSpiNbiNotificationSubTree_1* root : _filter.subTreeRoots)
        {
            roots.push_back(root->className);
        }
        Lines selected;
        for (const ZelMoNamedAttributeValueContainer_3* attribute : _filter.selectedAttributes)
        {
            selected.push_back(attribute->name);
        }
        const Lines classes(_filter.classes.begin(), _filter.classes.end());
        const Lines keys(_filter.keys.begin(), _filter.keys.end());
        return stateText(classes, keys, _filter.deleteDns, roots, selected);
    }

    FilterRecords _records;
    FakeFramework _framework;
    const CommonSession _session;
    const DnCalls _dnCalls;
    Findings& _findings;
    GivenRecords& _given;
    RfcSubscriptionFilter _filter;
};

// Whether a DN has a component of another form than class=key.
bool isOdd(const std::string& dn)
{
    size_t start = 0;
    while (start <= dn.size())
    {
        const size_t end = std::min(dn.find(',', start), dn.size());
        const std::string component = dn.substr(start, end - start);
        const size_t sign = component.find('=');
        if (sign == 0 || sign == std::string::npos || sign + 1 == component.size() ||
            component.find('=', sign + 1) != std::string::npos || component.find('.') < sign)
        {
            return true;
        }
        start = end + 1;
    }
    return false;
}

// The plain evaluation, used in the same way.
class NaiveRun
{
public:
    NaiveRun(const FilterCase& filterCase, Findings& findings, Mix& mix)
        : _filter(filterCase.model, filterCase.trees), _findings(findings), _mix(mix)
    {
        ++mix.sequences;
        for (size_t i = 0; i < filterCase.steps.size(); ++i)
        {
            run(i, filterCase.steps[i]);
        }
        findings.calls = _filter.calls();
        findings.dnCalls = _filter.dnCalls();
        findings.opened = _filter.opened();
        findings.closed = _filter.closed();
    }

private:
    void run(size_t i, const FilterStep& step)
    {
        bool passed = true;
        if (step.match)
        {
            const unsigned int opened = _filter.opened();
            const unsigned int stillOpen = opened - _filter.closed();
            passed = _filter.match(step.change);
            _findings.answers.push_back(verdictText(i, passed, state()));
            const bool leavesOpen = _filter.opened() - _filter.closed() != stillOpen;
            ++_mix.matched;
            _mix.passed += passed;
            _mix.leftOpen += leavesOpen;
            _mix.readAndPassed += passed && !leavesOpen && _filter.opened() != opened;
            _mix.oddDns += step.change.dn && isOdd(*step.change.dn);
            countDerived(step.change);
        }
        for (int times = timesToAsk(step, passed); times > 0; --times)
        {
            ask(i, step);
        }
    }

    void ask(size_t i, const FilterStep& step)
    {
        for (const std::string& dn : _filter.derivedDns())
        {
            Naive::Change record = step.change;
            record.dn = dn;
            record.attributes.reset();
            _findings.records.push_back(stepText(i) + DERIVED + textOf(record));
        }
        _mix.controlDerived += !step.change.dn && !_filter.derivedDns().empty();

        const bool selected = !_filter.selected().empty();
        Naive::Change record = step.change;
        record.attributes = _filter.takeReduced(step.change);
        if (record.attributes)
        {
            _findings.records.push_back(stepText(i) + REDUCED + textOf(record));
            ++_mix.reduced;
            return;
        }
        _findings.answers.push_back(stepText(i) + NOT_REDUCED);
        _mix.dropped += selected;
    }

    std::string state() const
    {
        Lines classes;
        Lines keys;
        for (const auto& component : _filter.path())
        {
            classes.push_back(component.first);
            keys.push_back(component.second);
        }
        Lines selected;
        for (const Naive::Attribute& attribute : _filter.selected())
        {
            selected.push_back(attribute.name);
        }
        return stateText(classes, keys, _filter.derivedDns(), _filter.rootClasses(), selected);
    }

    void countDerived(const Naive::Change& change)
    {
        if (change.type != objectDeleted)
        {
            return;
        }
        const Lines& dns = _filter.derivedDns();
        _mix.derivedTwo += dns.size() > 1;
        _mix.grownKeys += std::any_of(dns.begin(), dns.end(),
                                      [](const std::string& dn) { return dn.find("**") != std::string::npos; });
        const Lines& calls = _filter.calls();
        _mix.keysUnknown += !calls.empty() && calls.back().compare(0, 13, "getMocFromDn(") == 0;
    }

    Naive::SubtreeFilter _filter;
    Findings& _findings;
    Mix& _mix;
};

// "" if both sides found the same, otherwise the first line in which they differ.
std::string firstDifference(const char* what, const std::vector<std::string>& filter,
                            const std::vector<std::string>& plain)
{
    for (size_t i = 0; i < std::max(filter.size(), plain.size()); ++i)
    {
        const std::string left = i < filter.size() ? filter[i] : "nothing";
        const std::string right = i < plain.size() ? plain[i] : "nothing";
        if (left != right)
        {
            return std::string(what) + " " + std::to_string(i) + "\n  filter: " + left + "\n  plain:  " + right;
        }
    }
    return "";
}

std::string firstDifference(const char* what, unsigned int filter, unsigned int plain)
{
    return firstDifference(what, {std::to_string(filter)}, {std::to_string(plain)});
}

}  // namespace

Findings realFindings(const FilterCase& filterCase)
{
    Findings findings;
    GivenRecords given;
    {
        RealRun(filterCase, findings, given);
    }
    findings.records = given.lines();
    return findings;
}

Findings naiveFindings(const FilterCase& filterCase, Mix& mix)
{
    Findings findings;
    NaiveRun(filterCase, findings, mix);
    return findings;
}

std::string difference(const FilterCase& filterCase, Mix& mix)
{
    const Findings plain = naiveFindings(filterCase, mix);
    const Findings filter = realFindings(filterCase);
    const std::string differences[] = {
        firstDifference("answer", filter.answers, plain.answers),
        firstDifference("record", filter.records, plain.records),
        firstDifference("call of the framework", filter.calls, plain.calls),
        firstDifference("DN formed", filter.dnCalls, plain.dnCalls),
        firstDifference("transactions opened", filter.opened, plain.opened),
        firstDifference("transactions closed", filter.closed, plain.closed),
        firstDifference("misuses of handles", filter.misuses, plain.misuses),
    };
    for (const std::string& found : differences)
    {
        if (!found.empty())
        {
            return found;
        }
    }
    return "";
}

}  // namespace OrvTest
