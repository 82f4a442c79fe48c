#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "TemporaryDirectory.h"

namespace OrvTest
{

// The program orv-element as a process of its own, in an empty working directory. Standard input and output are pipes,
// standard error is a file or, if asked for, a terminal.
//
// Every wait ends after a time-out, which throws std::runtime_error: it turns a hang into a failure.
// Threads: one at a time.
class ElementProcess
{
public:
    enum class Errors
    {
        ToFile,
        ToTerminal
    };

    // missing: a standard descriptor that the program is started without, or -1.
    explicit ElementProcess(const std::vector<std::string>& arguments, Errors errors = Errors::ToFile,
                            int missing = -1);
    ~ElementProcess();  // kills a process that still runs

    void writeLine(const std::string& line);
    void closeInput();
    // The program finds nobody at the other end of its standard output any more.
    void closeOutput();
    void signal(int number);

    // A record that arrives in the moment in which a delivery run ends waits for the next one. So when a line has not
    // come for two seconds this is called to bring one: an edit that gives eth0 the description. No line with it is
    // shown.
    void nudgeWith(const std::function<void(const std::string& description)>& edit) { _nudge = edit; }

    // The next line of standard output; throws at its end.
    std::string readLine();
    // Reads lines until one has the text, and gives that line.
    std::string readUntil(const std::string& text);

    // Closes the input, reads the output to its end, and gives the exit code, or minus the number of the signal that
    // ended the process.
    int finish();
    // The same with the input left open.
    int wait();

    // All lines that have been read.
    const std::vector<std::string>& lines() const { return _lines; }
    // What was written to standard error. After the process has ended.
    std::string errors() const;
    // The working directory.
    const std::string& directory() const { return _directory.path(); }

    ElementProcess(const ElementProcess&) = delete;
    ElementProcess& operator=(const ElementProcess&) = delete;

private:
    bool readMore();
    bool waitForOutput();

    TemporaryDirectory _directory;
    TemporaryDirectory _errorDirectory;
    std::string _errorPath;
    int _terminal = -1;  // our end
    pid_t _pid = -1;
    int _input = -1;
    int _output = -1;
    std::function<void(const std::string& description)> _nudge;
    int _nudges = 0;
    std::string _unread;
    std::vector<std::string> _lines;
};

// How a finished process ended, for short tests.
struct Outcome
{
    int code;
    std::vector<std::string> lines;
    std::string errors;
};

// Runs the program with the given lines as its whole input.
Outcome runElement(const std::vector<std::string>& arguments, const std::vector<std::string>& input = {});

// The arguments of a run with the interface and system modules and the demo's startup data, and with what is added.
std::vector<std::string> runArguments(const std::vector<std::string>& added = {});

// A file of the demo.
std::string demoFile(const std::string& name);

// An edit that creates the interfaces of these names.
std::string createInterfaces(const std::vector<std::string>& names);

// An edit that gives eth0 a description.
std::string describeEth0(const std::string& description);

}  // namespace OrvTest
