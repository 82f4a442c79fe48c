// What the tests of this folder share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <list>
#include <string>
#include <vector>

#include "FakeFramework.h"
#include "LogCheck.h"
#include "NotificationBuffer.h"
#include "NotificationUtils.h"
#include "Records.h"
#include "ThreadSafety.h"
#include "Trace.h"

namespace OrvTest
{

// A framework whose log and trace interfaces the code under test has found.
class StorageTest : public testing::Test
{
protected:
    void traceEverything()
    {
        framework.setLevel(8);
        framework.log().clear();
    }

    FakeFramework framework;
    CommonSession session{framework};
};

// A record without attributes, in a form that can be passed on at once.
inline Notification at(int64_t eventTime, const std::string& dn = "A=1")
{
    return makeNotification(eventTime, dn, objectCreated);
}

// The records of a buffer that no other thread uses.
inline std::vector<OrvOamSpiNbiNotificationValue_1*>& stored(OrvNbiNotificationService::NotificationBuffer& buffer)
    ORV_NO_THREAD_SAFETY_ANALYSIS
{
    return buffer._queue._notifications;
}

template <typename List>
std::vector<int64_t> times(const List& records)
{
    std::vector<int64_t> result;
    for (const OrvOamSpiNbiNotificationValue_1* record : records)
    {
        result.push_back(record->eventTime);
    }
    return result;
}

template <typename List>
std::vector<std::string> dns(const List& records)
{
    std::vector<std::string> result;
    for (const OrvOamSpiNbiNotificationValue_1* record : records)
    {
        result.emplace_back(record->dn);
    }
    return result;
}

// A list of records that frees them at the end.
struct OwnedRecords : std::deque<OrvOamSpiNbiNotificationValue_1*>
{
    OwnedRecords() = default;
    ~OwnedRecords()
    {
        for (OrvOamSpiNbiNotificationValue_1*& record : *this)
        {
            NotificationUtils::deleteNotification(record);
        }
    }
    OwnedRecords(const OwnedRecords&) = delete;
    OwnedRecords& operator=(const OwnedRecords&) = delete;
};

// Every line as text, and the subsystem of each line that has one checked.
inline std::vector<std::string> described(const std::vector<LogLine>& lines)
{
    std::vector<std::string> result;
    for (const LogLine& line : lines)
    {
        if (line.source == LogLine::traceV2)
        {
            EXPECT_EQ(line.subsystem, Orv::Trace::Notif) << describe(line);
        }
        result.push_back(describe(line));
    }
    return result;
}

}  // namespace OrvTest
