// What `cmake --install` puts on a desktop: a desktop entry the validator accepts, which the
// desktop's MIME database then names as the program for Core Audio files, and an icon.
#include "common/Testing.h"

using fixtures::runProgram;

TEST(DesktopInstallTest, TheDesktopEntryIsValidAndNamedForCoreAudioFilesInTheInstalledDatabase)
{
    QTemporaryDir prefix;
    ASSERT_EQ(runProgram("cmake", {"--install", LENTO_BUILD_DIR, "--prefix", prefix.path()}), 0);
    const QString share = prefix.filePath("share");
    QByteArray said;
    EXPECT_EQ(runProgram("desktop-file-validate", {share + "/applications/lento.desktop"}, &said), 0) << said.constData();
    EXPECT_TRUE(QFile::exists(share + "/icons/hicolor/scalable/apps/lento.svg"));

    ASSERT_EQ(runProgram("update-mime-database", {share + "/mime"}), 0);
    ASSERT_EQ(runProgram("update-desktop-database", {share + "/applications"}), 0);
    EXPECT_TRUE(fixtures::readFile(share + "/mime/globs2").contains("audio/x-caf:*.caf"));

    // xdg-mime reads where to look from the environment only.
    QTemporaryDir home;
    QByteArray handler;
    ASSERT_EQ(runProgram("env", {"XDG_DATA_DIRS=" + share, "XDG_DATA_HOME=" + home.filePath("data"), "XDG_CONFIG_HOME=" + home.filePath("config"),
                                 "xdg-mime", "query", "default", "audio/x-caf"}, &handler), 0);
    EXPECT_EQ(handler.trimmed(), "lento.desktop");
}
