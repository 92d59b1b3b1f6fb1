#include "loops/PracticeDataFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSaveFile>

namespace {

const QString kFormat = QStringLiteral("lento-practice");
constexpr int kVersion = 1;
// Practice data of one track is a few kilobytes; a larger file is something else.
constexpr qint64 kMaximumSize = 1024 * 1024;

} // namespace

bool PracticeDataFile::write(const QString& path, const PracticeData& data, QString* error)
{
    QJsonArray loops;
    for (const LoopPair& loop : data.loops)
        loops.append(QJsonObject{{QStringLiteral("left"), loop.left}, {QStringLiteral("right"), loop.right}});
    const QJsonObject root{
        {QStringLiteral("format"), kFormat},
        {QStringLiteral("version"), kVersion},
        {QStringLiteral("track"), QJsonObject{{QStringLiteral("name"), data.track.name},
                                              {QStringLiteral("fingerprint"), data.track.fingerprint},
                                              {QStringLiteral("seconds"), data.track.seconds}}},
        {QStringLiteral("loops"), loops},
        {QStringLiteral("settings"), data.settings},
    };
    const QByteArray bytes = QJsonDocument(root).toJson(QJsonDocument::Indented);
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}

std::optional<PracticeData> PracticeDataFile::read(const QString& path, QString* error)
{
    const auto fail = [&](const QString& why) -> std::optional<PracticeData> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    if (file.size() > kMaximumSize)
        return fail(QStringLiteral("it is larger than %1 bytes").arg(kMaximumSize));
    QJsonParseError parse;
    const QJsonObject root = QJsonDocument::fromJson(file.readAll(), &parse).object();
    if (parse.error != QJsonParseError::NoError)
        return fail(QStringLiteral("it is not JSON: %1").arg(parse.errorString()));
    if (root.value(QLatin1String("format")).toString() != kFormat || root.value(QLatin1String("version")).toInt() != kVersion)
        return fail(QStringLiteral("it is not Lento practice data"));

    PracticeData data;
    const QJsonObject track = root.value(QLatin1String("track")).toObject();
    data.track = {track.value(QLatin1String("name")).toString(), track.value(QLatin1String("fingerprint")).toString(),
                  track.value(QLatin1String("seconds")).toDouble()};
    const QJsonArray loops = root.value(QLatin1String("loops")).toArray();
    for (qsizetype i = 0; i < loops.size(); ++i) {
        const QJsonObject loop = loops.at(i).toObject();
        const LoopPair pair{loop.value(QLatin1String("left")).toDouble(-1.0), loop.value(QLatin1String("right")).toDouble(-1.0)};
        if (!(0.0 <= pair.left && pair.left < pair.right && pair.right <= 1.0))
            return fail(QStringLiteral("loop %1 is not a stretch within the track").arg(i + 1));
        data.loops.push_back(pair);
    }
    data.settings = root.value(QLatin1String("settings")).toObject();
    return data;
}
