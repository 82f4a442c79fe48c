// How many notifications a filter judges in a second: subtree filters of 1, 10 and 100 nodes with and without a
// condition on live data, and beside them a name and value filter, on a DN of five components. The service's classes
// are linked in; the framework behind the conditions answers at once, so its own cost is not in the figures.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "LegacySubscriptionFilter.h"
#include "NbiNotificationServiceCM.h"
#include "RfcSubscriptionFilter.h"
#include "ZelMgmtSpi.h"
#include "ZelOamSpiCm.h"

using namespace OrvNbiNotificationService;

namespace
{

const char* const CLASSES[] = {"ManagedElement", "interfaces", "interface", "ipv4", "address"};
const char* const DN = "ManagedElement=ne1,interfaces=1,interface=eth0,ipv4=1,address=192.0.2.1";
const size_t LEVELS = 5;

// The framework: one attribute, which is always true.

ZelMoAttributeValue_3 trueValue()
{
    ZelMoAttributeValue_3 value = ZelMoAttributeValue_3();
    value.boolean = 1;
    return value;
}

ZelMoAttributeValue_3 liveValue = trueValue();
ZelMoAttributeValueContainer_3 liveValues = {ZelMoAttributeBoolean_3, 1, &liveValue};
unsigned long openTransactions = 0;

void reserved() {}

ZelReturnT openTransaction(unsigned int, unsigned int, unsigned long* transaction)
{
    *transaction = ++openTransactions;
    return OrvOk;
}

ZelReturnT closeTransaction(unsigned long)
{
    --openTransactions;
    return OrvOk;
}

ZelReturnT getMoAttribute(unsigned long, const char*, const char*, ZelMoAttributeValueResult_3* result)
{
    result->status = 0;
    result->value = &liveValues;
    return OrvOk;
}

ZelOamSpiTransactionMaster_2 transactionMaster = {
    {"ZelOamSpiTransactionService", "ZelOamSpiTransactionMaster", "2"}, openTransaction, reserved, closeTransaction};
ZelOamSpiManagedObject_3 managedObject = {
    {"ZelOamSpiCmRouterService", "ZelOamSpiManagedObject", "3"}, reserved, getMoAttribute};

ZelReturnT getInterface(ZelMgmtSpiInterface_1 id, void** result)
{
    const std::string name(id.interfaceName);
    if (name == transactionMaster.id.interfaceName)
    {
        *result = &transactionMaster;
        return OrvOk;
    }
    if (name == managedObject.id.interfaceName)
    {
        *result = &managedObject;
        return OrvOk;
    }
    return OrvNotFound;
}

// The component then goes no further: it is no service, but it has the portal, which is all that a filter needs.
ZelReturnT refuseComponent(ZelMgmtSpiComponent*)
{
    return OrvFailure;
}

ZelMgmtSpiInterfacePortal_3 portal3 = {
    {nullptr, nullptr, "3"}, getInterface, reserved, refuseComponent, refuseComponent};
OrvMgmtSpiInterfacePortal_1 portal1 = {{nullptr, nullptr, "1"}, getInterface};

void* getPortal(const char* version)
{
    return std::string(version) == "3" ? static_cast<void*>(&portal3) : static_cast<void*>(&portal1);
}

ZelMgmtSpiInterfacePortalAccessor accessor = {getPortal};

// A tree whose last node is reached by the DN. The nodes that are not on its way are spread over the levels below the
// root; each stands before the one that is, so that all of them are tried.
class Tree
{
public:
    Tree(size_t nodes, bool condition)
    {
        const size_t depth = nodes < LEVELS ? nodes : LEVELS;
        const size_t others = nodes - depth;
        Node* parent = nullptr;
        for (size_t level = 0; level < depth; ++level)
        {
            Node* const node = addNode(CLASSES[level]);
            if (parent != nullptr)
            {
                const size_t share = others / (depth - 1) + (level <= others % (depth - 1) ? 1 : 0);
                for (size_t i = 0; i < share; ++i)
                {
                    parent->children.push_back(&addNode("sibling-" + std::to_string(i))->record);
                }
                parent->children.push_back(&node->record);
                parent->children.push_back(nullptr);
                parent->record.containments = parent->children.data();
            }
            parent = node;
        }
        if (condition)
        {
            parent->record.attributeMatch = _conditions;
        }
    }

    size_t size() const { return _nodes.size(); }
    OrvOamSpiNbiNotificationSubTree_1** filters() { return _filters; }

    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

private:
    struct Node
    {
        std::string className;
        std::vector<OrvOamSpiNbiNotificationSubTree_1*> children;
        OrvOamSpiNbiNotificationSubTree_1 record;
    };

    Node* addNode(const std::string& className)
    {
        _nodes.push_back({className, {}, OrvOamSpiNbiNotificationSubTree_1()});
        Node& node = _nodes.back();
        node.record.className = &node.className[0];
        if (_filters[0] == nullptr)
        {
            _filters[0] = &node.record;
        }
        return &node;
    }

    std::deque<Node> _nodes;
    ZelMoAttributeValue_3 _wanted = trueValue();
    ZelMoNamedAttributeValueContainer_3 _condition = {"enabled", ZelMoAttributeBoolean_3, 1, &_wanted};
    ZelMoNamedAttributeValueContainer_3* _conditions[2] = {&_condition, nullptr};
    OrvOamSpiNbiNotificationSubTree_1* _filters[2] = {nullptr, nullptr};
};

OrvOamSpiNbiNotificationValue_1 notification()
{
    static std::string dn(DN);
    OrvOamSpiNbiNotificationValue_1 record = OrvOamSpiNbiNotificationValue_1();
    record.dn = &dn[0];
    record.notificationType = objectCreated;
    return record;
}

void judge(benchmark::State& state, SubscriptionFilter& filter)
{
    const OrvOamSpiNbiNotificationValue_1 record = notification();
    bool all = true;
    for (auto _ : state)
    {
        all = filter.match(record) && all;
    }
    if (!all)
    {
        state.SkipWithError("the notification did not pass");
    }
    state.counters["matches"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_RfcSubscriptionFilter_Match(benchmark::State& state)
{
    const auto nodes = static_cast<size_t>(state.range(0));
    Tree tree(nodes, state.range(1) != 0);
    RfcSubscriptionFilter filter(tree.filters());
    judge(state, filter);
    if (tree.size() != nodes || openTransactions != 0)
    {
        state.SkipWithError("the tree has another size, or a transaction was left open");
    }
}
BENCHMARK(BM_RfcSubscriptionFilter_Match)
    ->ArgNames({"nodes", "condition"})
    ->ArgsProduct({{1, 10, 100}, {0, 1}})
    ->Repetitions(10)
    ->ReportAggregatesOnly();

void BM_LegacySubscriptionFilter_Match(benchmark::State& state)
{
    OrvNameValuePair created = {"objectCreated", "interface=eth0,ipv4=1,address=.*"};
    OrvNameValuePair* pairs[] = {&created, nullptr};
    LegacySubscriptionFilter filter(pairs);
    judge(state, filter);
}
BENCHMARK(BM_LegacySubscriptionFilter_Match)->Repetitions(10)->ReportAggregatesOnly();

}  // namespace

int main(int argc, char** argv)
{
    if (!ORV_MEASURABLE)
    {
        std::fprintf(stderr, "This build is not fit for measuring; use the release preset.\n");
        return 2;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 2;
    }
    Orv::ZelComponent<NbiNotificationServiceCM>::instance().load(&accessor, nullptr);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
