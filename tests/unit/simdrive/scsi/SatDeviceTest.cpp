#include "features/simulator/store/CaptureFolder.h"
#include "simdrive/scsi/SatDevice.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace simdrive::scsi {
namespace {

using features::simulator::CapturedAnswers;
using features::simulator::FaultyCommand;

class SatDeviceTest : public SimulatedSataDrive {
protected:
    Answer execute(const Bytes& bytes) {
        Bytes cdb = bytes;
        cdb.resize(CDB_BYTES);
        return SatDevice(*drive).execute(0, cdb.data(), {}, 512);
    }
    /// The drive answers IDENTIFY DEVICE with this status, as one of a capture.
    void capture(uint16_t status) {
        CapturedAnswers answers;
        answers.isSata = true;
        answers.answers[{0xEC, {}}].status = status;
        ASSERT_TRUE(succeeded(writeCapture(answers, path())));
        reopen();
    }
};

TEST_F(SatDeviceTest, AnIdentifyThatSucceedsWithoutDataIsOneOfZeros) {
    FaultyCommand identify;
    identify.isAta = true;
    identify.opcode = 0xEC;
    description.faults.fail = {identify};
    describe();
    const Answer inquiry = execute({0x12, 0, 0, 0, 36});
    EXPECT_EQ(inquiry.status, 0x00);
    ASSERT_EQ(inquiry.data.size(), 36U);
    EXPECT_EQ(
        Bytes(inquiry.data.begin() + 8, inquiry.data.end()),
        (Bytes{'A', 'T', 'A', ' ', ' ', ' ', ' ', ' ', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(execute({0x1A, 0, 0x08, 0, 24}).data[4 + 2], 0x00) << "no write cache";
}

TEST_F(SatDeviceTest, ADeviceFaultIsAFailure) {
    capture(0x7000);  // DF without ERR
    for (const Bytes& cdb : {Bytes{0x12, 0, 0, 0, 36}, Bytes{0x1A, 0, 0x08, 0, 24},
                             Bytes{0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC}}) {
        const Answer answer = execute(cdb);
        EXPECT_EQ(answer.status, 0x02);
        ASSERT_GE(answer.sense.size(), 4U);
        EXPECT_EQ((Bytes{answer.sense[1], answer.sense[2], answer.sense[3]}), (Bytes{0x04, 0x44, 0x00}));
    }
}

}  // namespace
}  // namespace simdrive::scsi
