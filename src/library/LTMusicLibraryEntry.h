#pragma once

#include "library/MusicLibraryIndex.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>

// One track as the library table shows it. Shared by pointer, since resolving fills in its
// location and bookmark in place.
class LTMusicLibraryEntry {
public:
    QString displayName() const { return m_displayName; }
    void setDisplayName(const QString& v) { m_displayName = v; }
    QString artist() const { return m_artist; }
    void setArtist(const QString& v) { m_artist = v; }
    QString album() const { return m_album; }
    void setAlbum(const QString& v) { m_album = v; }
    QString persistentID() const { return m_persistentID; }
    void setPersistentID(const QString& v) { m_persistentID = v; }
    MusicLibraryTrackPtr mediaItem() const { return m_mediaItem; }
    void setMediaItem(const MusicLibraryTrackPtr& v) { m_mediaItem = v; }
    QUrl location() const { return m_location; }
    void setLocation(const QUrl& v) { m_location = v; }
    QByteArray bookmarkData() const { return m_bookmarkData; }
    void setBookmarkData(const QByteArray& v) { m_bookmarkData = v; }
    double duration() const { return m_duration; }
    void setDuration(double v) { m_duration = v; }
    bool isAvailable() const { return m_available; }
    void setAvailable(bool v) { m_available = v; }
    QString unavailableReason() const { return m_unavailableReason; }
    void setUnavailableReason(const QString& v) { m_unavailableReason = v; }

private:
    QString m_displayName;
    QString m_artist;
    QString m_album;
    QString m_persistentID;
    MusicLibraryTrackPtr m_mediaItem;
    QUrl m_location;
    QByteArray m_bookmarkData;
    double m_duration = 0.0;
    bool m_available = false;
    QString m_unavailableReason;
};

using LTMusicLibraryEntryPtr = std::shared_ptr<LTMusicLibraryEntry>;
