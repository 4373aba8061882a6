#include <gtest/gtest.h>

#include <string>

#include "features/library/AnswerStore.h"
#include "ostrel/core/AddressableSize.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace features::library {
namespace {

/// The two calls by which the tool fetches an answer.
std::string fetch(AnswerStore& store, void* handle) {
    uint64_t size = 0;
    EXPECT_EQ(store.fetch(handle, nullptr, &size), FEATURE_LIBRARY_INVALID_BUFFER_SIZE);
    std::string text(ostrel::core::addressableSize(size), '?');
    EXPECT_EQ(store.fetch(handle, text.data(), &size), FEATURE_LIBRARY_SUCCESS);
    EXPECT_EQ(size, text.size());
    return text;
}

TEST(AnswerStore, AnAnswerIsFetchedOnce) {
    AnswerStore store;
    void* const handle = store.keep(Answer("answer"));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(fetch(store, handle), "answer");
    uint64_t size = 0;
    EXPECT_EQ(store.fetch(handle, nullptr, &size), FEATURE_LIBRARY_INVALID_INPUT);
}

TEST(AnswerStore, AnswersAreKeptApart) {
    AnswerStore store;
    void* const first = store.keep(Answer("one"));
    void* const second = store.keep(Answer("two, longer"));
    ASSERT_NE(first, second);
    EXPECT_EQ(fetch(store, second), "two, longer");
    EXPECT_EQ(fetch(store, first), "one");
}

TEST(AnswerStore, AHandleIsNotUsedAgain) {
    AnswerStore store;
    void* const first = store.keep(Answer("one"));
    EXPECT_EQ(fetch(store, first), "one");
    EXPECT_NE(store.keep(Answer("two")), first);
}

TEST(AnswerStore, ABufferThatIsTooSmallIsLeftAlone) {
    AnswerStore store;
    void* const handle = store.keep(Answer("answer"));
    std::string buffer = "xxxxxxxx";
    uint64_t size = 5;
    EXPECT_EQ(store.fetch(handle, buffer.data(), &size), FEATURE_LIBRARY_INVALID_BUFFER_SIZE);
    EXPECT_EQ(size, 6U) << "what it takes";
    EXPECT_EQ(buffer, "xxxxxxxx");
    EXPECT_EQ(store.fetch(handle, buffer.data(), &size), FEATURE_LIBRARY_SUCCESS) << "kept until it was fetched";
    EXPECT_EQ(buffer, "answerxx") << "no zero byte after it";
}

TEST(AnswerStore, ABufferThatIsTooLargeIsFilledAsFarAsNeeded) {
    AnswerStore store;
    void* const handle = store.keep(Answer(std::string("a\0b", 3)));
    std::string buffer = "xxxxxxxx";
    uint64_t size = 8;
    EXPECT_EQ(store.fetch(handle, buffer.data(), &size), FEATURE_LIBRARY_SUCCESS);
    EXPECT_EQ(size, 3U);
    EXPECT_EQ(buffer, std::string("a\0bxxxxx", 8));
}

TEST(AnswerStore, WrongInputChangesNothing) {
    AnswerStore store;
    void* const handle = store.keep(Answer("answer"));
    std::string buffer = "xxxxxxxx";
    uint64_t size = 8;
    int stranger = 0;
    EXPECT_EQ(store.fetch(nullptr, buffer.data(), &size), FEATURE_LIBRARY_INVALID_INPUT);
    EXPECT_EQ(store.fetch(&stranger, buffer.data(), &size), FEATURE_LIBRARY_INVALID_INPUT);
    EXPECT_EQ(store.fetch(handle, buffer.data(), nullptr), FEATURE_LIBRARY_INVALID_INPUT);
    EXPECT_EQ(size, 8U);
    EXPECT_EQ(buffer, "xxxxxxxx");
    EXPECT_EQ(fetch(store, handle), "answer");
}

}  // namespace
}  // namespace features::library
