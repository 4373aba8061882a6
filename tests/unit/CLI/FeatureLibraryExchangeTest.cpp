#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "CLI/FeatureLibraryExchange.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "tests/support/ResidentPages.h"
#include "tests/support/Sanitized.h"

namespace cli {

using ostrel::core::Status;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

// What the library of these tests was given, and what it answers. Its functions are plain ones, so this is global.
struct {
    std::vector<std::string> calls;
    std::string answer;
    std::size_t residentPages;  // of the buffer, before the answer is in it
    int token;                  // its address is the handle
} library;

void sendXmlMessage(const char* text, uint64_t length, void** handle) {
    library.calls.push_back(std::string(text, static_cast<size_t>(length)) +
                            (*handle == nullptr ? "" : ", and the handle was not null"));
    *handle = &library.token;
}

int32_t receiveXmlMessage(void* handle, void* buffer, uint64_t* size) {
    library.calls.push_back((handle == &library.token ? "receive " : "wrong handle ") + std::to_string(*size) +
                            (buffer == nullptr ? " null" : " buffer"));
    if (buffer == nullptr) {
        *size = library.answer.size();
        return FEATURE_LIBRARY_INVALID_BUFFER_SIZE;
    }
    library.residentPages = residentPages(buffer, static_cast<size_t>(*size));
    std::memcpy(buffer, library.answer.data(), library.answer.size());
    return FEATURE_LIBRARY_SUCCESS;
}

class FeatureLibraryExchange : public testing::Test {
protected:
    void SetUp() override { library = {}; }

    // "null" or the code and the text of the result.
    std::string exchangeWith(const FeatureLibraryFunctions& functions) {
        const auto result = exchange(functions, XmlObject("A", "", ""), tree_, status_);
        return result == nullptr ? "null" : std::to_string(result->getErrorCode()) + " " + result->output();
    }

    const FeatureLibraryFunctions all_ = {sendXmlMessage, receiveXmlMessage, nullptr};
    const std::string request_ =
        R"(<?xml version="1.0" encoding="utf-8"?><Object description="" name="A" value=""></Object>)";
    std::unique_ptr<XmlElement> tree_;
    Status status_ = Status(7, 8, "untouched");
};

TEST_F(FeatureLibraryExchange, UsesTheCodesOfTheStatusCatalogue) {
    EXPECT_TRUE(ostrel::core::statuses::jobInvalidInput().is(11, FEATURE_LIBRARY_INVALID_INPUT));
    EXPECT_TRUE(ostrel::core::statuses::jobInvalidBufferSize().is(11, FEATURE_LIBRARY_INVALID_BUFFER_SIZE));
}

TEST_F(FeatureLibraryExchange, AsksForTheSizeAndThenForTheBytes) {
    library.answer = "<Object></Object>";
    EXPECT_EQ(exchangeWith(all_), "null");
    EXPECT_EQ(library.calls, (std::vector<std::string>{request_, "receive 0 null", "receive 17 buffer"}));
    ASSERT_NE(tree_, nullptr);
    EXPECT_EQ(tree_->getType(), "Object");
    EXPECT_TRUE(status_.is(7, 8));
}

TEST_F(FeatureLibraryExchange, SendsNothingWithoutTheFunction) {
    EXPECT_EQ(exchangeWith({nullptr, receiveXmlMessage, nullptr}), "1 Error: OSTREL Interface not loaded");
    EXPECT_EQ(library.calls, std::vector<std::string>{});
}

TEST_F(FeatureLibraryExchange, NoticesOnlyAfterTheSendingThatItCannotReceive) {
    EXPECT_EQ(exchangeWith({sendXmlMessage, nullptr, nullptr}), "1 Error: OSTREL Interface not loaded");
    EXPECT_EQ(library.calls, std::vector<std::string>{request_});
}

TEST_F(FeatureLibraryExchange, ThrowsOnAResponseThatIsNoXml) {
    library.answer = "no XML";
    try {
        exchangeWith(all_);
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Unable to convert the given xml string to an XmlElement");
    }
    EXPECT_EQ(tree_, nullptr);
}

TEST_F(FeatureLibraryExchange, GivesTheTextToACallerThatAsksForIt) {
    std::string text;
    library.answer = "<Object><Object category=\"status\"><Property name=\"Code\" value=\"0\"/></Object></Object>";
    EXPECT_EQ(exchange(all_, XmlObject("A", "", ""), text, status_), nullptr);
    EXPECT_EQ(text, library.answer);
    EXPECT_TRUE(succeeded(status_));
    library.answer = "no XML";
    EXPECT_THROW((void)exchange(all_, XmlObject("A", "", ""), text, status_), std::runtime_error);
    EXPECT_EQ(text, "no XML");
}

TEST_F(FeatureLibraryExchange, BufferOfALargeResponseTakesNoMemoryBeforeItIsFilled) {
    if (SANITIZED) GTEST_SKIP() << "a sanitizer's allocator touches it";
    library.answer = "<Object><Property name=\"payload\" value=\"" + std::string(64 << 20, 'A') + "\"/></Object>";
    EXPECT_EQ(exchangeWith(all_), "null");
    EXPECT_EQ(tree_->xmlSize(), library.answer.size());
    EXPECT_LT(library.residentPages, residentPages(library.answer.data(), library.answer.size()) / 10);
}

TEST_F(FeatureLibraryExchange, TakesALargeResponse) {
    library.answer = "<Object><Property name=\"payload\" value=\"" + std::string(1 << 20, 'A') + "\"/></Object>";
    EXPECT_EQ(exchangeWith(all_), "null");
    EXPECT_EQ(tree_->xmlSize(), library.answer.size());
}

TEST_F(FeatureLibraryExchange, ExtractsTheStatusOfASingleOutput) {
    XmlObject output("SMART", "", "");
    EXPECT_EQ(extractStatus(output, status_), nullptr);
    EXPECT_TRUE(status_.is(7, 8));

    output.objects.push_back(std::make_unique<XmlObject>());
    XmlObject& status = *output.objects.back();
    status.attributes["category"] = "status";
    status.addProperty("Category", "10");
    status.addProperty("Code", "5");
    status.addProperty("Message", "No device selected.");
    const auto result = extractStatus(output, status_);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getErrorCode(), 3);
    EXPECT_EQ(result->output(), "Error: No device selected.");
    EXPECT_EQ(status_.toString(), "Category: 10\nCode: 5\nMessage: No device selected.");
}

}  // namespace

}  // namespace cli
