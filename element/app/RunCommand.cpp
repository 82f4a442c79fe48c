#include "RunCommand.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ElementError.h"
#include "TimeText.h"

namespace OrvElement
{

namespace
{

// Milliseconds without any progress after which a delivery counts as hanging.
const long FLUSH_TIMEOUT = 10000;

bool endsWith(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool beginsWith(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

void tell(const std::string& error)
{
    std::fprintf(stderr, "orv-element: %s\n", error.c_str());
}

}  // namespace

RunCommand::RunCommand(const RunOptions& options)
    : _options(options), _printer(stdout, options.format, [this] { _signals.requestStop(); })
{
}

int RunCommand::execute()
{
    if (!_options.watchDirectory.empty())
    {
        // First of all, so that a file that comes while the element starts is not missed.
        _watch = std::make_unique<DirectoryWatch>(_options.watchDirectory);
    }
    _progress.show("starting the element...");
    _element = std::make_unique<Element>(_options.element);
    _subscribers =
        std::make_unique<SubscriberSet>(Element::portal(), _element->model(),
                                        [this](const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)
                                        { _printer.print(name, record); });
    for (const std::string& subscription : _options.subscriptions)
    {
        _subscribers->add(SubscriptionSpec::parse(subscription, currentTime()));
    }
    applyEdits();
    if (!_failed)
    {
        serveInput();
    }
    _progress.show("delivering what is pending...");
    _element->drainEvents();
    _subscribers->flush(FLUSH_TIMEOUT);
    _subscribers.reset();
    _element->stop();
    _progress.clear();
    if (_printer.failed())
    {
        tell("cannot write records to standard output");
        _failed = true;
    }
    return _failed ? 1 : 0;
}

// The first edit that is refused ends the run: those behind it may build on it.
void RunCommand::applyEdits()
{
    for (size_t i = 0; i < _options.edits.size() && !_failed && !_signals.stopped(); ++i)
    {
        _progress.show("edit " + std::to_string(i + 1) + " of " + std::to_string(_options.edits.size()) + "...");
        attempt([&] { applyFile(_options.edits[i]); });
    }
    _progress.clear();
}

void RunCommand::serveInput()
{
    attempt([this] { _watch != nullptr ? serveDirectory() : serveStandardInput(); });
}

void RunCommand::serveDirectory()
{
    while (waitFor(_watch->descriptor()))
    {
        for (const std::string& path : _watch->newFiles())
        {
            if (_signals.stopped())
            {
                return;
            }
            if (endsWith(path, ".xml") || endsWith(path, ".json"))
            {
                attempt([&] { applyFile(path); });
            }
            else if (endsWith(path, ".clock"))
            {
                raiseClockChange();
            }
        }
    }
}

void RunCommand::serveStandardInput()
{
    LineReader input(STDIN_FILENO);
    while (!input.atEnd() && waitFor(input.descriptor()))
    {
        for (const std::string& line : input.readLines())
        {
            if (_signals.stopped())
            {
                return;
            }
            attempt([&] { executeLine(line); });
        }
    }
}

void RunCommand::executeLine(const std::string& line)
{
    const std::string subscribe = "subscribe ";
    const std::string unsubscribe = "unsubscribe ";
    if (line.empty() || line.front() == '#')
    {
        return;
    }
    if (line == "clock-change")
    {
        raiseClockChange();
    }
    else if (beginsWith(line, subscribe))
    {
        settle();
        _subscribers->add(SubscriptionSpec::parse(line.substr(subscribe.size()), currentTime()));
    }
    else if (beginsWith(line, unsubscribe))
    {
        settle();
        _subscribers->remove(line.substr(unsubscribe.size()));
    }
    else
    {
        applyFile(line);
    }
}

void RunCommand::applyFile(const std::string& path)
{
    _element->applyEditFile(path);
}

// The service discards what is on its way inside it when the clock changes.
void RunCommand::raiseClockChange()
{
    settle();
    _element->raiseClockChange();
}

// An edit travels through the service on threads of its own; this lets it arrive before the next step.
void RunCommand::settle()
{
    _element->drainEvents();
    _subscribers->settle(FLUSH_TIMEOUT);
}

template <typename Action>
void RunCommand::attempt(Action action)
{
    try
    {
        action();
    }
    catch (const ElementError& e)
    {
        _progress.clear();
        tell(e.what());
        _failed = true;
    }
}

// True when the descriptor is readable, false when it is time to stop.
bool RunCommand::waitFor(int descriptor) const
{
    while (true)
    {
        pollfd descriptors[] = {{_signals.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        if (poll(descriptors, 2, -1) == -1 && errno != EINTR)
        {
            throw ElementError(std::string("cannot wait for input: ") + std::strerror(errno));
        }
        if (descriptors[0].revents != 0)
        {
            return false;
        }
        if (descriptors[1].revents != 0)
        {
            return true;
        }
    }
}

}  // namespace OrvElement
