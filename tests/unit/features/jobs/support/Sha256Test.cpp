#include <gtest/gtest.h>

#include "features/jobs/support/Sha256.h"

namespace features::jobs {
namespace {

/// The first three are those of FIPS 180-4's examples; the others were made with sha256sum of coreutils.
constexpr struct {
    const char* text;
    size_t times;
    const char* digest;
    const char* why;
} CASES[] = {
    {"", 0, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855", "nothing"},
    {"abc", 1, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", "less than a block"},
    {"a", 1000000, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0", "many blocks"},
    {"a", 55, "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318",
     "the length just fits after the rest"},
    {"a", 56, "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a",
     "the length needs a block of its own"},
    {"a", 64, "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb", "one whole block"},
};

TEST(Sha256, DigestsCaseByCase) {
    for (const auto& c : CASES) {
        std::string bytes;
        for (size_t i = 0; i < c.times; ++i) bytes += c.text;
        EXPECT_EQ(sha256Text(bytes), c.digest) << c.why;
    }
}

}  // namespace
}  // namespace features::jobs
