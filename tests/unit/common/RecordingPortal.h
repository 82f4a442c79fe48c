// A framework for the library's tests: a portal that offers what a test puts in, and log and trace sinks that record.
#pragma once

#include <string>
#include <vector>

#include "OrvCommon.h"
#include "ZelMgmtSpi.h"
#include "ZelMwSpi.h"

// One call of a sink, as its arguments came, with the text formatted.
struct SinkCall
{
    enum Operation
    {
        Log,
        Trace,
        TraceV2
    };
    Operation operation;
    const void* subsystem;
    int number;  // severity, kind or level
    int flag;
    std::string function;
    std::string file;
    int line;
    const char* format;
    std::string text;
};

// The portal is process-wide, since its functions carry no context; one object of this class at a time.
// On destruction the library is terminated, so that no test sees the sinks of another.
class RecordingPortal
{
public:
    RecordingPortal();
    ~RecordingPortal();

    ZelMgmtSpiInterfacePortalAccessor* accessor();
    static ZelReturnT getInterface(ZelMgmtSpiInterface_1 id, void** result);

    // What the portal answers for the interface of this name; null takes the offer back.
    void offer(const std::string& interfaceName, void* table);
    void offerSinks();
    // orvCommonInit with this portal, at this level.
    void init(int level);

    void setLevel(int level);
    OrvMwSpiLog_1& log();
    ZelMwSpiTrace& trace();
    // The portal table that the accessor gives out; null for none.
    void setPortal(OrvMgmtSpiInterfacePortal_1* portal);
    OrvMgmtSpiInterfacePortal_1& portal();

    std::vector<SinkCall> calls() const;
    // Of the portal's lookup, as "component/interface/version", with "-" for null.
    std::vector<std::string> lookups() const;
    std::vector<std::string> versions() const;  // asked of the accessor
    int levelReads() const;
    void forget();

    RecordingPortal(const RecordingPortal&) = delete;
    RecordingPortal& operator=(const RecordingPortal&) = delete;
};

// Standard error, taken over for the lifetime of the object. Every write becomes one entry.
class StandardErrorCapture
{
public:
    StandardErrorCapture();
    ~StandardErrorCapture();

    // What was written since the last call.
    std::vector<std::string> writes();

    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

private:
    int _saved;
    int _ends[2];
};
