#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "features/nvme/LogPages.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/PersistentEvents.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/nvme/Layout.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::parsers {
namespace {

using Bytes = std::vector<uint8_t>;

PersistentEventLog parse(const Bytes& bytes) {
    // A copy of exactly this length, so that a sanitizer sees a read beyond its end.
    const ostrel::core::Payload data(bytes.data(), bytes.size());
    return parsePersistentEventLog(data.getData(), data.getSize());
}

Bytes allEvents() {
    const auto data = nvme::Layout("all_events").data();
    return {data.getData(), data.getData() + data.getSize()};
}

/// The header of a log with so many events of so many bytes together.
Bytes header(uint8_t events, uint8_t eventBytes) {
    Bytes bytes(512);
    bytes[0] = 0x0D;
    bytes[4] = events;
    bytes[8] = eventBytes;
    bytes[9] = 0x02;  // + 512
    bytes[18] = 0xEC;
    bytes[19] = 0x01;
    return bytes;
}

Bytes operator+(Bytes bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

/// A thermal excursion of 26 bytes: 5 degrees over threshold 1.
Bytes thermal() {
    return {0x0D, 1, 21, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 5, 1};
}

/// An event with so much data, which says that it has `length` bytes of it.
Bytes event(uint8_t type, const Bytes& data, uint8_t vendorBytes, size_t length) {
    Bytes bytes(24);
    bytes[0] = type;
    bytes[2] = 21;
    bytes[20] = vendorBytes;
    bytes[22] = static_cast<uint8_t>(length);
    return bytes + data;
}
Bytes event(uint8_t type, const Bytes& data, uint8_t vendorBytes = 0) {
    return event(type, data, vendorBytes, data.size());
}

/// The headings of the events, a line each.
std::string headings(const PersistentEventLog& log) {
    std::string text;
    for (const auto& part : log.tree.parts) text += part.heading + "\n";
    return text;
}

TEST(PersistentEventLog, DecodesEveryTypeOfEventFieldByField) {
    const PersistentEventLog log = parse(allEvents());
    EXPECT_TRUE(log.isOne);
    EXPECT_EQ(log.serialNumber, "S1");
    EXPECT_EQ(log.validBytes, 2391U);
    EXPECT_EQ(log.damageText(), "");
    expectGolden(std::string(NVME_TEST_DATA) + "/layouts/all_events.tree", treeText(log.tree));
}

TEST(PersistentEventLog, CutAnywhereItShowsTheWholeEventsBeforeTheCut) {
    const Bytes whole = allEvents();
    const PersistentEventLog complete = parse(whole);
    for (size_t size = 20; size < whole.size(); ++size) {
        const PersistentEventLog log = parse(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
        ASSERT_TRUE(log.isOne) << size;
        ASSERT_FALSE(log.end.empty()) << size;
        ASSERT_LE(log.validBytes, size);
        ASSERT_LE(log.tree.parts.size(), complete.tree.parts.size()) << size;
        for (size_t i = 0; i < log.tree.parts.size(); ++i)
            ASSERT_EQ(treeText(log.tree.parts[i]), treeText(complete.tree.parts[i])) << size;
    }
}

TEST(PersistentEventLog, WhatDoesNotBeginLikeOneIsNone) {
    EXPECT_FALSE(parse({}).isOne);
    EXPECT_FALSE(parse(Bytes(512)).isOne);
    Bytes bytes = header(0, 0);
    bytes[0] = 0x07;
    EXPECT_FALSE(parse(bytes).isOne);
    bytes[0] = 0x0D;
    bytes.resize(19);
    EXPECT_FALSE(parse(bytes).isOne);
    bytes.resize(20);
    EXPECT_TRUE(parse(bytes).isOne);
}

TEST(PersistentEventLog, ALogWithoutEventsIsWhole) {
    const PersistentEventLog log = parse(header(0, 0));
    EXPECT_EQ(log.validBytes, 512U);
    EXPECT_EQ(log.damageText(), "");
    EXPECT_EQ(headings(log), "");
}

const struct {
    const char* why;
    Bytes bytes;
    uint64_t validBytes;
    const char* headings;
    const char* damage;
} DAMAGED[] = {
    {"the log is shorter than it says", header(2, 52) + thermal(), 538, "Event 1 - Thermal Excursion\n",
     "It stops being valid at offset 538: 0 bytes are left for event 2 of 2; the log is cut short."},
    {"an event is cut", header(2, 52) + thermal() + event(0x0D, {5}, 0, 2), 538, "Event 1 - Thermal Excursion\n",
     "It stops being valid at offset 538: event 2 (Thermal Excursion) says that it has 26 bytes, and 25 are left; the "
     "log is cut short."},
    {"an event that is longer than the log",
     header(2, 52) + thermal() +
         [] {
             Bytes event = thermal();
             event[22] = 3;
             return event;
         }(),
     538, "Event 1 - Thermal Excursion\n",
     "It stops being valid at offset 538: event 2 (Thermal Excursion) says that it has 27 bytes, and 26 are left."},
    {"the header of an event cannot be that short", header(2, 52) + thermal() + Bytes(26), 538,
     "Event 1 - Thermal Excursion\n",
     "It stops being valid at offset 538: event 2 (Reserved (0x00)) says that its header has 3 bytes."},
    {"fewer events than the header counts", header(3, 52) + thermal() + thermal(), 564,
     "Event 1 - Thermal Excursion\nEvent 2 - Thermal Excursion\n",
     "It stops being valid at offset 564: 0 bytes are left for event 3 of 3."},
    {"more bytes than events", header(1, 52) + thermal() + thermal(), 538, "Event 1 - Thermal Excursion\n",
     "26 bytes after the last event, at offset 538, belong to none."},
    {"zeros after the events are padding", header(1, 52) + thermal() + Bytes(26), 538, "Event 1 - Thermal Excursion\n",
     ""},
    {"padding that is missing", header(1, 52) + thermal(), 538, "Event 1 - Thermal Excursion\n",
     "It says that it has 564 bytes, and 538 are there."},
    {"bytes after the log are not looked at", header(1, 26) + thermal() + thermal(), 538,
     "Event 1 - Thermal Excursion\n", ""},
};

TEST(PersistentEventLog, SaysWhereItStopsBeingValidAndWhy) {
    for (const auto& c : DAMAGED) {
        const PersistentEventLog log = parse(c.bytes);
        EXPECT_EQ(log.damageText(), c.damage) << c.why;
        EXPECT_EQ(log.validBytes, c.validBytes) << c.why;
        EXPECT_EQ(headings(log), c.headings) << c.why;
    }
}

TEST(PersistentEventLog, AHeaderThatCannotBeBelievedEndsIt) {
    Bytes bytes = header(1, 26) + thermal();
    bytes[18] = 0xE0;
    EXPECT_EQ(parse(bytes).damageText(),
              "It stops being valid at offset 18: a header of 500 bytes does not fit a log of 538.");
    bytes[18] = 0xFF;
    bytes[19] = 0xFF;
    EXPECT_EQ(parse(bytes).damageText(),
              "It stops being valid at offset 18: a header of 65555 bytes does not fit a log of 538.");
    bytes.resize(300);
    const PersistentEventLog log = parse(bytes);
    EXPECT_EQ(log.damageText(), "It stops being valid at offset 300: the bytes end within the header, which has 512.");
    EXPECT_EQ(log.tree.fields.size(), 13U) << "the fields up to the model number";
}

/// One damaged event of those bytes between two good ones.
PersistentEventLog between(const Bytes& event) {
    return parse(header(3, static_cast<uint8_t>(52 + event.size())) + thermal() + event + thermal());
}

const struct {
    const char* why;
    Bytes event;
    const char* name;
    const char* fields;  ///< after those of the event's header
    const char* damage;
} DAMAGED_EVENTS[] = {
    {"no room for the data", event(0x0D, {5}), "Thermal Excursion", "OT - Over Temperature: 5 C\n",
     "its data has 1 bytes, and such an event has 2 at least"},
    {"more vendor specific information than all", event(0x0D, {5, 1}, 3), "Thermal Excursion",
     "Data - Bytes as they are: 0501\n", "its vendor specific information of 3 bytes does not fit its 2"},
    {"vendor specific information and no byte at all", event(0x0D, {}, 3), "Thermal Excursion", "",
     "its vendor specific information of 3 bytes does not fit its 0"},
    {"a reset is cut", event(0x04, Bytes(8 + 35, 0x41)), "Power-on or Reset", "FR - Firmware Revision: AAAAAAAA\n",
     "its list of resets ends within an entry"},
    {"a feature's layout", event(0x0B, {0x0A, 0, 4, 0, 1, 2, 3, 4}), "Set Feature",
     "SFEL - Set Feature Event Layout: 0x0004000A\nData - Bytes as they are: 01020304\n",
     "its layout describes more than it has"},
    {"a vendor's descriptor", event(0xDE, {1, 0, 3, 0, 2, 0, 0xAA}), "Vendor Specific",
     "[Descriptor 1]\nVSEC - Vendor Specific Event Code: 0x0001\n"
     "VSEDT - Vendor Specific Event Data Type: Binary\nUIDX - UUID Index: 0\n"
     "VSEDL - Vendor Specific Event Data Length: 2 bytes\nData - Bytes as they are: AA\n",
     "its descriptor 1 describes more data than there is"},
    {"the head of a vendor's descriptor", event(0xDE, {1, 0, 3, 0, 1, 0, 0xAA, 2, 0}), "Vendor Specific",
     "[Descriptor 1]\nVSEC - Vendor Specific Event Code: 0x0001\n"
     "VSEDT - Vendor Specific Event Data Type: Binary\nUIDX - UUID Index: 0\n"
     "VSEDL - Vendor Specific Event Data Length: 1 bytes\nVSED - Vendor Specific Event Data: AA\n",
     "its list of descriptors ends within one"},
};

TEST(PersistentEventLog, ADamagedEventWithALengthDoesNotSpoilTheRest) {
    constexpr size_t HEADER_FIELDS = 10;
    for (const auto& c : DAMAGED_EVENTS) {
        const PersistentEventLog log = between(c.event);
        const std::string name = c.name;
        EXPECT_EQ(headings(log), "Event 1 - Thermal Excursion\nEvent 2 - " + name + "\nEvent 3 - Thermal Excursion\n");
        EXPECT_EQ(log.damageText(), "The event 2 (" + name + ") at offset 538 is damaged: " + c.damage + ".") << c.why;
        ASSERT_EQ(log.tree.parts.size(), 3U) << c.why;
        nvme::FieldTree shown = log.tree.parts[1];
        EXPECT_EQ(treeText(log.tree.parts[2]).substr(9), treeText(log.tree.parts[0]).substr(9)) << c.why;
        shown.fields.erase(shown.fields.begin(), shown.fields.begin() + HEADER_FIELDS);
        EXPECT_EQ(shown.fields.back().name + ": " + shown.fields.back().value, std::string("Damaged: ") + c.damage);
        shown.fields.pop_back();
        std::string text;
        for (const auto& field : shown.fields)
            text += field.name + " - " + field.description + ": " + field.value + "\n";
        for (const auto& part : shown.parts) text += treeText(part);
        EXPECT_EQ(text, c.fields) << c.why;
    }
}

TEST(PersistentEventLog, OfManyDamagesTheFirstAreReported) {
    Bytes bytes = header(12, 0x20);
    bytes[9] = 0x03;  // 800
    std::string expected;
    for (unsigned i = 0; i < 12; ++i) {
        bytes = bytes + event(0x0D, {});
        if (i < 10)
            expected += "The event " + std::to_string(i + 1) + " (Thermal Excursion) at offset " +
                        std::to_string(512 + i * 24) +
                        " is damaged: its data has 0 bytes, and such an event has 2 at least. ";
    }
    EXPECT_EQ(parse(bytes).damageText(), expected + "2 more events are damaged.");
}

TEST(PersistentEventLog, ItsLengthIsThatOfTheHeaderAtLeast) {
    Bytes bytes = header(0, 0);
    EXPECT_EQ(nvme::persistentEventLogBytes(bytes.data()), 512U);
    bytes[9] = 0x01;
    EXPECT_EQ(nvme::persistentEventLogBytes(bytes.data()), 512U) << "256 is too little";
    bytes[15] = 0x01;
    EXPECT_EQ(nvme::persistentEventLogBytes(bytes.data()), 0x0100000000000100U);
}

TEST(PersistentEvents, TheBitmapIsReportedInNames) {
    uint8_t bitmap[32] = {};
    EXPECT_EQ(supportedEventsText(bitmap), "none");
    bitmap[0] = 0x06;
    bitmap[4] = 0x01;
    bitmap[27] = 0x80;
    EXPECT_EQ(supportedEventsText(bitmap),
              "SMART / Health Log Snapshot, Firmware Commit, Reserved (0x20), TCG Defined");
}

}  // namespace
}  // namespace features::parsers
