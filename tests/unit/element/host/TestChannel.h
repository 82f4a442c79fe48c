#pragma once

#include <Poco/Channel.h>
#include <Poco/Message.h>

#include <string>
#include <vector>

namespace OrvElement
{

// Keeps the lines of the element's log with their priorities: "4 a warning". For one thread.
class TestChannel : public Poco::Channel
{
public:
    void log(const Poco::Message& message) override
    {
        lines.push_back(std::to_string(message.getPriority()) + " " + message.getText());
    }
    std::vector<std::string> lines;
};

}  // namespace OrvElement
