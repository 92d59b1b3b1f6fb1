// The playlist file, which a user may edit or a crash may damage: whatever it holds, loading gives
// at least one playlist, and what is then saved loads back the same.
#include "FuzzSupport.h"

#include "library/LTPlaylistStore.h"

#include <QDir>
#include <QFile>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString folder = fuzz::scratchFolder() + QStringLiteral("/playlists");
    QDir().mkpath(folder);
    QFile::remove(folder + QStringLiteral("/playlists.json.bak"));
    fuzz::writeScratchFile(QStringLiteral("playlists/playlists.json"), data, size);

    LTPlaylistStore store(folder);
    store.loadPlaylists();
    const QList<LTPlaylistPtr> playlists = store.allPlaylists();
    fuzz::require(!playlists.isEmpty(), "a loaded store has a playlist");
    const qint64 index = store.currentPlaylistIndex();
    fuzz::require(index < playlists.size(), "the selection is not above the list");
    fuzz::require((store.selectedPlaylist() != nullptr) == (index >= 0), "a selection in range gives its playlist");

    store.savePlaylists();
    LTPlaylistStore again(folder);
    again.loadPlaylists();
    const QList<LTPlaylistPtr> reread = again.allPlaylists();
    fuzz::require(reread.size() == playlists.size(), "a saved store loads back its playlists");
    for (qsizetype i = 0; i < reread.size(); ++i) {
        fuzz::require(reread[i]->toDictionary() == playlists[i]->toDictionary(), "a saved playlist loads back the same");
    }
    fuzz::require(again.currentPlaylistIndex() == index, "a saved selection loads back the same");
    return 0;
}
