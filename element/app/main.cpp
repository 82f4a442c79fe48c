// orv-element: the reference element's program. It only reads the command line; DemoCommand and RunCommand do the work.
#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>

#include "DemoCommand.h"
#include "InstallPaths.h"
#include "RunCommand.h"
#include "SubscriptionSpec.h"
#include "SubtreeFilter.h"
#include "TimeText.h"

namespace
{

enum ExitCode
{
    SUCCESS = 0,
    FAILURE = 1,
    USAGE = 2
};

const char* const EXIT_CODES =
    "Exit codes: 0 success; 1 failure; 2 wrong command line. Each failure is told by one line on "
    "standard error, behind what the component may have logged.";

const char* const RUN_FOOTER =
    R"(SPEC describes one subscription: name=NAME[;filter=KIND:REGEX]...[;start=TIME][;stop=TIME][;heartbeat=SECONDS]
  or one with subtree filters:      name=NAME[;subtree=SUBTREE]...[;start=TIME][;stop=TIME][;heartbeat=SECONDS]
  KIND   objectCreated, objectDeleted, attributeChanged, or any for all three
  REGEX  POSIX extended; must match up to the end of the DN or, for a change, of "DN,attribute"; several filters
         combine by "or", none takes everything; write \; for a semicolon
  SUBTREE  a path /node[leaf='value']/node/{leaf,node}, or <filter>...</filter> as in NETCONF, or @FILE with such XML;
         a condition is held against the present data, several filters combine by "or"; element/README.md has more
  TIME   2026-01-31T12:00:00Z (RFC 3339), or an offset from now: -60s, +5m, +1h; a start in the past asks for a replay
  At most 160 subscriptions; a stop time at most 2147483 seconds ahead.

Standard input, unless --watch is given, is read to its end for lines of these forms:
  FILE                apply the edit in FILE
  subscribe SPEC      add a subscription
  unsubscribe NAME    remove one
  clock-change        raise the event that tells of a changed system clock
  # ...               ignored, like an empty line
With --watch, files that are written or moved into DIR are taken in the order of their names: *.xml and *.json are edits,
*.clock raises the clock-change event, others are ignored.

The run ends at the end of input, or with SIGINT or SIGTERM; what is pending is delivered first. A refused --edit ends
the run; a refused line or file is told and the run goes on. Either way the exit code is 1.

Examples:
  orv-element run --module ietf-interfaces@2014-05-08 --module iana-if-type --startup startup.xml \
      --subscribe 'name=all' --subscribe 'name=eth0;filter=attributeChanged:interface=eth0,enabled' --edit down.xml
  orv-element run --module ietf-interfaces@2014-05-08 --module iana-if-type --startup startup.xml \
      --subscribe "name=up;subtree=/interfaces/interface[enabled='true']" --edit down.xml
  ls edits/*.xml | orv-element run --module ietf-system --format json --subscribe 'name=all;heartbeat=5' | jq .
)";

// The check of an option's text: empty, or why it is wrong.
std::string checkSpec(const std::string& text)
{
    try
    {
        OrvElement::SubscriptionSpec::parse(text, OrvElement::currentTime());
        return "";
    }
    catch (const std::exception& e)
    {
        return e.what();
    }
}

void addElementOptions(CLI::App& command, OrvElement::ElementOptions& options)
{
    command.add_option("--yang", options.model.yangDirs, "folders with YANG modules, searched with their subfolders")
        ->type_name("DIR")
        ->capture_default_str();
    command.add_option("--component", options.componentPath, "the component's library")->type_name("FILE");
    command.add_option("--config", options.componentConfigPath, "the component's configuration")->type_name("FILE");
    command
        .add_option("--log-level", options.logLevel,
                    "3 errors, 4 warnings, 6 information, 8 traces, 14 traces with subsystem")
        ->check(CLI::Range(0, 99).description(""))
        ->capture_default_str();
}

CLI::App* addRunCommand(CLI::App& program, OrvElement::RunOptions& options)
{
    CLI::App* run = program.add_subcommand("run", "Load models and data, subscribe, and apply edits as they come");
    addElementOptions(*run, options.element);
    OrvElement::ModelOptions& model = options.element.model;
    run->add_option("--module", model.modules, "YANG modules, NAME or NAME@REVISION; at least one")->type_name("NAME");
    run->add_option("--struct", model.structPaths, "data paths of containers that become struct attributes")
        ->type_name("PATH");
    run->add_option("--name", model.elementName, "the element's name outside")->capture_default_str();
    run->add_option("--startup", options.element.startupPath, "configuration to begin with, XML or JSON")
        ->type_name("FILE");
    run->add_option("--edit", options.edits, "edits to apply first, in this order, XML or JSON")->type_name("FILE");
    run->add_option("--watch", options.watchDirectory, "take further edits from this folder")->type_name("DIR");
    run->add_option("--subscribe", options.subscriptions, "subscriptions to begin with, see below")
        ->type_name("SPEC")
        ->check(checkSpec);
    run->add_option_function<std::string>(
           "--format",
           [&options](const std::string& format)
           { options.format = format == "json" ? OrvElement::RecordFormat::Json : OrvElement::RecordFormat::Text; },
           "how records are written: text, or json with one object per line")
        ->type_name("text|json")
        ->check(CLI::IsMember({"text", "json"}).description(""));
    run->footer(std::string(RUN_FOOTER) + EXIT_CODES);
    return run;
}

CLI::App* addDemoCommand(CLI::App& program, OrvElement::ElementOptions& options)
{
    CLI::App* demo = program.add_subcommand(
        "demo", "Change a small element and show what each of several subscribers receives; checks itself");
    addElementOptions(*demo, options);
    demo->footer(std::string("Exit code 1 also means that a subscriber did not receive exactly what it should.\n") +
                 EXIT_CODES);
    return demo;
}

int fail(ExitCode code, const std::string& error)
{
    std::fprintf(stderr, "orv-element: %s\n", error.c_str());
    return code;
}

OrvElement::ElementOptions defaultOptions()
{
    OrvElement::ElementOptions options;
    options.model.yangDirs = {"/usr/share/yuma"};
    options.componentPath = OrvElement::defaultComponentPath();
    return options;
}

// A standard descriptor that the caller has closed would be given to the next file that is opened, and input would be
// read from it or records be written to it. In its place /dev/null: input is at its end, and writing fails.
void occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (fcntl(descriptor, F_GETFD) == -1 && errno == EBADF)
        {
            open("/dev/null", O_RDONLY);  // takes the lowest number that is free: this one
        }
    }
}

int runProgram(int argc, char** argv)
{
    CLI::App program("The reference element: hosts the notification service with YANG models and data.", "orv-element");
    program.require_subcommand(0, 1);
    program.footer(EXIT_CODES);
    OrvElement::ElementOptions demoOptions = defaultOptions();
    demoOptions.logLevel = 3;  // the one clock change of the demo is no news to its reader
    demoOptions.componentConfigPath = OrvElement::dataPath("demo/notification_service.xml");
    OrvElement::RunOptions runOptions;
    runOptions.element = defaultOptions();
    runOptions.element.componentConfigPath = OrvElement::dataPath("notification_service.xml");
    const CLI::App* demo = addDemoCommand(program, demoOptions);
    const CLI::App* run = addRunCommand(program, runOptions);
    try
    {
        program.parse(argc, argv);
    }
    catch (const CLI::ParseError& e)
    {
        return e.get_exit_code() == 0 ? program.exit(e) : fail(USAGE, e.what());
    }
    // What is missing is asked for here, since CLI11 would complain of that first and not name what it does not know.
    if (demo->parsed())
    {
        return OrvElement::DemoCommand(demoOptions).execute();
    }
    if (!run->parsed())
    {
        return fail(USAGE, "a subcommand is needed: demo or run");
    }
    if (runOptions.element.model.modules.empty())
    {
        return fail(USAGE, "--module is needed");
    }
    return OrvElement::RunCommand(runOptions).execute();
}

}  // namespace

int main(int argc, char** argv)
{
    occupyStandardDescriptors();
    try
    {
        return runProgram(argc, argv);
    }
    catch (const OrvElement::SubtreeError& e)
    {
        // Of an option: one that comes as input does not end the program.
        return fail(USAGE, e.what());
    }
    catch (const std::exception& e)
    {
        return fail(FAILURE, e.what());
    }
}
