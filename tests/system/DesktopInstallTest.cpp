// What `cmake --install` puts on a desktop: a desktop entry the validator accepts, which the
// desktop's MIME database then names as the program for Core Audio files, and an icon.
#include "common/Testing.h"

#include <QProcessEnvironment>

namespace {

int run(const QString& program, const QStringList& args, QByteArray* out = nullptr, const QProcessEnvironment& env = {})
{
    if (env.isEmpty())
        return fixtures::runProgram(program, args, out);
    // The tools read where to look from the environment only.
    QStringList assignments;
    for (const QString& key : env.keys())
        assignments << key + QLatin1Char('=') + env.value(key);
    return fixtures::runProgram(QStringLiteral("env"), assignments + QStringList{program} + args, out);
}

} // namespace

TEST(DesktopInstallTest, TheDesktopEntryIsValidAndNamedForCoreAudioFilesInTheInstalledDatabase)
{
    QTemporaryDir prefix;
    ASSERT_EQ(run("cmake", {"--install", LENTO_BUILD_DIR, "--prefix", prefix.path()}), 0);
    const QString share = prefix.filePath("share");
    const QString entry = share + "/applications/lento.desktop";
    QByteArray said;
    EXPECT_EQ(run("desktop-file-validate", {entry}, &said), 0) << said.constData();
    EXPECT_TRUE(QFile::exists(share + "/icons/hicolor/scalable/apps/lento.svg"));

    ASSERT_EQ(run("update-mime-database", {share + "/mime"}), 0);
    ASSERT_EQ(run("update-desktop-database", {share + "/applications"}), 0);
    QFile globs(share + "/mime/globs2");
    ASSERT_TRUE(globs.open(QIODevice::ReadOnly));
    EXPECT_TRUE(globs.readAll().contains("audio/x-caf:*.caf"));

    QTemporaryDir home;
    QProcessEnvironment env;
    env.insert("XDG_DATA_DIRS", share);
    env.insert("XDG_DATA_HOME", home.filePath("data"));
    env.insert("XDG_CONFIG_HOME", home.filePath("config"));
    env.insert("PATH", qEnvironmentVariable("PATH"));
    QByteArray handler;
    ASSERT_EQ(run("xdg-mime", {"query", "default", "audio/x-caf"}, &handler, env), 0);
    EXPECT_EQ(handler.trimmed(), "lento.desktop");
}
