#include "app/InfoCommand.h"

#include "audio/AudioSource.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <QUrl>

int runInfoCommand(const QString& path, QTextStream& out, QTextStream& err)
{
    const QFileInfo file(path);
    if (!file.exists()) {
        err << "lento: " << path << ": no such file\n";
        return 2;
    }
    if (!file.isFile() || !file.isReadable()) {
        err << "lento: " << path << ": not a readable file\n";
        return 2;
    }
    const AudioSource source = AudioSource::read(QUrl::fromLocalFile(file.absoluteFilePath()));
    if (!source.isReady()) {
        err << "lento: " << path << ": " << source.reason << "\n";
        return 2;
    }
    const QJsonObject info{
        {QStringLiteral("path"), file.absoluteFilePath()},
        {QStringLiteral("sampleRate"), source.inputFormat.sampleRate},
        {QStringLiteral("channels"), source.inputFormat.channelCount},
        {QStringLiteral("frames"), qint64(source.fileLength)},
        {QStringLiteral("duration"), double(source.fileLength) / source.inputFormat.sampleRate},
        {QStringLiteral("binSize"), source.waveData.binSize()},
        {QStringLiteral("numBins"), source.waveData.numBins()},
        {QStringLiteral("maxY"), double(source.waveData.maxY())},
    };
    out << QJsonDocument(info).toJson(QJsonDocument::Compact) << "\n";
    return 0;
}
