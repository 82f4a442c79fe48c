#pragma once

#include <Poco/Mutex.h>

#include <cstdint>
#include <memory>
#include <string>

#include "ChangeEvent.h"
#include "DataText.h"
#include "ElementError.h"
#include "ThreadSafety.h"
#include "YangModel.h"

namespace OrvElement
{

class DataTree;

// The element's configuration: a libyang data tree, always valid once it was loaded.
//
// Startup data and edits hold configuration only: a "config false" node in either is refused, since the element has no
// instrumentation behind it. In XML they may be several elements side by side, and may stand in a <config> or <data>
// element of the NETCONF base namespace.
//
// An edit is what RFC 6241 calls the content of <edit-config>'s <config>: data whose nodes may carry the attribute
// "operation" (merge, replace, create, delete, remove) of that namespace; in JSON the annotation
// "ietf-netconf:operation". Without one a node has its parent's operation, at the top merge. An entry of a user-ordered
// list or leaf-list takes the attributes "insert", "key" and "value" of YANG's namespace (RFC 7950). A value that is
// there by default only counts as missing for create and delete. A leaf that is deleted or removed need not carry a
// value. Nodes are applied in the order of the edit.
//
// Each edit works on a copy of the data, which then takes the place of the original: a refused edit has nothing to
// undo, and a reader keeps what it began to read.
// Threads:   any. One edit at a time; a read during an edit sees the data as they were before it.
// Ownership: the model is the caller's and must outlive this object.
// Failure:   ElementError; the data are then exactly as they were.
class ElementData
{
public:
    // No data yet but the defaults.
    explicit ElementData(const YangModel& model);
    ~ElementData();

    // Replaces all data by those of the file, without an event. XML or JSON by the name's ending (.xml, .json), else by
    // the content.
    void loadStartup(const std::string& path);

    // Applies, validates and commits. The event is empty if nothing changed.
    std::unique_ptr<ChangeEvent> applyEdit(const std::string& text, EditFormat format);

    // The same with the content of a file, the format found as for startup data. An error names the file.
    std::unique_ptr<ChangeEvent> applyEditFile(const std::string& path);

    // The data as they are now, defaults included. Edits never change what was handed out.
    std::shared_ptr<const DataTree> snapshot() const ORV_EXCLUDES(_currentMutex);

    // All configured data, without the defaults in use.
    std::string print(EditFormat format) const;

    ElementData(const ElementData&) = delete;
    ElementData& operator=(const ElementData&) = delete;

private:
    void publish(std::shared_ptr<const DataTree> tree) ORV_EXCLUDES(_currentMutex);

    const YangModel& _model;

    Poco::FastMutex _editMutex ORV_ACQUIRED_BEFORE(_currentMutex);  // held for the whole of an edit
    uint32_t _lastTxHandle ORV_GUARDED_BY(_editMutex) = 0;

    mutable Poco::FastMutex _currentMutex;  // held to read or to swap the pointer only
    std::shared_ptr<const DataTree> _current ORV_GUARDED_BY(_currentMutex);
};

}  // namespace OrvElement
