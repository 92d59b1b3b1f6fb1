#include "analysis/LTChordEstimator.h"

#include <QStringList>

namespace {

// Built on first use; a function-local static is initialised once even with racing threads.
const QStringList& pitchClassNames()
{
    static const QStringList names{QStringLiteral("C"), QStringLiteral("C#"), QStringLiteral("D"),
                                   QStringLiteral("D#"), QStringLiteral("E"), QStringLiteral("F"),
                                   QStringLiteral("F#"), QStringLiteral("G"), QStringLiteral("G#"),
                                   QStringLiteral("A"), QStringLiteral("A#"), QStringLiteral("B")};
    return names;
}

} // namespace

QString LTChordEstimator::chordName(int index)
{
    if (index >= 0 && index < 12)
        return pitchClassNames().at(index);
    if (index >= 12 && index < 24)
        return QStringLiteral("%1m").arg(pitchClassNames().at(index - 12));
    return {};
}
