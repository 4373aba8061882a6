#pragma once

#include <cstdint>
#include <string>

#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/jobs/base/DriveOutput.h"
#include "features/jobs/support/WaitClock.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Gives a SATA drive new firmware by DOWNLOAD MICROCODE, and activates firmware that waits in it (ACS-4).
///
///   - The image goes in pieces that the drive takes, saved and activated by the last (03h) or by a command of its own
///     (0Eh, then 0Fh), or whole (07h), by what log 30h or IDENTIFY DEVICE reports; no other command comes between.
///   - Everything that can be wrong is looked at before the first byte: 10/15 for a drive with a password, 10/34 for
///   one
///     that takes no firmware, 10/52 for a size that it does not take.
///   - Drives reset their link when new firmware starts, and some do not answer the last piece: IDENTIFY DEVICE, which
///     is waited for half a minute, decides. A revision that is as before is reported, and not called activated.
class AtaFirmware {
public:
    AtaFirmware(ata::Drive& drive, const WaitClock& clock) : drive_(drive), clock_(clock) {}

    /// Asks the drive. What it runs now, and its model, for the choice of an image.
    struct Running {
        std::string model;
        std::string revision;
    };
    Result<Running> look();

    /// After look(). `expected`: the revision of the image, empty where it is not known; another one is 10/53.
    ostrel::core::Status update(const std::string& image, const std::string& expected, const std::string& heading,
                                DriveOutput& out);
    /// After look(). 10/53 when the drive refuses, as it does when none waits.
    ostrel::core::Status activate(const std::string& heading, DriveOutput& out);

private:
    enum class Mode : uint8_t { IN_PIECES = 0x03, WHOLE = 0x07, DEFERRED = 0x0E };
    /// `unitBlocks`: pieces, but the last, are a multiple of it.
    struct Plan {
        Mode mode;
        uint32_t unitBlocks;
        uint32_t pieceBlocks;
    };
    /// How the last command ended, which need not be known.
    struct Ending {
        ostrel::core::Status status;
        uint16_t count = 0;  ///< the register; 0: nothing reported
    };

    Result<Plan> plan(uint64_t imageBytes);
    /// Shrinks `pieceBlocks` where the system takes less at a time: then nothing was sent, and a smaller piece goes on.
    Result<Ending> sendNextPiece(const std::string& image, uint64_t offset, const Plan& plan, uint32_t& pieceBlocks);
    Result<Ending> download(const std::string& image, const Plan& plan);
    Ending sendPiece(const std::string& image, uint64_t offset, uint32_t blocks, Mode mode);
    Ending sendActivation();
    /// What the drive runs now; waits for it.
    Result<std::string> revisionAfter();
    ostrel::core::Status report(const Ending& ending, const std::string& expected, const std::string& heading,
                                DriveOutput& out);

    ata::Drive& drive_;
    const WaitClock& clock_;
    Running before_;
};

}  // namespace features::jobs
