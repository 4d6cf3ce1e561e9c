// The machine-wide settings through the library: saving the settings file in the layout the
// compressor reads and reporting a save that fails. HOME and XDG_CONFIG_HOME point into
// temporary folders; the real ones are never looked at.
#include <gtest/gtest.h>

#include <cerrno>
#include <dirent.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "api_fixture.h"

namespace {

const char kSystemFolder[] = "/Library/Preferences/Quenholt";

bool SystemFolderExists() {
    struct stat info;
    return stat(kSystemFolder, &info) == 0;
}

// HOME and XDG_CONFIG_HOME in a temporary folder, and the library on its default choice.
class ApiSettings : public testing::Test {
  protected:
    void SetUp() override {
        if (SystemFolderExists()) GTEST_SKIP() << kSystemFolder << " exists: every default is that folder";
        qzkt_set_settings_folder(nullptr);
    }
    void TearDown() override { qzkt_set_settings_folder(nullptr); }

    TemporaryFolder temporary_;
    ScopedEnvironment home_{"HOME", (temporary_ / "home").c_str()};
    ScopedEnvironment config_{"XDG_CONFIG_HOME", nullptr};
};

std::vector<std::string> Names(const std::string& folder) {
    std::vector<std::string> names;
    if (DIR* dir = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(dir))
            if (entry->d_name[0] != '.' || entry->d_name[1] > '.') names.push_back(entry->d_name);
        closedir(dir);
    }
    return names;
}

void ExpectSameSettings(const qzkt_settings& a, const qzkt_settings& b) {
    EXPECT_EQ(a.alpha, b.alpha);
    EXPECT_EQ(a.dxt24, b.dxt24);
    EXPECT_EQ(a.no_lzf, b.no_lzf);
    EXPECT_EQ(a.thread_setting, b.thread_setting);
}

} // namespace

TEST_F(ApiSettings, SaveWritesTheSixteenBytesTheCompressorReads) {
    qzkt_settings settings{}, defaults{};
    qzkt_default_settings(&defaults);
    ExpectSameSettings(defaults, Settings(0, 1, 0, 2));
    ASSERT_EQ(qzkt_read_settings(&settings), QZKT_OK);
    ExpectSameSettings(settings, defaults); // no file yet

    // The first save creates ~/.config/qzkt/ with its parents.
    const qzkt_settings chosen = Settings(1, 0, 1, 7);
    ASSERT_EQ(qzkt_save_settings(&chosen), QZKT_OK);
    const std::string file = temporary_ / "home/.config/qzkt/KELPreferences.dat";
    EXPECT_EQ(ReadFile(file), Bytes({1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0}));
    EXPECT_EQ(Names(temporary_ / "home/.config/qzkt"), std::vector<std::string>{"KELPreferences.dat"});
    ASSERT_EQ(qzkt_read_settings(&settings), QZKT_OK);
    ExpectSameSettings(settings, chosen);

    // An encoder without settings uses the saved ones: alpha, so DXT5 blocks.
    qzkt_encoder* encoder = nullptr;
    ASSERT_EQ(qzkt_encoder_create(8, 8, nullptr, &encoder), QZKT_OK);
    ASSERT_EQ(qzkt_encoder_settings(encoder, &settings), QZKT_OK);
    ExpectSameSettings(settings, chosen);
    const Bytes picture = MakePicture(8, 8, 0, 0, true);
    Bytes frame(qzkt_max_frame_size(8, 8, nullptr));
    EXPECT_EQ(frame.size(), qzkt_max_frame_size(8, 8, &chosen));
    size_t size = 0;
    ASSERT_EQ(qzkt_encode(encoder, picture.data(), 0, frame.data(), frame.size(), &size), QZKT_OK);
    EXPECT_EQ(frame[5], 1);
    EXPECT_EQ(frame[26], 0);
    qzkt_encoder_destroy(encoder);

    // Bad settings are refused and the file stays as it was.
    const qzkt_settings bad = Settings(0, 1, 0, 12);
    EXPECT_EQ(qzkt_save_settings(&bad), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_save_settings(nullptr), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_read_settings(nullptr), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(ReadFile(file), Bytes({1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0}));

    // A file written by someone else is read as the compressor reads it: values other than 1
    // are 0, a thread setting outside 1..9 is 2.
    std::ofstream(file, std::ios::binary).write("\x05\0\0\0\x01\0\0\0\x01\0\0\0\x0c\0\0\0", 16);
    ASSERT_EQ(qzkt_read_settings(&settings), QZKT_OK);
    ExpectSameSettings(settings, Settings(0, 1, 1, 2));

    // A chosen folder takes the next save.
    ASSERT_EQ(qzkt_set_settings_folder((temporary_ / "chosen/deeper").c_str()), QZKT_OK);
    ASSERT_EQ(qzkt_save_settings(&defaults), QZKT_OK);
    EXPECT_EQ(ReadFile(temporary_ / "chosen/deeper/KELPreferences.dat"),
              Bytes({0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0}));
}

TEST_F(ApiSettings, AFailedSaveIsReportedAndKeepsTheOldFile) {
    // A folder whose parent is a regular file can never be made.
    std::ofstream(temporary_ / "file") << "not a folder";
    ASSERT_EQ(qzkt_set_settings_folder((temporary_ / "file/qzkt").c_str()), QZKT_OK);
    const qzkt_settings settings = Settings(0, 0, 0, 3);
    errno = 0;
    EXPECT_EQ(qzkt_save_settings(&settings), QZKT_SETTINGS_NOT_SAVED);
    EXPECT_EQ(errno, ENOTDIR);

    // A folder that cannot be written (root may write anywhere, so only for other users).
    if (geteuid() == 0) return;
    const std::string folder = temporary_ / "locked";
    ASSERT_EQ(qzkt_set_settings_folder(folder.c_str()), QZKT_OK);
    ASSERT_EQ(qzkt_save_settings(&settings), QZKT_OK);
    chmod(folder.c_str(), 0555);
    const qzkt_settings other = Settings(1, 1, 1, 9);
    errno = 0;
    EXPECT_EQ(qzkt_save_settings(&other), QZKT_SETTINGS_NOT_SAVED);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(ReadFile(folder + "/KELPreferences.dat"),
              Bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}));
}
