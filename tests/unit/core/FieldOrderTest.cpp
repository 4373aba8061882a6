#include <gtest/gtest.h>

#include "ostrel/core/AsyncEngine.h"
#include "ostrel/core/AsyncEngineCommand.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Command.h"
#include "ostrel/core/CommandHistory.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Connection.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/DeviceFinderExtension.h"
#include "ostrel/core/DeviceManager.h"
#include "ostrel/core/QueueableCommand.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlObject.h"
#include "tests/support/FieldOrder.h"

using namespace ostrel::core;

// Feature libraries of other makers are built against these classes.
DESCRIBE_FIELDS(StatusFields, Status, (code_)(message_)(category_))
DESCRIBE_FIELDS(AttributeFields, Attribute, (name_)(displayName_)(description_)(value_)(type_))
DESCRIBE_FIELDS(XmlElementFields, xml::XmlElement, (type_)(attributes))
DESCRIBE_FIELDS(XmlObjectFields, xml::XmlObject, (lists)(properties)(objects))
DESCRIBE_FIELDS(XmlMessageFields, xml::XmlMessage, (lists)(properties)(objects))
DESCRIBE_FIELDS(DeviceManagerFields, DeviceManager,
                (deviceFinders_)(deviceFinderExtensions_)(connections_)(devices_)(calculateDeviceStatus_))
DESCRIBE_FIELDS(DeviceFinderExtensionFields, DeviceFinderExtension, (name)(priority))
DESCRIBE_FIELDS(CommandFields, Command, (name_)(commandSet_))
DESCRIBE_FIELDS(CompletionFields, CompletionRecord, (userContext)(callback)(statusCode)(payload)(duration))
DESCRIBE_FIELDS(CommandPathFields, CommandPath, (connection_)(name_)(asyncEngine_)(timeout_))
DESCRIBE_FIELDS(
    DeviceFields, Device,
    (attributes_)(commandPaths_)(commandSets_)(ownConnections_)(connections_)(childDevices_)(partitions_)(commandHistory_))
DESCRIBE_FIELDS(
    CommandResultFields, CommandResult,
    (command)(status)(inputPayload)(outputPayload)(protocolResult)(startTime)(endTime)(duration)(commandPath)(quietToXml))
DESCRIBE_FIELDS(CommandHistoryFields, CommandHistory, (maxSize_)(results_)(mutex_))
DESCRIBE_FIELDS(ConnectionFields, Connection, (priority)(name))
DESCRIBE_FIELDS(
    AsyncEngineFields, AsyncEngine,
    (senderThreadCount_)(callbackThreadCount_)(sendersRunning_)(callbacksRunning_)(senderThreads_)(callbackThreads_)(sendQueue_)(callbackQueue_)(sendQueueMutex_)(commandQueued_)(sendQueueSpace_)(callbackQueueMutex_)(callbackQueueSpace_)(commandCompleted_)(stopped_))
DESCRIBE_FIELDS(AsyncEngineCommandFields, AsyncEngineCommand,
                (userData_)(parent_)(command_)(payload_)(duration_)(status_))

namespace {

TEST(FieldOrder, OfTheCoreIsKept) {
    EXPECT_TRUE(areInOrder(fieldOffsets(StatusFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(AttributeFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(XmlElementFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(XmlObjectFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(XmlMessageFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(DeviceManagerFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(DeviceFinderExtensionFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(CommandFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(CompletionFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(CommandPathFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(DeviceFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(CommandResultFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(CommandHistoryFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(ConnectionFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(AsyncEngineFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(AsyncEngineCommandFields())));
}

}  // namespace
