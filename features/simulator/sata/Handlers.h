#pragma once

#include "features/simulator/sata/SataContext.h"

/// What carries the commands out, by the feature sets of the standard (ACS-4 clause 7). The table of commands has
/// looked at protocol, addressing and the state of the drive before.
namespace features::simulator::sata {

ata::Registers identifyDevice(SataContext& context);
ata::Registers smart(SataContext& context);
ata::Registers readLog(SataContext& context);

ata::Registers readSectors(SataContext& context);
ata::Registers writeSectors(SataContext& context);
ata::Registers verifySectors(SataContext& context);
ata::Registers flushCache(SataContext& context);
ata::Registers dataSetManagement(SataContext& context);

ata::Registers setPassword(SataContext& context);
ata::Registers unlock(SataContext& context);
ata::Registers prepareErase(SataContext& context);
ata::Registers eraseUnit(SataContext& context);
ata::Registers freezeSecurity(SataContext& context);
ata::Registers disablePassword(SataContext& context);

ata::Registers trustedReceive(SataContext& context);
ata::Registers sanitize(SataContext& context);
ata::Registers downloadMicrocode(SataContext& context);

ata::Registers accessibleMaxAddress(SataContext& context);
ata::Registers readNativeMax(SataContext& context);
ata::Registers setMax(SataContext& context);

ata::Registers setFeatures(SataContext& context);
ata::Registers setDateAndTime(SataContext& context);
ata::Registers checkPowerMode(SataContext& context);
ata::Registers enterIdle(SataContext& context);
ata::Registers enterStandby(SataContext& context);

}  // namespace features::simulator::sata
