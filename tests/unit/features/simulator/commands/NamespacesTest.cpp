#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/DriveFolder.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;

namespace {

/// Formats of the VELKO model: 0 is 512, 1 is 512 + 8, 2 is 4096, 3 is 4096 + 8 bytes.
class NamespacesOfASimulatedDrive : public SimulatedDrive {
protected:
    static constexpr uint32_t MIB_IN_512 = 2048;

    /// The host's part of a Namespace Management command that creates.
    void request(uint64_t size, uint64_t capacity, uint8_t flbas, uint8_t dps = 0, uint8_t nmic = 0) {
        data.assign(4096, 0);
        for (size_t i = 0; i < 8; ++i) {
            data[i] = static_cast<uint8_t>(size >> 8 * i);
            data[8 + i] = static_cast<uint8_t>(capacity >> 8 * i);
        }
        data[26] = flbas;
        data[29] = dps;
        data[30] = nmic;
    }
    uint16_t create(uint64_t size, uint8_t flbas = 0) {
        request(size, size, flbas);
        return status(admin(0x0D));
    }
    uint16_t remove(uint32_t nsid) { return status(admin(0x0D, nsid, 1)); }
    /// `select`: 0 attaches, 1 detaches.
    uint16_t attach(uint32_t nsid, uint32_t select, const Bytes& controllers = {1, 0, 1, 0}) {
        data = controllers;
        data.resize(4096);
        return status(admin(0x15, nsid, select));
    }
    uint64_t unallocated() { return number(identify(0x01), 296, 8); }
    Bytes list(uint32_t cns, uint32_t nsid = 0) { return part(identify(cns, nsid), 0, 16); }
};

TEST_F(NamespacesOfASimulatedDrive, AreMadeAttachedAndRemoved) {
    EXPECT_EQ(remove(1), 0);
    EXPECT_EQ(unallocated(), 64U << 20);
    request(10 * MIB_IN_512 + 1, 10 * MIB_IN_512 + 1, 0, 0, 1);
    auto completion = run(admin(0x0D));
    EXPECT_EQ(completion.statusField, 0);
    EXPECT_EQ(completion.dword0, 1U);
    request(256, 256, 2);
    completion = run(admin(0x0D));
    EXPECT_EQ(completion.dword0, 2U);
    EXPECT_EQ(unallocated(), 52U << 20) << "whole units of 1 MiB: 11 and 1";
    EXPECT_EQ(list(0x02), Bytes(16)) << "none is attached";
    EXPECT_EQ(list(0x10), (Bytes{1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(list(0x10, 1), (Bytes{2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})) << "above 1";

    EXPECT_EQ(attach(2, 0), 0);
    EXPECT_EQ(list(0x02), (Bytes{2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(part(identify(0x12, 2), 0, 4), (Bytes{1, 0, 1, 0}));
    EXPECT_EQ(part(identify(0x12, 1), 0, 4), Bytes(4));
    EXPECT_EQ(identify(0x00, 1), Bytes(4096)) << "not attached";
    EXPECT_EQ(identify(0x11, 1)[30], 1) << "shared";
    EXPECT_EQ(number(identify(0x00, 2), 48, 8), 1U << 20);
    EXPECT_EQ(identify(0x00, 2)[26], 2);

    EXPECT_EQ(attach(2, 1), 0);
    EXPECT_EQ(list(0x02), Bytes(16));
    EXPECT_EQ(remove(0xFFFFFFFF), 0);
    EXPECT_EQ(list(0x10), Bytes(16));
    EXPECT_EQ(unallocated(), 64U << 20);
}

TEST_F(NamespacesOfASimulatedDrive, NeverGetTheIdentifiersOfAnother) {
    const Bytes first = part(identify(0x00, 1), 104, 24);
    EXPECT_EQ(remove(1), 0);
    EXPECT_EQ(create(2048), 0);
    EXPECT_EQ(attach(1, 0), 0);
    EXPECT_NE(part(identify(0x00, 1), 104, 24), first);
    EXPECT_EQ(part(identify(0x00, 1), 112, 8), (Bytes{0x02, 0x56, 0x4C, 0, 0, 0, 0, 2})) << "OUI and the second one";
    EXPECT_EQ(part(identify(0x00, 1), 120, 3), (Bytes{0x02, 0x56, 0x4C}));
    const Bytes descriptors = identify(0x03, 1);
    EXPECT_EQ(part(descriptors, 0, 4), (Bytes{1, 8, 0, 0}));
    EXPECT_EQ(part(descriptors, 4, 8), part(identify(0x00, 1), 120, 8));
    EXPECT_EQ(part(descriptors, 12, 4), (Bytes{2, 16, 0, 0}));
    EXPECT_EQ(part(descriptors, 16, 16), part(identify(0x00, 1), 104, 16));
    EXPECT_EQ(part(descriptors, 32, 4), (Bytes{3, 16, 0, 0}));
    EXPECT_EQ(part(descriptors, 52, 4), Bytes(4));
}

TEST_F(NamespacesOfASimulatedDrive, AreRefusedWithTheRightStatus) {
    EXPECT_EQ(create(1), 0x4115) << "nothing is left";
    EXPECT_EQ(remove(1), 0);
    EXPECT_EQ(create(64 * MIB_IN_512 + 1), 0x4115);
    EXPECT_EQ(create(0xFFFFFFFFFFFFFFFF), 0x4115);
    EXPECT_EQ(create(0), 0x4002);
    EXPECT_EQ(create(1, 4), 0x410A) << "no such format";
    EXPECT_EQ(create(1, 0x20), 0x4002) << "a reserved bit";
    request(2, 1, 0);
    EXPECT_EQ(status(admin(0x0D)), 0x411B) << "thin provisioning";
    request(1, 2, 0);
    EXPECT_EQ(status(admin(0x0D)), 0x4002) << "capacity above size";
    request(1, 1, 0, 1);
    EXPECT_EQ(status(admin(0x0D)), 0x410A) << "protection information";
    request(1, 1, 0, 0, 2);
    EXPECT_EQ(status(admin(0x0D)), 0x4002) << "a reserved bit";
    request(1, 1, 0);
    data[100] = 1;
    EXPECT_EQ(status(admin(0x0D)), 0x4002) << "an NVM set";
    EXPECT_EQ(status(admin(0x0D, 1)), 0x4002) << "the controller chooses the identifier";
    EXPECT_EQ(status(admin(0x0D, 0, 2)), 0x4002) << "a reserved selection";
    data.assign(100, 0);
    EXPECT_EQ(status(admin(0x0D)), 0x4004);
    EXPECT_EQ(remove(1), 0x400B) << "it is gone";
    EXPECT_EQ(remove(0), 0x400B);

    EXPECT_EQ(create(2048), 0);
    EXPECT_EQ(attach(2, 0), 0x400B);
    EXPECT_EQ(attach(0xFFFFFFFF, 0), 0x4002);
    EXPECT_EQ(attach(1, 2), 0x4002) << "a reserved selection";
    EXPECT_EQ(attach(1, 1), 0x411A) << "not attached";
    EXPECT_EQ(attach(1, 0, {1, 0, 2, 0}), 0x411C) << "no such controller";
    EXPECT_EQ(attach(1, 0, {0, 0}), 0x411C);
    EXPECT_EQ(attach(1, 0), 0);
    EXPECT_EQ(attach(1, 0), 0x4118) << "attached";
}

TEST_F(NamespacesOfASimulatedDrive, AreAsManyAsTheDescriptionSays) {
    description.maxNamespaces = 2;
    describe();
    EXPECT_EQ(remove(1), 0);
    EXPECT_EQ(create(1), 0);
    EXPECT_EQ(create(1), 0);
    EXPECT_EQ(create(1), 0x4116);
    EXPECT_EQ(number(identify(0x01), 516, 4), 2U);
}

TEST_F(NamespacesOfASimulatedDrive, AreAThousandAndTwentyFourAtMost) {
    constexpr uint32_t MOST = 1024;
    description.maxNamespaces = MOST;
    describe(ModelId::VELKO, uint64_t{2} << 30);
    features::simulator::DriveFolder files(path(), features::simulator::impossibleIn);
    ASSERT_TRUE(succeeded(files.begin()));
    // All but the last, without a command for each of them.
    auto& namespaces = files.state.namespaces;
    namespaces[1].size = namespaces[1].capacity = 2048;
    for (uint32_t nsid = 2; nsid < MOST; ++nsid) namespaces[nsid] = namespaces[1];
    files.state.namespacesMade = MOST - 1;
    ASSERT_TRUE(succeeded(files.commit()));
    reopen();

    request(1, 1, 0);
    const auto completion = run(admin(0x0D));
    EXPECT_EQ(completion.statusField, 0);
    EXPECT_EQ(completion.dword0, MOST);
    EXPECT_EQ(create(1), 0x4116);
    EXPECT_EQ(attach(MOST, 0), 0);
    Bytes all(4096);
    for (uint32_t nsid = 1; nsid <= MOST; ++nsid) {
        all[4 * (nsid - 1)] = static_cast<uint8_t>(nsid);
        all[4 * (nsid - 1) + 1] = static_cast<uint8_t>(nsid >> 8);
    }
    EXPECT_EQ(identify(0x02), all) << "a full page";
    EXPECT_EQ(identify(0x10), all);
    EXPECT_EQ(part(identify(0x10, MOST - 1), 0, 8), (Bytes{0, 4, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(number(identify(0x00, MOST), 0, 8), 1U);
    EXPECT_EQ(status(admin(0x06, MOST + 1, 0)), 0x400B);
    EXPECT_EQ(remove(0xFFFFFFFF), 0);
    EXPECT_EQ(log(0x04, 4096), all) << "as many changes as the log page has entries";
}

TEST_F(NamespacesOfASimulatedDrive, AreNotManagedWhereTheDriveDoesNotSupportIt) {
    description.supportsNamespaceManagement = false;
    describe();
    EXPECT_EQ(create(1), 0x4001);
    EXPECT_EQ(attach(1, 1), 0x4001);
    EXPECT_EQ(status(admin(0x06, 0, 0x10)), 0x4002);
    EXPECT_EQ(status(admin(0x06, 0xFFFFFFFF, 0x00)), 0x400B);
    EXPECT_EQ(number(identify(0x01), 256, 2), 0x16U);
    EXPECT_EQ(number(identify(0x01), 280, 8), 0U);
}

TEST_F(NamespacesOfASimulatedDrive, GetNewMediaByAFormat) {
    data.assign(512, 0x55);
    EXPECT_EQ(status(io(0x01, 1, 5)), 0);
    EXPECT_EQ(status(admin(0x80, 1, 0x200 | 2)), 0) << "to 4 KiB, user data erase";
    EXPECT_EQ(identify(0x00, 1)[26], 2);
    EXPECT_EQ(number(identify(0x00, 1), 0, 8), 16384U);
    EXPECT_EQ(number(identify(0x00, 1), 16, 8), 0U);
    EXPECT_EQ(status(io(0x02, 1, 0)), 0);
    EXPECT_EQ(data, Bytes(4096));
    EXPECT_EQ(unallocated(), 0U);
    EXPECT_EQ(status(admin(0x80, 0xFFFFFFFF, 0)), 0) << "and back, all namespaces";
    EXPECT_EQ(number(identify(0x00, 1), 0, 8), 131072U);
}

TEST_F(NamespacesOfASimulatedDrive, KeepNoOldMediaFiles) {
    const auto mediaFiles = [this] {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path())) {
            const std::string name = entry.path().filename();
            if (name.compare(0, 6, "media-") == 0) names.push_back(name);
        }
        return names;
    };
    data.assign(512, 0x55);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_EQ(mediaFiles(), std::vector<std::string>{"media-1-1"});
    EXPECT_EQ(status(admin(0x80, 1)), 0);
    EXPECT_TRUE(mediaFiles().empty()) << "made by the next write";
    data.assign(512, 0x55);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_EQ(mediaFiles(), std::vector<std::string>{"media-1-2"});
    writeWholeFile(path() + "/media-7-1", "left by a process that died");
    reopen();
    EXPECT_EQ(remove(1), 0);
    EXPECT_TRUE(mediaFiles().empty());
}

TEST_F(NamespacesOfASimulatedDrive, RefuseAFormatThatTheyDoNotHave) {
    EXPECT_EQ(status(admin(0x80, 1, 4)), 0x410A);
    EXPECT_EQ(status(admin(0x80, 1, 0x20)), 0x410A) << "protection information";
    EXPECT_EQ(status(admin(0x80, 1, 0x600)), 0x4002) << "a reserved erase";
    EXPECT_EQ(status(admin(0x80, 2)), 0x400B);
    EXPECT_EQ(status(admin(0x80, 1, 0x1000)), 0x4002) << "a reserved bit";
    EXPECT_EQ(identify(0x00, 1)[26], 0);
}

TEST_F(NamespacesOfASimulatedDrive, CarryMetadata) {
    EXPECT_EQ(status(admin(0x80, 1, 0x11)), 0) << "512 + 8, together";
    EXPECT_EQ(identify(0x00, 1)[26], 0x11);
    data.assign(1040, 0);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i % 251);
    const Bytes written = data;
    EXPECT_EQ(status(io(0x01, 1, 7, 0, 1)), 0);
    EXPECT_EQ(status(io(0x02, 1, 7, 0, 1)), 0);
    EXPECT_EQ(data, written);
    EXPECT_EQ(status(io(0x02, 1, 6)), 0);
    EXPECT_EQ(data, Bytes(520));
    EXPECT_EQ(status(admin(0x80, 1, 0x01)), 0) << "512 + 8, apart";
    data.assign(512, 9);
    EXPECT_EQ(status(io(0x01, 1, 7)), 0);
    EXPECT_EQ(status(io(0x02, 1, 7)), 0);
    EXPECT_EQ(data, Bytes(512, 9));
}

TEST_F(NamespacesOfASimulatedDrive, ReportTheirChangesOnce) {
    EXPECT_EQ(attach(1, 1), 0);
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x00018004)), 0) << "8 bytes, the event is retained";
    EXPECT_EQ(data, (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(part(log(0x04, 4096), 0, 8), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(log(0x04, 4096), Bytes(4096));
}

TEST_F(NamespacesOfASimulatedDrive, OfAShrunkenDriveStay) {
    EXPECT_EQ(unallocated(), 0U);
    description.sizeBytes = 1 << 20;
    describe();
    EXPECT_EQ(unallocated(), 0U);
    EXPECT_EQ(number(identify(0x00, 1), 0, 8), 131072U);
}

}  // namespace
