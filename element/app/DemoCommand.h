#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "DemoRecorder.h"
#include "Element.h"
#include "SubscriberSet.h"

namespace OrvElement
{

// `orv-element demo`: changes a small element step by step, says what it does, and shows what each subscriber receives.
// After every step it compares that with what the subscriber should have received.
// Threads: one, the program's main thread.
class DemoCommand
{
public:
    // Model, startup data and edits are the demo's own; the rest is taken from the options.
    explicit DemoCommand(const ElementOptions& options);

    // The program's exit code: 0, or 1 if a subscriber did not receive exactly what it should. Throws ElementError if
    // the element cannot be started or an edit is refused.
    int execute();

    DemoCommand(const DemoCommand&) = delete;
    DemoCommand& operator=(const DemoCommand&) = delete;

private:
    // What each subscriber should receive in a step, by its name, in order.
    typedef std::vector<std::pair<std::string, std::vector<std::string>>> Expectation;

    void showLiveAndFiltered();
    void showReplay();
    void showStopTimeAndHeartbeat();
    void showClockChange();
    void finish();

    void say(const std::string& text) const;
    void subscribe(const std::string& spec);
    void apply(const std::string& edit);
    void expect(const Expectation& step);
    void compare(const std::string& subscriber, const std::vector<std::string>& received);
    void check(bool right, const std::string& statement);

    const ElementOptions _options;
    std::string _begin;  // a time after the service began to collect and before the first change
    DemoRecorder _recorder;
    std::unique_ptr<Element> _element;
    std::unique_ptr<SubscriberSet> _subscribers;
    std::map<std::string, std::vector<std::string>> _expected;  // of all steps so far, by subscriber
    std::map<std::string, size_t> _shown;                       // how many of a subscriber's records have been shown
    unsigned int _failures = 0;
};

}  // namespace OrvElement
