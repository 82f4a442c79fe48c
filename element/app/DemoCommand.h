#pragma once

#include <memory>
#include <string>

#include "DemoChecker.h"
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
    void showLiveAndFiltered();
    void showReplay();
    void showStopTimeAndHeartbeat();
    void showSubtrees();
    void showClockChange();
    void finish();

    void say(const std::string& text) const;
    void subscribe(const std::string& spec);
    void apply(const std::string& edit);

    const ElementOptions _options;
    std::string _begin;  // a time after the service began to collect and before the first change
    DemoRecorder _recorder;
    DemoChecker _checker;
    std::unique_ptr<Element> _element;
    std::unique_ptr<SubscriberSet> _subscribers;
};

}  // namespace OrvElement
