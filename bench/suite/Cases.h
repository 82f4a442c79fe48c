#pragma once

#include <functional>
#include <string>
#include <vector>

namespace OrvBench
{

struct Settings
{
    std::string library;  // path of liborv_notification_service.so
    bool quick = false;   // a run that only shows that the case works: the shortest that passes through all of it
};

// Something to measure, alone in a process of its own.
struct Case
{
    // Scenario, contestant and parameters, as in "A/service/S=8"; names it on the command line.
    std::string name;
    // Prints its figures. Throws std::runtime_error if it could not be measured or if a record was lost, doubled or out
    // of order; UnavailableChannel if this machine lacks what is to be measured.
    std::function<void(const Settings&)> run;
};

typedef std::vector<Case> Cases;

// Each adds what its file measures.
void addSaturation(Cases& cases);   // A, B; O is read off A
void addStoreGrowth(Cases& cases);  // C
void addLowLoad(Cases& cases);      // D
void addBurst(Cases& cases);        // E
void addPushCall(Cases& cases);     // F
void addReplay(Cases& cases);       // G
void addFilters(Cases& cases);      // H
void addEvents(Cases& cases);       // I
void addMemory(Cases& cases);       // J
void addTraceOff(Cases& cases);     // K
void addSlowOne(Cases& cases);      // L
void addOverflow(Cases& cases);     // M
void addPurge(Cases& cases);        // M
void addChurn(Cases& cases);        // N
void addIdle(Cases& cases);         // idle
void addFloors(Cases& cases);       // the floors that the scenarios are held against

}  // namespace OrvBench
