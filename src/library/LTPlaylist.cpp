#include "library/LTPlaylist.h"

#include "library/JsonFields.h"

#include <QJsonArray>
#include <QUuid>

namespace {

double secondsSince1970(const QDateTime& t)
{
    return t.isValid() ? double(t.toMSecsSinceEpoch()) / 1000.0 : 0.0;
}

QDateTime fromSecondsSince1970(double seconds)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(seconds * 1000.0)), Qt::UTC);
}

} // namespace

LTPlaylist::LTPlaylist()
    : m_uuid(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()),
      m_createdAt(QDateTime::currentDateTimeUtc()),
      m_updatedAt(m_createdAt)
{
}

QJsonObject LTPlaylist::toDictionary() const
{
    QJsonArray items;
    for (const LTPlaylistItemPtr& item : m_items)
        if (item)
            items.append(item->toDictionary());
    return QJsonObject{
        {QStringLiteral("uuid"), m_uuid.isNull() ? QStringLiteral("") : m_uuid},
        {QStringLiteral("name"), m_name.isNull() ? QStringLiteral("Playlist") : m_name},
        {QStringLiteral("createdAt"), secondsSince1970(m_createdAt)},
        {QStringLiteral("updatedAt"), secondsSince1970(m_updatedAt)},
        {QStringLiteral("items"), items},
    };
}

LTPlaylistPtr LTPlaylist::fromDictionary(const QJsonObject& d, QString* wrongType)
{
    using namespace jsonfields;
    auto playlist = std::make_shared<LTPlaylist>();
    if (d.contains(QStringLiteral("uuid")))
        playlist->m_uuid = string(d, QStringLiteral("uuid"), playlist->m_uuid, wrongType);
    playlist->m_name = string(d, QStringLiteral("name"), QStringLiteral("Playlist"), wrongType);
    // Times beyond what a date holds count as the wrong type, not as a date in year 300 000.
    constexpr double maxSeconds = 253402300799.0; // 9999-12-31
    for (auto [key, field] : {std::pair{"createdAt", &playlist->m_createdAt}, std::pair{"updatedAt", &playlist->m_updatedAt}}) {
        double seconds = number(d, QLatin1String(key), 0.0, wrongType);
        if (!(std::abs(seconds) <= maxSeconds)) {
            noteWrongType(wrongType, QLatin1String(key), "a time");
            seconds = 0.0;
        }
        *field = fromSecondsSince1970(seconds);
    }
    const QJsonValue items = d.value(QStringLiteral("items"));
    if (items.isArray()) {
        for (const QJsonValue& element : items.toArray())
            if (element.isObject())
                playlist->m_items.append(LTPlaylistItem::fromDictionary(element.toObject(), wrongType));
    }
    return playlist;
}
