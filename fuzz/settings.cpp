// The settings file, which a user may edit by hand: every value the program reads at its start
// comes through whatever the file holds, and writing it back over such a file is safe.
#include "FuzzSupport.h"

#include "library/FileBookmark.h"
#include "platform/RecentDocuments.h"
#include "preferences/ColorTheme.h"
#include "preferences/UserDefaults.h"

#include <QFile>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A new name each time: the settings layer keeps a parsed file cached by its name.
    static int run = 0;
    const QString path = fuzz::writeScratchFile(QStringLiteral("Lento-%1.conf").arg(++run), data, size);
    {
        UserDefaults defaults(path);
        ColorTheme::colorTheme(defaults);
        for (const char* key : {"LoopSelection", "LeftMusicPanelVisible", "ExtendedSpeedRange"})
            ColorTheme::flagForKey(defaults, QString::fromLatin1(key), true);
        RecentDocuments::existingOnly(defaults.objectForKey(QStringLiteral("RecentDocuments")).toStringList());
        bool stale = false;
        QString error;
        FileBookmark::URLByResolvingBookmarkData(defaults.dataForKey(QStringLiteral("LastSongBookmark")), &stale, &error);
        (void)QUrl(defaults.stringForKey(QStringLiteral("LastSongURL"))).isLocalFile();

        defaults.setObject(QStringLiteral("file:///music/a%20track.wav"), QStringLiteral("LastSongURL"));
        defaults.setObject(QByteArray("\0\1\2", 3), QStringLiteral("LastSongBookmark"));
        defaults.synchronize();
    }
    QFile::remove(path);
    return 0;
}
