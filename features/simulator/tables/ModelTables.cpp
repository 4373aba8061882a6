#include "features/simulator/tables/ModelTables.h"

#include "features/simulator/models/nvme21/Nvme21Features.h"
#include "features/simulator/models/nvme21/Nvme21Logs.h"
#include "features/simulator/models/ocp/Ocp26Logs.h"
#include "features/simulator/models/ocp/OcpFeatures.h"
#include "features/simulator/models/ocp/OcpLogs.h"
#include "features/simulator/models/ocp/OcpTelemetryAreas.h"
#include "features/simulator/models/velko/VelkoFeatures.h"
#include "features/simulator/models/velko/VelkoLogs.h"
#include "features/simulator/tables/CommandTable.h"
#include "features/simulator/tables/FeatureTable.h"
#include "features/simulator/tables/LogTable.h"

namespace features::simulator {

const DriveTables& tablesOf(ModelId model) {
    static const DriveTables VELKO{allCommands(), standardLogs(), velkoLogs(), standardFeatures(), velkoFeatures()};
    static const DriveTables OCP{allCommands(), standardLogs(), ocpLogs(), standardFeatures(), ocpFeatures()};
    static const DriveTables NVME_1_4{allCommands(), standardLogs(), {}, standardFeatures(), {}};
    static const DriveTables NVME_2_1{allCommands(), standardLogs(), nvme21Logs(), standardFeatures(),
                                      nvme21Features()};
    static const DriveTables OCP_2_6{allCommands(),      standardLogs(),  ocp26Logs(),
                                     standardFeatures(), ocp26Features(), ocpTelemetryAreas};
    switch (model) {
        case ModelId::VELKO:
            return VELKO;
        case ModelId::OCP:
            return OCP;
        case ModelId::NVME_2_1:
            return NVME_2_1;
        case ModelId::OCP_2_6:
            return OCP_2_6;
        case ModelId::NVME_1_4:
        case ModelId::SATA:  // has no controller, see isSata()
            break;
    }
    return NVME_1_4;
}

}  // namespace features::simulator
