#include "app/ChordsCommand.h"

#include "analysis/ChordMethod.h"
#include "audio/AudioFileReader.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QTextStream>
#include <QUrl>

#include <unistd.h>

int runChordsCommand(const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    QString input;
    bool showProgress = isatty(STDERR_FILENO);
    ChordMethod method = kDefaultChordMethod;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& arg = arguments[i];
        if (arg == QLatin1String("--progress")) {
            showProgress = true;
        } else if (arg == QLatin1String("--method")) {
            const QString name = arguments.value(i + 1);
            const auto chosen = chordMethodFromName(name);
            if (!chosen) {
                err << "lento: --method takes precise or basic" << (name.isEmpty() ? QString() : QStringLiteral(", not %1").arg(name))
                    << " (see lento --help)\n";
                return 2;
            }
            method = *chosen;
            ++i;
        } else if (arg.startsWith(QLatin1Char('-')) || !input.isEmpty()) {
            err << "lento: " << (input.isEmpty() ? QStringLiteral("unknown option %1").arg(arg)
                                                 : QStringLiteral("--chords takes exactly one file"))
                << " (see lento --help)\n";
            return 2;
        } else {
            input = arg;
        }
    }
    if (input.isEmpty()) {
        err << "lento: --chords needs an input file (see lento --help)\n";
        return 2;
    }
    const QFileInfo file(input);
    if (!file.isFile() || !file.isReadable()) {
        err << "lento: " << input << ": no such readable file\n";
        return 2;
    }
    AudioFileReader probe;
    if (!probe.open(file.absoluteFilePath())) {
        err << "lento: " << input << ": not a readable audio file\n";
        return 2;
    }

    int shownPercent = -1;
    const auto progress = [&](double fraction) {
        const int percent = int(fraction * 100.0);
        if (!showProgress || percent == shownPercent)
            return;
        shownPercent = percent;
        err << "\ranalysing: " << percent << "%" << Qt::flush;
    };
    QString failure;
    const QList<LTChordSegment> segments =
        estimateChordSegments(method, QUrl::fromLocalFile(file.absoluteFilePath()), progress, nullptr, &failure);
    if (showProgress)
        err << "\r" << QString(20, QLatin1Char(' ')) << "\r" << Qt::flush;
    // An empty array means silence; a file that could not be read all through is no answer at all.
    if (!failure.isEmpty()) {
        err << "lento: " << input << ": " << failure << "\n";
        return 2;
    }
    out << QJsonDocument(chordSegmentsToJson(segments)).toJson(QJsonDocument::Compact) << "\n";
    return 0;
}
