#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

TEST(SimpleResult, IsASuccess) {
    EXPECT_EQ(SimpleResult("Done").getErrorCode(), 0);
}

TEST(SimpleResult, RendersItsMessage) {
    SimpleResult result("Success");
    expectForms(result, {
                            "Success",
                            "<Result>Success</Result>\n",
                            "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                            "<string>Success</string></output>",
                            "Success",
                            "{\n\t\"Result\":\"Success\"\n}",
                            "Result,Success,\n",
                        });
}

TEST(SimpleResult, RendersAnEmptyMessage) {
    SimpleResult result("");
    expectForms(result, {
                            "",
                            "<Result></Result>\n",
                            "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                            "<string></string></output>",
                            "",
                            "{\n\t\"Result\":\"\"\n}",
                            "Result,,\n",
                        });
}

TEST(SimpleResult, EscapesInJsonAloneAndFoldsLinesInCsvAlone) {
    SimpleResult result("a\"b/c\\<&>\t1,2\nline two\n");
    expectForms(result, {
                            "a\"b/c\\<&>\t1,2\nline two\n",
                            "<Result>a\"b/c\\<&>\t1,2\nline two\n</Result>\n",
                            "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                            "<string>a\"b/c\\<&>\t1,2\nline two\n</string></output>",
                            "a\"b/c\\<&>\t1,2\nline two\n",
                            "{\n\t\"Result\":\"a\\\"b\\/c\\\\<&>\\t1,2\\nline two\\n\"\n}",
                            "Result,a\"b/c\\<&>\t1,2 line two ,\n",
                        });
}

TEST(SimpleResult, KeepsEveryByte) {
    SimpleResult result(std::string("a\0b\xFF", 4));
    EXPECT_EQ(result.outputText(), std::string("a\0b\xFF", 4));
    EXPECT_EQ(result.outputXml(), std::string("<Result>a\0b\xFF</Result>\n", 22));
    EXPECT_EQ(result.outputJson(), "{\n\t\"Result\":\"a\\u0000b\xFF\"\n}");
}

}  // namespace
}  // namespace cli::framework
