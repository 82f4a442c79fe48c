#include "NotificationConfigHandler.h"

#include <Poco/AutoPtr.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeList.h>
#include <Poco/Exception.h>
#include <Poco/NumberParser.h>

#include "OrvException.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

namespace
{
const char* const DEFAULT_BUFFER_SIZE = "5000";
}

NotificationConfigHandler::NotificationConfigHandler() : bufferSizeInt(0) {}

NotificationConfigHandler::~NotificationConfigHandler() = default;

int NotificationConfigHandler::load(const std::string& path)
{
    NOTIF_TRACE(" >> \nLoading configuration file %s", path.c_str());
    Poco::XML::NodeList* list = nullptr;
    try
    {
        // A local document: the handler's own is never loaded.
        Orv::OrvConfiguration config;
        config.unload();
        config.load(path);
        list = config.getElementsByTagName("OrvNbiNotificationService");
        if (list->length() == 0)
        {
            throw Orv::OrvException("Configuration handler couldn't find <OrvNbiNotificationService> tag");
        }
        if (list->length() > 1)
        {
            throw Orv::OrvException("Configuration handler found more than one <OrvNbiNotificationService> tag");
        }
        bufferSizeStr = getElementValue(config, static_cast<Poco::XML::Element*>(list->item(0)), "bufferSize");
        if (bufferSizeStr.empty())
        {
            bufferSizeStr = DEFAULT_BUFFER_SIZE;
            NOTIF_INFO("bufferSize tag not found in configuration file, using default '%s'.", bufferSizeStr.c_str());
        }
        else
        {
            NOTIF_TRACE("bufferSize tag found: %s.", bufferSizeStr.c_str());
        }
        bufferSizeInt = 0;
        bufferSizeInt = Poco::NumberParser::parseUnsigned(bufferSizeStr);
        list->release();
        NOTIF_TRACE(" << ");
        return 0;
    }
    catch (const Poco::SyntaxException&)
    {
        NOTIF_ERROR("bufferSize tag contains invalid string '%s'. DEFAULT_MAX_BUFFER_SIZE will be used",
                    bufferSizeStr.c_str());
        list->release();
        return 0;
    }
    catch (const Orv::OrvException& e)
    {
        NOTIF_WARNING("Caught exception: %s", e.what());
        if (list != nullptr)
        {
            list->release();
        }
        return -1;
    }
    // Whatever comes here is not of our making, so the list, which leans on the parser's document, is left alone.
    catch (const std::exception& e)
    {
        NOTIF_WARNING("Caught exception: %s", e.what());
        return -1;
    }
}

const std::string& NotificationConfigHandler::getBufferSize() const
{
    return bufferSizeStr;
}

unsigned int NotificationConfigHandler::getBufferSizeInt()
{
    return bufferSizeInt;
}

std::string NotificationConfigHandler::getElementValue(Orv::OrvConfiguration& config, Poco::XML::Element* parent,
                                                       std::string tagName)
{
    NOTIF_TRACE(" >> ");
    std::string value;
    const Poco::AutoPtr<Poco::XML::NodeList> list(parent->getElementsByTagName(tagName));
    if (list->length() == 1)
    {
        Poco::XML::Element* const element = static_cast<Poco::XML::Element*>(list->item(0));
        if (element != nullptr)
        {
            value = config.get_text(element);
        }
    }
    else
    {
        NOTIF_WARNING("Configuration File does not have the correct format (%d)", static_cast<int>(list->length()));
    }
    NOTIF_TRACE(" << ");
    return value;
}

}  // namespace OrvNbiNotificationService
