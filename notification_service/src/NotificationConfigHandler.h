#pragma once

#include <string>

#include "OrvConfiguration.h"

namespace OrvNbiNotificationService
{

// Reads the component's one setting, the size of the replay buffer, from its XML file: the element bufferSize inside
// the one element OrvNbiNotificationService.
// Threads: life cycle thread.
class NotificationConfigHandler : public Orv::OrvConfiguration
{
public:
    NotificationConfigHandler();
    ~NotificationConfigHandler() override;

    // 0, or -1 after a warning if the file cannot be used. A file without a usable bufferSize gives the text "5000"; a
    // bufferSize that is no number gives the value 0 and no failure.
    int load(const std::string& path);

    const std::string& getBufferSize() const;
    unsigned int getBufferSizeInt();  // 0: no size is set

    // The text of the one descendant of this name; empty, with a warning, if there is none or more than one.
    std::string getElementValue(Orv::OrvConfiguration& config, Poco::XML::Element* parent, std::string tagName);

private:
    std::string bufferSizeStr;
    unsigned int bufferSizeInt;
};

}  // namespace OrvNbiNotificationService
