#include "RecordPrinter.h"

#include "OrvThreadLock.h"
#include "RecordText.h"

namespace OrvElement
{

RecordPrinter::RecordPrinter(std::FILE* stream, RecordFormat format, std::function<void()> onFailure)
    : _format(format), _onFailure(std::move(onFailure)), _stream(stream)
{
}

void RecordPrinter::print(const std::string& subscription, const OrvOamSpiNbiNotificationValue_1& record)
{
    const std::string line =
        (_format == RecordFormat::Json ? recordAsJson(subscription, record) : recordAsText(subscription, record)) +
        "\n";
    const Orv::OrvThreadLock<Poco::FastMutex> lock(_mutex);
    if (_failed)
    {
        return;
    }
    if (std::fwrite(line.data(), 1, line.size(), _stream) != line.size() || std::fflush(_stream) != 0)
    {
        _failed = true;
        _onFailure();
    }
}

bool RecordPrinter::failed() const
{
    const Orv::OrvThreadLock<Poco::FastMutex> lock(_mutex);
    return _failed;
}

}  // namespace OrvElement
