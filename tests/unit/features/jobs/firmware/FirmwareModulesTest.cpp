#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "features/jobs/firmware/FirmwareModules.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/jobs/firmware/ModuleFolder.h"
#include "tests/unit/features/jobs/firmware/SigningKey.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;

const std::string NONE_FOR_IT =
    "10/70 No known update for SSD. If an update is expected, please contact your SSD Vendor representative about "
    "firmware update for this drive.";
const std::string CURRENT = "10/64 The selected drive contains current firmware as of this tool release.";
const std::string NO_MODULES = "10/71 No firmware module found.";

/// The file of the module that is chosen, or why there is none.
std::string chosen(const FirmwareModules& modules, const std::string& revision,
                   const std::string& model = "VELKO P100 1T") {
    const auto module = modules.choose(model, revision);
    return module ? (*module)->manifest.file : statusText(module);
}

class FirmwareModulesTest : public testing::Test {
protected:
    std::string choose(const std::string& revision, const std::string& model = "VELKO P100 1T") {
        return chosen(FirmwareModules(folder_ / ""), revision, model);
    }

    TemporaryFolder folder_;
};

TEST_F(FirmwareModulesTest, TheNewestThatFitsIsChosen) {
    addModule(folder_, "c", {"FW3", "2026-03-01"});
    addModule(folder_, "a", {"FW1", "2026-01-01"});
    addModule(folder_, "b", {"FW2", "2026-02-01"});
    addModule(folder_, "other", {"FW9", "2026-09-09", "*", "VELKO P200"});
    addModule(folder_, "later", {"FW4", "2026-04-01", "FW3"});
    EXPECT_EQ(choose("FW0"), "c.bin") << "the newest may only follow on FW3";
    EXPECT_EQ(choose("FW1"), "c.bin");
    EXPECT_EQ(choose("FW3"), "later.bin");
    EXPECT_EQ(choose("FW0", "VELKO P200"), "other.bin");
}

TEST_F(FirmwareModulesTest, OlderFirmwareIsNoUpdate) {
    addModule(folder_, "a", {"FW1", "2026-01-01"});
    addModule(folder_, "b", {"FW2", "2026-02-01"});
    addModule(folder_, "same-day", {"FW2A", "2026-02-01"});
    EXPECT_EQ(choose("FW2"), CURRENT);
    EXPECT_EQ(choose("FW2A"), CURRENT);
    EXPECT_EQ(choose("FW1"), "same-day.bin") << "of modules of one day the higher revision";
}

TEST_F(FirmwareModulesTest, WithoutAFittingModule) {
    EXPECT_EQ(choose("FW1"), NO_MODULES) << "an empty folder";
    EXPECT_EQ(chosen(FirmwareModules(folder_ / "missing"), "FW1"), NO_MODULES);
    EXPECT_EQ(chosen(FirmwareModules(""), "FW1"), NO_MODULES);
    EXPECT_EQ(FirmwareModules(folder_ / "missing").faults(), "");
    addModule(folder_, "a", {"FW2", "2026-01-01", "FW1"});
    EXPECT_EQ(choose("FW1", "OTHER"), NONE_FOR_IT);
    EXPECT_EQ(choose("FW0"), NONE_FOR_IT) << "only FW1 may be replaced";
    addModule(folder_, "b", {"FW0", "2025-01-01"});
    EXPECT_EQ(choose("FW0"), NONE_FOR_IT) << "there is newer firmware, but not for this revision";
}

TEST_F(FirmwareModulesTest, SeveralFoldersAreOne) {
    const TemporaryFolder other;
    addModule(folder_, "a", {"FW2", "2026-01-01"});
    addModule(other, "b", {"FW3", "2026-02-01"});
    const std::string both = (folder_ / "") + "~" + (other / "");
    EXPECT_EQ(chosen(FirmwareModules(both), "FW1"), "b.bin");
    EXPECT_EQ(chosen(FirmwareModules(both + "~" + (other / "") + "~"), "FW2"), "b.bin") << "one is sent twice";
}

