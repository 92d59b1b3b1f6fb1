#include "SavedStores.h"

#include "platform/RecentDocuments.h"
#include "preferences/UserDefaults.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>
#include <QUrl>

namespace {

// Big enough that a save takes a while to write, so that kills land inside writes; the two
// generations differ in length, so no reader's cache can take one for the other.
constexpr int kKeys = 400;

QString settingValue(int generation, int key)
{
    return QStringLiteral("generation %1 of key %2 ").arg(generation).arg(key).repeated(generation + 3);
}

bool saveSettings(const QString& path, int generation)
{
    UserDefaults defaults(path);
    for (int k = 0; k < kKeys; ++k)
        defaults.setObject(settingValue(generation, k), QStringLiteral("Key%1").arg(k));
    defaults.setObject(generation, QStringLiteral("Generation"));
    return defaults.synchronize();
}

// A missing file has no generation; a recent-documents file that is missing lists nothing.
QString checkSettings(const QString& path)
{
    const UserDefaults defaults(path);
    const QVariant stored = defaults.objectForKey(QStringLiteral("Generation"));
    const int generation = stored.toInt();
    if (!stored.isValid())
        return QStringLiteral("no generation");
    for (int k = 0; k < kKeys; ++k)
        if (defaults.stringForKey(QStringLiteral("Key%1").arg(k)) != settingValue(generation, k))
            return QStringLiteral("key %1 is not of generation %2").arg(k).arg(generation);
    return {};
}

// Other applications' entries fill the desktop's list; ours is refreshed at one of two times.
constexpr int kOtherEntries = 300;

QString otherEntry(int i)
{
    return QStringLiteral("file:///home/u/Documents/letter-%1.odt").arg(i);
}

const QUrl kOurTrack = QUrl::fromLocalFile(QStringLiteral("/music/a song.wav"));

void seedRecent(const QString& path)
{
    QByteArray xbel = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\" "
                      "xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\">\n";
    for (int i = 0; i < kOtherEntries; ++i)
        xbel += "<bookmark href=\"" + otherEntry(i).toUtf8() + "\" added=\"2024-01-01T10:00:00.000000Z\"><info>"
                "<metadata owner=\"http://freedesktop.org\"><bookmark:applications><bookmark:application "
                "name=\"Writer\" count=\"3\"/></bookmark:applications></metadata></info></bookmark>\n";
    xbel += "</xbel>\n";
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(xbel);
}

bool saveRecent(const QString& path, int generation)
{
    const QDateTime when = QDateTime::fromSecsSinceEpoch(1700000000 + generation, Qt::UTC);
    return RecentDocuments(path).noteNewRecentDocumentURL(kOurTrack, QStringLiteral("audio/x-wav"), when);
}

QString checkRecent(const QString& path)
{
    QStringList expected;
    for (int i = 0; i < kOtherEntries; ++i)
        expected << otherEntry(i);
    expected << kOurTrack.toString(QUrl::FullyEncoded);
    const QStringList urls = RecentDocuments(path).recentURLs();
    return urls == expected ? QString() : QStringLiteral("%1 entries read of %2").arg(urls.size()).arg(expected.size());
}

} // namespace

const std::vector<SavedStore>& savedStores()
{
    static const std::vector<SavedStore> stores{
        {"settings", [](const QString&) {}, saveSettings, checkSettings},
        {"recentDocuments", seedRecent, saveRecent, checkRecent},
    };
    return stores;
}

const SavedStore* savedStoreNamed(const QString& name)
{
    for (const SavedStore& store : savedStores())
        if (name == QLatin1String(store.name))
            return &store;
    return nullptr;
}
