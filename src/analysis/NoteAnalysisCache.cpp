#include "analysis/NoteAnalysisCache.h"

#include "platform/Log.h"

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>

#include <sys/stat.h>

namespace {

const QString kVersionKey = QStringLiteral("version");
const QString kEntriesKey = QStringLiteral("entries");

std::optional<LTChordSegment> segmentFromJson(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    const QJsonValue start = object.value(QStringLiteral("startSec"));
    const QJsonValue end = object.value(QStringLiteral("endSec"));
    if (!start.isDouble() || !end.isDouble())
        return std::nullopt;
    LTChordSegment segment;
    segment.startSec = start.toDouble();
    segment.endSec = end.toDouble();
    segment.frequencyHz = object.value(QStringLiteral("frequencyHz")).toDouble();
    segment.midi = object.value(QStringLiteral("midi")).toInt(-1);
    segment.noteName = object.value(QStringLiteral("noteName")).toString();
    segment.confidence = object.value(QStringLiteral("confidence")).toDouble();
    return segment;
}

} // namespace

QString NoteAnalysisCache::defaultPath()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    return QDir(folder).filePath(QString::fromLatin1(kFileName));
}

NoteAnalysisCache::NoteAnalysisCache(QString path)
    : m_path(std::move(path))
{
}

QString NoteAnalysisCache::cacheKeyForURL(const QUrl& url, ChordMethod method)
{
    if (!url.isLocalFile())
        return {};
    const QString path = url.toLocalFile();
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    const double modified = double(info.st_mtim.tv_sec) + double(info.st_mtim.tv_nsec) / 1e9;
    const QString key = QString::asprintf("%s|%llu|%.0f|v%d", path.toUtf8().constData(),
                                           static_cast<unsigned long long>(info.st_size), modified, kVersion);
    if (method == kDefaultChordMethod)
        return key;
    return key + QLatin1Char('|') + chordMethodName(method);
}

void NoteAnalysisCache::load()
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return; // no cache yet
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        Log::line(QStringLiteral("Ignoring a damaged chord cache %1: %2").arg(m_path, error.errorString()));
        return;
    }
    const QJsonObject root = document.object();
    // Another version's file is left alone, not converted.
    if (root.value(kVersionKey).toInt() != kVersion || !root.value(kEntriesKey).isObject())
        return;
    const QJsonObject entries = root.value(kEntriesKey).toObject();
    QHash<QString, QJsonArray> loaded;
    for (auto it = entries.begin(); it != entries.end(); ++it)
        if (it.value().isArray())
            loaded.insert(it.key(), it.value().toArray());
    m_entries = std::move(loaded);
}

bool NoteAnalysisCache::save()
{
    // Which entries go is of no importance: an entry is only a quicker way to chords.
    while (m_entries.size() > kMaximumEntries)
        m_entries.erase(m_entries.begin());
    QJsonObject entries;
    for (auto it = m_entries.cbegin(); it != m_entries.cend(); ++it)
        entries.insert(it.key(), it.value());
    const QJsonObject root{{kVersionKey, kVersion}, {kEntriesKey, entries}};
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(root).toJson(QJsonDocument::Compact));
    return file.commit();
}

std::optional<QList<LTChordSegment>> NoteAnalysisCache::segmentsForKey(const QString& key) const
{
    const auto it = m_entries.constFind(key);
    if (key.isEmpty() || it == m_entries.cend())
        return std::nullopt;
    QList<LTChordSegment> segments;
    for (const QJsonValue& value : *it)
        if (const auto segment = segmentFromJson(value))
            segments << *segment;
    return segments;
}

void NoteAnalysisCache::setSegmentsForKey(const QString& key, const QList<LTChordSegment>& segments)
{
    if (!key.isEmpty())
        m_entries.insert(key, chordSegmentsToJson(segments));
}
