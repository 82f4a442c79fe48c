#pragma once

#include <memory>
#include <string>
#include <vector>

#include "DirectoryWatch.h"
#include "Element.h"
#include "LineReader.h"
#include "Progress.h"
#include "RecordPrinter.h"
#include "StopSignals.h"
#include "SubscriberSet.h"

namespace OrvElement
{

// What `orv-element run` was asked for.
struct RunOptions
{
    ElementOptions element;
    std::vector<std::string> edits;          // files, applied in this order
    std::string watchDirectory;              // empty: standard input is read instead
    std::vector<std::string> subscriptions;  // in the text form of SubscriptionSpec
    RecordFormat format = RecordFormat::Text;
};

// `orv-element run`: an element that subscribes, applies edits, and goes on with those that come from a directory or
// from standard input, until the end of input or a signal.
// Threads: one, the program's main thread.
class RunCommand
{
public:
    explicit RunCommand(const RunOptions& options);

    // The program's exit code: 0, or 1 if an edit or a command was refused or records could not be written. Throws
    // ElementError if the element cannot be started, or not everything could be delivered.
    int execute();

    RunCommand(const RunCommand&) = delete;
    RunCommand& operator=(const RunCommand&) = delete;

private:
    void applyEdits();
    void serveInput();
    void serveDirectory();
    void serveStandardInput();
    void executeLine(const std::string& line);
    void applyFile(const std::string& path);
    void raiseClockChange();
    void settle();
    // Runs one action; what it refuses is told and counts as a failure of the whole run.
    template <typename Action>
    void attempt(Action action);
    bool waitFor(int descriptor) const;

    const RunOptions _options;
    StopSignals _signals;
    RecordPrinter _printer;
    Progress _progress;
    std::unique_ptr<DirectoryWatch> _watch;
    std::unique_ptr<Element> _element;
    std::unique_ptr<SubscriberSet> _subscribers;
    bool _failed = false;
};

}  // namespace OrvElement
