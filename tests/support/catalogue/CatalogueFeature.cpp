#include "tests/support/catalogue/CatalogueFeature.h"

#include <new>
#include <stdexcept>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/Parser.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"

namespace test {

namespace {

using namespace cli::framework;
using Parts = std::vector<CommandPart>;

// clang-format off
const CommandPart SSD_ANY         {"-velkossd",        false, "Index",     false, "Device"};
const CommandPart SSD             {"-velkossd",        true,  "Index",     false, "Device"};
const CommandPart SSD_WITH_VALUE  {"-velkossd",        true,  "Index",     true,  "Device"};
const CommandPart SMART           {"-smart",           true,  "",          false, "SMART data", "", true};
const CommandPart ENDURANCE       {"-enduranceanalyzer", true, "",         false, "Endurance", "", true};
const CommandPart SELFTEST        {"-selftest",        true,  "kind",      false, "Self-test"};
const CommandPart MODE            {"-mode",            false, "mode",      true,  "Mode"};
const CommandPart NAMESPACE       {"-namespace",       true,  "",          false, "Namespace"};
const CommandPart NAMESPACE_ID    {"-namespace",       true,  "id",        true,  "Namespace"};
const CommandPart NAMESPACE_ANY   {"-namespace",       false, "id",        true,  "Namespace"};
const CommandPart NVMEFORMAT      {"-nvmeformat",      true,  "",          false, "Format", "", true};
const CommandPart ACTIVATE        {"-firmwareactivate", true, "",          false, "Activate", "", true};
const CommandPart NLOG            {"-nlog",            true,  "",          false, "Log"};
const CommandPart CRASH           {"-crash",           true,  "",          false, "Crash"};
const CommandPart EXHAUST         {"-exhaust",         true,  "",          false, "Exhaust"};
const CommandPart VALUES          {"-values",          true,  "Value,...", true,  "Values"};

const CommandPart THRESHOLD       {"AggregationThreshold", true, "value",  true,  "Threshold"};
const CommandPart TIME            {"AggregationTime",  true,  "value",     true,  "Time"};
const CommandPart SLOT            {"FirmwareSlot",     false, "1|2",       true,  "Slot"};
const CommandPart SLOT_REQUIRED   {"FirmwareSlot",     true,  "1|2",       true,  "Slot"};
const CommandPart COMMIT          {"CommitAction",     false, "0|1",       true,  "Action"};
const CommandPart COMMIT_REQUIRED {"CommitAction",     true,  "2|3",       true,  "Action"};
const CommandPart INCLUDE         {"Include",          false, "true|false", true, "Include"};
const CommandPart SIZE            {"Size",             true,  "blocks",    true,  "Size"};
const CommandPart CAPACITY        {"Capacity",         false, "blocks",    true,  "Capacity"};

struct Row {
    int32_t id;
    const char* name;
    const char* verb;
    Parts options;
    Parts targets;
    Parts properties;
};

const Row ROWS[] = {
    {CatalogueFeature::ID_OBJECT,
         "Drive",             "show",   {OPTION_HELP, OPTION_DISPLAY, OPTION_ALL},             {SSD},                           {}},
    {1,  "Threshold",         "set",    {OPTION_HELP},                                         {SSD_WITH_VALUE},                {THRESHOLD}},
    {2,  "Time",              "set",    {OPTION_HELP},                                         {SSD_WITH_VALUE},                {TIME}},
    {3,  "Endurance",         "show",   {OPTION_HELP},                                         {SSD_WITH_VALUE, ENDURANCE},     {}},
    {19, "FirmwareUpdate",    "load",   {OPTION_HELP, OPTION_FORCE, OPTION_SOURCE},            {SSD_WITH_VALUE},                {SLOT, COMMIT}},
    {20, "FirmwareActivate",  "load",   {OPTION_HELP},                                         {SSD_WITH_VALUE, ACTIVATE},      {SLOT_REQUIRED, COMMIT_REQUIRED}},
    {21, "SMART",             "show",   {OPTION_HELP, OPTION_DISPLAY, OPTION_ALL},             {SSD_ANY, SMART},                {INCLUDE}},
    {25, "SelfTest",          "start",  {OPTION_HELP},                                         {SSD_WITH_VALUE, SELFTEST, MODE}, {}},
    {CatalogueFeature::ID_FAILURE,
         "Delete",            "delete", {OPTION_HELP, OPTION_FORCE},                           {SSD_WITH_VALUE},                {}},
    {31, "CreateNamespace",   "create", {OPTION_HELP},                                         {SSD_WITH_VALUE, NAMESPACE},     {SIZE, CAPACITY}},
    {32, "DeleteNamespace",   "delete", {OPTION_HELP, OPTION_FORCE},                           {SSD_WITH_VALUE, NAMESPACE_ID},  {}},
    {36, "Format",            "start",  {OPTION_HELP, OPTION_FORCE},                           {SSD_WITH_VALUE, NVMEFORMAT, NAMESPACE_ANY}, {}},
    {40, "Nlog",              "dump",   {OPTION_HELP, OPTION_DESTINATION_REQUIRED},            {SSD_WITH_VALUE, NLOG},          {}},
    {50, "TwinA",             "reset",  {OPTION_HELP},                                         {SSD},                           {}},
    {51, "TwinB",             "reset",  {OPTION_HELP},                                         {SSD},                           {}},
    {60, "Hidden",            "attach", {},                                                    {SSD_WITH_VALUE, NAMESPACE_ID},  {}},
    {CatalogueFeature::ID_SILENT,
         "Silent",            "stop",   {OPTION_HELP, OPTION_WAIT},                            {SSD},                           {}},
    {CatalogueFeature::ID_THROWS,
         "Throws",            "stop",   {OPTION_HELP},                                         {SSD, CRASH},                    {}},
    {CatalogueFeature::ID_HUNGRY,
         "Hungry",            "stop",   {OPTION_HELP},                                         {SSD, EXHAUST},                  {}},
    {CatalogueFeature::ID_VALUES,
         "Values",            "stop",   {OPTION_HELP},                                         {SSD, VALUES},                   {}},
};
// clang-format on

CommandSpec specOf(const Row& row) {
    CommandSpec spec(row.id, row.name, row.verb, std::string(row.name) + " help.");
    for (const CommandPart& part : row.options) spec.addOption(part);
    for (const CommandPart& part : row.targets) spec.addTarget(part);
    for (const CommandPart& part : row.properties) spec.addProperty(part);
    return spec;
}

std::string joinedValues(const ParsedCommand& parsed) {
    std::string text;
    for (const std::string& value : Parser::getTargetValues(parsed, "-values"))
        text += (text.empty() ? "" : "|") + value;
    return text;
}

}  // namespace

void CatalogueFeature::getPaths(std::vector<CommandSpec>& commands) {
    for (const Row& row : ROWS) commands.push_back(specOf(row));
}

std::unique_ptr<ResultBase> CatalogueFeature::run(const CommandSpec& commandSpec, const ParsedCommand& parsed) {
    const std::string text = echo(commandSpec, parsed);
    switch (commandSpec.id) {
        case ID_OBJECT: {
            auto object = std::make_unique<ObjectResult>();
            object->insert("Echo", text);
            return object;
        }
        case ID_FAILURE:
            return std::make_unique<ErrorResult>(3, text, "");
        case ID_SILENT:
            return nullptr;
        case ID_THROWS:
            throw std::runtime_error("crash");
        case ID_HUNGRY:
            throw std::bad_alloc();
        case ID_VALUES:
            return std::make_unique<SimpleResult>(joinedValues(parsed));
        default:
            return std::make_unique<SimpleResult>(text);
    }
}

}  // namespace test
