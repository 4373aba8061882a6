#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/HelpResult.h"
#include "ostrel/interfaces/cli/cliframework/LogMessage.h"
#include "ostrel/interfaces/cli/cliframework/ObjectListResult.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/Parser.h"
#include "ostrel/interfaces/cli/cliframework/PropertyListResult.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "tests/support/FieldOrder.h"

using namespace cli::framework;

DESCRIBE_FIELDS(LogMessageFields, LogMessage, (level)(message)(file)(line))
DESCRIBE_FIELDS(ParsedCommandFields, ParsedCommand, (verb)(options)(targets)(properties))
DESCRIBE_FIELDS(CommandSpecFields, CommandSpec, (id)(name)(verb)(options)(targets)(properties)(help))
DESCRIBE_FIELDS(
    ParserFields, Parser,
    (commands_)(verb_)(options_)(targets_)(properties_)(currentProperty_)(currentOption_)(currentTarget_)(removedCommands_))
DESCRIBE_FIELDS(ResultBaseFields, ResultBase, (errorCode_)(outputType_))
DESCRIBE_FIELDS(ObjectResultFields, ObjectResult, (root_)(objects_)(properties_))
DESCRIBE_FIELDS(PropertyListResultFields, PropertyListResult, (properties_)(name_))
DESCRIBE_FIELDS(ObjectListResultFields, ObjectListResult, (objects_)(root_))
DESCRIBE_FIELDS(HelpResultFields, HelpResult, (commands_)(showFull_)(shouldWrap_))

namespace {

TEST(FieldOrder, OfTheFrameworkIsKept) {
    EXPECT_TRUE(areInOrder(fieldOffsets(LogMessageFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(ParsedCommandFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(CommandSpecFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(ParserFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(ResultBaseFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(ObjectResultFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(PropertyListResultFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(ObjectListResultFields())));
    EXPECT_TRUE(areInOrder(fieldOffsets(HelpResultFields())));
}

}  // namespace