TEST_F(FirmwareModulesTest, WhatIsDamagedIsPassedOverAndReported) {
    addModule(folder_, "good", {"FW2"});
    writeWholeFile(folder_ / "broken.json", "{");
    writeWholeFile(folder_ / "large.json", std::string(MAX_MANIFEST_BYTES + 1, ' '));
    writeWholeFile(folder_ / "note.txt", "not a manifest");
    std::filesystem::create_directory(folder_ / "folder.json");
    std::filesystem::create_symlink(folder_ / "good.json", folder_ / "link.json");
    const std::string path = std::filesystem::canonical(folder_ / ".");
    writeWholeFile(folder_ / "shared.json", readWholeFile(folder_ / "good.json"));
    ASSERT_EQ(chmod((folder_ / "shared.json").c_str(), 0666), 0);
    const FirmwareModules modules(path);
    EXPECT_EQ(chosen(modules, "FW1"), "good.bin");
    EXPECT_EQ(
        modules.faults(),
        " '" + path + "/broken.json': it is not JSON: syntax error in line 1, column 2." +
            " Failed reading a file necessary for the feature. '" + path +
            "/large.json': it has 65537 bytes, and at most 65536 can be taken. Failed reading a file necessary for the "
            "feature. '" +
            path + "/shared.json' can be written by others than its owner (mode 0666).");
}

TEST_F(FirmwareModulesTest, AFolderThatOtherUsersCanChangeIsRefused) {
    const TemporaryFolder shared;
    addModule(folder_, "good", {"FW2"});
    const std::string both = (folder_ / ".") + "~" + (shared / ".");
    EXPECT_EQ(chosen(FirmwareModules(both), "FW1"), "good.bin");
    const std::string path = std::filesystem::canonical(shared / ".");
    for (const auto& [bits, octal] : {std::pair(0770, "0770"), std::pair(01777, "1777")}) {
        ASSERT_EQ(chmod(path.c_str(), static_cast<mode_t>(bits)), 0);
        EXPECT_EQ(chosen(FirmwareModules(both), "FW1"),
                  "10/54 Failed reading a file necessary for the feature. '" + (shared / ".") + "': '" + path +
                      "' can be written by others than its owner (mode " + octal + ").")
            << "also for what the other folder holds";
    }
}

TEST_F(FirmwareModulesTest, AFolderThatCannotBeReadIsReported) {
    writeWholeFile(folder_ / "file", "");
    EXPECT_EQ(FirmwareModules(folder_ / "file").faults(), " '" + (folder_ / "file") + "': Not a directory.");
}

/// Module directories of a machine that has the key of a maker.
class SignedModulesTest : public FirmwareModulesTest {
protected:
    SignedModulesTest() : path_(std::filesystem::canonical(folder_ / ".")) {
        maker_.writePublicKey(keys_ / "maker.pem");
        addModule(folder_, "signed", {"FW2", "2026-02-01"});
        maker_.signFile(folder_ / "signed.json");
        addModule(folder_, "unsigned", {"FW3", "2026-03-01"});
    }

    FirmwareModules modules() const { return FirmwareModules(path_, FirmwareKeys(keys_ / "")); }
    /// The module that is chosen, its warning, and what was passed over.
    std::string choice() const {
        const FirmwareModules all = modules();
        const auto module = all.choose("VELKO P100", "FW1");
        return (module ? (*module)->manifest.file + "; " + (*module)->warning : statusText(module)) + ";" +
               all.faults();
    }
    void setPolicy(const std::string& text) { writeWholeFile(folder_ / "SignaturePolicy", text); }

    const TemporaryFolder keys_;
    const SigningKey maker_{'m'};
    const std::string path_;
};

TEST_F(SignedModulesTest, ThePolicyDecidesOfUnsignedModules) {
    const std::string reason = "'" + path_ + "/unsigned.json': it has no signature.";
    EXPECT_EQ(choice(), "unsigned.bin; ;");
    setPolicy("warn\n");
    EXPECT_EQ(choice(), "unsigned.bin; " + reason + ";");
    setPolicy("signed only\n");
    EXPECT_EQ(choice(), "signed.bin; ; " + reason + " Its directory takes signed modules only.");
}

