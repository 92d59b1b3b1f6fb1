#include "library/LTPlaylistStore.h"

#include "library/FileBookmark.h"
#include "library/JsonFields.h"
#include "library/LTMusicLibraryEntry.h"
#include "platform/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSaveFile>
#include <QStandardPaths>

#include <cmath>

namespace {

bool writeWhole(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

// JSON has no NaN or infinity; a file holding one could not be read back.
QString firstNonFiniteNumber(const QList<LTPlaylistPtr>& playlists)
{
    for (const LTPlaylistPtr& playlist : playlists)
        for (const LTPlaylistItemPtr& item : playlist->items())
            if (item && !std::isfinite(item->duration()))
                return QStringLiteral("the duration of \"%1\" is not a number").arg(item->displayName());
    return {};
}

} // namespace

LTPlaylistStore::LTPlaylistStore(QString folder) : m_folder(std::move(folder))
{
    if (m_folder.isEmpty())
        m_folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
}

QString LTPlaylistStore::playlistStorePath() const
{
    QDir().mkpath(m_folder);
    return QDir(m_folder).filePath(QStringLiteral("playlists.json"));
}

void LTPlaylistStore::startAfresh()
{
    m_playlists.clear();
    m_playlists.append(std::make_shared<LTPlaylist>());
    m_selectedPlaylistIndex = 0;
}

void LTPlaylistStore::loadPlaylists()
{
    const QString path = playlistStorePath();
    QFile file(path);
    m_playlists.clear();
    if (!file.open(QIODevice::ReadOnly)) {
        startAfresh();
        // A file that is there but can't be read is not overwritten until the user changes something.
        if (file.exists())
            Log::line(QStringLiteral("Playlist file unreadable: %1").arg(file.errorString()));
        else
            savePlaylists();
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    QString problem;
    if (parseError.error != QJsonParseError::NoError)
        problem = QStringLiteral("%1 at byte %2").arg(parseError.errorString()).arg(parseError.offset);
    else if (!document.isObject())
        problem = QStringLiteral("the top level is not an object");

    QList<LTPlaylistPtr> loaded;
    qint64 index = m_selectedPlaylistIndex;
    if (problem.isEmpty()) {
        const QJsonObject root = document.object();
        const QJsonValue playlists = root.value(QStringLiteral("playlists"));
        if (playlists.isArray()) {
            for (const QJsonValue& element : playlists.toArray())
                if (element.isObject())
                    loaded.append(LTPlaylist::fromDictionary(element.toObject(), &problem));
        }
        if (root.contains(QStringLiteral("selectedPlaylistIndex")))
            index = jsonfields::integer(root, QStringLiteral("selectedPlaylistIndex"), index, &problem);
    }
    // A member of the wrong type means the file was edited or damaged outside the program: it is
    // set aside whole rather than half-trusted.
    if (!problem.isEmpty()) {
        Log::line(QStringLiteral("Playlist file corrupted: %1").arg(problem));
        startAfresh();
        savePlaylists(); // moves the damaged bytes to the backup
        return;
    }
    m_playlists = loaded;
    m_selectedPlaylistIndex = index;
    ensureActivePlaylistSelection();
}

bool LTPlaylistStore::savePlaylists()
{
    ensureActivePlaylistSelection();
    const QString nonFinite = firstNonFiniteNumber(m_playlists);
    if (!nonFinite.isEmpty()) {
        Log::line(QStringLiteral("Failed to serialize playlists: %1").arg(nonFinite));
        return false;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QJsonArray playlists;
    for (const LTPlaylistPtr& playlist : m_playlists) {
        playlist->setUpdatedAt(now);
        playlists.append(playlist->toDictionary());
    }
    const QJsonObject root{
        {QStringLiteral("version"), 1},
        {QStringLiteral("selectedPlaylistIndex"), m_selectedPlaylistIndex},
        {QStringLiteral("playlists"), playlists},
    };
    const QByteArray data = QJsonDocument(root).toJson(QJsonDocument::Indented);

    // The backup is the state before this save; it is replaced whole, like the file itself.
    const QString path = playlistStorePath();
    QFile previous(path);
    if (previous.open(QIODevice::ReadOnly))
        writeWhole(backupPath(), previous.readAll());
    return writeWhole(path, data);
}

void LTPlaylistStore::ensureActivePlaylistSelection()
{
    if (m_playlists.isEmpty())
        m_playlists.append(std::make_shared<LTPlaylist>());
    // Signed on purpose: a negative index stays, and selects nothing.
    if (m_selectedPlaylistIndex == NSNotFound || m_selectedPlaylistIndex >= m_playlists.size())
        m_selectedPlaylistIndex = 0;
}

LTPlaylistPtr LTPlaylistStore::selectedPlaylist()
{
    ensureActivePlaylistSelection();
    if (quint64(m_selectedPlaylistIndex) >= quint64(m_playlists.size()))
        return nullptr;
    return m_playlists.at(m_selectedPlaylistIndex);
}

QList<LTPlaylistPtr> LTPlaylistStore::allPlaylists()
{
    ensureActivePlaylistSelection();
    return m_playlists;
}

void LTPlaylistStore::addPlaylist(const LTPlaylistPtr& playlist)
{
    if (playlist)
        m_playlists.append(playlist);
}

void LTPlaylistStore::removePlaylistAtIndex(qint64 index)
{
    if (index < 0 || m_playlists.size() < 2 || index >= m_playlists.size())
        return;
    m_playlists.removeAt(index);
    if (m_selectedPlaylistIndex >= m_playlists.size())
        m_selectedPlaylistIndex = m_playlists.size() - 1;
}

void LTPlaylistStore::selectPlaylistAtIndex(qint64 index)
{
    if (index >= 0 && index < m_playlists.size())
        m_selectedPlaylistIndex = index;
}

qint64 LTPlaylistStore::currentPlaylistIndex()
{
    ensureActivePlaylistSelection();
    return m_selectedPlaylistIndex;
}

LTPlaylistItemPtr LTPlaylistStore::playlistItemFromMusicEntry(const LTMusicLibraryEntry& entry)
{
    auto item = std::make_shared<LTPlaylistItem>();
    const QString empty = QStringLiteral("");
    item->setDisplayName(entry.displayName().isEmpty() ? QStringLiteral("Unknown Track") : entry.displayName());
    item->setArtist(entry.artist().isNull() ? empty : entry.artist());
    item->setAlbum(entry.album().isNull() ? empty : entry.album());
    item->setDuration(entry.duration());
    item->setSourceType(1);
    item->setFileURLString(entry.location().isEmpty() ? empty : entry.location().toString(QUrl::FullyEncoded));
    item->setBookmarkData(entry.bookmarkData());
    item->setMusicPersistentID(entry.persistentID().isNull() ? empty : entry.persistentID());
    item->setUnavailable(!entry.isAvailable());
    item->setUnavailableReason(entry.unavailableReason().isNull() ? empty : entry.unavailableReason());
    return item;
}

LTPlaylistItemPtr LTPlaylistStore::playlistItemFromFileURL(const QUrl& url)
{
    auto item = std::make_shared<LTPlaylistItem>();
    const QString name = url.fileName();
    item->setDisplayName(name.isEmpty() ? QStringLiteral("Track") : name);
    item->setFileURLString(url.isEmpty() ? QStringLiteral("") : url.toString(QUrl::FullyEncoded));
    const QByteArray bookmark = FileBookmark::bookmarkDataFromURL(url);
    if (!bookmark.isEmpty())
        item->setBookmarkData(bookmark);
    return item;
}

QString LTPlaylistStore::normalizedPathForItem(const LTPlaylistItemPtr& item, const ResolvedURLBlock& resolvedURLBlock)
{
    if (!item)
        return QStringLiteral("");
    // A library item with neither bookmark nor URL has nothing of its own to resolve.
    if (item->sourceType() == 1 && item->bookmarkData().isEmpty() && item->fileURLString().isEmpty())
        return QStringLiteral("");
    if (resolvedURLBlock) {
        const QUrl url = resolvedURLBlock(item);
        if (url.isLocalFile())
            return QDir::cleanPath(url.toLocalFile()).toLower();
    }
    return QStringLiteral("");
}

bool LTPlaylistStore::playlistContainsEquivalentItem(const LTPlaylistPtr& playlist, const LTPlaylistItemPtr& item,
                                                     const ResolvedURLBlock& resolvedURLBlock)
{
    if (!playlist || !item)
        return false;
    const QString path = normalizedPathForItem(item, resolvedURLBlock);
    const QString id = item->musicPersistentID().toLower();
    const QString urlString = item->fileURLString().toLower();
    for (const LTPlaylistItemPtr& existing : playlist->items()) {
        if (!existing)
            continue;
        if (!id.isEmpty() && existing->musicPersistentID().toLower() == id)
            return true;
        if (!path.isEmpty() && normalizedPathForItem(existing, resolvedURLBlock) == path)
            return true;
        if (!urlString.isEmpty() && existing->fileURLString().toLower() == urlString)
            return true;
    }
    return false;
}
