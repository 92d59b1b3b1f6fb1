// Shared entry of every test program: a fresh home for settings, data, cache and music, and a
// QApplication made inside main so that listing the tests needs no display.
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

void pointUserFoldersAt(const QString& root)
{
    const auto make = [&](const char* name) {
        const QString path = root + QLatin1Char('/') + QLatin1String(name);
        QDir().mkpath(path);
        return path;
    };
    qputenv("HOME", make("home").toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", make("config").toLocal8Bit());
    qputenv("XDG_DATA_HOME", make("data").toLocal8Bit());
    qputenv("XDG_CACHE_HOME", make("cache").toLocal8Bit());
    const QString music = make("Music");
    QFile dirs(root + QStringLiteral("/config/user-dirs.dirs"));
    if (dirs.open(QIODevice::WriteOnly))
        dirs.write(QStringLiteral("XDG_MUSIC_DIR=\"%1\"\n").arg(music).toLocal8Bit());
}

} // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QTemporaryDir home(QDir::tempPath() + QStringLiteral("/lento-test-XXXXXX"));
    pointUserFoldersAt(home.path());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QString runtime = home.path() + QStringLiteral("/runtime");
        QDir().mkpath(runtime);
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());
    }
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
