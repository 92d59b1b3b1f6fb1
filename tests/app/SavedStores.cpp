#include "SavedStores.h"

#include "library/LTPlaylistStore.h"
#include "loops/LoopDataStore.h"
#include "platform/RecentDocuments.h"
#include "preferences/UserDefaults.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>
#include <QUrl>

#include <algorithm>

namespace {

// Big enough that a save takes a while to write, so that kills land inside writes; the two
// generations differ in length, so no reader's cache can take one for the other.
constexpr int kKeys = 400;

QString settingValue(int generation, int key)
{
    return QStringLiteral("generation %1 of key %2 ").arg(generation).arg(key).repeated(generation + 3);
}

// Other applications' entries fill the desktop's list; ours is refreshed at one of two times.
constexpr int kOtherEntries = 300;
QString otherEntry(int i) { return QStringLiteral("file:///home/u/Documents/letter-%1.odt").arg(i); }
const QUrl kOurTrack = QUrl::fromLocalFile(QStringLiteral("/music/a song.wav"));

// Other tracks' loops fill the file (few tracks, so that checking stays quick); our track's list is
// one of two lengths.
constexpr int kOtherTracks = 20;
constexpr int kOtherLoops = 60;
const QString kOurTrackName = QStringLiteral("a song.wav");

std::vector<LoopPair> trackLoops(int track, int count)
{
    std::vector<LoopPair> loops;
    for (int i = 0; i < count; ++i)
        loops.push_back({(i + 1) / (track + 7.0 + count), (i + 2) / (track + 7.0 + count)});
    return loops;
}

// The playlist store is given a folder: `path` is that folder, holding playlists.json.
constexpr int kPlaylists = 4;
constexpr int kItems = 60;

QString itemName(qint64 generation, int playlist, int item)
{
    return QStringLiteral("generation %1 of item %2.%3 ").arg(generation).arg(playlist).arg(item).repeated(int(generation) + 2);
}

} // namespace

const std::vector<SavedStore>& savedStores()
{
    static const std::vector<SavedStore> stores{
        {"settings", [](const QString&) {},
         [](const QString& path, int generation) {
             UserDefaults defaults(path);
             for (int k = 0; k < kKeys; ++k)
                 defaults.setObject(settingValue(generation, k), QStringLiteral("Key%1").arg(k));
             defaults.setObject(generation, QStringLiteral("Generation"));
             return defaults.synchronize();
         },
         [](const QString& path) {
             const UserDefaults defaults(path);
             const QVariant generation = defaults.objectForKey(QStringLiteral("Generation"));
             if (!generation.isValid())
                 return QStringLiteral("no generation");
             for (int k = 0; k < kKeys; ++k)
                 if (defaults.stringForKey(QStringLiteral("Key%1").arg(k)) != settingValue(generation.toInt(), k))
                     return QStringLiteral("key %1 is not of generation %2").arg(k).arg(generation.toInt());
             return QString();
         }},
        {"recentDocuments",
         [](const QString& path) {
             QByteArray xbel = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\" "
                               "xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\">\n";
             for (int i = 0; i < kOtherEntries; ++i)
                 xbel += "<bookmark href=\"" + otherEntry(i).toUtf8() + "\" added=\"2024-01-01T10:00:00.000000Z\"><info>"
                         "<metadata owner=\"http://freedesktop.org\"><bookmark:applications><bookmark:application "
                         "name=\"Writer\" count=\"3\"/></bookmark:applications></metadata></info></bookmark>\n";
             QFile file(path);
             if (file.open(QIODevice::WriteOnly))
                 file.write(xbel + "</xbel>\n");
         },
         [](const QString& path, int generation) {
             const QDateTime when = QDateTime::fromSecsSinceEpoch(1700000000 + generation, Qt::UTC);
             return RecentDocuments(path).noteNewRecentDocumentURL(kOurTrack, QStringLiteral("audio/x-wav"), when);
         },
         [](const QString& path) {
             QStringList expected;
             for (int i = 0; i < kOtherEntries; ++i)
                 expected << otherEntry(i);
             expected << kOurTrack.toString(QUrl::FullyEncoded);
             const QStringList urls = RecentDocuments(path).recentURLs();
             return urls == expected ? QString() : QStringLiteral("%1 entries read of %2").arg(urls.size()).arg(expected.size());
         }},
        {"savedLoops",
         [](const QString& path) {
             LoopDataStore store(path);
             for (int t = 0; t < kOtherTracks; ++t)
                 store.setLoopsForKey(QStringLiteral("track %1.mp3").arg(t), trackLoops(t, kOtherLoops));
         },
         [](const QString& path, int generation) {
             return LoopDataStore(path).setLoopsForKey(kOurTrackName, trackLoops(kOtherTracks, generation + 3));
         },
         [](const QString& path) {
             const LoopDataStore store(path);
             for (int t = 0; t < kOtherTracks; ++t)
                 if (store.loopsForKey(QStringLiteral("track %1.mp3").arg(t)) != trackLoops(t, kOtherLoops))
                     return QStringLiteral("the loops of track %1 are not as seeded").arg(t);
             const std::vector<LoopPair> ours = store.loopsForKey(kOurTrackName);
             if (ours != trackLoops(kOtherTracks, 3) && ours != trackLoops(kOtherTracks, 4))
                 return QStringLiteral("%1 loops of our track, of neither generation").arg(ours.size());
             return QString();
         }},
        {"playlists", [](const QString&) {},
         [](const QString& path, int generation) {
             LTPlaylistStore store(path);
             for (int p = 0; p < kPlaylists; ++p) {
                 auto playlist = p == 0 ? store.allPlaylists().first() : std::make_shared<LTPlaylist>();
                 playlist->setName(QStringLiteral("P%1").arg(p));
                 for (int i = 0; i < kItems; ++i) {
                     auto item = LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(QStringLiteral("/music/%1.mp3").arg(i)));
                     item->setDisplayName(itemName(generation, p, i));
                     item->setBookmarkData(QByteArray(40 + generation, char(i)));
                     playlist->items().append(item);
                 }
                 if (p > 0)
                     store.addPlaylist(playlist);
             }
             store.selectPlaylistAtIndex(generation);
             return store.savePlaylists();
         },
         [](const QString& path) {
             LTPlaylistStore store(path);
             store.loadPlaylists();
             const qint64 generation = store.currentPlaylistIndex();
             const QList<LTPlaylistPtr> playlists = store.allPlaylists();
             if (playlists.size() != kPlaylists)
                 return QStringLiteral("%1 playlists read").arg(playlists.size());
             for (int p = 0; p < kPlaylists; ++p) {
                 const QList<LTPlaylistItemPtr>& items = playlists[p]->items();
                 for (int i = 0; i < kItems; ++i)
                     if (items.size() != kItems || items[i]->displayName() != itemName(generation, p, i)
                         || items[i]->bookmarkData().size() != 40 + generation)
                         return QStringLiteral("item %1.%2 is not of generation %3").arg(p).arg(i).arg(generation);
             }
             return QString();
         }},
    };
    return stores;
}

const SavedStore* savedStoreNamed(const QString& name)
{
    const auto& stores = savedStores();
    const auto found = std::find_if(stores.begin(), stores.end(), [&](const SavedStore& s) { return name == QLatin1String(s.name); });
    return found == stores.end() ? nullptr : &*found;
}