TEST_F(SignedModulesTest, AWrongSignatureIsRefusedUnderEachPolicy) {
    const std::string name = folder_ / "unsigned.json";
    SigningKey('o').signFile(name);
    const std::string fault =
        " '" + path_ + "/unsigned.json': its signature is not that of a key in '" + (keys_ / "") + "'.";
    EXPECT_EQ(choice(), "signed.bin; ;" + fault);
    for (const char* policy : {"warn\n", "signed only\n"}) {
        setPolicy(policy);
        EXPECT_EQ(choice(), "signed.bin; ;" + fault) << policy;
    }
    maker_.signFile(name);
    EXPECT_EQ(choice(), "unsigned.bin; ;") << "it is signed now";
    addModule(folder_, "unsigned", {"FW4", "2026-03-01"});
    EXPECT_EQ(choice(), "signed.bin; ;" + fault) << "the manifest changed since";
}

TEST_F(SignedModulesTest, WithoutKeysASignatureIsNone) {
    std::filesystem::remove(keys_ / "maker.pem");
    std::filesystem::remove(folder_ / "unsigned.json");
    const std::string reason =
        "'" + path_ + "/signed.json': its signature cannot be checked: there is no key in '" + (keys_ / "") + "'.";
    EXPECT_EQ(choice(), "signed.bin; ;");
    setPolicy("warn\n");
    EXPECT_EQ(choice(), "signed.bin; " + reason + ";");
    setPolicy("signed only\n");
    EXPECT_EQ(choice(), NO_MODULES + "; " + reason + " Its directory takes signed modules only.");
}

TEST_F(SignedModulesTest, AnImageThatChangedAfterTheSignatureIsRefused) {
    setPolicy("signed only\n");
    const FirmwareModules all = modules();
    const auto module = all.choose("VELKO P100", "FW1");
    ASSERT_TRUE(module);
    ASSERT_EQ((*module)->manifest.file, "signed.bin");
    writeWholeFile(folder_ / "signed.bin", "IMAGE OF FW2.......!");
    EXPECT_EQ(statusText(FirmwareModules::readImage(**module)),
              "10/73 Invalid firmware module type. '" + path_ +
                  "/signed.bin' is not the file that its manifest describes: its SHA-256 is another.");
}

TEST_F(SignedModulesTest, APolicyIsThatOfItsOwnDirectory) {
    const TemporaryFolder other;
    addModule(other, "elsewhere", {"FW9", "2026-09-09"});
    setPolicy("signed only\n");
    EXPECT_EQ(chosen(FirmwareModules(path_ + "~" + (other / ""), FirmwareKeys(keys_ / "")), "FW1"), "elsewhere.bin");
}

TEST_F(SignedModulesTest, ADirectoryWhosePolicyIsNotUnderstoodIsRefused) {
    const TemporaryFolder other;
    addModule(other, "elsewhere", {"FW9"});
    setPolicy("signed-only\n");
    EXPECT_EQ(chosen(FirmwareModules(path_ + "~" + (other / ""), FirmwareKeys(keys_ / "")), "FW1"),
              "10/54 Failed reading a file necessary for the feature. '" + path_ +
                  "/SignaturePolicy' is neither 'warn' nor 'signed only'.")
        << "also for what the other folder holds";
}

TEST_F(FirmwareModulesTest, AnImageIsWhatItsManifestSays) {
    addModule(folder_, "a", {"FW2"});
    const FirmwareModules modules(folder_ / "");
    const auto chosenModule = modules.choose("VELKO P100", "FW1");
    ASSERT_TRUE(chosenModule);
    const FirmwareModule& module = **chosenModule;
    const auto image = FirmwareModules::readImage(module);
    ASSERT_EQ(statusText(image), "0/0 Completed successfully.");
    EXPECT_EQ(*image, "IMAGE OF FW2........");

    const std::string path = module.folder + "/a.bin";
    writeWholeFile(path, "IMAGE OF FW2.......!");
    EXPECT_EQ(statusText(FirmwareModules::readImage(module)),
              "10/73 Invalid firmware module type. '" + path +
                  "' is not the file that its manifest describes: its SHA-256 is another.");
    std::filesystem::rename(path, folder_ / "elsewhere");
    std::filesystem::create_symlink(folder_ / "elsewhere", path);
    EXPECT_EQ(statusText(FirmwareModules::readImage(module)),
              "10/54 Failed reading a file necessary for the feature. '" + path + "': a symbolic link.");
}

}  // namespace
}  // namespace features::jobs
