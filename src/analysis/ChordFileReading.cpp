#include "analysis/ChordFileReading.h"

#include "audio/AudioFileReader.h"
#include "platform/Log.h"

#include <QFileInfo>

namespace {

// The reader logs its own reason; this names it in the analysis's line.
QString openFailureReason(const QString& path)
{
    const QFileInfo file(path);
    if (!file.exists())
        return QStringLiteral("no such file");
    if (!file.isReadable())
        return QStringLiteral("permission denied");
    return QStringLiteral("no decodable audio stream");
}

bool fail(QString* failure, const QString& why)
{
    if (failure)
        *failure = why;
    return false;
}

} // namespace

bool openForChordAnalysis(const QUrl& url, AudioFileReader& reader, QString* failure)
{
    if (failure)
        failure->clear();
    if (!url.isLocalFile())
        return fail(failure, QStringLiteral("not a local file"));
    const QString path = url.toLocalFile();
    if (!reader.open(path)) {
        const QString why = openFailureReason(path);
        Log::line(QStringLiteral("[NOTE_DEBUG] cannot open file for note analysis: %1 error=%2").arg(url.toString(), why));
        return fail(failure, why);
    }
    const AudioStreamInfo& info = reader.info();
    if (!(info.sampleRate > 0.0) || info.channelCount <= 0)
        return fail(failure, QStringLiteral("no decodable audio stream"));
    return true;
}

bool chordDecodeUsable(const AudioFileReader& reader, bool intact, const QString& path, QString* failure)
{
    if (!intact) {
        if (reader.wasCancelled())
            return false;
        Log::line(QStringLiteral("[NOTE_DEBUG] read error during note analysis: decoding stopped after %1 frames of %2")
                      .arg(reader.decodedFrames())
                      .arg(path));
        return fail(failure, QStringLiteral("the file is damaged or truncated"));
    }
    // Worded as the track's own read words them, so every command refuses a file alike.
    if (reader.decodedFrames() < 1)
        return fail(failure, QStringLiteral("the file holds no audio"));
    return true;
}
