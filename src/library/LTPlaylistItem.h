#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <memory>

// One entry of a playlist. Items are shared by pointer: a playlist owns them, and a resolve may
// correct one in place (its URL, bookmark or availability) for the next save to store.
class LTPlaylistItem {
public:
    LTPlaylistItem(); // a fresh uuid, everything else empty

    QString uuid() const { return m_uuid; }
    void setUuid(const QString& v) { m_uuid = v; }
    QString displayName() const { return m_displayName; }
    void setDisplayName(const QString& v) { m_displayName = v; }
    QString artist() const { return m_artist; }
    void setArtist(const QString& v) { m_artist = v; }
    QString album() const { return m_album; }
    void setAlbum(const QString& v) { m_album = v; }
    double duration() const { return m_duration; }
    void setDuration(double v) { m_duration = v; }
    // 0: a file opened by the user; 1: a track of the music library.
    qint64 sourceType() const { return m_sourceType; }
    void setSourceType(qint64 v) { m_sourceType = v; }
    QString fileURLString() const { return m_fileURLString; }
    void setFileURLString(const QString& v) { m_fileURLString = v; }
    // Null when there is no bookmark.
    QByteArray bookmarkData() const { return m_bookmarkData; }
    void setBookmarkData(const QByteArray& v) { m_bookmarkData = v; }
    QString musicPersistentID() const { return m_musicPersistentID; }
    void setMusicPersistentID(const QString& v) { m_musicPersistentID = v; }
    bool isUnavailable() const { return m_unavailable; }
    void setUnavailable(bool v) { m_unavailable = v; }
    QString unavailableReason() const { return m_unavailableReason; }
    void setUnavailableReason(const QString& v) { m_unavailableReason = v; }

    QJsonObject toDictionary() const;
    // Never fails: a missing key takes its default. A key holding the wrong JSON type is also read
    // as absent, and named in *wrongType (when given) so that the caller can reject the file.
    static std::shared_ptr<LTPlaylistItem> fromDictionary(const QJsonObject& dictionary, QString* wrongType = nullptr);

private:
    QString m_uuid;
    QString m_displayName = QStringLiteral("");
    QString m_artist = QStringLiteral("");
    QString m_album = QStringLiteral("");
    double m_duration = 0.0;
    qint64 m_sourceType = 0;
    QString m_fileURLString;
    QByteArray m_bookmarkData;
    QString m_musicPersistentID;
    bool m_unavailable = false;
    QString m_unavailableReason = QStringLiteral("");
};

using LTPlaylistItemPtr = std::shared_ptr<LTPlaylistItem>;
