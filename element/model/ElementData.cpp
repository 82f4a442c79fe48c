#include "ElementData.h"

#include <libyang/libyang.h>

#include <chrono>
#include <utility>

#include "ChangeCollector.h"
#include "DataTree.h"
#include "EditApplier.h"
#include "EditParser.h"
#include "LibyangErrors.h"
#include "OrvThreadLock.h"

namespace OrvElement
{
namespace
{

// Nanoseconds since the Unix epoch.
uint64_t now()
{
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

// Validates the data and completes them with defaults. changes receives what that changed, as a data tree.
void validate(DataTree& data, DataTree* changes)
{
    if (lyd_validate_all(&data.first(), data.context(), LYD_VALIDATE_NO_STATE, changes ? &changes->first() : nullptr))
    {
        throw ElementError("not valid: " + takeLibyangError(data.context()));
    }
}

}  // namespace

ElementData::ElementData(const YangModel& model) : _model(model)
{
    auto tree = std::make_shared<DataTree>(model.context());
    if (lyd_new_implicit_all(&tree->first(), model.context(), LYD_IMPLICIT_NO_STATE, nullptr))
    {
        throw ElementError("the model's defaults cannot be made: " + takeLibyangError(model.context()));
    }
    tree->settle();
    _current = std::move(tree);
}

ElementData::~ElementData() = default;

void ElementData::loadStartup(const std::string& path)
{
    const std::string text = readTextFile(path);
    try
    {
        auto tree = std::make_shared<DataTree>(parseStartup(_model.context(), text, formatOf(path, text)));
        validate(*tree, nullptr);
        tree->settle();
        const Orv::OrvThreadLock<Poco::FastMutex> lock(_editMutex);
        publish(std::move(tree));
    }
    catch (const ElementError& error)
    {
        throw ElementError(path + ": " + error.what());
    }
}

std::unique_ptr<ChangeEvent> ElementData::applyEdit(const std::string& text, EditFormat format)
{
    const DataTree edit = parseEdit(_model.context(), text, format);
    const Orv::OrvThreadLock<Poco::FastMutex> lock(_editMutex);
    const std::shared_ptr<const DataTree> before = snapshot();
    auto after = std::make_shared<DataTree>(before->copy());
    EditApplier(*after).apply(edit);
    DataTree validationChanges(_model.context());
    validate(*after, &validationChanges);
    after->settle();

    ChangeCollector collector(_model, *before, *after);
    collector.follow(edit);
    collector.follow(validationChanges);
    std::unique_ptr<ChangeEvent> event = collector.event(_lastTxHandle + 1, now());
    ++_lastTxHandle;
    publish(std::move(after));
    return event;
}

std::unique_ptr<ChangeEvent> ElementData::applyEditFile(const std::string& path)
{
    const std::string text = readTextFile(path);
    try
    {
        return applyEdit(text, formatOf(path, text));
    }
    catch (const ElementError& error)
    {
        throw ElementError(path + ": " + error.what());
    }
}

std::string ElementData::print(EditFormat format) const
{
    return snapshot()->print(format);
}

std::shared_ptr<const DataTree> ElementData::snapshot() const
{
    const Orv::OrvThreadLock<Poco::FastMutex> lock(_currentMutex);
    return _current;
}

// The tree that was current is freed by its last reader, after the lock was given back.
void ElementData::publish(std::shared_ptr<const DataTree> tree)
{
    const Orv::OrvThreadLock<Poco::FastMutex> lock(_currentMutex);
    _current.swap(tree);
}

}  // namespace OrvElement
