#include <gtest/gtest.h>

#include "features/jobs/erase/ErasureRecord.h"

namespace features::jobs {
namespace {

TEST(ErasureRecord, EscapesWhatJsonTextsCannotHold) {
    ErasureRecord record;
    record.add(
        {"drive", "Drive", {{"text", "Text", "\"\\/\b\f\n\r\t", false}, {"other", "Other", "\x01\x1F ~\x7F\xC3\xA4"}}});
    EXPECT_EQ(record.json(),
              "{\n"
              "  \"drive\": {\n"
              "    \"text\": \"\\\"\\\\\\/\\b\\f\\n\\r\\t\",\n"
              "    \"other\": \"\\u0001\\u001F ~\x7F\xC3\xA4\"\n"
              "  }\n"
              "}\n");
}

TEST(ErasureRecord, EscapesANul) {
    ErasureRecord record;
    record.add({"drive", "Drive", {{"text", "Text", std::string("a\0b", 3)}}});
    EXPECT_EQ(record.json(), "{\n  \"drive\": {\n    \"text\": \"a\\u0000b\"\n  }\n}\n");
}

}  // namespace
}  // namespace features::jobs
