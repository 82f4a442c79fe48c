// How fast filters judge a notification: subtree filters of 1, 10 and 100 nodes with and without a condition on live
// data, and beside them filters of one name and one expression. The DN has five components.
#include <benchmark/benchmark.h>

#include <deque>
#include <string>
#include <vector>

#include "ConstantFramework.h"
#include "LegacySubscriptionFilter.h"
#include "RfcSubscriptionFilter.h"
#include "SampleRecord.h"

namespace
{

using namespace OrvNbiNotificationService;

// Of the sample record's DN.
const char* const CLASSES[] = {"ManagedElement", "interfaces", "interface", "ipv4", "addr"};
const size_t LEVELS = 5;

ZelMoAttributeValue_3 trueValue()
{
    ZelMoAttributeValue_3 value = ZelMoAttributeValue_3();
    value.boolean = 1;
    return value;
}

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

void judge(benchmark::State& state, SubscriptionFilter& filter, bool expected)
{
    const OrvOamSpiNbiNotificationValue_1& record = OrvBench::sampleRecord();
    bool all = true;
    for (auto _ : state)
    {
        all = filter.match(record) == expected && all;
    }
    if (!all)
    {
        state.SkipWithError("the verdict is another one");
    }
    state.counters["matches"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_RfcSubscriptionFilter_Match(benchmark::State& state)
{
    const auto nodes = static_cast<size_t>(state.range(0));
    Tree tree(nodes, state.range(1) != 0);
    RfcSubscriptionFilter filter(tree.filters());
    judge(state, filter, true);
    if (tree.size() != nodes || OrvBench::openTransactions() != 0)
    {
        state.SkipWithError("the tree has another size, or a transaction was left open");
    }
}
BENCHMARK(BM_RfcSubscriptionFilter_Match)->ArgNames({"nodes", "condition"})->ArgsProduct({{1, 10, 100}, {0, 1}});

void judgeByExpression(benchmark::State& state, const char* expression, bool expected)
{
    OrvNameValuePair created = {"objectCreated", expression};
    OrvNameValuePair* pairs[] = {&created, nullptr};
    LegacySubscriptionFilter filter(pairs);
    judge(state, filter, expected);
}

void BM_LegacySubscriptionFilter_Match(benchmark::State& state, const char* expression)
{
    judgeByExpression(state, expression, true);
}
BENCHMARK_CAPTURE(BM_LegacySubscriptionFilter_Match, everything, ".*");
BENCHMARK_CAPTURE(BM_LegacySubscriptionFilter_Match, prefix, "ManagedElement=ne1,.*");
BENCHMARK_CAPTURE(BM_LegacySubscriptionFilter_Match, middle, "interface=eth0,ipv4=1,addr=.*");

void BM_LegacySubscriptionFilter_Refuse(benchmark::State& state, const char* expression)
{
    judgeByExpression(state, expression, false);
}
BENCHMARK_CAPTURE(BM_LegacySubscriptionFilter_Refuse, prefix, "ManagedElement=ne2,.*");
BENCHMARK_CAPTURE(BM_LegacySubscriptionFilter_Refuse, alternation, "(ManagedElement=ne2|ManagedElement=ne3),.*");

}  // namespace
