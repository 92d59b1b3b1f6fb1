#pragma once

#include "library/LTPlaylistItem.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <memory>

// One playlist: a name and its items in play order.
class LTPlaylist {
public:
    LTPlaylist(); // a fresh uuid, named "Playlist", created and updated now

    QString uuid() const { return m_uuid; }
    void setUuid(const QString& v) { m_uuid = v; }
    QString name() const { return m_name; }
    void setName(const QString& v) { m_name = v; }
    QList<LTPlaylistItemPtr>& items() { return m_items; }
    const QList<LTPlaylistItemPtr>& items() const { return m_items; }
    void setItems(const QList<LTPlaylistItemPtr>& v) { m_items = v; }
    QDateTime createdAt() const { return m_createdAt; }
    void setCreatedAt(const QDateTime& v) { m_createdAt = v; }
    QDateTime updatedAt() const { return m_updatedAt; }
    void setUpdatedAt(const QDateTime& v) { m_updatedAt = v; }

    QJsonObject toDictionary() const;
    // As LTPlaylistItem::fromDictionary; elements of "items" that are not objects are skipped.
    static std::shared_ptr<LTPlaylist> fromDictionary(const QJsonObject& dictionary, QString* wrongType = nullptr);

private:
    QString m_uuid;
    QString m_name = QStringLiteral("Playlist");
    QList<LTPlaylistItemPtr> m_items;
    QDateTime m_createdAt;
    QDateTime m_updatedAt;
};

using LTPlaylistPtr = std::shared_ptr<LTPlaylist>;
