#pragma once

#include "OrvOamSpiModelRepository_2.h"
#include "YangModel.h"

namespace OrvElement
{

// Serves the model repository interface "2" from a YANG model.
//
// The interface is a table of plain functions without a context, so a process has one current model: the one of the
// living ModelRepository.
// Threads:   the table's functions from any thread; construction and destruction by the host, while no component runs.
// Ownership: the model is the caller's and must outlive this object. The table lives as long as the process; without a
//            living repository its functions answer OrvFailure.
// Failure:   a second living repository is refused with ElementError. A null pointer or a value that is no handle of
//            the model gives OrvBadArgument, and what the caller wanted filled stays as it was.
class ModelRepository
{
public:
    explicit ModelRepository(const YangModel& model);
    ~ModelRepository();

    // "OrvOamSpiModelRepositoryService" / "OrvOamSpiModelRepository" / "2".
    static OrvOamSpiModelRepository_2* table();

    ModelRepository(const ModelRepository&) = delete;
    ModelRepository& operator=(const ModelRepository&) = delete;
};

}  // namespace OrvElement
