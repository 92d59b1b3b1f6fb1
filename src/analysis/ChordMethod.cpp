#include "analysis/ChordMethod.h"

#include "analysis/PreciseChordEstimator.h"

QString chordMethodName(ChordMethod method)
{
    return method == ChordMethod::Basic ? QStringLiteral("basic") : QStringLiteral("precise");
}

std::optional<ChordMethod> chordMethodFromName(const QString& name)
{
    if (name == QLatin1String("basic"))
        return ChordMethod::Basic;
    if (name == QLatin1String("precise"))
        return ChordMethod::Precise;
    return std::nullopt;
}

QList<LTChordSegment> estimateChordSegments(ChordMethod method, const QUrl& url,
                                            const LTChordEstimator::Progress& progress,
                                            const std::atomic<bool>* cancel, QString* failure)
{
    if (method == ChordMethod::Basic)
        return LTChordEstimator::estimateChordSegmentsForFileURL(url, progress, cancel, failure);
    return PreciseChordEstimator::estimateChordSegmentsForFileURL(url, progress, cancel, failure);
}
