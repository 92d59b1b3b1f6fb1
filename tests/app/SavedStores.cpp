#include "SavedStores.h"

#include "library/LTPlaylistStore.h"
#include "loops/LoopDataStore.h"
#include "platform/RecentDocuments.h"
#include "preferences/UserDefaults.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>
#include <QUrl>

namespace {

// Big enough that a save takes a while to write, so that kills land inside writes; the two
// generations differ in length, so no reader's cache can take one for the other.
constexpr int kKeys = 400, kOtherEntries = 300, kOtherTracks = 20, kPlaylists = 4, kItems = 60;
const QString kOurTrack = QStringLiteral("a song.wav");

QString repeated(const QString& text, int generation) { return text.repeated(generation + 3); }

std::vector<LoopPair> trackLoops(int track, int count)
{
    std::vector<LoopPair> loops;
    for (int i = 0; i < count; ++i)
        loops.push_back({(i + 1) / (track + 7.0 + count), (i + 2) / (track + 7.0 + count)});
    return loops;
}

} // namespace

const std::vector<SavedStore>& savedStores()
{
    static const std::vector<SavedStore> stores{
        {"settings", [](const QString&) {},
         [](const QString& path, int generation) {
             UserDefaults defaults(path);
             for (int k = 0; k < kKeys; ++k)
                 defaults.setObject(repeated(QStringLiteral("generation %1 of key %2 ").arg(generation).arg(k), generation),
                                    QStringLiteral("Key%1").arg(k));
             return defaults.synchronize();
         },
         [](const QString& path) {
             const UserDefaults defaults(path);
             QString all;
             for (int k = 0; k < kKeys; ++k)
                 all += defaults.stringForKey(QStringLiteral("Key%1").arg(k)) + '\n';
             return all;
         }},
        // Other applications' entries fill the desktop's list; ours is refreshed at one of two times.
        {"recentDocuments",
         [](const QString& path) {
             QByteArray xbel = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\" "
                               "xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\">\n";
             for (int i = 0; i < kOtherEntries; ++i)
                 xbel += "<bookmark href=\"file:///home/u/letter-" + QByteArray::number(i) + ".odt\" added=\"2024-01-01T10:00:00Z\">"
                         "<info><metadata owner=\"http://freedesktop.org\"><bookmark:applications><bookmark:application "
                         "name=\"Writer\" count=\"3\"/></bookmark:applications></metadata></info></bookmark>\n";
             QFile file(path);
             if (file.open(QIODevice::WriteOnly))
                 file.write(xbel + "</xbel>\n");
         },
         [](const QString& path, int generation) {
             return RecentDocuments(path).noteNewRecentDocumentURL(QUrl::fromLocalFile("/music/" + kOurTrack), "audio/x-wav",
                                                                   QDateTime::fromSecsSinceEpoch(1700000000 + generation, Qt::UTC));
         },
         [](const QString& path) { return RecentDocuments(path).recentURLs().join('\n'); }},
        // Other tracks' loops fill the file; our track's list is one of two lengths.
        {"savedLoops",
         [](const QString& path) {
             LoopDataStore store(path);
             for (int t = 0; t < kOtherTracks; ++t)
                 store.setLoopsForKey(QStringLiteral("track %1.mp3").arg(t), trackLoops(t, 60));
         },
         [](const QString& path, int generation) {
             return LoopDataStore(path).setLoopsForKey(kOurTrack, trackLoops(kOtherTracks, generation + 3));
         },
         [](const QString& path) {
             const LoopDataStore store(path);
             QString all;
             for (int t = 0; t <= kOtherTracks; ++t)
                 for (const LoopPair& loop : store.loopsForKey(t < kOtherTracks ? QStringLiteral("track %1.mp3").arg(t) : kOurTrack))
                     all += QStringLiteral("%1 %2 %3\n").arg(t).arg(loop.left, 0, 'g', 17).arg(loop.right, 0, 'g', 17);
             return all;
         }},
        // The playlist store is given a folder: `path` is that folder, holding playlists.json.
        {"playlists", [](const QString&) {},
         [](const QString& path, int generation) {
             LTPlaylistStore store(path);
             for (int p = 0; p < kPlaylists; ++p) {
                 auto playlist = p == 0 ? store.allPlaylists().first() : std::make_shared<LTPlaylist>();
                 playlist->setName(QStringLiteral("P%1").arg(p));
                 for (int i = 0; i < kItems; ++i) {
                     auto item = LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(QStringLiteral("/music/%1.mp3").arg(i)));
                     item->setDisplayName(repeated(QStringLiteral("generation %1 of item %2.%3 ").arg(generation).arg(p).arg(i), generation));
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
             QString all = QString::number(store.currentPlaylistIndex()) + '\n';
             for (const LTPlaylistPtr& playlist : store.allPlaylists())
                 for (const LTPlaylistItemPtr& item : playlist->items())
                     all += playlist->name() + ' ' + item->displayName() + ' ' + item->bookmarkData().toHex() + '\n';
             return all;
         }},
    };
    return stores;
}
