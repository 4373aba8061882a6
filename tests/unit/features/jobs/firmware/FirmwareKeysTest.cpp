#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/firmware/FirmwareKeys.h"
#include "tests/unit/features/jobs/firmware/SigningKey.h"

namespace features::jobs {
namespace {

namespace fs = std::filesystem;

constexpr const char* MANIFEST = R"({"file": "a.bin"})";
constexpr const char* UNREADABLE =
    "REFUSED its signature is refused. Failed reading a file necessary for the feature. ";

class FirmwareKeysTest : public testing::Test {
protected:
    FirmwareKeysTest() : keys_(fs::canonical(folder_ / ".") / "keys"), path_(fs::canonical(folder_ / ".") / "a.json") {
        writeWholeFile(path_, MANIFEST);
        maker_.signFile(path_);
    }

    void addKey(const SigningKey& key, const std::string& name) {
        fs::create_directory(keys_);
        key.writePublicKey(keys_ + "/" + name);
    }
    std::string origin(const std::string& text = MANIFEST, const std::string& library = OPENSSL_LIBRARY) const {
        constexpr const char* KINDS[] = {"VERIFIED", "UNVERIFIED ", "REFUSED "};
        const ModuleOrigin found = FirmwareKeys(keys_, library).originOf(path_, text);
        return KINDS[static_cast<int>(found.kind)] + found.reason;
    }
    std::string notOfAKey() const { return "REFUSED its signature is not that of a key in '" + keys_ + "'."; }

    const TemporaryFolder folder_;
    const std::string keys_;
    const std::string path_;
    const SigningKey maker_{'m'};
    const SigningKey other_{'o'};
};

TEST_F(FirmwareKeysTest, EachKeyOfTheFolderVerifies) {
    addKey(other_, "a.pem");
    EXPECT_EQ(origin(), notOfAKey()) << "the wrong key";
    addKey(maker_, "b.pem");
    EXPECT_EQ(origin(), "VERIFIED");
    fs::remove(keys_ + "/a.pem");
    EXPECT_EQ(origin(), "VERIFIED");
    fs::rename(keys_ + "/b.pem", keys_ + "/b.txt");
    addKey(other_, "a.pem");
    EXPECT_EQ(origin(), notOfAKey()) << "only *.pem are keys";
}

TEST_F(FirmwareKeysTest, AChangedManifestIsRefused) {
    addKey(maker_, "a.pem");
    EXPECT_EQ(origin(R"({"file": "b.bin"})"), notOfAKey());
    EXPECT_EQ(origin(std::string(MANIFEST) + "\n"), notOfAKey());
}

TEST_F(FirmwareKeysTest, ASignatureThatCannotBeOneIsRefused) {
    addKey(maker_, "a.pem");
    const std::string signature = readWholeFile(path_ + ".sig");
    writeWholeFile(path_ + ".sig", signature.substr(0, 63));
    EXPECT_EQ(origin(), "REFUSED its signature has 63 bytes, not 64.");
    writeWholeFile(path_ + ".sig", "");
    EXPECT_EQ(origin(), "REFUSED its signature has 0 bytes, not 64.");
    writeWholeFile(path_ + ".sig", signature + "\n");
    EXPECT_EQ(origin(), UNREADABLE + ("'" + path_ + ".sig': it has 65 bytes, and at most 64 can be taken."));
    fs::remove(path_ + ".sig");
    fs::create_symlink("missing", path_ + ".sig");
    EXPECT_EQ(origin(), UNREADABLE + ("'" + path_ + ".sig': a symbolic link."));
    fs::remove(path_ + ".sig");
    EXPECT_EQ(origin(), "UNVERIFIED it has no signature.");
}

TEST_F(FirmwareKeysTest, WithoutKeysNothingIsVerified) {
    const std::string none = "UNVERIFIED its signature cannot be checked: there is no key in '" + keys_ + "'.";
    EXPECT_EQ(origin(), none);
    fs::create_directory(keys_);
    EXPECT_EQ(origin(), none);
}

TEST_F(FirmwareKeysTest, AFolderThatIsThereMustBeReadable) {
    writeWholeFile(keys_, "");
    EXPECT_EQ(origin(), "REFUSED its signature cannot be checked: Unable to open " + keys_ + ": Not a directory.");
    fs::remove(keys_);
    fs::create_symlink("missing", keys_);
    EXPECT_EQ(origin(),
              "REFUSED its signature cannot be checked: Unable to open " + keys_ + ": No such file or directory.");
}

TEST_F(FirmwareKeysTest, AFolderThatOthersCanChangeHoldsNoKeys) {
    addKey(maker_, "a.pem");
    ASSERT_EQ(chmod(keys_.c_str(), 0777), 0);
    EXPECT_EQ(origin(), "REFUSED its signature cannot be checked: '" + keys_ +
                            "' can be written by others than its owner (mode 0777).");
}

TEST_F(FirmwareKeysTest, AKeyThatCannotBeTakenIsNamedWhenNoOtherVerifies) {
    addKey(maker_, "d.pem");
    const std::string folder = keys_ + "/";
    addKey(maker_, "a.pem");
    ASSERT_EQ(chmod((folder + "a.pem").c_str(), 0666), 0);
    writeWholeFile(folder + "b.pem", "-----BEGIN PUBLIC KEY-----\n");
    fs::create_symlink("d.pem", folder + "c.pem");
    EXPECT_EQ(origin(), "VERIFIED");
    fs::rename(folder + "d.pem", folder + "d");
    const std::string unreadable = " Failed reading a file necessary for the feature. '";
    EXPECT_EQ(origin(), notOfAKey() + unreadable + folder +
                            "a.pem' can be written by others than its owner (mode 0666). '" + folder +
                            "b.pem' is not a public Ed25519 key." + unreadable + folder + "c.pem': a symbolic link.");
}

TEST_F(FirmwareKeysTest, WithoutOpenSslASignatureIsRefused) {
    addKey(maker_, "a.pem");
    EXPECT_EQ(origin(MANIFEST, "libcrypto-missing.so.3"),
              "REFUSED its signature cannot be checked: libcrypto-missing.so.3 cannot be loaded, or does not offer "
              "Ed25519.");
}

}  // namespace
}  // namespace features::jobs
