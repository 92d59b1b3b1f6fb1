#include "library/LTPlaylistItem.h"

#include "library/JsonFields.h"

#include <QUuid>

namespace {

QString newUuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString orEmpty(const QString& s)
{
    return s.isNull() ? QStringLiteral("") : s;
}

} // namespace

LTPlaylistItem::LTPlaylistItem() : m_uuid(newUuid()) {}

QJsonObject LTPlaylistItem::toDictionary() const
{
    QJsonObject d{
        {QStringLiteral("uuid"), orEmpty(m_uuid)},
        {QStringLiteral("displayName"), orEmpty(m_displayName)},
        {QStringLiteral("artist"), orEmpty(m_artist)},
        {QStringLiteral("album"), orEmpty(m_album)},
        {QStringLiteral("duration"), m_duration},
        {QStringLiteral("sourceType"), m_sourceType},
        {QStringLiteral("fileURLString"), orEmpty(m_fileURLString)},
        {QStringLiteral("musicPersistentID"), orEmpty(m_musicPersistentID)},
        {QStringLiteral("unavailable"), m_unavailable},
        {QStringLiteral("unavailableReason"), orEmpty(m_unavailableReason)},
    };
    if (!m_bookmarkData.isEmpty())
        d.insert(QStringLiteral("bookmarkData"), QString::fromLatin1(m_bookmarkData.toBase64()));
    return d;
}

LTPlaylistItemPtr LTPlaylistItem::fromDictionary(const QJsonObject& d, QString* wrongType)
{
    using namespace jsonfields;
    auto item = std::make_shared<LTPlaylistItem>();
    const QString empty = QStringLiteral("");
    if (d.contains(QStringLiteral("uuid")))
        item->m_uuid = string(d, QStringLiteral("uuid"), item->m_uuid, wrongType);
    item->m_displayName = string(d, QStringLiteral("displayName"), empty, wrongType);
    item->m_artist = string(d, QStringLiteral("artist"), empty, wrongType);
    item->m_album = string(d, QStringLiteral("album"), empty, wrongType);
    item->m_duration = number(d, QStringLiteral("duration"), 0.0, wrongType);
    item->m_sourceType = integer(d, QStringLiteral("sourceType"), 0, wrongType);
    item->m_fileURLString = string(d, QStringLiteral("fileURLString"), empty, wrongType);
    item->m_musicPersistentID = string(d, QStringLiteral("musicPersistentID"), empty, wrongType);
    item->m_unavailable = boolean(d, QStringLiteral("unavailable"), false, wrongType);
    item->m_unavailableReason = string(d, QStringLiteral("unavailableReason"), empty, wrongType);

    // A bookmark that can't be decoded is no bookmark; the item still resolves by its URL.
    const QJsonValue bookmark = d.value(QStringLiteral("bookmarkData"));
    if (bookmark.isString() && !bookmark.toString().isEmpty()) {
        auto decoded = QByteArray::fromBase64Encoding(bookmark.toString().toLatin1(),
                                                      QByteArray::AbortOnBase64DecodingErrors);
        if (decoded && !decoded.decoded.isEmpty())
            item->m_bookmarkData = *decoded;
    }
    return item;
}
