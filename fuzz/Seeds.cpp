// Writes small valid inputs, made by the program's own code, into OUT/<target>/ for the fuzz
// targets to start from. Usage: fuzz_seeds OUT
#include "analysis/NoteAnalysisCache.h"
#include "library/FileBookmark.h"
#include "library/LTPlaylistStore.h"
#include "loops/LoopDataStore.h"
#include "platform/RecentDocuments.h"
#include "preferences/UserDefaults.h"

#include <QDateTime>
#include <QJsonArray>
#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Another application's list, with the parts ours never writes.
const char* const kForeignXbel = R"(<?xml version="1.0" encoding="UTF-8"?>
<xbel version="1.0" xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"
      xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info">
  <bookmark href="file:///home/u/letter.odt" added="2024-01-01T10:00:00.000000Z" modified="2024-01-01T10:00:00.000000Z">
    <title>A letter</title>
    <info><metadata owner="http://freedesktop.org"><mime:mime-type type="application/vnd.oasis.opendocument.text"/>
      <bookmark:groups><bookmark:group>Office</bookmark:group></bookmark:groups>
      <bookmark:applications><bookmark:application name="Writer" exec="&apos;writer %u&apos;" count="3"/></bookmark:applications>
    </metadata></info>
  </bookmark>
</xbel>
)";

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_seeds OUT\n");
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    for (const char* folder : {"files", "chord_cache", "file_bookmark", "loop_store", "playlists", "recent_documents", "settings"})
        out.mkpath(QString::fromLatin1(folder));
    const QString here = out.filePath("files/track.wav"), moved = out.filePath("files/moved.wav");
    bool ok = writeFile(here, "RIFF") && writeFile(moved, "RIFF moved");

    // A bookmark of a file that is where it was, and one of a file renamed since.
    const QByteArray bookmark = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(here));
    const QByteArray beforeMove = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(moved));
    ok = ok && QFile::rename(moved, out.filePath("files/renamed.wav"));
    ok = ok && writeFile(out.filePath("file_bookmark/here"), bookmark) && writeFile(out.filePath("file_bookmark/moved"), beforeMove);

    // Our own entries written into a new list, and into another application's.
    const QString ours = out.filePath("recent_documents/ours"), foreign = out.filePath("recent_documents/foreign");
    const QDateTime when(QDate(2024, 5, 1), QTime(12, 0), Qt::UTC);
    ok = ok && RecentDocuments(ours).noteNewRecentDocumentURL(QUrl::fromLocalFile(here), QStringLiteral("audio/x-wav"), when);
    ok = ok && writeFile(foreign, kForeignXbel)
         && RecentDocuments(foreign).noteNewRecentDocumentURL(QUrl::fromLocalFile(here), QStringLiteral("audio/x-wav"), when);

    // The settings the program reads when it starts.
    {
        UserDefaults defaults(out.filePath("settings/Lento.conf"));
        defaults.setObject(2, QStringLiteral("Theme"));
        defaults.setObject(true, QStringLiteral("LoopSelection"));
        defaults.setObject(QStringLiteral("false"), QStringLiteral("LeftMusicPanelVisible"));
        defaults.setObject(QStringList{here, out.filePath("files/renamed.wav")}, QStringLiteral("RecentDocuments"));
        defaults.setObject(QUrl::fromLocalFile(here).toString(QUrl::FullyEncoded), QStringLiteral("LastSongURL"));
        defaults.setObject(beforeMove, QStringLiteral("LastSongBookmark"));
        ok = ok && defaults.synchronize();
    }
    ok = ok && !readFile(out.filePath("settings/Lento.conf")).isEmpty();

    // Saved loops of two tracks, one with loops that overlap, one that is contained, and both ends.
    {
        LoopDataStore loops(out.filePath("loop_store/saved-loops.json"));
        ok = ok && loops.setLoopsForKey(QStringLiteral("a"), {{0.5, 0.75}, {0.1 + 0.2, 1.0 / 3}, {0.6, 0.7}})
             && loops.setLoopsForKey(QStringLiteral("b"), {{0.0, 1.0}})
             && loops.setTrackForKey(QStringLiteral("a"), TrackIdentity{QStringLiteral("a"), QStringLiteral("AQAAAA"), 10.0},
                                     QJsonObject{{QStringLiteral("speed"), 0.75}, {QStringLiteral("selection"), QJsonArray{0.1, 0.2}}});
        QFile::remove(out.filePath("loop_store/saved-loops.json.lock"));
    }
    // Chords of two files, one of them silence.
    {
        NoteAnalysisCache chords(out.filePath("chord_cache/note-analysis-cache.json"));
        LTChordSegment segment;
        segment.endSec = 2.5;
        segment.midi = 7;
        segment.noteName = QStringLiteral("G");
        chords.setSegmentsForKey(QStringLiteral("/a.wav|1000|1700000000|v6"), {segment});
        chords.setSegmentsForKey(QStringLiteral("k"), {});
        ok = ok && chords.save();
    }
    // Two playlists, one item with a bookmark and one of the library.
    {
        LTPlaylistStore store(out.filePath("playlists"));
        auto second = std::make_shared<LTPlaylist>();
        second->setName(QStringLiteral("Scales"));
        second->items() << LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(here));
        auto library = std::make_shared<LTPlaylistItem>();
        library->setSourceType(1);
        library->setMusicPersistentID(QStringLiteral("4611686018427387904"));
        library->setDisplayName(QStringLiteral("Blue Hour"));
        library->setDuration(201.5);
        second->items() << library;
        store.addPlaylist(second);
        store.selectPlaylistAtIndex(1);
        ok = ok && store.savePlaylists();
    }
    if (!ok)
        std::fprintf(stderr, "fuzz_seeds: could not write the seeds in %s\n", argv[1]);
    return ok ? 0 : 1;
}
