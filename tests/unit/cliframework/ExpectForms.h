#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

/// What a result gives in each output type, in the order of the types.
struct Forms {
    std::string text;
    std::string xml;
    std::string esxXml;
    std::string textTable;
    std::string json;
    std::string csv;
};

/// Renders through output(), each type in turn, and leaves the result at type text.
inline void expectForms(ResultBase& result, const Forms& expected) {
    const auto render = [&result](OutputType type) {
        result.setOutputType(type);
        return result.output();
    };
    EXPECT_EQ(render(OUTPUTTYPE_XML), expected.xml);
    EXPECT_EQ(render(OUTPUTTYPE_ESX_XML), expected.esxXml);
    EXPECT_EQ(render(OUTPUTTYPE_TEXT_TABLE), expected.textTable);
    EXPECT_EQ(render(OUTPUTTYPE_JSON), expected.json);
    EXPECT_EQ(render(OUTPUTTYPE_CSV), expected.csv);
    EXPECT_EQ(render(OUTPUTTYPE_TEXT), expected.text);
}

}  // namespace cli::framework
