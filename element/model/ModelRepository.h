#pragma once

#include "OrvOamSpiModelRepository_2.h"
#include "YangModel.h"
#include "ZelOamSpiCm.h"

namespace OrvElement
{

// Serves the model repository interfaces "2" and "3" from a YANG model. What they share has the same handles in both.
//
// The interfaces are tables of plain functions without a context, so a process has one current model: the one of the
// living ModelRepository.
// Threads:   the tables' functions from any thread; construction and destruction by the host, while no component runs.
// Ownership: the model is the caller's and must outlive this object. The tables live as long as the process; without a
//            living repository their functions answer OrvFailure.
// Failure:   a second living repository is refused with ElementError. A null pointer, a selector other than 0, or a
//            value that is no handle of the model (or one of another kind) gives OrvBadArgument; a DN without a class,
//            a class without attributes and the end of the attributes give OrvNotFound. What the caller wanted filled
//            then stays as it was.
class ModelRepository
{
public:
    explicit ModelRepository(const YangModel& model);
    ~ModelRepository();

    // "OrvOamSpiModelRepositoryService" / "OrvOamSpiModelRepository" / "2".
    static OrvOamSpiModelRepository_2* table();

    // "ZelOamSpiModelRepositoryService" / "ZelOamSpiModelRepository" / "3". The sub-tables 3 and 5 to 8 have no
    // function and are null; reserved entries of the others do nothing.
    static ZelOamSpiModelRepository_3* tableOfVersion3();

    ModelRepository(const ModelRepository&) = delete;
    ModelRepository& operator=(const ModelRepository&) = delete;
};

}  // namespace OrvElement
